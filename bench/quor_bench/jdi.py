"""The JDK's own agent with a debugger on it: jdi/StopClient.java, in a JVM of its own."""
import contextlib
import re
import subprocess

from .jvm import Failed, LIMIT, figures


@contextlib.contextmanager
def _process(command, **further):
    process = subprocess.Popen(list(map(str, command)), stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               text=True, **further)
    try:
        yield process
    finally:
        if process.poll() is None:
            process.kill()
        process.stdin.close()
        process.wait()
        process.stdout.close()


def _await_line(process, pattern):
    """The first line that matches; what comes before it is passed over."""
    seen = []
    for line in process.stdout:
        seen.append(line)
        if found := re.search(pattern, line):
            return found
    raise Failed(f"no line '{pattern}' in:\n{''.join(seen)}")


def run(jvm, program, arguments, *request):
    """Runs the program with the JDK's agent and the client on it. `request`: what the client asks for, and of which method. Among
    the figures are the client's `events`, how many it was shown."""
    what, *method = request
    with _process(jvm.command("jdk", program, *arguments), env=jvm.environment("jdk")) as debuggee:
        port = _await_line(debuggee, r"address: (\d+)").group(1)
        _await_line(debuggee, "ready")
        with _process([jvm.client_java, "-cp", jvm.classes, "StopClient", port, what, program, *method]) as client:
            _await_line(client, "set")
            output, _ = debuggee.communicate("\n", timeout=LIMIT)
            if debuggee.returncode != 0:
                raise Failed(f"{program} under the JDK's agent ends with {debuggee.returncode}:\n{output}")
            told, _ = client.communicate(timeout=LIMIT)
            return {**figures(output), **figures(told)}


def is_there(client_java):
    """Whether that java's JDK has the JDI."""
    ran = subprocess.run([client_java, "--list-modules"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
    return "jdk.jdi" in ran.stdout
