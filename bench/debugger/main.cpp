/* The smallest native debugger at the hook: counts, steps over the instruction, goes on. Starts the program, and prints what it
 * printed. */
#include "debugger.h"
#include "jvm.h"

#include <cstdio>

static const double SECONDS = 120;

static void count_stops(const surroundings& around, const std::vector<std::string>& arguments) {
    jvm program(around, "Stops", arguments);
    program.await_agent();
    debugger d(program.pid());
    if (!d.meet([&] { return program.has_printed("ready\n"); })) d.attach();
    d.set_breakpoint("Stops", "reach");
    program.go();
    long stops = 0;
    d.run_to_end([&] { stops += d.is_at("hook_bpt"); }, SECONDS);
    program.note_reaped();
    program.check_end(d.target.wait_status(), 0);
    printf("%sevents=%ld\n", program.output().c_str(), stops);
}

int main(int count, char** words) {
    if (count < 6) {
        fputs("usage: bench_debugger JAVA AGENT_FOLDER CLASSES WORK THREADS:STOPS...\n", stderr);
        return 2;
    }
    surroundings around;
    around.java = words[1];
    around.agent_folder = words[2];
    around.classes = words[3];
    around.work = words[4];
    std::vector<std::string> arguments = {"outside", "-"};
    arguments.insert(arguments.end(), words + 5, words + count);
    try {
        count_stops(around, arguments);
    } catch (const failure& why) {
        fprintf(stderr, "bench_debugger: %s\n", why.what());
        return 1;
    }
    return 0;
}
