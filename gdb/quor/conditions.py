"""The condition of a stop: a Java expression that must be true there."""
import operator
import re

from quor.errors import QuorError
from quor.event_frame import EventFrame

_PART = re.compile(r"\s*(?P<name>[^\W\d]\w*)\s*(?:(?P<operator>==|!=|<=|>=|<|>)\s*(?P<literal>-?\d+[lL]?|true|false|null|'.'|\"[^\"]*\"))?\s*")
_OPERATORS = {"==": operator.eq, "!=": operator.ne, "<": operator.lt, ">": operator.gt, "<=": operator.le, ">=": operator.ge}
_WORDS = {"true": True, "false": False, "null": 0}


def parsed(text):
    """A function from an EventFrame to a bool, of comparisons of locals with literals, joined by &&."""
    parts = [_PART.fullmatch(part) for part in text.split("&&")]
    if not all(parts):
        raise QuorError(f"this condition is not understood: {text}; it compares locals with literals: amount > 3 && open")
    return lambda frame: all(_holds(frame, part) for part in parts)


def _holds(frame, part):
    found = frame.local(part["name"])
    if found is None:
        raise QuorError(f"there is no local {part['name']} here")
    signature, value = found
    if part["operator"] is None:
        return bool(value)
    return bool(_OPERATORS[part["operator"]](_text(frame, signature, value), _literal(part["literal"])))


def _text(frame, signature, value):
    return frame.readers.heap.string(value) if signature == "Ljava/lang/String;" and value else value


def _literal(text):
    return _WORDS[text] if text in _WORDS else text[1:-1] if text[0] in "'\"" else int(text.rstrip("lL"))


class Condition:
    """A condition; what it needs is read from memory."""

    def __init__(self, text):
        self.text = text
        self._evaluate = parsed(text)

    def holds(self, event):
        """True or False; None when only the agent can tell. In stop(): memory alone is read."""
        try:
            return self._evaluate(EventFrame(event))
        except QuorError:
            return None

    def holds_by_asking(self, event):
        """True or False, at the stop; a QuorError says why it cannot be judged."""
        return self._evaluate(EventFrame(event))
