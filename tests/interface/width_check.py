#!/usr/bin/env python3
"""Finds places in the agent's sources where a thread id or a reference could be cut to 32 bits.

usage: width_check.py SOURCE_DIR        exit status 1 when there is one

The compiler refuses a cast of a pointer to a smaller integer on x86-64 and, with -Wconversion, every silent narrowing of a
thread id. What is left to look for: an explicit cast of an id, a question about the width outside an assertion, and a printf
conversion of an id or a reference that bypasses the widened formats.
"""
import os
import re
import sys

IDS = r"(?:tid\w*|\w*_tid\w*|agent_self|pthread_self|handle|uref|ref|reference|thread|clazz|method|object|field|location)\b"
RULES = {
    "an id or reference cast to 32 bits":
        re.compile(r"\((?:jint|int|unsigned|unsigned int|u?int32_t)\)\s*\(?(?:\w+(?:->|\.))*" + IDS + r"(?!\s*(?:->|\.)\s*\w*(?:count|kind))"),
    "a static_cast of an id or reference to 32 bits":
        re.compile(r"_cast<(?:jint|int|unsigned|unsigned int|u?int32_t)>\((?:\w+(?:->|\.))*" + IDS),
    "a question about the width":
        re.compile(r"^\s*#\s*(?:el)?if.*(?:__i386|__x86_64|__LP64__|_ILP32|__SIZEOF_POINTER__|UINTPTR_MAX)|"
                   r"(?<!static_assert\()\bsizeof\s*\(\s*void\s*\*\s*\)\s*[!=]="),
    "an id printed with a conversion of int":
        re.compile(r'\bf?printf\([^;]*%[xd][^;]*",[^;]*\b' + IDS),
}


def findings(folder):
    for root, _, files in os.walk(folder):
        for name in sorted(files):
            if not name.endswith((".h", ".cpp")):
                continue
            path = os.path.join(root, name)
            with open(path, encoding="utf-8") as source:
                for number, line in enumerate(source, 1):
                    code = re.sub(r"/\*.*?\*/|//.*", "", line)
                    for what, rule in RULES.items():
                        if rule.search(code):
                            yield f"{path}:{number}: {what}: {line.strip()}"


def main(arguments):
    if len(arguments) != 1 or not os.path.isdir(arguments[0]):
        sys.exit(__doc__)
    found = list(findings(arguments[0]))
    print("\n".join(found + [f"{len(found)} places"]))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
