"""The outermost boundary of what gdb calls by itself: an error that nobody expected becomes one line, once, and the frame gdb's."""
import gdb

_said = set()


def complain(error):
    """Says what went wrong, each kind of error once; gdb goes on without what failed."""
    text = f"{type(error).__name__}: {error}"
    where = _place(error.__traceback__)
    if where not in _said:
        _said.add(where)
        gdb.write(f"quor: a Java frame is not shown: {text} ({where})\n", gdb.STDERR)


def _place(trace):
    """The innermost function and line of the error."""
    while trace is not None and trace.tb_next is not None:
        trace = trace.tb_next
    return f"{trace.tb_frame.f_code.co_name}:{trace.tb_lineno}" if trace is not None else "?"
