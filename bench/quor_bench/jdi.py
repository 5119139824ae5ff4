"""The JDK's own agent with a debugger on it: jdi/StopClient.java, in a JVM of its own."""
import subprocess

from .beside import await_line, running
from .jvm import Failed, LIMIT, figures


def run(jvm, program, arguments, *request):
    """Runs the program with the JDK's agent and the client on it. `request`: what the client asks for, and of which method. Among
    the figures are the client's `events`, how many it was shown."""
    what, *method = request
    with running(jvm.command("jdk", program, *arguments), env=jvm.environment("jdk")) as debuggee:
        port = await_line(debuggee, r"address: (\d+)").group(1)
        await_line(debuggee, "ready")
        with running([jvm.client_java, "-cp", jvm.classes, "StopClient", port, what, program, *method]) as client:
            await_line(client, "set")
            output, _ = debuggee.communicate("\n", timeout=LIMIT)
            if debuggee.returncode != 0:
                raise Failed(f"{program} under the JDK's agent ends with {debuggee.returncode}:\n{output}")
            told, _ = client.communicate(timeout=LIMIT)
            return {**figures(output), **figures(told)}


def is_there(client_java):
    """Whether that java's JDK has the JDI."""
    ran = subprocess.run([client_java, "--list-modules"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
    return "jdk.jdi" in ran.stdout
