"""Stops where exceptions are thrown: of a class and its subclasses, those that somebody catches or those that nobody does."""
from quor import event_frame, hits, names, show, stops
from quor.agent import events, hooks, questions
from quor.agent.calls import out_text

_EVERY = ""  # the agent's filter that every throw passes
_FINAL = 0x0010  # access flag of the class file format


class _Filters:
    """The agent's filters: a throw that passes none of them costs the program no stop."""
    wanted = {}  # class name with slashes, or _EVERY: how many catches want it

    @classmethod
    def add(cls, name):
        if not cls.wanted:
            events.switch(events.EXCEPTION, True)
        if name not in cls.wanted:
            questions.ask("agent_set_thrownexception_filter", out_text(name))
        cls.wanted[name] = cls.wanted.get(name, 0) + 1

    @classmethod
    def remove(cls, name):
        if not cls.forget(name):
            questions.ask("agent_clear_thrownexception_filter", out_text(name))
        if not cls.wanted:
            events.switch(events.EXCEPTION, False)

    @classmethod
    def forget(cls, name):
        """Without asking; how many want it still."""
        cls.wanted[name] -= 1
        return cls.wanted[name] or cls.wanted.pop(name)


class Catch(stops.Stop):
    """`spec` is a breakspec.CatchSpec."""
    kind = "catch"

    def __init__(self, spec):
        super().__init__()
        self.spec = spec
        self._known = {}  # internal name of prepared classes that the spec may mean: whether all are final
        self._filters = set()  # names in _Filters for this
        self.reason = stops.NOT_PREPARED

    def what(self):
        mode = {(True, False): "caught ", (False, True): "uncaught "}.get((self.spec.caught, self.spec.uncaught), "")
        return mode + (self.spec.class_name or "every exception") + (" -exact" if self.spec.exact else "")

    def places(self):
        return [f"every throw of {self.what()}"] if self._filters else []

    def wants(self, signature, source):
        return self.spec.class_name is not None and signature[0] == "L" and _is_named(self.spec.class_name, signature[1:-1])

    def bind(self, handle, signature):
        name, final = signature[1:-1], bool(questions.class_modifiers(handle) & _FINAL)
        self._known[name] = final and self._known.get(name, True)  # each loader may have another of this name
        self._filter()

    def arm(self):
        self._filter()

    def _filter(self):
        """Has the agent tell of those throws that may be meant, and of no others where that can be told by the class's name."""
        needed = self._names()
        for name in needed - self._filters:
            _Filters.add(name)
        for name in self._filters - needed:
            _Filters.remove(name)
        self._filters = needed
        if needed:
            hooks.listen("hook_exception_thrown", _thrown)

    def _names(self):
        """Names for _Filters; none before a class that is meant is prepared: without it nobody can throw one, nor a subclass."""
        if self.spec.class_name is not None and (self.spec.exact or all(self._known.values())):
            return set(self._known)
        return {_EVERY}

    def unbind(self):
        for name in self._filters:
            _Filters.remove(name)
        self._filters = set()
        self.forget()

    def forget(self):
        for name in self._filters:
            _Filters.forget(name)
        self._filters, self._known = set(), {}
        if not _Filters.wanted:
            hooks.ignore("hook_exception_thrown", _thrown)

    def agrees(self, event):
        """Whether the exception is one of those. In stop()."""
        part = event.part("exception")
        if not (self.spec.caught if int(part["catch_method"]) else self.spec.uncaught):
            return False
        if self.spec.class_name is None:
            return True
        heap, thrown = event_frame.readers().heap, event_frame.object_of(int(part["exception"]))
        klasses = [heap.klass(thrown)] if self.spec.exact else heap.superclasses(heap.klass(thrown))
        return any(_is_named(self.spec.class_name, heap.class_name(klass)) for klass in klasses)


def _is_named(typed, internal):
    """Whether a class has the typed name; one without a package is of any."""
    return internal in names.class_candidates(typed) or "." not in typed and names.simple_name(internal) == typed


def _catches():
    return [stop for stop in stops.all_stops() if isinstance(stop, Catch)]


def _thrown(event):
    """In stop(): memory alone is read."""
    agreeing = [stop for stop in _catches() if stop.enabled and stop.agrees(event)]
    found = [hits.judged(stop, event, hits.Hit(stop, event, f"Java exception J{stop.number}", lambda: _told(event)))
             for stop in agreeing]
    return hits.together([each for each in found if each is not None])


def _told(event):
    """What was thrown, and who catches it."""
    part = event.part("exception")
    thrown, readers = event_frame.object_of(int(part["exception"])), event_frame.readers()
    message = readers.heap.string(readers.heap.get(thrown, "detailMessage"))
    name = names.class_name(readers.heap.class_name(readers.heap.klass(thrown)))
    return [name + (f": {show.quoted(message)}" if message is not None else ""), _catcher(part)]


def _catcher(part):
    if not int(part["catch_method"]):
        return "nobody catches it"
    method, line = event_frame.place_of(int(part["catch_method"]), int(part["catch_location"]))
    return "caught in " + show.located(f"{names.class_name(method.klass)}.{method.name}", show.place(method.source, line))
