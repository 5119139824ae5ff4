/* Where a debugger that has stopped the process finds the agent thread when it attaches. */
#include "agent_thread/agent_thread.h"
#include "agent_thread/attach_stop.h"
#include "agent_thread/control_c.h"
#include "entry/agent_entry.h"
#include "event_fixture.h"
#include "watched_monitor.h"

struct WhereToAttach : EventTest {
    /* Attaches as if the debugger had stopped the agent thread, which is the test's, in this call of the VM. */
    void attach_in(const std::string& call) {
        sim.before(call, [this, call] {
            if (sim.this_thread() != sim.main_thread || std::exchange(tried, true)) return;
            attach();
        });
    }
    void attach() {
        result = agent_attach_jquor(sim.env());
        hooked = sim.count_calls("JV*.SetEventCallbacks") + sim.count_calls("JV*.SetEventHook");
    }
    std::unique_ptr<sim::Running> start_breakpoint() {
        return start_known(sim.new_thread("worker"), [this] { sim.raise_breakpoint(bar, 1, FORCE); });
    }

    bool tried = false;
    jint result = -1;
    size_t hooked = 0;
};
SIM_ALL_MODES(WhereToAttach);

/* In the first call the agent thread holds the locks that attaching takes. */
TEST_P(WhereToAttach, AgentThreadAtWorkIsToldByACodeOnNewerVms) {
    if (!newer()) GTEST_SKIP() << "there the debugger has to know";
    for (const char* call : {"JVMTI.SuspendThreadList", "JVMTI.ResumeThreadList", "JVMTI.GetMethodDeclaringClass"}) {
        tried = false;
        attach_in(call);
        auto running = start_breakpoint();
        process_next_event();
        running->join();
        sim.stop_failing(call);
        ASSERT_TRUE(tried) << call;
        EXPECT_EQ(JVMDI_ERROR_NOT_IMPLEMENTED, result) << call;
        EXPECT_EQ(0u, hooked) << call;
    }
}

TEST_P(WhereToAttach, AgentThreadAtWorkMattersToNewerVmsOnly) {
    attach_in(sim.vm_name("GetObjectHashCode"));
    auto running = start_breakpoint();
    process_next_event();
    running->join();
    ASSERT_TRUE(tried);
    EXPECT_EQ(newer() ? JVMDI_ERROR_NOT_IMPLEMENTED : 0, result);
    EXPECT_EQ(newer() ? 0u : 1u, hooked);
}

TEST_P(WhereToAttach, AtAHook) {
    hooks::during = [this](const hooks::Call&) { attach(); };
    auto running = start_breakpoint();
    process_next_event();
    running->join();
    EXPECT_EQ(0, result);
    EXPECT_EQ(1u, hooked);
}

TEST_P(WhereToAttach, AtAHookWhereTheOthersRun) {
    hooks::during = [this](const hooks::Call&) { attach(); };
    auto running = start_known(sim.new_thread("worker"), [this] { sim.raise_method_entry(bar, FORCE); });
    process_next_event();
    running->join();
    EXPECT_EQ(0, result);
}

TEST_P(WhereToAttach, AtTheAttachStop) {
    hooks::during_contact = [this] { attach(); };
    jquor_attached = 1;
    monitors::in_timed_wait = [] { controlc_hit = 1; };
    process_next_event();
    hooks::during_contact = nullptr;
    EXPECT_EQ(0, result);
}

TEST_P(WhereToAttach, WhileTheAgentThreadWaits) {
    monitors::in_timed_wait = [this] {
        attach();
        controlc_hit = 1;
    };
    process_next_event();
    EXPECT_EQ(0, result);
}

TEST_P(WhereToAttach, AfterTheWork) {
    auto running = start_breakpoint();
    process_next_event();
    running->join();
    attach();
    EXPECT_EQ(0, result);
}
