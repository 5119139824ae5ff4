"""Stops where a field is written or read."""
from quor import event_frame, hits, names, stops
from quor.agent import hooks, questions

_DUPLICATE, _NOT_FOUND = 40, 41
_STATIC = 0x0008  # access flag of the class file format
_HOOKS = {"read": "hook_access", "write": "hook_access_write"}
_FUNCTIONS = {"read": "fieldaccesswatch", "write": "fieldmodificationwatch"}


class _Set:
    """The watches that are set in the VM: {(mode, class, field): [stops]}."""
    places = {}


class Watch(stops.Stop):
    """`place` is a breakspec.FieldPlace; `modes` some of "read" and "write"."""

    def __init__(self, place, modes, condition=None):
        super().__init__(condition)
        self.place, self.modes = place, modes
        self.bound = {}  # (mode, class, field): text
        self.kind = {("write",): "watch", ("read",): "rwatch"}.get(modes, "awatch")

    def what(self):
        return str(self.place)

    def places(self):
        return sorted(set(self.bound.values()))

    def wants(self, signature, source):
        return signature[1:-1] in names.class_candidates(self.place.class_name)

    def bind(self, handle, signature):
        field = next((each for each in questions.fields(handle) if each.name == self.place.field), None)
        if field is None:
            self.reason = f"the class declares no field {self.place.field}"
            return
        for mode in self.modes:
            key = mode, handle, field.id
            if key not in _Set.places:
                _ask("set", key)
            stops_there = _Set.places.setdefault(key, [])
            stops_there.extend([self] * (self not in stops_there))
            self.bound[key] = f"{names.class_name(signature[1:-1])}.{field.name}"
            hooks.listen(_HOOKS[mode], _LISTENERS[mode])

    def unbind(self):
        for key in list(self.bound):
            if _Set.places.get(key) == [self]:
                _ask("clear", key)
        self.forget()

    def forget(self):
        for key in self.bound:
            those = _Set.places.get(key, [])
            if self in those:
                those.remove(self)
            if not those:
                _Set.places.pop(key, None)
        self.bound.clear()
        self.reason = stops.NOT_PREPARED
        for mode in _HOOKS:
            if not any(each == mode for each, _, _ in _Set.places):
                hooks.ignore(_HOOKS[mode], _LISTENERS[mode])


def _ask(what, key):
    mode, handle, field = key
    try:
        questions.ask(f"agent_{what}_{_FUNCTIONS[mode]}", handle, field)
    except questions.Refused as error:
        if error.code not in (_DUPLICATE, _NOT_FOUND):
            raise


# ---- Hits. In stop(): memory alone is read ----

def _accessed(event, mode):
    part = event.part("field_access")
    those = _Set.places.get((mode, int(part["field_clazz"]), int(part["field"])), ())
    found = [hits.judged(stop, event, hits.Hit(stop, event, f"Java watchpoint J{stop.number}, {stop.place}",
                                               lambda: _values(event, mode, stop.place.field))) for stop in those]
    return hits.together([each for each in found if each is not None])


def _read(event):
    return _accessed(event, "read")


def _written(event):
    return _accessed(event, "write")


_LISTENERS = {"read": _read, "write": _written}


def _values(event, mode, name):
    """Lines that tell the value, of a write the old one and the new one."""
    part, readers = event.part("field_access"), event_frame.readers()
    owner = event_frame.class_of_mirror(int(part["field_clazz"]))
    field = readers.heap.declared(owner)[name]
    base = event_frame.object_of(int(part["field_clazz"] if field.static else part["object"]))
    now = readers.text.value(field.signature, readers.heap.value(base + field.offset, field.signature), 0)
    if mode == "read":
        return [f"Value: {now}"]
    return [f"Old value: {now}", f"New value: {_new(event, field.signature, readers)}"]


_MEMBERS = {"Z": "z", "B": "b", "C": "c", "S": "s", "I": "i", "J": "j", "F": "f", "D": "d"}


def _new(event, signature, readers):
    value = event.part("field_modification")["new_value"]
    kind = signature[0]
    if kind in "L[":
        return readers.text.value(signature, event_frame.object_of(int(value["l"])), 0)
    member = value[_MEMBERS[kind]]
    found = float(member) if kind in "FD" else int(member)
    return readers.text.value(kind, {"Z": bool, "C": chr}.get(kind, lambda same: same)(found), 0)
