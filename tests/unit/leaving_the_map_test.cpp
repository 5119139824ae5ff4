/* Threads that take themselves out of the thread map, in the boot phase, while others are being stopped. */
#include "event_fixture.h"
#include "java_threads/boot.h"
#include "sim/interleave.h"
#include "stop/suspend.h"
#include "watched_monitor.h"

using sim::Interleaving;

struct LeavingTheMap : ReadyTest {
    LeavingTheMap() {
        tid_debug_agent = agent_self();
        sim.callbacks.ThreadEnd = cbb_jvmtiEventThreadEnd;
        sim.hook = boot_event_hook;
    }

    std::unique_ptr<sim::Running> start_ending() {
        return start_known(worker, [this] { sim.raise_thread_end(FORCE); });
    }

    sim::Thread& worker = sim.new_thread("worker");
};
SIM_MODES(LeavingTheMap, sim::Mode::jvmti_newer);

/* Where the worker is held a real VM would keep it: in a call that it makes while it is suspended. */
TEST_P(LeavingTheMap, AThreadThatIsSuspendedOnItsWayOutIsResumedBeforeItLeaves) {
    Interleaving order;
    order.hold("worker", "lock TMap_end");
    auto running = start_ending();
    order.await("worker");
    agent_suspend_all(sim.env());
    order.go_on_to("worker", "JVMTI.*");
    ASSERT_EQ(1, worker.suspend_count);
    agent_resume_all(sim.env());
    EXPECT_EQ(0, worker.suspend_count) << "nobody will ever resume it";
    order.go("worker");
    running->join();
    EXPECT_EQ(nullptr, uref_of(worker));
}

TEST_P(LeavingTheMap, AThreadThatIsSuspendedAgainAndAgainOnItsWayOutWaitsEachTime) {
    Interleaving order;
    order.hold("worker", "lock TMap_end");
    auto running = start_ending();
    order.await("worker");
    for (int i = 0; i < 5; i++) {
        agent_suspend_all(sim.env());
        order.go_on_to("worker", "JVMTI.GetObjectHashCode");
        ASSERT_EQ(1, worker.suspend_count) << i;
        agent_resume_all(sim.env());
        EXPECT_EQ(0, worker.suspend_count) << i;
        order.go_on_to("worker", "lock TMap_end");
    }
    order.go("worker");
    running->join();
}

TEST_P(LeavingTheMap, TheAgentThreadTakesOthersOutAtOnce) {
    const jobject handle = make_uref(worker);
    TMap_start(handle, 5);
    worker.life = sim::Thread::Life::alive;
    agent_suspend_all(sim.env());
    sim.clear_calls();
    TMap_end(handle, 5);
    EXPECT_EQ(nullptr, TMap_tid2handle(5));
    EXPECT_EQ(0u, sim.calls().size());
    agent_resume_all(sim.env());
}
