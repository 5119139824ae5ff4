"""java thread, interrupt, stop, suspend, resume: one Java thread."""
import gdb

from quor import show, thread_names, throwables
from quor.agent import access, calls, questions, session
from quor.agent.questions import asking
from quor.commands import classes, command, stack
from quor.errors import QuorError

_UNCHANGED = {13: "it is not suspended", 14: "it is suspended already", 15: "it has not started, or has ended"}


def _named(what, arguments):
    """gdb's thread of the argument."""
    if not arguments:
        raise QuorError(f"java {what}: which thread? Its number or name; java threads lists them")
    return thread_names.find(arguments)


def _shown(thread):
    return show.thread_name(thread.num, thread_names.name_of(thread))


def _ask(what, thread, function, *arguments):
    try:
        questions.ask(function, questions.thread_handle(thread), *arguments)
    except questions.Refused as error:
        why = _UNCHANGED.get(error.code)
        raise QuorError(f"java {what}: {_shown(thread)}: {why}" if why else str(error)) from None


@command("thread", group="Look", states=("stopped", "core"), usage="[N|NAME]", complete=thread_names.words,
         examples=("java thread 22", "java thread pool-1-thread-4"))
def thread_command(arguments, _from_tty):
    """Selects a thread by gdb's number or by its Java name, and shows where it is; without an argument the selected one."""
    if arguments:
        thread_names.find(arguments).switch()
    gdb.write(f"{_shown(gdb.selected_thread())}\n")
    stack.print_selected()


@command("interrupt", group="Change", states=("stopped",), usage="THREAD", complete=thread_names.words,
         examples=("java interrupt 22", "java interrupt worker-3"))
def interrupt_command(arguments, _from_tty):
    """Interrupts a Java thread, as Thread.interrupt does: a wait or sleep of it ends with an InterruptedException."""
    thread = _named("interrupt", arguments)
    shown = _shown(thread)
    with asking("java interrupt"):
        _ask("interrupt", thread, "agent_interruptthread")
    gdb.write(f"{shown} is interrupted.\n")


def _thread_and_class(text):
    thread, _, name = text.rpartition(" ")
    if not thread:
        raise QuorError("java stop: which thread, and which exception? java stop worker-3 java.lang.IllegalStateException")
    return thread.strip(), name


@command("stop", group="Change", states=("stopped",), usage="THREAD EXCEPTION",
         complete=lambda text, word: thread_names.words() + classes.class_names(),
         examples=("java stop worker-3 java.lang.IllegalStateException",))
def stop_command(arguments, _from_tty):
    """Throws an exception of this class in a Java thread, wherever it is.

    At a Java stop its constructor makes it, the one that takes nothing or the one that takes a String, in the thread of the stop,
    and it gets the stack trace of the thread that throws it. Elsewhere it is made without: it has neither message nor stack
    trace. A thread that waits in native code is stopped when it comes back; in the thread of a Java stop a method that is called
    next would throw it, so continue first. The class is loaded if it is not."""
    text, name = _thread_and_class(arguments)
    thread = _named("stop", text)
    shown = _shown(thread)  # it may be gone at once
    with asking("java stop"):
        made = throwables.new(_class(name), name, questions.thread_handle(thread))
        _ask("stop", thread, "agent_stopthread", made.reference)
    gdb.write(f"{shown} throws {name}.\n")
    if made.lacks:
        gdb.write(f"It was made without its constructor, so it has no message and no stack trace: {made.lacks}.\n")


def _class(name):
    try:
        return classes.find(name)[0]
    except QuorError:
        found = questions.class_by_name(name.replace(".", "/"))
        if found is None:
            raise QuorError(f"java stop: there is no class {name}") from None
        return found.handle


@command("suspend", group="Change", states=("stopped",), usage="THREAD", complete=thread_names.words,
         examples=("java suspend worker-3",))
def suspend_command(arguments, _from_tty):
    """Suspends a Java thread: it stands still while the program runs, until java resume, or until a Java stop is over.

    At a Java stop all threads are suspended, and go on together; give the command where the program stopped natively (Ctrl-C). A
    thread in native code runs on there, and stands still when it comes back. Commands that ask the agent let it run for a moment."""
    thread = _named("suspend", arguments)
    if session.state() == "hook":
        raise QuorError("java suspend: at a Java stop all threads are suspended and go on together; suspend it after Ctrl-C")
    handle, shown = questions.thread_handle(thread), _shown(thread)
    _change("suspend", thread, "agent_suspendthread")
    access.suspended_by_user.add(handle)
    gdb.write(f"{shown} is suspended; java resume lets it go on.\n")


@command("resume", group="Change", states=("stopped",), usage="THREAD", complete=thread_names.words,
         examples=("java resume worker-3",))
def resume_command(arguments, _from_tty):
    """Lets a suspended Java thread go on; at a Java stop while the others stand still."""
    thread = _named("resume", arguments)
    handle, shown = questions.thread_handle(thread), _shown(thread)
    if session.state() == "hook":
        _ask("resume", thread, "agent_resumethread")
    else:
        _change("resume", thread, "agent_resumethread")
    access.suspended_by_user.discard(handle)
    gdb.write(f"{shown} goes on.\n")


def _change(what, thread, function):
    """Asks at a native stop, where holding all threads would undo it."""
    session.require(f"java {what}", "native", "loaded")
    calls.forget_scratch()
    with access.called():
        _ask(what, thread, function)
