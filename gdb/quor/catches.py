"""Stops where exceptions are thrown: of a class and its subclasses, those that somebody catches or those that nobody does."""
from quor import event_frame, hits, names, show, stops
from quor.agent import events, hooks, questions
from quor.agent.calls import out_text

class Catch(stops.Stop):
    """`spec` is a breakspec.CatchSpec."""
    kind = "catch"

    def __init__(self, spec):
        super().__init__()
        self.spec, self._armed = spec, False
        self.reason = stops.NOT_PREPARED

    def what(self):
        mode = {(True, False): "caught ", (False, True): "uncaught "}.get((self.spec.caught, self.spec.uncaught), "")
        return mode + (self.spec.class_name or "every exception") + (" -exact" if self.spec.exact else "")

    def places(self):
        return [f"every throw of {self.what()}"] if self._armed else []

    def arm(self):
        if not any(stop._armed for stop in _catches()):
            questions.ask("agent_set_thrownexception_filter", out_text(""))
            events.switch(events.EXCEPTION, True)
        self._armed = True
        hooks.listen("hook_exception_thrown", _thrown)

    def unbind(self):
        was, self._armed = self._armed, False
        if was and not any(stop._armed for stop in _catches()):
            events.switch(events.EXCEPTION, False)
            questions.ask("agent_clear_thrownexception_filter", out_text(""))
        self.forget()

    def forget(self):
        self._armed = False
        if not any(stop._armed for stop in _catches()):
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
