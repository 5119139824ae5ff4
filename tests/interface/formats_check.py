#!/usr/bin/env python3
"""Shows that the compiler refuses formats that do not fit their arguments.

usage: formats_check.py BUILD_DIR        exit status 1 when a right use is refused or a wrong one is not

Each use is compiled alone, with the flags of one of the agent's sources. That the right ones compile shows that the wrong ones
are refused for what is wrong with them.
"""
import json
import os
import shlex
import subprocess
import sys

PROGRAM = """
#include "support/log_agent.h"
#include "support/report.h"
static const char LOG_SOURCE[] = "test.c";
void use(JNIEnv* env, jint number, jlong location, const char* text, jobject reference);
void use([[maybe_unused]] JNIEnv* env, [[maybe_unused]] jint number, [[maybe_unused]] jlong location,
         [[maybe_unused]] const char* text, [[maybe_unused]] jobject reference) {
    %s;
    (void)LOG_SOURCE;
}
"""
RIGHT = {
    "a text and numbers": 'AGENT_LOG(LogJVMDI, "%s %d 100%%", text, number)',
    "a reference and a thread id": 'AGENT_LOG(LogJVMDI, "%x %lu", reference, agent_self())',
    "a location": 'AGENT_LOG(LogJVMDI, "%lld", location)',
    "no argument": 'AGENT_LOG(LogJVMDI, "text")',
    "the name of an error": 'report_failure("failed -- %s\\n", number)',
    "a message with an id": 'print_words<"thread %d\\n">(agent_self())',
}
WRONG = {
    "a number as a text": 'AGENT_LOG(LogJVMDI, "%s", 5)',
    "a missing argument": 'AGENT_LOG(LogJVMDI, "%s %d", text)',
    "an argument too many": 'AGENT_LOG(LogJVMDI, "%d", number, number)',
    "a text as a number": 'AGENT_LOG(LogJVMDI, "%d", text)',
    "a message without its error": 'report_failure("failed\\n", number)',
    "a message that wants a number": 'agent_fatal_error("failed %d\\n", number)',
    "a format from outside": "report_failure(text, number)",
    "an id as a text in a message": 'print_words<"thread %s\\n">(agent_self())',
}


def compiler_of(build):
    """The command that compiles one of the agent's sources, without the source and what it writes."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as commands:
        entry = next(one for one in json.load(commands) if one["file"].endswith("agent/event/dump.cpp"))
    words = shlex.split(entry["command"])
    words = [word for word in words if os.path.basename(word) != "ccache"]
    cut = words.index("-o")
    return words[:cut] + ["-fsyntax-only", "-x", "c++", "-"], entry["directory"]


def main(arguments):
    if len(arguments) != 1:
        sys.exit(__doc__)
    command, directory = compiler_of(arguments[0])
    wrong = 0
    for uses, expected in ((RIGHT, True), (WRONG, False)):
        for name, use in uses.items():
            run = subprocess.run(command, input=PROGRAM % use, cwd=directory, capture_output=True, text=True, check=False)
            if (run.returncode == 0) != expected:
                wrong += 1
                print(f"{name}: {use}: {'refused' if expected else 'compiles'}\n{run.stderr}")
    print(f"{len(RIGHT)} right uses, {len(WRONG)} wrong ones, {wrong} of them taken for the other")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
