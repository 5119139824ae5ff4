/* The monitors that all threads own. */
#include "monitor_fixture.h"

#include "entry/agent_entry.h"
#include "support/log_agent.h"

struct MonitorList : MonitorTest {
    sim::Thread& second = sim.new_thread("second");
    jobject second_handle = know(second, 4243); /* the bucket after the first one's */
    sim::Thread& stranger = sim.new_thread("stranger");
    jint count = -1;
    monitor_entry* list = NULL;

    jint ask() { return agent_get_monitorlist(sim.env(), &count, &list); }
    std::string usage_of(const char* monitor) {
        return std::string(on_jvmdi() ? "JVMDI.GetMonitorInfo(" : "JVMTI.GetObjectMonitorUsage(") + monitor + ")";
    }
    std::string label() { return on_jvmdi() ? "owned monitor 2 " : "owned monitor 1 "; }
    /* What the list holds, "lock of worker". */
    strings listed() {
        strings found;
        for (jint i = 0; i < count; i++)
            found.push_back(sim.object(list[i].monitor)->label + " of " + sim.object(list[i].owner)->label);
        return found;
    }
};
SIM_ALL_MODES(MonitorList);

TEST_P(MonitorList, GoesFromTheMapsLastThreadToItsFirst) {
    sim.own(worker, lock);
    sim.own(worker, gate);
    sim.own(second, labelled("door"));
    EXPECT_EQ(0, ask());
    EXPECT_EQ((strings{"door of second", "lock of worker", "gate of worker"}), listed());
}

TEST_P(MonitorList, HoldsMonitorsAndURefsOfTheirOwners) {
    sim.own(worker, lock);
    EXPECT_EQ(0, ask());
    ASSERT_EQ(1, count);
    EXPECT_TRUE(handed_out_globally(list[0].monitor));
    EXPECT_EQ(handle, list[0].owner);
    EXPECT_EQ(0, list[0].waiter_count);
    EXPECT_EQ(NULL, list[0].waiters);
}

TEST_P(MonitorList, AsksForTheOwnedMonitorsAndThenForTheUsageOfEach) {
    sim.own(worker, lock);
    sim.own(second, gate);
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    strings queries = made_queries();
    std::erase(queries, sim.vm_name("GetOwnedMonitorInfo(main)")); /* somewhere in the walk */
    EXPECT_CALLS(queries, sim.vm_name("GetOwnedMonitorInfo(worker)"), sim.vm_name("GetOwnedMonitorInfo(second)"),
                 usage_of("gate"), usage_of("lock"));
}

TEST_P(MonitorList, MakesTheseCallsForOneMonitor) {
    sim.own(second, gate);
    gate.monitor.waiters = {&worker};
    TMap_end(handle, 4242); /* an unknown waiter, whose URef stays known to the table */
    URef_delete(sim.env(), handle);
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    strings calls = made_calls();
    calls.erase(calls.begin(), std::find(calls.begin(), calls.end(), usage_of("gate")));
    strings expected{usage_of("gate")};
    if (newer()) expected.insert(expected.end(), {"JNI.NewGlobalRef(gate)", "JNI.DeleteLocalRef(gate)"});
    expected.insert(expected.end(), {sim.vm_name("GetObjectHashCode(second)"), "JNI.IsSameObject(second, second)",
                                     sim.vm_name("Allocate(") + std::to_string(sizeof(jobject)) + ")",
                                     sim.vm_name("GetObjectHashCode(worker)"),
                                     sim.vm_name("Allocate(") + std::to_string(sizeof(uref_record)) + ")"});
    if (on_jvmti()) expected.push_back("JNI.NewGlobalRef(worker)");
    expected.insert(expected.end(), {sim.vm_name("GetObjectHashCode(worker)"), "JNI.IsSameObject(worker, worker)"});
    if (on_jvmti()) expected.push_back("JNI.DeleteGlobalRef(worker)");
    expected.insert(expected.end(), 1, sim.vm_name("Deallocate()")); /* the table's entry */
    expected.insert(expected.end(), 1, sim.vm_name("Deallocate()")); /* the waiters of the usage */
    expected.insert(expected.end(), 1, sim.vm_name("Deallocate()")); /* the monitors of the node */
    expected.insert(expected.end(), 1, sim.vm_name("Deallocate()")); /* the node */
    calls.resize(std::min(calls.size(), expected.size())); /* what follows are the nodes of threads without monitors */
    EXPECT_TRUE(sim::same_calls(calls, expected));
}

TEST_P(MonitorList, SkipsTheAgentThread) {
    sim.own(*sim.object_as<sim::Thread>(agent_thread), lock);
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_EQ(0, count);
    const strings asked = sim.calls_of({"JV*.GetOwnedMonitorInfo"});
    EXPECT_EQ(3u, asked.size()) << "main, worker and second";
    EXPECT_EQ(0, std::count(asked.begin(), asked.end(), sim.vm_name("GetOwnedMonitorInfo(agent)")));
}

