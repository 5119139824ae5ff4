/* The end of the program, of the debugger, of its hold on the program, and of classes. */
#include "scenarios.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

/* Runs of a program that ends in the midst of stops. */
static void run_deaths(const surroundings& around, report& found, int runs, const char* how, int status,
                       const std::string& log_settings = "") {
    for (int run = 0; run < runs; run++) {
        session s(around, found, "Deaths", {how, std::to_string(run)}, log_settings);
        s.attach();
        s.d->set_breakpoint("Deaths", "reached");
        if (run == 0) s.measure_start();
        if (run == runs - 1) s.measure_end();
        s.program.go();
        s.d->run_to_end([&] { found.stops += s.d->is_at("hook_bpt"); });
        s.check_end(status);
    }
    found.note("runs", runs);
}

void death_by_exit(const surroundings& around, report& found) {
    run_deaths(around, found, around.full ? 200 : 4, "exit", 11);
}

void death_by_return(const surroundings& around, report& found) {
    run_deaths(around, found, around.full ? 200 : 4, "return", 0);
}

void death_with_a_log(const surroundings& around, report& found) {
    const char settings[] = "options -file agent.log\nLogJVMDI SERIAL SRCLOC\nLogJVMDI_VM_thread TIMESTAMP\n";
    run_deaths(around, found, around.full ? 100 : 3, "exit", 11, settings);
    run_deaths(around, found, around.full ? 100 : 3, "return", 0, settings);
}

/* At a stop: something of each kind that is still to come when the debugger leaves. */
static void leave_things_pending(debugger& d, int round, jmethodID twice) {
    const auto stop = d.event.u.breakpoint;
    const word argument = d.out(sizeof(jvalue));
    if (round % 3 == 1)
        d.ask("agent_invoke_static_method", {d.env, arg(stop.thread), arg(stop.clazz), arg(twice), 'I', 1, argument, 0,
                                             d.out(sizeof(AgentInvokRet))});
    else if (round % 3 == 2)
        d.enable(JVMDI_EVENT_SINGLE_STEP, 1, stop.thread);
    /* else: the events of the other threads that are queued already */
}

/* Comes, sets a breakpoint, stops some times, leaves something pending, and leaves. Gives the stops. */
static int one_visit(debugger& d, int round) {
    d.attach();
    d.set_breakpoint("Working", "reached");
    const jmethodID twice = d.method(d.find_class("Working"), "twice");
    int stops = 0;
    while (stops < 5) {
        if (!d.next_stop()) throw failure("the program ends in the middle of a visit");
        stops += d.is_at("hook_bpt");
    }
    const auto stop = d.event.u.breakpoint;
    d.ask("agent_clear_breakpoint", {d.env, arg(stop.clazz), arg(stop.method), 0, 0});
    leave_things_pending(d, round, twice);
    return stops;
}

void attach_and_detach_under_load(const surroundings& around, report& found) {
    const int rounds = around.full ? 200 : 6;
    session s(around, found, "Working", {"4"});
    s.start_alone();
    for (int round = 0; round < rounds; round++) {
        s.d = std::make_unique<debugger>(s.program.pid());
        found.stops += one_visit(*s.d, round);
        if (round == rounds / 10 + 1) s.measure_start();
        if (round == rounds - 1) s.measure_end();
        s.d->detach_java();
        s.d.reset();
    }
    found.expected = 5 * rounds;
    s.program.go();
    s.program.check_end(s.program.await_end(STOP_SECONDS), 7);
    found.note("visits", rounds);
}

/* As on a machine so busy that the VM has started before the debugger has a look. */
void debugger_comes_late(const surroundings& around, report& found) {
    session s(around, found, "Deaths", {"return", "0"});
    s.program.await_ready();
    s.attach();
    s.d->set_breakpoint("Deaths", "reached");
    s.measure_start();
    s.measure_end();
    s.program.go();
    s.d->run_to_end([&] { found.stops += s.d->is_at("hook_bpt"); });
    s.check_end(0);
    expect(found.stops > 0, "the debugger sees stops");
}

/* What the debugger has done last when it is killed. Its breakpoint instructions are out again, as a debugger has it that
 * inserts them only while the process runs. */
static const char* const stages[] = {"seized",
                                     "asked to attach",
                                     "at the agent's answer",
                                     "attached",
                                     "at a stop",
                                     "after a call",
                                     "with an invocation left",
                                     "with a step left",
                                     "with a control-C request"};

static void reach_stage(debugger& d, int stage) {
    if (stage == 0) return;
    if (stage == 1) return d.target.write<jint>(d.names["jquor_attached"], 1);
    d.attach();
    if (stage == 2) return;
    d.set_breakpoint("Working", "reached");
    const jmethodID twice = d.method(d.find_class("Working"), "twice");
    if (stage == 3) return;
    do {
        if (!d.next_stop()) throw failure("the program ends before its first stop");
    } while (!d.is_at("hook_bpt"));
    if (stage == 5) d.threads();
    if (stage == 6) leave_things_pending(d, 1, twice);
    if (stage == 7) leave_things_pending(d, 2, twice);
    if (stage == 8) d.request_control_c();
}

/* A debugger in a process of its own, which comes that far and is killed. */
static void run_killed_debugger(pid_t pid, int stage) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            debugger d(pid, tracee::on_our_death::lives_on);
            reach_stage(d, stage);
            d.target.remove_breakpoints();
            kill(getpid(), SIGKILL);
        } catch (const failure& what) {
            fprintf(stderr, "%s\n", what.what());
        }
        _exit(1);
    }
    int status;
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {}
    expect(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL,
           std::string("the debugger comes as far as: ") + stages[stage]);
}

/* After each, another debugger finds the program in order, and the program ends as ever. */
void debugger_killed_at_each_stage(const surroundings& around, report& found) {
    const int rounds = around.full ? 10 : 1, count = sizeof stages / sizeof *stages;
    for (int round = 0; round < rounds; round++)
        for (int stage = 0; stage < count; stage++) {
            session s(around, found, "Working", {"4"});
            s.start_alone();
            run_killed_debugger(s.program.pid(), stage);
            s.d = std::make_unique<debugger>(s.program.pid());
            found.stops += one_visit(*s.d, 0);
            if (round == 0 && stage == 0) s.measure_start();
            s.measure_end();
            s.d->detach_java();
            s.d.reset();
            s.program.go();
            s.program.check_end(s.program.await_end(STOP_SECONDS), 7);
        }
    found.expected = 5L * rounds * count;
    found.note("stages", count);
}

void class_unloading(const surroundings& around, report& found) {
    const int classes = around.full ? 2000 : 200;
    session s(around, found, "Unloading", {std::to_string(classes)});
    s.attach();
    s.d->set_breakpoint("Unloading", "made");
    s.measure_start();
    s.program.go();
    found.expected = classes;
    while (s.d->next_stop() && !s.d->is_at("hook_bpt")) {
        if (!s.d->is_at("hook_class_prepare")) continue;
        const word info = s.d->out(sizeof(class_info));
        s.d->ask("agent_get_classinfo", {s.d->env, arg(s.d->event.u.class_event.clazz), info});
        found.stops += std::string(s.d->get<class_info>(info).signature) == "LUnloading$Brief;";
    }
    expect(s.d->is_stopped(), "the classes are made");
    s.measure_end();
    s.d->detach_java();
    s.d.reset();
    s.program.go();
    s.program.check_end(s.program.await_end(STOP_SECONDS), 7);
    found.note("classes left", s.program.figure("left"));
    expect_equal(found.stops, found.expected, "stops");
    expect(s.program.figure("left") <= 1, "the classes unload after the detach");
}
