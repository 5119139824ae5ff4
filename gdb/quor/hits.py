"""From an event at a hook to a stop that the user sees: who wants it, whether its thread, count and condition agree."""
import gdb

from quor import stop_texts, stops, thread_names
from quor.agent import hooks, settling
from quor.errors import QuorError


class Hit(settling.Reason):
    """The stop of one Stop at one event. `extra()` gives further lines."""

    def __init__(self, stop, event, title, extra=None):
        self.stop, self.event = stop, event
        self._title, self._extra = title, extra
        self.undecided = False  # the condition could not be judged from memory alone

    def passes(self):
        return self.undecided and not self._agrees_now()

    def _agrees_now(self):
        try:
            return self.stop.condition.holds_by_asking(self.event) and counts(self.stop)
        except QuorError as error:
            gdb.write(f"J{self.stop.number}: the condition cannot be judged: {error}\n")
            return counts(self.stop)

    def announce(self):
        return stop_texts.hit(self._title, self.event, self._extra)

    def commands(self):
        return leave(self.stop)


class _Together(settling.Reason):
    """Several at one event: each that agrees is announced."""

    def __init__(self, reasons):
        self._reasons = reasons

    def passes(self):
        self._reasons = [each for each in self._reasons if not each.passes()]
        return not self._reasons

    def announce(self):
        return "\n".join(each.announce() for each in self._reasons)

    def commands(self):
        return [line for each in self._reasons for line in each.commands()]


def leave(stop):
    """The user's commands for a stop that was shown; a temporary one goes."""
    if stop.temporary and stop in stops.all_stops():
        stops.remove(stop)
    return stop.commands


def together(reasons):
    """One Reason of these, or None."""
    return _Together(reasons) if len(reasons) > 1 else reasons[0] if reasons else None


def judged(stop, event, reason):
    """The reason if the stop wants this event, else None. In stop(): memory alone is read."""
    if not _is_open(stop, event):
        return None
    if stop.condition is not None:
        verdict = stop.condition.holds(event)
        reason.undecided = verdict is None
        if reason.undecided or not verdict:
            return reason if reason.undecided else None
    return reason if counts(stop) else None


def _is_open(stop, event):
    return stop.enabled and is_of_thread(stop.thread, hooks.event_thread(event) if stop.thread is not None else None)


def is_meant(stop, event):
    """Whether the stop is enabled, and thread and condition agree as far as memory tells. In stop()."""
    return _is_open(stop, event) and (stop.condition is None or bool(stop.condition.holds(event)))


def counts(stop):
    """Counts a hit; whether it is not one of those to be ignored."""
    stop.hits += 1
    if stop.ignored:
        stop.ignored -= 1
        return False
    return True


def is_of_thread(wanted, thread):
    """Whether a gdb thread is the one of this number or name."""
    if wanted is None:
        return True
    return thread is not None and str(wanted) in (str(thread.num), thread.name, thread_names.name_of(thread))
