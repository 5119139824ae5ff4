/* Stops and what is asked at them, while other threads run, start, end and enter new classes. */
#include "scenarios.h"

#include <set>

/* Asks of a thread what a debugger shows of it. While threads run, every question may come too late: 10 and 15 the thread has
 * ended, 13 it is not suspended, 31 and 32 it has other frames now, 34 and 35 other variables. */
static void look_at(debugger& d, jthread thread) {
    const std::initializer_list<jint> late = {0, 10, 13, 15, 31, 32, 34, 35, 101};
    const word a = d.out(256);
    d.ask("agent_get_threadinfo", {d.env, arg(thread), a, a + 64, a + 80, a + 96}, late);
    d.ask("agent_get_framecount", {d.env, arg(thread), a}, late);
    d.ask("agent_get_currentframe", {d.env, arg(thread), a, a + 16, a + 32, a + 48}, late);
    d.ask("agent_get_localint", {d.env, 0, 0, a, arg(thread), 0}, late);
    d.ask("agent_get_owned_monitorinfo", {d.env, arg(thread), a}, late);
    d.ask("agent_get_contended_monitor", {d.env, arg(thread), a}, late);
}

/* Eight threads at one breakpoint, and a debugger that only counts: how fast the agent's road is. */
void nothing_but_stops(const surroundings& around, report& found) {
    const int threads = 8, times = around.full ? 10000 : 400;
    session s(around, found, "Hits", {std::to_string(threads), std::to_string(times)});
    s.attach();
    s.d->set_breakpoint("Hits", "reached");
    s.measure_start();
    s.program.go();
    found.expected = threads * times;
    double begin = 0;
    s.d->run_to_end([&] {
        if (!s.d->is_at("hook_bpt")) return;
        if (++found.stops == 1) begin = seconds_now();
        if (found.stops < found.expected) return;
        found.note("a second", (long)((double)(found.stops - 1) / (seconds_now() - begin)));
        s.measure_end();
    });
    s.check_end(7);
    expect_equal(found.stops, found.expected, "stops");
}

/* Two threads; at each stop questions about both, and the same again after everybody was let run. */
void queries_racing_with_resume(const surroundings& around, report& found) {
    const int times = around.full ? 10000 : 400;
    session s(around, found, "Hits", {"2", std::to_string(times)});
    s.attach();
    s.d->set_breakpoint("Hits", "reached");
    s.program.go();
    found.expected = 2 * times;
    std::set<jthread> hitting;
    s.d->run_to_end([&] {
        if (!s.d->is_at("hook_bpt")) return;
        if (++found.stops == found.expected / 4) s.measure_start();
        hitting.insert(s.d->event.u.breakpoint.thread);
        for (const jthread thread : hitting) look_at(*s.d, thread);
        s.d->ask("agent_resume_all", {s.d->env}, {0, 13});
        for (const jthread thread : hitting) look_at(*s.d, thread);
        if (found.stops == found.expected - 100) s.measure_end(); /* both threads are at work still */
    });
    s.check_end(7);
    expect_equal(found.stops, found.expected, "stops");
}

/* At each stop a class is entered by eight threads for the first time, and gets a breakpoint while it is new. */
void eight_threads_into_one_fresh_class(const surroundings& around, report& found) {
    const int threads = 8, rounds = around.full ? 100 : 12;
    session s(around, found, "Fresh", {std::to_string(threads), std::to_string(rounds)});
    s.attach();
    s.program.go();
    found.expected = (threads + 1) * rounds;
    long prepared = 0;
    s.d->run_to_end([&] {
        debugger& d = *s.d;
        if (d.is_at("hook_bpt")) {
            found.stops++;
        } else if (d.is_at("hook_class_prepare")) {
            const jclass clazz = d.event.u.class_event.clazz;
            const word info = d.out(sizeof(class_info));
            d.ask("agent_get_classinfo", {d.env, arg(clazz), info});
            if (std::string(d.get<class_info>(info).signature) != "LFresh$Entered;") return;
            d.ask("agent_set_breakpoint", {d.env, arg(clazz), arg(d.method(clazz, "enter")), 0, 0});
            found.stops++;
            if (++prepared == 2) s.measure_start();
            if (prepared == rounds) s.measure_end();
        }
    });
    s.check_end(7);
    expect_equal(prepared, rounds, "fresh classes prepared");
    expect_equal(found.stops, found.expected, "stops");
}

/* Hundreds of live threads that end and are replaced, half of them by native code that attaches and detaches them. */
void churn_of_threads(const surroundings& around, report& found) {
    const int live = around.full ? 500 : 60, milliseconds = around.full ? 100000 : 3000;
    session s(around, found, "Churn", {around.library, std::to_string(live), std::to_string(milliseconds)});
    s.attach();
    s.d->set_breakpoint("Churn", "living");
    s.program.go();
    const double begin = seconds_now();
    bool at_start = false, at_end = false;
    long started = 0, stopped = 0;
    s.d->run_to_end(
        [&] {
            debugger& d = *s.d;
            started += d.is_at("hook_thread_start");
            stopped += d.is_at("hook_thread_stop");
            if (!d.is_at("hook_bpt")) return;
            found.stops++;
            const double passed = (seconds_now() - begin) * 1000;
            if (!at_start && passed > 0.3 * milliseconds) {
                at_start = true;
                s.measure_start();
            } else if (!at_end && passed > 0.9 * milliseconds) {
                at_end = true;
                s.measure_end();
            }
        },
        milliseconds / 1000 + 2 * STOP_SECONDS);
    s.check_end(7);
    found.expected = s.program.figure("lives");
    found.note("native threads", s.program.figure("native"));
    found.note("starts seen", started);
    found.note("ends seen", stopped);
    expect_equal(found.stops, found.expected, "stops");
    expect(found.handles_at_end < found.handles_at_start + (size_t)live, "handles of ended threads are released");
}

/* Control-C stops one after the other, while threads of every kind are at work. */
void control_c_under_load(const surroundings& around, report& found) {
    const int times = around.full ? 1000 : 40;
    session s(around, found, "Working", {"4"});
    s.attach();
    s.program.go();
    found.expected = times;
    for (; found.stops < times; found.stops++) {
        s.d->control_c();
        if (found.stops == times / 10) s.measure_start();
        for (const jthread thread : s.d->threads()) {
            const word count = s.d->out(sizeof(jint));
            s.d->ask("agent_get_framecount", {s.d->env, arg(thread), count}, {0, 10, 15});
        }
    }
    s.measure_end();
    s.program.go();
    s.d->run_to_end();
    s.check_end(7);
}
