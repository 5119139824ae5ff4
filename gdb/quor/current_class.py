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
    try:
        with questions.asking("completion"):
            for candidate in names.class_candidates(name):
                for handle in questions.classes_named(names.class_signature(candidate)):
                    return sorted({method.name for method in questions.methods(handle) if not method.name.startswith("<")})
    except (QuorError, gdb.error):
        pass
    return []