TEST_P(MonitorList, IsEmptyWhenNobodyOwnsAMonitor) {
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_EQ(0, count);
    EXPECT_EQ(own_record().monitor_list, list);
    EXPECT_EQ(0, own_record().monitor_count);
    const strings allocations = sim.calls_of({"JV*.Allocate"});
    ASSERT_FALSE(allocations.empty());
    EXPECT_EQ(sim.vm_name("Allocate(0)"), allocations.back());
    EXPECT_EQ(strings(), recorded());
}

TEST_P(MonitorList, RecordsEachMonitorForRelease) {
    sim.own(worker, lock);
    sim.own(worker, gate);
    EXPECT_EQ(0, ask());
    EXPECT_EQ((strings{label() + "gate", label() + "lock"}), recorded());
    const jobject given = list[0].monitor;
    sim.clear_calls();
    resume();
    EXPECT_CALLS(sim.calls_of({"JNI.*"}), "JNI.DeleteGlobalRef(gate)", "JNI.DeleteGlobalRef(lock)");
    EXPECT_FALSE(sim.is_global(given));
    EXPECT_TRUE(sim.is_live_block(own_record().monitor_list)) << "the array stays for the next call";
}

TEST_P(MonitorList, LeavesAHoleForAWaiterThatTheMapDoesNotHold) {
    sim.own(worker, lock);
    lock.monitor.waiters = {&second, &stranger, sim.main_thread};
    EXPECT_EQ(0, ask());
    ASSERT_EQ(1, count);
    EXPECT_EQ(2, list[0].waiter_count);
    EXPECT_EQ(second_handle, list[0].waiters[0]);
    EXPECT_EQ(NULL, list[0].waiters[1]);
    EXPECT_EQ(own_record().handle, list[0].waiters[2]);
    EXPECT_EQ(3 * sizeof(jobject), sim.block_size(list[0].waiters));
    EXPECT_FALSE(has_uref(stranger));
}

TEST_P(MonitorList, GivesTheVmsArraysBackOnAnOldVmButForThoseThatWaitToBeNotified) {
    sim.own(worker, lock);
    sim.own(second, gate);
    lock.monitor.waiters = {&second};
    gate.monitor.waiters = {&worker, sim.main_thread};
    EXPECT_EQ(0, ask());
    EXPECT_EQ(0u, blocks_from("GetOwnedMonitorInfo"));
    EXPECT_EQ(0u, blocks_from("GetMonitorInfo"));
    EXPECT_EQ(0u, blocks_from("GetObjectMonitorUsage"));

    lock.monitor.notify_waiters = {sim.main_thread};
    EXPECT_EQ(0, ask());
    EXPECT_EQ(on_jvmti() && !newer() ? 1u : 0u, blocks_from("GetObjectMonitorUsage"));
}

TEST_P(MonitorList, KeepsTheSameMemoryOverManyCalls) {
    sim.own(worker, lock);
    sim.own(second, gate);
    lock.monitor.waiters = {&second, sim.main_thread};
    EXPECT_EQ(0, ask());
    resume();
    const size_t bytes = sim.live_bytes();
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(0, ask());
        resume();
        EXPECT_EQ(bytes, sim.live_bytes());
    }
}

TEST_P(MonitorList, ReusesALargerArray) {
    sim.own(worker, lock);
    sim.own(worker, gate);
    lock.monitor.waiters = {&second};
    EXPECT_EQ(0, ask());
    EXPECT_EQ(2, count);
    monitor_entry* const first = list;
    worker.owned.clear();
    sim.own(second, gate);
    EXPECT_EQ(0, ask());
    EXPECT_EQ((strings{"gate of second"}), listed());
    EXPECT_EQ(first, list);
    EXPECT_EQ(2, own_record().monitor_count) << "the recorded length stays";
    EXPECT_EQ(NULL, list[1].waiters);
    EXPECT_EQ(NULL, list[0].waiters);
}

TEST_P(MonitorList, ReusesAnArrayOfTheSameSize) {
    sim.own(worker, lock);
    EXPECT_EQ(0, ask());
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_EQ((strings{"lock of worker"}), listed());
    const strings allocations = sim.calls_of({"JV*.Allocate"});
    EXPECT_EQ(3u, allocations.size()) << "the nodes of main, worker and second";
}

TEST_P(MonitorList, ReplacesASmallerArray) {
    sim.own(worker, lock);
    EXPECT_EQ(0, ask());
    EXPECT_EQ(1, own_record().monitor_count);
    sim.own(worker, gate);
    EXPECT_EQ(0, ask());
    EXPECT_EQ((strings{"lock of worker", "gate of worker"}), listed());
    EXPECT_EQ(own_record().monitor_list, list);
    EXPECT_EQ(2, own_record().monitor_count);
    EXPECT_EQ(2 * sizeof(monitor_entry), sim.block_size(list));
}

TEST_P(MonitorList, IsEmptyWithoutACapability) {
    sim.own(worker, lock);
    without_each_capability([&] {
        count = -1;
        list = own_record().monitor_list + 1;
        EXPECT_EQ(0, ask());
        EXPECT_EQ(0, count);
        EXPECT_EQ(NULL, list);
        EXPECT_CALLS(sim.calls(), );
    });
}

