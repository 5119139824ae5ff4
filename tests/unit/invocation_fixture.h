/* invocation_fixture.h: a thread that stands at a breakpoint, and a debugger that asks for methods in it; the test's own thread
 * is the agent thread.
 */
#ifndef QUOR_TEST_INVOCATION_FIXTURE_H
#define QUOR_TEST_INVOCATION_FIXTURE_H

#include "entry/agent_entry.h"
#include "event_fixture.h"
#include "watched_monitor.h"

using sim::Invocation;
using sim::Value;

enum { ASYNCHRONOUS = 0, SYNCHRONOUS = 1 };

struct Invocations : EventTest {
    Invocations() : worker(sim.new_thread("worker")), receiver(sim.new_object(foo)) {}

    /* Stops the worker at a breakpoint, lets the debugger do `at_hook` there with the worker's handle, and gives the thread,
     * which goes on with `afterwards` when its event is over. */
    std::unique_ptr<sim::Running> stop_worker(
        std::function<void(jobject)> at_hook, std::function<void()> afterwards = [] {}) {
        hooks::during = [=](const hooks::Call& call) {
            if (call.hook == "hook_bpt") at_hook(call.event.u.breakpoint.thread);
        };
        auto running = start_known(worker, [=, this] {
            sim.raise_breakpoint(bar, 1, FORCE);
            afterwards();
        });
        EXPECT_EQ(0, process_next_event());
        return running;
    }

    /* Asks for an instance method of `receiver`. */
    jint invoke(jobject thread, sim::Method& method, jint flags, AgentInvokRet* result = nullptr, jint count = 0,
                const jvalue* arguments = nullptr) {
        return agent_invoke_method(sim.env(), thread, receiver_uref(), method.id(), method.return_type(), count,
                                   arguments, flags, result);
    }
    jobject receiver_uref() { return make_uref(receiver); }

    /* The outcome that the n-th hook call was shown. */
    static AgentInvokRet shown(size_t n) {
        JVMDI_Event event = hooks::calls().at(n).event;
        return *outcome_of(&event);
    }

    sim::Method& method_that(const char* name, std::function<Value(Invocation&)> body) {
        sim::Method& method = foo.add_method(name, "()I");
        method.body = std::move(body);
        return method;
    }

    sim::Thread& worker;
    sim::Object& receiver;
};

#endif
