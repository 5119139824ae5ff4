"""Java breakpoints: on a line, on a method; on the C function of a native method."""
import gdb

from quor import breakspec, bytecodes, hits, names, native_methods, stop_texts, stops
from quor.agent import hooks, questions

_DUPLICATE, _NOT_FOUND = 40, 41
_NATIVE, _ABSTRACT = 0x0100, 0x0400  # access flags of the class file format


class _Set:
    """The places that are set in the VM, and for whom: {(method, location): [class, stops]}."""
    places = {}


class Breakpoint(stops.Stop):
    """On the classes that its place names: `spec` is a breakspec.BreakSpec."""
    kind = "breakpoint"

    def __init__(self, spec, condition=None):
        super().__init__(condition, spec.thread, spec.temporary)
        self.spec = spec
        self.bound = {}  # (method, location): text of the place, None of one that is not shown
        self._lines = set()  # of the classes that it was offered, when it is on a line
        self.natives = {}  # method: (text of the place, the gdb.Breakpoint on its C function)
        self._unlinked = {}  # native methods without a C function yet: {method: (questions.Method, the class's internal name)}

    def what(self):
        options = "-native " if self.spec.native else ""
        return options + str(self.spec.place)

    def places(self):
        return [text for text in self.bound.values() if text] + [text for text, _ in self.natives.values()]

    def reason_at(self, event):
        """The Reason to stop at an event at one of its places, or None. In stop()."""
        return hits.judged(self, event, hits.Hit(self, event, f"Java breakpoint J{self.number}"))

    # ---- Which classes ----

    def wants(self, signature, source):
        place = self.spec.place
        if not signature.startswith("L"):
            return False
        klass = signature[1:-1]
        if isinstance(place, breakspec.LinePlace):
            return _of_file(place, klass, source) if place.source else _of_class(place.class_name, klass)
        return klass in names.class_candidates(place.class_name)

    # ---- Binding ----

    def bind(self, handle, signature):
        if isinstance(self.spec.place, breakspec.LinePlace):
            self._bind_line(handle, signature)
        else:
            self._bind_method(handle, signature)

    def _bind_line(self, handle, signature):
        wanted, methods = self.spec.place.line, _with_code(questions.methods(handle))
        for method in methods:
            table = questions.lines(handle, method.id)
            self._lines.update(line for _, line in table)
            for location in locations_of(table, wanted):
                self._set(handle, method, location, signature, wanted)
        if methods:
            self.reason = _no_code(wanted, self._lines)

    def _bind_method(self, handle, signature):
        place, klass = self.spec.place, signature[1:-1]
        named = [each for each in questions.methods(handle) if names.method_matches(place.method, klass, each.name)]
        found = [each for each in named if place.parameters is None or names.parameters_match(place.parameters, each.signature)]
        for method in found:
            if method.modifiers & _NATIVE:
                self._set_native(method, klass)
            elif not method.modifiers & _ABSTRACT and not self.spec.native:
                self._set(handle, method, 0, signature, None)
        if not self.places():
            self.reason = self._why_none(named, found)

    def _why_none(self, named, found):
        if not named:
            return f"the class has no method {self.spec.place.method}"
        if not found:
            forms = ", ".join(f"({names.parameter_text(each.signature)})" for each in named)
            return f"{self.spec.place.method} takes {forms}"
        if any(each.modifiers & _NATIVE for each in found):
            return "native, not linked"
        return "the method is not native" if self.spec.native else "the method is abstract"

    def _set(self, handle, method, location, signature, line):
        where = f":{line}" if line is not None else ""
        text = f"{names.class_name(signature[1:-1])}.{method.name}({names.parameter_text(method.signature)}){where}"
        self._set_at(handle, (method.id, location), text)

    def _set_at(self, handle, key, text):
        known = _Set.places.get(key)
        if known is None:
            try:
                questions.ask("agent_set_breakpoint", handle, *key)
            except questions.Refused as error:
                if error.code != _DUPLICATE:
                    raise
            known = _Set.places[key] = [handle, []]
        if self not in known[1]:
            known[1].append(self)
        self.bound[key] = self.bound.get(key) or text
        hooks.listen("hook_bpt", _breakpoint_hit)

    def _set_native(self, method, klass):
        planted = native_methods.plant(method, klass, self)
        if planted is None:
            self._unlinked[method.id] = method, klass
            native_methods.when_registered(_link)
        elif method.id not in self.natives:
            text = f"{names.class_name(klass)}.{method.name}({names.parameter_text(method.signature)}) <native>"
            self.natives[method.id] = text, planted

    def link(self):
        """Native methods may have got their C functions."""
        unlinked, self._unlinked = self._unlinked, {}
        for method, klass in unlinked.values():
            self._set_native(method, klass)

    def unbind(self):
        for key in list(self.bound):
            handle, those = _Set.places.get(key, (0, []))
            if self in those:
                those.remove(self)
            if handle and not those:
                del _Set.places[key]
                _clear(handle, *key)
        self.forget()

    def forget(self):
        for key in self.bound:
            known = _Set.places.get(key)
            if known and self in known[1]:
                known[1].remove(self)
                if not known[1]:
                    del _Set.places[key]
        self.bound.clear()
        for _, planted in self.natives.values():
            if planted.is_valid():
                planted.delete()
        self.natives.clear()
        self._unlinked.clear()
        self._lines.clear()
        self.reason = stops.NOT_PREPARED
        native_methods.forget_registrations()
        if not _Set.places:
            hooks.ignore("hook_bpt", _breakpoint_hit)


