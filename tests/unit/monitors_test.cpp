/* Monitors of one thread, and the monitor of one object. */
#include "entry/agent_entry.h"

#include "monitor_fixture.h"

/* ---- The monitors that a thread owns ---- */

struct OwnedMonitors : MonitorTest {
    JVMDI_owned_monitor_info info{-1, nullptr};

    jint ask(jthread thread) { return agent_get_owned_monitorinfo(sim.env(), thread, &info); }
    jint ask() { return ask(handle); }
};
SIM_ALL_MODES(OwnedMonitors);

TEST_P(OwnedMonitors, AreGivenInTheVmsOrder) {
    sim.own(worker, lock);
    sim.own(worker, gate);
    EXPECT_EQ(0, ask());
    ASSERT_EQ(2, info.owned_monitor_count);
    EXPECT_EQ(&lock, sim.object(info.owned_monitors[0]));
    EXPECT_EQ(&gate, sim.object(info.owned_monitors[1]));
    EXPECT_TRUE(handed_out_globally(info.owned_monitors[0]));
    EXPECT_TRUE(handed_out_globally(info.owned_monitors[1]));
}

TEST_P(OwnedMonitors, AreMadeDurableOnANewerVmOnly) {
    sim.own(worker, lock);
    sim.own(worker, gate);
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    if (newer())
        EXPECT_CALLS(made_calls(), "JVMTI.GetOwnedMonitorInfo(worker)", "JNI.NewGlobalRef(lock)",
                     "JNI.DeleteLocalRef(lock)", "JNI.NewGlobalRef(gate)", "JNI.DeleteLocalRef(gate)");
    else
        EXPECT_CALLS(made_calls(), sim.vm_name("GetOwnedMonitorInfo(worker)"));
}

TEST_P(OwnedMonitors, AreReleasedWhenTheProcessResumes) {
    sim.own(worker, lock);
    sim.own(worker, gate);
    EXPECT_EQ(0, ask());
    EXPECT_EQ((strings{"owned monitor gate", "owned monitor lock"}), recorded());
    const jobject given = info.owned_monitors[0];
    sim.clear_calls();
    resume();
    EXPECT_CALLS(sim.calls_of({"JNI.*"}), "JNI.DeleteGlobalRef(gate)", "JNI.DeleteGlobalRef(lock)");
    EXPECT_FALSE(sim.is_global(given));
}

TEST_P(OwnedMonitors, AreParkedInTheCallersRecord) {
    sim.own(worker, lock);
    EXPECT_EQ(0, ask());
    EXPECT_EQ(info.owned_monitors, own_record().owned_monitors);
    EXPECT_EQ(1, own_record().owned_monitor_count);
    EXPECT_EQ(0, ask());
    EXPECT_EQ(1u, blocks_from("GetOwnedMonitorInfo")) << "the second query releases the first one's array";
    resume();
    EXPECT_EQ(NULL, own_record().owned_monitors);
    EXPECT_EQ(0, own_record().owned_monitor_count);
    EXPECT_EQ(0u, blocks_from("GetOwnedMonitorInfo"));
}

TEST_P(OwnedMonitors, AreNoneOfAThreadWithoutAny) {
    EXPECT_EQ(0, ask());
    EXPECT_EQ(0, info.owned_monitor_count);
    EXPECT_EQ(strings(), recorded());
}

TEST_P(OwnedMonitors, AreNoneWithoutACapability) {
    sim.own(worker, lock);
    forget_own_thread(); /* the capabilities are looked at first */
    without_each_capability([&] {
        info = {-1, &handle};
        EXPECT_EQ(0, ask());
        EXPECT_EQ(0, info.owned_monitor_count);
        EXPECT_EQ(NULL, info.owned_monitors);
        EXPECT_CALLS(sim.calls(), );
    });
}

TEST_P(OwnedMonitors, NeedTheCapabilitiesOfTheActiveInterfaceOnly) {
    if (on_jvmdi())
        jvmti_features = {};
    else
        add_jvmdi({});
    sim.own(worker, lock);
    EXPECT_EQ(0, ask());
    EXPECT_EQ(1, info.owned_monitor_count);
}

TEST_P(OwnedMonitors, AreRefusedToACallerThatTheMapDoesNotHold) {
    forget_own_thread();
    sim.clear_calls();
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, ask());
    EXPECT_CALLS(made_calls(), );
}

TEST_P(OwnedMonitors, GiveTheCodeOfAFailedQuery) {
    std::string printed;
    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              "GetOwnedMonitorInfo", 1, [&] { return ask(); }, &printed));
    EXPECT_EQ("", printed);
    EXPECT_EQ(NULL, own_record().owned_monitors);
    EXPECT_EQ(strings(), recorded());
}

/* ---- The monitor that a thread waits for ---- */

struct ContendedMonitor : MonitorTest {
    jobject const untouched = handle;
    jobject monitor = untouched;

