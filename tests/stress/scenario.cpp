#include "scenario.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

static const double JAVA_STACKS_SECONDS = 3;
enum { NATIVE_STACKS_SECONDS = 40, NATIVE_STACKS_LINES = 4000 };

/* Within limits of time and of text: a gdb that cannot have one of the threads says so for ever. */
static void show_native_stacks(pid_t pid) {
    const std::string command = "timeout -k 2 " + std::to_string(NATIVE_STACKS_SECONDS) +
                                " gdb --batch -nx -q -iex 'set debuginfod enabled off' -p " + std::to_string(pid) +
                                " -ex 'thread apply all bt 30' 2>&1 </dev/null | head -n " +
                                std::to_string(NATIVE_STACKS_LINES);
    if (system(command.c_str()) != 0) printf("gdb shows no native stacks\n");
}

/* Everything that tells why the process hangs. */
static void show_all_stacks(session& s) {
    const size_t before = s.program.stacks_shown();
    s.program.ask_for_stacks();
    try {
        if (s.d) s.d->target.wait(JAVA_STACKS_SECONDS, "stacks", [&] { return s.program.stacks_shown() > before; });
    } catch (const failure&) {
        /* a VM that is stuck shows none */
    }
    printf("---- what the program printed\n%s%s\n---- native stacks\n", s.program.output().c_str(),
           s.program.errors().c_str());
    fflush(stdout);
    s.d.reset();
    show_native_stacks(s.program.pid());
}

void expect(bool condition, const std::string& text) {
    if (!condition) throw failure("not so: " + text);
}

void expect_equal(long value, long expected, const std::string& what) {
    if (value != expected) throw failure(what + ": " + std::to_string(value) + ", not " + std::to_string(expected));
}

session::session(const surroundings& where, report& of, const std::string& name,
                 const std::vector<std::string>& arguments, const std::string& log_settings)
    : around(where), found(of), program(where, name, arguments, log_settings) {}

session::~session() {
    const bool has_ended = d && d->target.has_ended();
    if (hang::happened && !has_ended) show_all_stacks(*this);
    hang::happened = false;
    if (has_ended) program.note_reaped();
}

void session::attach() {
    program.await_agent();
    d = std::make_unique<debugger>(program.pid());
    /* on a busy machine the VM may start faster than we come: main runs when the first contact is over */
    if (!d->meet([this] { return program.has_printed("ready\n"); })) d->attach();
}

void session::measure(memory_figures& figures, size_t& handles) {
    const size_t before = program.stacks_shown();
    program.ask_for_stacks();
    d->target.wait(STOP_SECONDS, "the VM's list of its stacks", [&] { return program.stacks_shown() > before; });
    figures.resident_kilobytes = program.resident_kilobytes();
    figures.references = program.references();
    handles = d->handles();
}
