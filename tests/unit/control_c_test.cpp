/* The control-C stop: an event that the agent thread, which is the test's own, makes up and shows. */
#include "agent_thread/control_c.h"

#include "event_fixture.h"

struct ControlC : EventTest {
    /* Asks for a stop as a debugger does, and lets the agent thread serve it. */
    void stop() {
        controlc_hit = 1;
        EXPECT_EQ(0, process_next_event());
    }

    static const JVMDI_Event& shown() { return hooks::noted.at(0).event; }
};
SIM_ALL_MODES(ControlC);

TEST_P(ControlC, IsAUserEventWithTheKeyThree) {
    stop();
    ASSERT_EQ(strings{"hook_controlc"}, hooks::names());
    EXPECT_EQ(JVMDI_EVENT_USER_DEFINED, shown().kind);
    EXPECT_EQ(3, shown().u.user.key);
    EXPECT_EQ(sim.env(), hooks::calls()[0].env);
}

TEST_P(ControlC, HasNoThreadWhenTheMapIsEmpty) {
    stop();
    ASSERT_EQ(1u, hooks::calls().size());
    EXPECT_EQ(nullptr, shown().u.user.object);
}

TEST_P(ControlC, IsChargedToTheFirstThreadInTheOrderOfTheBuckets) {
    const jobject later = make_uref(sim.new_thread("later"));
    const jobject first = make_uref(sim.new_thread("first"));
    TMap_start(later, 3 * TMAP_BUCKETS + 700);
    TMap_start(first, 9 * TMAP_BUCKETS + 5);
    stop();
    ASSERT_EQ(1u, hooks::calls().size());
    EXPECT_EQ(first, shown().u.user.object);
}

TEST_P(ControlC, StopsTheOtherThreadsWhileItIsShown) {
    sim::Thread& worker = sim.new_thread("worker");
    TMap_start(make_uref(worker), 5);
    hooks::during = [&](const hooks::Call&) { EXPECT_EQ(1, worker.suspend_count); };
    stop();
    EXPECT_EQ(0, worker.suspend_count);
    EXPECT_CALLS(stops_and_goes(), stop_of("[worker]"), go_of("[worker]"));
}

TEST_P(ControlC, RequestIsTakenBackBeforeTheStopIsShown) {
    hooks::during = [](const hooks::Call&) { EXPECT_EQ(0, controlc_hit); };
    stop();
    EXPECT_EQ(1u, hooks::calls().size());
}

TEST_P(ControlC, RequestMadeDuringTheStopIsForgottenWithIt) {
    hooks::during = [](const hooks::Call&) { controlc_hit = 1; };
    stop();
    EXPECT_EQ(0, controlc_hit);
}

TEST_P(ControlC, EventIsClearedAfterTheStop) {
    TMap_start(make_uref(sim.new_thread("worker")), 5);
    stop();
    ASSERT_EQ(1u, hooks::calls().size());
    const JVMDI_Event* record = hooks::calls()[0].record;
    EXPECT_EQ(0, record->kind);
    EXPECT_EQ(nullptr, record->u.user.object);
    EXPECT_EQ(0, record->u.user.key);
}

TEST_P(ControlC, StopFollowsStop) {
    stop();
    stop();
    EXPECT_EQ((strings{"hook_controlc", "hook_controlc"}), hooks::names());
    EXPECT_EQ(3, hooks::calls()[1].event.u.user.key);
}

TEST_P(ControlC, OtherValueEndsTheWaitWithoutAStop) {
    for (const jint value : {2, -1}) {
        controlc_hit = value;
        EXPECT_EQ(0, process_next_event());
        EXPECT_EQ(value, controlc_hit);
    }
    EXPECT_EQ(strings{}, hooks::names());
    EXPECT_CALLS(stops_and_goes());
}

TEST_P(ControlC, OtherValueLeavesQueuedEventsTheirTurn) {
    controlc_hit = 2;
    sim::Thread& worker = sim.new_thread("worker");
    auto running = start_known(worker, [&] { sim.raise_breakpoint(bar, 1, FORCE); });
    EXPECT_TRUE(sim::wait_for([] {
        EXPECT_EQ(0, process_next_event());
        return !hooks::names().empty();
    }));
    EXPECT_EQ(strings{"hook_bpt"}, hooks::names());
}

TEST_P(ControlC, HasALocalFrameOfItsOwnOnANewerVmOnly) {
    const size_t locals = sim.live_locals();
    hooks::during = [&](const hooks::Call&) { sim.local(&foo); };
    stop();
    EXPECT_EQ(newer() ? 1u : 0u, sim.count_calls("JNI.PushLocalFrame"));
    EXPECT_EQ(newer() ? 1u : 0u, sim.count_calls("JNI.PopLocalFrame"));
    EXPECT_EQ(newer() ? locals : locals + 1, sim.live_locals());
}

TEST_P(ControlC, InitialisingTakesARequestBack) {
    controlc_hit = 1;
    initialize_controlc_event();
    EXPECT_EQ(0, controlc_hit);
}