    jint ask_current(jthread thread) { return agent_get_current_contendedmonitor(sim.env(), thread, &monitor); }
    jint ask(jthread thread) { return agent_get_contended_monitor(sim.env(), thread, &monitor); }
    void is_durable_on_a_newer_vm_only() {
        if (newer())
            EXPECT_CALLS(made_calls(), "JVMTI.GetCurrentContendedMonitor(worker)", "JNI.NewGlobalRef(lock)",
                         "JNI.DeleteLocalRef(lock)");
        else
            EXPECT_CALLS(made_calls(), sim.vm_name("GetCurrentContendedMonitor(worker)"));
        EXPECT_EQ(&lock, sim.object(monitor));
        EXPECT_TRUE(handed_out_globally(monitor));
    }
};
SIM_ALL_MODES(ContendedMonitor);

TEST_P(ContendedMonitor, IsGivenByBothFunctions) {
    worker.contended = &lock;
    sim.clear_calls();
    EXPECT_EQ(0, ask_current(handle));
    is_durable_on_a_newer_vm_only();
    sim.clear_calls();
    EXPECT_EQ(0, ask(handle));
    is_durable_on_a_newer_vm_only();
    EXPECT_EQ((strings{"contendedMonitor lock", "contended monitor lock"}), recorded());

    const jobject given = monitor;
    sim.clear_calls();
    resume();
    EXPECT_CALLS(sim.calls_of({"JNI.*"}), "JNI.DeleteGlobalRef(lock)", "JNI.DeleteGlobalRef(lock)");
    EXPECT_FALSE(sim.is_global(given));
}

TEST_P(ContendedMonitor, IsNullOfAThreadThatWaitsForNone) {
    EXPECT_EQ(0, ask_current(handle));
    EXPECT_EQ(NULL, monitor);
    monitor = untouched;
    EXPECT_EQ(0, ask(handle));
    EXPECT_EQ(NULL, monitor);
    EXPECT_EQ(strings(), recorded());
}

TEST_P(ContendedMonitor, IsNullWithoutACapability) {
    worker.contended = &lock;
    without_each_capability([&] {
        monitor = untouched;
        EXPECT_EQ(0, ask_current(handle));
        EXPECT_EQ(NULL, monitor);
        monitor = untouched;
        EXPECT_EQ(0, ask(handle));
        EXPECT_EQ(NULL, monitor);
        EXPECT_CALLS(sim.calls(), );
    });
}

TEST_P(ContendedMonitor, IsLeftAloneForTheAgentThreadByOneFunctionOnly) {
    sim.object_as<sim::Thread>(agent_thread)->contended = &lock;
    sim.clear_calls();
    EXPECT_EQ(0, ask(agent_thread));
    EXPECT_EQ(untouched, monitor);
    EXPECT_CALLS(sim.calls(), );
    without_each_capability([&] {
        EXPECT_EQ(0, ask(agent_thread));
        EXPECT_EQ(untouched, monitor);
    });
    EXPECT_EQ(0, ask_current(agent_thread));
    EXPECT_EQ(&lock, sim.object(monitor));
}

TEST_P(ContendedMonitor, OfNoThreadIsAskedOfTheVmAlsoWhenThereIsNoAgentThread) {
    agent_thread = nullptr;
    sim::capture_stdout([&] { ask(nullptr); });
    EXPECT_EQ(1u, sim.count_calls("JV*.GetCurrentContendedMonitor"));
}

TEST_P(ContendedMonitor, GivesTheCodeOfAFailedQueryAndOneFunctionPrintsIt) {
    std::string printed;
    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              "GetCurrentContendedMonitor", 1, [&] { return ask_current(handle); }, &printed));
    EXPECT_EQ("", printed);
    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              "GetCurrentContendedMonitor", 1, [&] { return ask(handle); }, &printed));
    EXPECT_EQ(FAILURE_OF("GetCurrentContendedMonitorInfo"), printed);
    EXPECT_EQ(untouched, monitor);
    EXPECT_EQ(strings(), recorded());
}

struct ContendedMonitorBesideJvmdi : ContendedMonitor {};
SIM_MODES(ContendedMonitorBesideJvmdi, sim::Mode::jvmti10, sim::Mode::jvmti_newer);

TEST_P(ContendedMonitorBesideJvmdi, NeedsJvmdisCapabilitiesTooByOneFunctionOnly) {
    worker.contended = &lock;
    add_jvmdi(jvmdi_features);
    EXPECT_EQ(0, ask_current(handle));
    EXPECT_EQ(&lock, sim.object(monitor));
    without_each_capability(jvmdi_features, [&] {
        EXPECT_EQ(0, ask_current(handle));
        EXPECT_EQ(NULL, monitor);
        EXPECT_EQ(0, ask(handle));
        EXPECT_EQ(&lock, sim.object(monitor));
    });
}

/* ---- The monitor of one object ---- */

