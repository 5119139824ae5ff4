"""A settings file that somebody else may have put into the program's folder is not read, nor waited for; and a log is not written
through a link that stands at its path."""
import contextlib
import os
import shutil

from checks import check, check_equal
from program import alone_status, start_alone
from surroundings import errors, output, read_file

SETTINGS = "options -file agent.log\nLogJVMDI\n"


def clear(name):
    with contextlib.suppress(FileNotFoundError):
        os.unlink(name)


def write_settings():
    clear("C.agent")
    with open("C.agent", "w", encoding="ascii") as file:
        file.write(SETTINGS)


def run(status):
    start_alone("Tour")
    check_equal(alone_status(), status, "the program's exit status")


def check_ignored(reason):
    run(3)
    check_equal(output(), "42\nOther\nExpected\n", "the program's output")
    check(f'log_enable_from_file("C.agent") ignored: {reason}\n' in errors(), f"a line tells that the file is {reason}")
    check(not os.path.lexists("agent.log"), "there is no log")


def check_settings_of_others():
    os.mkfifo("C.agent")
    check_ignored("not a regular file")
    write_settings()
    os.chmod("C.agent", 0o666)
    check_ignored("writable by everybody")
    if os.geteuid() == 0:  # who else could give a file away
        write_settings()
        os.chown("C.agent", 12345, -1)
        check_ignored("owned by another user")


def check_log_at_a_link():
    write_settings()
    with open("treasure", "w", encoding="ascii") as file:
        file.write("untouched\n")
    os.symlink("treasure", "agent.log")
    run(3)
    check_equal(read_file("treasure"), "untouched\n", "what the link led to")
    check(not os.path.islink("agent.log"), "the link has given way to the log")
    check("JVMDI_EVENT_VM_INIT" in read_file("agent.log"), "the log is written")


def check_log_that_cannot_be_made():
    os.unlink("agent.log")
    os.mkdir("agent.log")
    run(1)
    check('log_start(): couldn\'t open "agent.log" -- ' in errors(), "a message tells that there can be no log")
    shutil.rmtree("agent.log")


def case():
    check_settings_of_others()
    check_log_at_a_link()
    check_log_that_cannot_be_made()
