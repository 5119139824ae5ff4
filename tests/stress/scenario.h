/* scenario.h: what a stress scenario is, and what it reports. */
#ifndef QUOR_STRESS_SCENARIO_H
#define QUOR_STRESS_SCENARIO_H

#include "debugger.h"
#include "jvm.h"

#include <memory>
#include <string>
#include <vector>

/* What a scenario found. Printed whether it passes or not. */
struct report {
    long stops = 0;    /* that the debugger saw */
    long expected = 0; /* that it had to see; 0: not known beforehand */
    std::string notes; /* further figures */
    memory_figures start, end;
    size_t handles_at_start = 0, handles_at_end = 0;

    void note(const std::string& name, long value) { notes += ", " + name + " " + std::to_string(value); }
    long lost() const { return expected > stops ? expected - stops : 0; }
};

/* A program, the debugger on it, and the report that is being made. The steps that scenarios have in common. */
class session {
public:
    session(const surroundings& around, report& of, const std::string& program,
            const std::vector<std::string>& arguments, const std::string& log_settings = "");
    /* After a hang, shows every stack first. */
    ~session();

    /* The debugger takes hold while the VM starts, and stands at the agent's first contact, or at its answer when that is over;
     * the program will wait for go(). */
    void attach();
    /* The program has started, without a debugger. */
    void start_alone() {
        program.await_ready();
        program.go();
    }
    /* Notes the memory, at a stop. */
    void measure(memory_figures& figures, size_t& handles);
    void measure_start() { measure(found.start, found.handles_at_start); }
    void measure_end() { measure(found.end, found.handles_at_end); }
    /* The program has ended under the debugger: how. */
    void check_end(int expected) { program.check_end(d->target.wait_status(), expected); }

    const surroundings& around;
    report& found;
    jvm program;
    std::unique_ptr<debugger> d;
};

typedef void (*scenario_function)(const surroundings& around, report& found);

struct scenario {
    const char* name;
    const char* what;
    scenario_function run;
};

extern const std::vector<scenario> scenarios;

/* A failure with this text unless the condition holds. */
void expect(bool condition, const std::string& text);
void expect_equal(long value, long expected, const std::string& what);

#endif
