"""java settings: what gdb has to be told for a JVM."""
import gdb

from quor import signals
from quor.commands import command
from quor.errors import QuorError


@command("settings", group="Start", usage="[off]", complete=("off",), examples=("java settings", "java settings off"))
def settings_command(arguments, _from_tty):
    """Stop at real crashes only: the JVM's own faults pass, a real one stops at its instruction.

    A JVM raises SIGSEGV, SIGBUS and SIGFPE in numbers and handles them: null checks, safepoints, the ends of stacks. A catchpoint
    with a condition tells them apart; delete it, or say `java settings off`, and all is as before. SIGQUIT, SIGUSR1, SIGUSR2,
    SIGPIPE, SIGHUP and SIGXFSZ go to the program without a stop."""
    if arguments not in ("", "off"):
        raise QuorError(f"java settings: no such setting: {arguments}; it takes nothing or off")
    if arguments == "off":
        was = signals.installed()
        signals.undo()
        gdb.write("The signals are handled as before.\n" if was else "Nothing was set.\n")
    else:
        signals.install()
        gdb.write("The JVM's own faults pass; real ones stop the program where they happen.\n")
