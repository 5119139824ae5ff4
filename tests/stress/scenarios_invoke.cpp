/* Methods that the debugger calls in stopped threads. */
#include "scenarios.h"

struct outcomes {
    long returned = 0;
    long given_up = 0;
};

/* Calls `Class.twice` in a thread and waits for it. */
static void invoke_twice(debugger& d, jthread thread, jclass clazz, jmethodID twice, jint value, outcomes& so_far) {
    const word argument = d.out(sizeof(jvalue)), result = d.out(sizeof(AgentInvokRet));
    d.target.write<jint>(argument, value);
    d.ask("agent_invoke_static_method", {d.env, arg(thread), arg(clazz), arg(twice), 'I', 1, argument, 1, result});
    const auto outcome = d.get<AgentInvokRet>(result);
    if (outcome.status == INVOKE_STATUS_RETURNED) {
        expect_equal(outcome.value.i, 2 * value, "the result of the method");
        so_far.returned++;
    } else {
        expect_equal(outcome.status, INVOKE_STATUS_THREW, "the status of the call");
        expect(!outcome.exception, "the method throws nothing");
        so_far.given_up++;
    }
}

/* Three calls at each stop of some threads, most of which are queued at their own stops meanwhile. */
static void invoke_at_every_stop(const surroundings& around, report& found, int threads, int times) {
    session s(around, found, "Hits", {std::to_string(threads), std::to_string(times)});
    s.attach();
    s.d->set_breakpoint("Hits", "reached");
    const jmethodID twice = s.d->method(s.d->find_class("Hits"), "twice");
    s.program.go();
    found.expected = threads * times;
    outcomes so_far;
    s.d->run_to_end([&] {
        if (!s.d->is_at("hook_bpt")) return;
        found.stops++;
        const auto stop = s.d->event.u.breakpoint;
        if (found.stops == found.expected / 4) s.measure_start();
        if (found.stops == found.expected - 1) s.measure_end();
        for (jint i = 0; i < 3; i++) invoke_twice(*s.d, stop.thread, stop.clazz, twice, i, so_far);
    });
    s.check_end(7);
    found.note("calls returned", so_far.returned);
    found.note("given up", so_far.given_up);
    expect_equal(s.program.figure("hits"), found.expected, "turns of the program's own");
    expect_equal(found.stops, found.expected, "stops");
    /* with more threads, another one's stop always comes first */
    expect(threads > 2 || so_far.returned > 0, "some calls return");
    expect_equal(so_far.returned + so_far.given_up, 3 * found.expected, "outcomes");
    expect(s.program.figure("invoked") >= so_far.returned, "what returned has run");
    expect(s.program.figure("invoked") <= so_far.returned + so_far.given_up, "nothing ran twice");
}

void invocation_with_others_queued(const surroundings& around, report& found) {
    invoke_at_every_stop(around, found, 8, around.full ? 250 : 30);
}

void invocation_with_one_other(const surroundings& around, report& found) {
    invoke_at_every_stop(around, found, 2, around.full ? 1000 : 60);
}

/* Where the others run: at a method's entry and at a thread's end; and at the agent's answer and control-C stops, where all
 * are held but none stands in an event. */
void invocation_at_every_kind_of_stop(const surroundings& around, report& found) {
    const int times = around.full ? 300 : 15;
    session s(around, found, "Working", {"2"});
    s.attach();
    const jmethodID twice = s.d->method(s.d->find_class("Working"), "twice");
    s.program.go();
    outcomes at_entry, at_end, at_control_c;
    found.expected = 3 * times;
    for (int i = 0; i < times; i++) {
        s.d->control_c();
        const jclass clazz = s.d->find_class("Working");
        invoke_twice(*s.d, s.d->event.u.user.object, clazz, twice, i, at_control_c);
        found.stops++;
        if (i == times / 4) s.measure_start();
        s.d->enable(JVMDI_EVENT_METHOD_ENTRY);
        while (s.d->next_stop() && !s.d->is_at("hook_method_entry")) {}
        expect(s.d->is_stopped(), "a method is entered");
        s.d->enable(JVMDI_EVENT_METHOD_ENTRY, 0);
        invoke_twice(*s.d, s.d->event.u.frame.thread, s.d->find_class("Working"), twice, i, at_entry);
        found.stops++;
        while (s.d->next_stop() && !s.d->is_at("hook_thread_stop")) {}
        expect(s.d->is_stopped(), "a thread ends");
        invoke_twice(*s.d, s.d->event.u.thread_change.thread, s.d->find_class("Working"), twice, i, at_end);
        found.stops++;
    }
    s.measure_end();
    s.d->control_c();
    s.program.go();
    s.d->run_to_end();
    s.check_end(7);
    found.note("returned at control-C", at_control_c.returned);
    found.note("at method entry", at_entry.returned);
    found.note("at thread end", at_end.returned);
}
