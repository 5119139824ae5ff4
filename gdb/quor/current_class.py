"""The class of the selected Java frame; what classes have, for completion."""
import gdb

from quor import names, stack
from quor.agent import questions
from quor.breakspec import LinePlace
from quor.errors import QuorError


def line(number):
    """The LinePlace of a line alone: of the file of the selected Java frame, or of the first outwards."""
    try:
        java = next((entry.java for entry in stack.selected() + stack.java_entries() if stack.is_java(entry)), None)
    except gdb.error:
        java = None
    if java is None:
        raise QuorError("no Java frame is selected: give CLASS:LINE")
    klass = names.class_name(java.method.klass)
    return LinePlace(klass.partition("$")[0], java.method.source, number)


def method_names(name):
    """The methods of a prepared class; empty where the agent cannot be asked."""
    return sorted({method.name for method in _asked(name, questions.methods) if not method.name.startswith("<")})


def field_names(name):
    """The fields that a prepared class declares; empty where the agent cannot be asked."""
    return sorted(field.name for field in _asked(name, questions.fields))


def _asked(name, question):
    try:
        with questions.asking("completion"):
            for candidate in names.class_candidates(name):
                for handle in questions.classes_named(names.class_signature(candidate)):
                    return question(handle)
    except (QuorError, gdb.error):
        pass
    return []
