"""The condition of a stop: a Java expression that must be true there. What memory tells is judged without stopping the program for
the user; a method call needs the stop."""
from quor import evaluation
from quor.agent import hooks
from quor.errors import QuorError
from quor.event_frame import EventFrame
from quor.expression import evaluator, parser
from quor.hotspot.world import MemoryWorld
from quor.selection import Selection
from quor.stack import select_innermost_java


class Condition:
    """A condition. Raises a QuorError when the text is no expression."""

    def __init__(self, text):
        self.text = text
        self._tree = parser.parse(text)

    def holds(self, event):
        """True or False; None when only the agent can tell. In stop(): memory alone is read."""
        try:
            frame = EventFrame(event)
            return evaluator.holds(self._tree, MemoryWorld(frame.vm, frame.readers, frame.java))
        except QuorError:
            return None

    def holds_by_asking(self, event):
        """True or False, at the stop; a QuorError says why it cannot be judged."""
        with Selection():
            thread = hooks.event_thread(event)
            if thread is not None:
                thread.switch()
                select_innermost_java()
            return evaluation.holds(self._tree)
