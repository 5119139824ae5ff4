"""What a figure was measured on."""
import os
import re
import subprocess


def _cpu():
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        found = re.search(r"model name\s*: (.*)", info.read())
    return found.group(1) if found else os.uname().machine


def _gigabytes():
    with open("/proc/meminfo", encoding="ascii") as info:
        return round(int(re.search(r"MemTotal:\s*(\d+)", info.read()).group(1)) / 2**20)


def _system():
    with open("/etc/os-release", encoding="utf-8") as release:
        return re.search(r'PRETTY_NAME="?([^"\n]*)', release.read()).group(1)


def describe():
    """`load` is how many wanted a processor, over the last minute, when the measuring began: 0 on a quiet machine."""
    return {"cpu": _cpu(), "cores": os.cpu_count(), "memory": _gigabytes(), "kernel": os.uname().release, "system": _system(),
            "load": round(os.getloadavg()[0], 1)}


def sentence(machine):
    return (f"{machine['cpu']}, {machine['cores']} cores, {machine['memory']} GB, Linux {machine['kernel']}, {machine['system']}; "
            f"load when the run began: {machine['load']}")


def jvm_version(java):
    """The full version and the pointer width of a java command."""
    shown = subprocess.run([java, "-XshowSettings:properties", "-version"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                           text=True, check=True).stdout
    width = re.search(r"sun\.arch\.data\.model = (\d+)", shown).group(1)
    return re.search(r"java\.runtime\.version = (\S+)", shown).group(1), int(width)