struct MonitorInfo : MonitorTest {
    sim::Thread& second = sim.new_thread("second");
    jobject second_handle = know(second, 4243);
    sim::Thread& stranger = sim.new_thread("stranger");
    jobject object = sim.global(&lock);
    JVMDI_monitor_info info{handle, -1, -1, nullptr};

    jint ask() { return agent_get_monitorinfo(sim.env(), object, &info); }
    std::string usage() { return on_jvmdi() ? "GetMonitorInfo" : "GetObjectMonitorUsage"; }
};
SIM_ALL_MODES(MonitorInfo);

TEST_P(MonitorInfo, TellsOwnerEntriesAndKnownWaiters) {
    sim.own(worker, lock, 3);
    lock.monitor.waiters = {&stranger, &second};
    EXPECT_EQ(0, ask());
    EXPECT_EQ(handle, info.owner);
    EXPECT_EQ(3, info.entry_count);
    EXPECT_EQ(1, info.waiter_count);
    ASSERT_TRUE(sim.is_live_block(info.waiters));
    EXPECT_EQ(NULL, info.waiters[0]);
    EXPECT_EQ(second_handle, info.waiters[1]);
    EXPECT_FALSE(has_uref(stranger));
    EXPECT_EQ(strings(), recorded());
}

TEST_P(MonitorInfo, OfAFreeMonitorNamesNobody) {
    EXPECT_EQ(0, ask());
    EXPECT_EQ(NULL, info.owner);
    EXPECT_EQ(0, info.entry_count);
    EXPECT_EQ(0, info.waiter_count);
}

TEST_P(MonitorInfo, AsksForTheHashCodeFirst) {
    sim.own(worker, lock);
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    const strings queries = made_calls();
    ASSERT_LE(2u, queries.size());
    EXPECT_EQ(sim.vm_name("GetObjectHashCode(lock)"), queries[0]);
    EXPECT_EQ(sim.vm_name(usage()) + "(lock)", queries[1]);
    EXPECT_EQ(on_jvmti() && !newer() ? 1u : 0u, sim.count_calls("JNI.NewGlobalRef"))
        << "only an older JVMTI's owner is made global whether or not it has a URef";
}

TEST_P(MonitorInfo, MakesURefsForAnOwnerWithoutOne) {
    sim.own(stranger, lock);
    EXPECT_EQ(0, ask());
    EXPECT_EQ(&stranger, sim.object(info.owner));
    EXPECT_TRUE(sim.is_global(info.owner));
    EXPECT_EQ(info.owner, URef_find(sim.env(), sim.local(&stranger)));
}

TEST_P(MonitorInfo, LeavesNoReferenceBehindOnANewerVm) {
    sim.own(worker, lock);
    lock.monitor.waiters = {&stranger, &second};
    const size_t globals = sim.live_globals();
    EXPECT_EQ(0, ask());
    EXPECT_EQ(newer() ? globals : globals + 3, sim.live_globals()) << "elsewhere the owner's and the waiters' stay";
}

TEST_P(MonitorInfo, GivesTheCodeOfAFailedHashCode) {
    std::string printed;
    sim.clear_calls();
    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              "GetObjectHashCode", 1, [&] { return ask(); }, &printed));
    EXPECT_EQ("", printed);
    EXPECT_EQ(0u, sim.count_calls(sim.vm_name(usage())));
    EXPECT_EQ(handle, info.owner);
}

TEST_P(MonitorInfo, GivesTheCodeOfJvmtisFailureAndNotOfJvmdis) {
    sim.own(worker, lock);
    std::string printed;
    const jint result = result_of_failing(
        usage(), 1, [&] { return ask(); }, &printed);
    EXPECT_EQ("", printed);
    if (on_jvmti()) {
        EXPECT_EQ(SOME_ERROR, result);
        EXPECT_EQ(handle, info.owner);
        EXPECT_EQ(-1, info.waiter_count);
    } else {
        EXPECT_EQ(0, result);
        EXPECT_EQ(NULL, info.owner);
        EXPECT_EQ(0, info.waiter_count);
        EXPECT_EQ(NULL, info.waiters);
    }
}

struct JvmdiMonitorInfo : MonitorInfo {};
SIM_MODES(JvmdiMonitorInfo, sim::Mode::jvmdi);

TEST_P(JvmdiMonitorInfo, GivesTheCodeOfAVmThatRefusesItsTable) {
    sim.set_getenv(JVMDI_VERSION_1, JNI_EVERSION);
    EXPECT_EQ(JNI_EVERSION, ask());
    EXPECT_EQ(handle, info.owner);
}

TEST_P(MonitorInfo, NeedsNoCapabilityAndNoRecord) {
    sim.own(worker, lock);
    forget_own_thread();
    without_each_capability([&] {
        EXPECT_EQ(0, ask());
        EXPECT_EQ(handle, info.owner);
    });
}