def _clear(handle, method, location):
    try:
        questions.ask("agent_clear_breakpoint", handle, method, location)
    except questions.Refused as error:
        if error.code != _NOT_FOUND:
            gdb.write(f"java: a breakpoint cannot be cleared: {error}\n", gdb.STDERR)


def _of_class(name, klass):
    """Whether this is the class, or lies within it: anonymous and inner classes have lines of its file."""
    return any(klass == each or klass.startswith(each + "$") for each in names.class_candidates(name))


def _of_file(place, klass, source):
    """Whether the class is compiled from this file. A package that was typed with the file's name must be the class's."""
    package = place.class_name.replace(".", "/").rpartition("/")[0]
    own = klass.rpartition("/")[0]
    return source == place.source and (not package or own == package or own.endswith("/" + package) or package.endswith("/" + own))


def _with_code(methods):
    return [each for each in methods if not each.modifiers & (_NATIVE | _ABSTRACT)]


def locations_of(table, line):
    """Where in a method the line begins: it may do so several times, as a finally block does."""
    found, before = [], None
    for location, its in table:
        if its == line and its != before:
            found.append(location)
        before = its
    return found


def _no_code(line, lines):
    if not lines:
        return "the class has no line numbers: compiled without -g"
    after = [each for each in lines if each > line]
    nearest = min(after) if after else max(lines)
    return f"no code on line {line}, nearest {nearest}"


def _link(_event=None):
    for stop in stops.all_stops():
        if isinstance(stop, Breakpoint):
            stop.link()


gdb.events.new_objfile.connect(_link)


# ---- Hits ----

class Trace(Breakpoint):
    """Tells of each call of a method, with its arguments, and of what it returns; stops nobody."""
    kind = "trace"

    def __init__(self, spec, condition=None):
        super().__init__(spec, condition)
        self._returns = set()  # (method, location)

    def _set(self, handle, method, location, signature, line):
        super()._set(handle, method, location, signature, line)
        for at in bytecodes.returns(questions.bytecodes(handle, method.id)):
            self._returns.add((method.id, at))
            self._set_at(handle, (method.id, at), None)

    def forget(self):
        super().forget()
        self._returns.clear()

    def reason_at(self, event):
        part = event.part("breakpoint")
        place = int(part["method"]), int(part["location"])
        if self.bound[place]:
            self._tell_call(event)
        if place in self._returns:
            self._tell_return(event)
        return None

    def _tell_call(self, event):
        if hits.judged(self, event, hits.Hit(self, event, "")) is not None:
            gdb.write(f"J{self.number}: {stop_texts.call(event)}\n")

    def _tell_return(self, event):
        """Not counted: hits are calls."""
        if hits.is_meant(self, event):
            gdb.write(f"J{self.number}: {stop_texts.returned(event)}\n")


def was_told(_event):
    """Whether a breakpoint was told already, with the step that ended on it. Stepping puts its own function here."""
    return False


def _breakpoint_hit(event):
    """In stop(): memory alone is read."""
    return None if was_told(event) else hit_at(event)


def hit_at(event):
    """The Reason of the breakpoints at an event's place that agree, or None. In stop()."""
    part = event.part("breakpoint")
    known = _Set.places.get((int(part["method"]), int(part["location"])))
    reasons = [stop.reason_at(event) for stop in (known[1] if known else ())]
    return hits.together([each for each in reasons if each is not None])
