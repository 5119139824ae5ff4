"""What the user has asked to stop at: J1, J2..., kept over runs of the program. What is set in the VM for them, and where.

A Stop names classes; it is bound to each class of such a name when that class is prepared, in every loader. Binding asks the agent,
so it is done at a stop: hook_class_prepare stops the process when a wanted class comes, and lets it go on.
"""
import functools

import gdb

from quor.agent import calls, class_list, hooks, place, questions, session, settling
from quor.errors import QuorError


NOT_PREPARED = "class not prepared"


class Stop:
    """One thing to stop at. Subclasses say at what."""
    kind = "?"

    def __init__(self, condition=None, thread=None, temporary=False):
        self.number = 0
        self.enabled, self.temporary = True, temporary
        self.condition, self.thread = condition, thread  # a conditions.Condition; gdb's number or a name, or None
        self.hits, self.ignored = 0, 0  # `ignored`: how many of the next hits are no stops
        self.commands = []
        self.reason = NOT_PREPARED  # why it is pending

    # ---- For subclasses ----

    def what(self):
        """What was asked for, as typed."""
        raise NotImplementedError

    def places(self):
        """Lines that tell where it is bound; none: it is pending."""
        raise NotImplementedError

    def wants(self, signature, source):
        """Whether a class of this signature and source file may have to do with it."""
        return False

    def bind(self, handle, signature):
        """Sets it in a prepared class. Where the agent may be asked."""

    def arm(self):
        """Sets what belongs to no class. Where the agent may be asked."""

    def unbind(self):
        """Clears it in the VM. Where the agent may be asked."""

    def forget(self):
        """The VM has gone, and what was bound with it."""


class _State:
    stops = []
    next_number = 1
    scanned = 0  # classes of the list of prepared ones that were offered to all stops
    offered = set()  # their handles: the list may be made anew
    key = None  # of the process that they were of
    behind = set()  # stops that no class was offered to yet


def all_stops():
    return list(_State.stops)


def named(word):
    """The Stop of "J3" or "3"."""
    number = word[1:] if word[:1] in ("J", "j") else word
    for stop in _State.stops:
        if str(stop.number) == number:
            return stop
    raise QuorError(f"there is no {word}; java info lists what there is")


def add(stop):
    """Numbers it, and binds it if the agent can be asked now."""
    stop.number, _State.next_number = _State.next_number, _State.next_number + 1
    _State.stops.append(stop)
    _State.behind.add(stop)
    if not _asked(catch_up):
        _soon()
    _listen()
    return stop


def remove(stop):
    """At any stop: what is still set in the VM is cleared at the next hook."""
    stop.enabled = False
    if not _asked(stop.unbind):
        _Left.stops.append(stop)
        _soon()
    _State.behind.discard(stop)
    _State.stops.remove(stop)
    _listen()


class _Left:
    """Deleted where the agent could not be asked."""
    stops = []


def _asked(work):
    """Does what asks the agent, where it can be asked now; whether it was done."""
    if not session.is_attached():
        return False
    try:
        with questions.asking("java break"):
            work()
        return True
    except questions.Refused:
        raise
    except QuorError:
        return False


def catch_up():
    """Offers the prepared classes to the stops that have not seen them, and clears what was deleted. In questions.asking."""
    calls.forget_scratch()
    while _Left.stops:
        _Left.stops.pop().unbind()
    classes = class_list.prepared()
    fresh = _fresh(classes)
    for stop in list(_State.behind):
        _try(stop, stop.arm)
    for stop in _State.stops:
        for handle, signature, source in classes if stop in _State.behind else fresh:
            if stop.wants(signature, source):
                _try(stop, functools.partial(stop.bind, handle, signature))
    _State.behind.clear()
    _were_offered(classes, fresh)
    _listen()


def _fresh(classes):
    """The classes that were not offered yet, under whatever place in the list."""
    inferior = gdb.selected_inferior()
    key = inferior.num, inferior.pid
    if _State.key != key:
        _State.key, _State.scanned, _State.offered = key, 0, set()
    if len(classes) < _State.scanned:
        _State.scanned = 0
    return [each for each in classes[_State.scanned:] if each.handle not in _State.offered]


def _were_offered(classes, fresh):
    _State.scanned = len(classes)
    _State.offered.update(each.handle for each in fresh)


def _try(stop, work):
    try:
        work()
    except questions.Refused as error:
        stop.reason = str(error)
    finally:
        calls.forget_scratch()


# ---- Classes that come ----

class _Comes(settling.Reason):
    """A class that somebody wants has been prepared."""

    def passes(self):
        with questions.asking("java break"):
            catch_up()
        return True


def _class_prepared(_event):
    """In stop(): memory alone is read."""
    if _State.behind or _Left.stops:
        return _Comes()
    classes = class_list.prepared()
    fresh = _fresh(classes)
    if any(stop.wants(signature, source) for _, signature, source in fresh for stop in _State.stops):
        return _Comes()
    if not calls.is_calling():
        _were_offered(classes, fresh)
    return None


def _soon():
    """Has the agent stop by itself when the program runs on, within two seconds, for what could not be asked now."""
    if session.is_attached() and place.is_loaded():
        hooks.listen("hook_controlc", _agent_stops)
        place.set_global("controlc_hit", 1)


def _agent_stops(_event):
    return _Comes() if _State.behind or _Left.stops else None


def _listen():
    """Nobody pays for what nobody wants."""
    if not place.is_loaded():
        return
    if _State.stops or _Left.stops:
        hooks.listen("hook_class_prepare", _class_prepared)
    else:
        hooks.ignore("hook_class_prepare", _class_prepared)


# ---- The process comes and goes ----

def arrive():
    """The debugger has attached: what was asked for before is bound."""
    _State.behind.update(_State.stops)
    with questions.asking("java break"):
        catch_up()


def classes_listed_anew():
    """The list of prepared classes was made afresh, perhaps in another order. Where the agent may be asked."""
    _State.scanned = 0
    if _State.stops:
        catch_up()


def release():
    """The debugger leaves: nothing of it stays in the VM."""
    with questions.asking("java detach"):
        for stop in _State.stops + _Left.stops:
            stop.unbind()
    _forget()


def _forget(_event=None):
    for stop in _State.stops:
        stop.forget()
    _Left.stops.clear()
    _State.behind = set(_State.stops)
    _State.key = None
    class_list.forget()


gdb.events.exited.connect(_forget)