TEST_P(MonitorList, IsEmptyWithoutACapabilityForAnyCaller) {
    forget_own_thread();
    without_each_capability([&] { EXPECT_EQ(0, ask()); });
    sim.clear_calls();
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, ask());
    EXPECT_CALLS(made_calls(), );
}

TEST_P(MonitorList, LogsTheTotal) {
    sim.own(worker, lock);
    sim.own(worker, gate);
    const std::string logged = sim::capture_stdout([&] {
        log_start(NULL, stdout);
        log_echo(1);
        _log_link(_log_map_agent);
        log_enable("LogJVMDI", 0, 0);
        ask();
        log_disable("LogJVMDI");
        ask();
    });
    EXPECT_EQ(1, occurrences("LogJVMDI   Total monitors=2", logged));
}

TEST_P(MonitorList, LeavesOutAThreadWhoseMonitorsCannotBeHad) {
    sim.own(worker, lock);
    sim.own(second, gate);
    forget_own_thread();
    jint created;
    TMap_start(URef_from_local(sim.env(), sim.local(sim.main_thread), &created), agent_self());
    /* The walk visits worker and second in this order; the caller's place differs from run to run. */
    const strings order = [&] {
        sim.clear_calls();
        ask();
        return sim.calls_of({"JV*.GetOwnedMonitorInfo"});
    }();
    const auto worker_at = std::find(order.begin(), order.end(), sim.vm_name("GetOwnedMonitorInfo(worker)"));
    const int nth = (int)(worker_at - order.begin()) + 1;
    std::string printed;
    const size_t blocks = sim.live_blocks().size();
    EXPECT_EQ(0, result_of_failing(
                     "GetOwnedMonitorInfo", nth, [&] { return ask(); }, &printed));
    EXPECT_EQ(FAILURE_OF("GetOwnedMonitorInfo"), printed);
    EXPECT_EQ((strings{"gate of second"}), listed());
    EXPECT_EQ(blocks, sim.live_blocks().size()) << "the node is given back";

    EXPECT_EQ(0, result_of_failing(
                     "Allocate", nth, [&] { return ask(); }, &printed));
    EXPECT_EQ(FAILURE_OF("Allocate"), printed);
    EXPECT_EQ((strings{"gate of second"}), listed());
}

TEST_P(MonitorList, GivesTheCodeOfAFailedUsage) {
    sim.own(worker, lock);
    sim.own(worker, gate);
    std::string printed;
    const std::string usage = on_jvmdi() ? "GetMonitorInfo" : "GetObjectMonitorUsage";
    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              usage, 2, [&] { return ask(); }, &printed));
    EXPECT_EQ(FAILURE_OF("GetMonitorInfo"), printed);
    EXPECT_EQ(-1, count);
    EXPECT_EQ(NULL, list);
    EXPECT_EQ(strings{label() + "lock"}, recorded());
    EXPECT_EQ(0u, blocks_from("GetOwnedMonitorInfo")) << "what was collected is given back";
    EXPECT_EQ(0, ask());
    EXPECT_EQ(2, count);
}

/* Each call of the allocator in turn: the message, the code where the result is not merely shorter, and a next call
 * that works. */
TEST_P(MonitorList, SurvivesEachFailureOfMemory) {
    sim.own(worker, lock);
    lock.monitor.waiters = {&second};
    EXPECT_EQ(0, ask());
    for (const std::string function : {"Allocate", "Deallocate"}) {
        sim.clear_calls();
        sim.own(worker, labelled("more")); /* so that the array is replaced */
        EXPECT_EQ(0, ask());
        const int calls = (int)sim.count_calls(sim.vm_name(function));
        EXPECT_GT(calls, 4);
        for (int n = 1; n <= calls; n++) {
            SCOPED_TRACE(function + " " + std::to_string(n));
            sim.own(worker, labelled("more"));
            std::string printed;
            const jint result = result_of_failing(
                function, n, [&] { return ask(); }, &printed);
            EXPECT_EQ(function == "Allocate" ? FAILURE_OF("Allocate") : FAILURE_OF("Deallocate"), printed);
            const bool in_walk = function == "Allocate" && n <= 3; /* a thread is left out */
            EXPECT_EQ(in_walk ? 0 : SOME_ERROR, result);
            EXPECT_EQ(0, ask());
            EXPECT_EQ((size_t)count, worker.owned.size());
        }
        resume();
    }
}

TEST_P(MonitorList, CallbackPushesAThreadsMonitorsInFront) {
    sim.own(worker, lock);
    sim.own(worker, gate);
    struct node {
        node* next;
        jint count;
        jobject* monitors;
    } old{nullptr, 1, nullptr};
    struct {
        jint total;
        node* head;
    } collection{1, &old};
    EXPECT_EQ(0, cb_monitorInfo(sim.env(), TMap_tid2tm(4242), &collection));
    EXPECT_EQ(3, collection.total);
    ASSERT_NE(&old, collection.head);
    EXPECT_EQ(&old, collection.head->next);
    EXPECT_EQ(2, collection.head->count);
    EXPECT_EQ(&lock, sim.object(collection.head->monitors[0]));
    EXPECT_EQ(sizeof(node), sim.block_size(collection.head));
}
