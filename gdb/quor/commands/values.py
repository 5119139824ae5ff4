"""java print, set, call, dump, and $java(): values of Java expressions."""
import gdb

from quor import completion, evaluation, show
from quor.commands import command
from quor.errors import QuorError

_DEPTH, _MAX_DEPTH = 2, 4
_ALL = show.Limits(text=1 << 16, elements=1 << 16, fields=1 << 12)


def _print(value, text, depth=1, limits=None):
    if value.type == "V":
        gdb.write("void\n")
        return
    shown = evaluation.text_of(value, depth, limits)
    gdb.write(f"{evaluation.keep(value, text)} = {shown}\n")


@command("print", group="Look", states=("stopped", "core"), usage="EXPR", complete=completion.of_expression,
         examples=("java print order.amount * 2", "java print items[0]", "java print Shop.served", "java print $j1.name"))
def print_command(arguments, _from_tty):
    """The value of a Java expression at the selected frame; it is kept as $j1, $j2...

    Locals, fields, statics, array elements, operators, casts and instanceof are read from memory, at any stop and in core files.
    Method calls run in the thread of a Java stop, all others too meanwhile, for five seconds at most."""
    _print(evaluation.evaluate(_required("java print", arguments)), arguments)


@command("call", group="Change", states=("stopped",), usage="EXPR", complete=completion.of_expression,
         examples=("java call order.price(10)", "java call item.toString()"))
def call_command(arguments, _from_tty):
    """Evaluates an expression that calls methods, in the thread of a Java stop. All Java threads run meanwhile; a method that does
    not return within five seconds is given up."""
    _print(evaluation.evaluate_by_calls(_required("java call", arguments)), arguments)


@command("set", group="Change", states=("stopped",), usage="EXPR = VALUE", complete=completion.of_expression,
         examples=("java set amount = 5", "java set this.items[0] = null"))
def set_command(arguments, _from_tty):
    """Changes a local, a field or an array element."""
    _print(evaluation.assign(_required("java set", arguments)), arguments.partition("=")[0].strip())


@command("dump", group="Look", states=("stopped", "core"), usage="[-all] EXPR", complete=completion.of_expression,
         examples=("java dump this", "java dump -all items"))
def dump_command(arguments, _from_tty):
    """An object with its fields and theirs; -all: deeper, and all elements and characters."""
    whole = arguments.startswith("-all ")
    text = _required("java dump", arguments[len("-all"):].strip() if whole else arguments)
    _print(evaluation.evaluate(text), text, _MAX_DEPTH if whole else _DEPTH, _ALL if whole else None)


def _required(what, arguments):
    if not arguments:
        raise QuorError(f"{what}: which expression?")
    return arguments


class _JavaFunction(gdb.Function):
    """$java("EXPR"): the value of a Java expression for gdb's own expressions. Numbers and truth values as such, the rest as text."""

    def __init__(self):
        super().__init__("java")

    def invoke(self, text):
        try:
            value = evaluation.evaluate(text.string())
            if value.is_primitive and value.type != "C":
                return value.payload
            string = evaluation.string_of(value)
            return evaluation.text_of(value) if string is None else string
        except QuorError as error:
            raise gdb.GdbError(str(error)) from None


_JavaFunction()
