/* event_fixture.h: the agent as it is while a debugger is attached, for tests of the events' road.
 *
 * The test's own thread is the agent thread (its Java thread is "main"): a test starts threads that raise events, and takes
 * each event by calling process_next_event() itself. What the debugger would do at a hook stands in hooks::during.
 */
#ifndef QUOR_TEST_EVENT_FIXTURE_H
#define QUOR_TEST_EVENT_FIXTURE_H

#include "agent_thread/consumer.h"
#include "agent_thread/processing.h"
#include "event/filters.h"
#include "hook_recorder.h"
#include "invoke/requests.h"
#include "java_threads/callbacks.h"
#include "java_threads/intake.h"
#include "load/boot_hooks.h"
#include "ready_fixture.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "registry/resources.h"
#include "sim/sim_test.h"
#include "support/agent_self.h"
#include "support/log_agent.h"

#include <string>
#include <vector>

typedef std::vector<std::string> strings;

static constexpr sim::Raise FORCE = sim::Raise::force;

/* The agent with a class to raise events in, and the hook points noted. */
struct ReadyTest : AgentReady {
    ReadyTest() : foo(sim.new_class("Foo")), bar(foo.add_method("bar", "()V")) {
        hooks::noted.clear();
        hooks::during = nullptr;
    }
    ~ReadyTest() override {
        hooks::during = nullptr;
        for (const auto& [kind, name] : filters) event_clearfilter_br(sim.env(), kind, name, NULL, NULL);
    }

    /* Sets a filter of a class name, for as long as the test runs. */
    void set_filter(uint32_t kind, const char* class_name) {
        EXPECT_EQ(0, event_setfilter_br(sim.env(), kind, class_name, NULL, NULL));
        filters.push_back({kind, class_name});
    }

    /* The object's URef; null if it has none. */
    jobject uref_of(sim::Object& object) { return URef_find(sim.env(), sim.local(&object)); }
    jobject make_uref(sim::Object& object) {
        jint created;
        return URef_from_local(sim.env(), sim.local(&object), &created);
    }

    /* Makes the calling thread one that the agent knows; gives its handle. */
    jobject announce() {
        const jobject handle = make_uref(*sim.this_thread());
        TMap_start(handle, agent_self());
        return handle;
    }

    /* Starts a Java thread that the agent knows while it runs `body`, or until that raises its end. */
    std::unique_ptr<sim::Running> start_known(sim::Thread& thread, std::function<void()> body) {
        return sim.start(thread, [this, body = std::move(body)] {
            const jobject handle = announce();
            body();
            if (TMap_tid2handle(agent_self())) TMap_end(handle, agent_self());
        });
    }

    /* The events that the agent's callbacks or hook receive. */
    void install_full_hooks() {
        jvmtiEventCallbacks& callbacks = sim.callbacks;
        callbacks.SingleStep = cb_jvmtiEventSingleStep;
        callbacks.Breakpoint = cb_jvmtiEventBreakpoint;
        callbacks.FramePop = cb_jvmtiEventFramePop;
        callbacks.Exception = cb_jvmtiEventException;
        callbacks.ExceptionCatch = cb_jvmtiEventExceptionCatch;
        callbacks.ThreadStart = cb_jvmtiEventThreadStart;
        callbacks.ThreadEnd = cb_jvmtiEventThreadEnd;
        callbacks.ClassPrepare = cb_jvmtiEventClassPrepare;
        callbacks.ClassLoad = cb_jvmtiEventClassLoad;
        callbacks.FieldAccess = cb_jvmtiEventFieldAccess;
        callbacks.FieldModification = cb_jvmtiEventFieldModification;
        callbacks.MethodEntry = cb_jvmtiEventMethodEntry;
        callbacks.MethodExit = cb_jvmtiEventMethodExit;
        callbacks.VMInit = cb_jvmtiEventVMInit;
        callbacks.VMDeath = cb_jvmtiEventVMDeath;
        sim.hook = jvmdi_event_hook;
    }

    /* Lets `category` write its records, without any header options, to standard output. */
    void show_log(const char* category) {
        _log_link(_log_map_agent);
        log_start(NULL, stdout);
        log_echo(1);
        log_enable(category, 0, 0);
    }

    /* Calls of the VM that stop and go, and how the mode's log shows them for these threads. */
    strings stops_and_goes() { return sim.calls_of({"JV*.SuspendThread*", "JV*.ResumeThread*"}); }
    std::string stop_of(const std::string& threads) { return sim.vm_name("SuspendThreadList(" + threads + ")"); }
    std::string go_of(const std::string& threads) { return sim.vm_name("ResumeThreadList(" + threads + ")"); }

    sim::Class& foo;
    sim::Method& bar; /* an instance method of foo */

private:
    std::vector<std::pair<uint32_t, const char*>> filters;
};

struct EventTest : ReadyTest {
    EventTest() {
        tid_debug_agent = agent_self();
        agent_thread = make_uref(*sim.main_thread);
        install_full_hooks();
        sim.clear_calls();
    }
};

#endif
