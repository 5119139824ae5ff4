"""Starting a case's program under gdb or alone, taking hold of it, leaving it."""
import os
import shlex
import subprocess

import gdb

from checks import check, check_equal
from quor.agent import place, session
from stops import Process, forget_hooks, forget_process, run, run_to
from surroundings import CONFIG, forget_files, read_file
from waits import LIMIT, wait_for

_HERE = os.path.dirname(os.path.abspath(__file__))


def _java_options(program, arguments, agent_options, load, options):
    named, separator = ("-agentlib:", "=") if load == "-agentlib" else ("-Xrun", ":")
    agent = f"{named}quor_agent" + (separator + agent_options if agent_options else "")
    return ["-Xmx64m", *CONFIG["options"], agent, *options, "-cp", CONFIG["classes"], program, *arguments]


def _shell_quoted(words):
    return " ".join(map(shlex.quote, words))


def start(program, *arguments, agent_options="", load="-agentlib", options=(), until=place.FIRST_CONTACT, expected_signal=None):
    """Starts a program under gdb and runs it to a hook (the agent's first contact), whose Stop it gives."""
    forget_process()
    gdb.execute(f"file {CONFIG['java']}", to_string=True)
    gdb.execute(f"set environment LD_LIBRARY_PATH {CONFIG['agent_dir']}")
    words = _shell_quoted(_java_options(program, arguments, agent_options, load, options))
    gdb.execute(f"set args {words} >{CONFIG['output']} 2>{CONFIG['errors']}")
    return run((until,) if until else (), start_first=True, expected_signal=expected_signal)


def start_to_abort(program, *arguments, **how):
    """Starts a program whose start-up ends in abort()."""
    start(program, *arguments, until=None, expected_signal="SIGABRT", **how)
    check_equal(getattr(Process.stopped, "stop_signal", None), "SIGABRT", "the process aborts with")
    gdb.execute("kill", to_string=True)


def start_alone(program, *arguments, agent_options=""):
    """Starts a program without gdb; gives its process id. alone_status() waits for its end."""
    words = _shell_quoted([CONFIG["java"], *_java_options(program, arguments, agent_options, "-agentlib", ())])
    # A shell is the parent, because gdb reaps any child of its own process.
    script = (f"{words} >{CONFIG['output']} 2>{CONFIG['errors']} & echo $! >pid.new; mv pid.new alone.pid; wait $!; "
              "echo $? >status.new; mv status.new alone.status")
    forget_files("alone.pid", "alone.status")
    env = dict(os.environ, LD_LIBRARY_PATH=CONFIG["agent_dir"])
    subprocess.Popen(["sh", "-c", script], stdin=subprocess.DEVNULL, env=env)
    return int(wait_for(lambda: read_file("alone.pid"), "the program's process id"))


def alone_status(seconds=LIMIT):
    """The exit status of the program that start_alone started, as a shell tells it (134: SIGABRT)."""
    return int(wait_for(lambda: read_file("alone.status"), "the program's end", seconds))


def attach(pid):
    forget_process()
    gdb.execute(f"attach {pid}", to_string=True)


def detach():
    """gdb leaves the process; its breakpoints go with it."""
    forget_hooks()
    gdb.execute("detach", to_string=True)


def select_agent_thread():
    """Selects the agent thread of a process that was stopped anywhere."""
    thread = place.agent_thread()
    check(thread is not None, "the agent thread is among gdb's threads")
    thread.switch()


def meet_agent():
    """Takes hold of the Java side of a process that was stopped anywhere: the flag first, and the call at the agent's answer,
    since the agent thread may be at work."""
    place.set_global("jquor_attached", 1)
    run_to(place.FIRST_CONTACT)
    check_equal(session.attach(), 0, "agent_attach_jquor")


def attach_java_mode():
    """Takes hold of the Java side at a hook; the agent answers later, at its first contact's hook."""
    check_equal(session.attach(), 0, "agent_attach_jquor")
    place.set_global("jquor_attached", 1)


def debugger_process(answer=None):
    """Starts debugger.py, which notes the handshake's signal in debugger.log and answers through ./fifo; its id."""
    forget_files("debugger.log", "debugger.ready")
    fifo = [] if answer is None else ["fifo", answer.hex()]
    subprocess.Popen([CONFIG["python"], os.path.join(_HERE, "debugger.py"), "debugger.log", "debugger.ready", *fifo],
                     stdin=subprocess.DEVNULL)
    return int(wait_for(lambda: read_file("debugger.ready").strip(), "the debugger's process"))
