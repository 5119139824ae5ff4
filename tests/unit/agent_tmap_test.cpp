/* The thread map: threads by their ids and handles, the order of its walks, and the release of result areas. */
#include "registry/agent_records.h"
#include "registry/agent_tmap.h"
#include "support/log_agent.h"
#include "vm/vm_env.h"

#include "sim/sim_test.h"
#include "watched_monitor.h"

#include <climits>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

using sim::capture_stdout;

typedef std::vector<std::string> strings;
typedef std::vector<agent_tid_t> tids;

struct ThreadMap : sim::SimTestP {
    ThreadMap() {
        install_globals();
        TMap_init();
        locked.clear();
        monitors::before_lock = [this](const std::string& caller) { locked.push_back(caller); };
        sim.clear_calls();
    }
    ~ThreadMap() override { monitors::before_lock = nullptr; }

    /* A handle of a thread of its own. */
    jobject new_handle() { return sim.global(&sim.new_thread("thread")); }
    jobject start(agent_tid_t tid) {
        const jobject handle = new_handle();
        TMap_start(handle, tid);
        return handle;
    }
    static tids all() {
        tids found;
        TMap_iter_nolock(
            &found,
            [](void* list, tmap_record* record, void*) {
                static_cast<tids*>(list)->push_back(record->tid);
                return 0;
            },
            NULL);
        return found;
    }

    strings locked; /* the callers of each locking of a monitor */
};
SIM_ALL_MODES(ThreadMap);

/* ---- Start and end ---- */

TEST_P(ThreadMap, StartedThreadHasARecordWithAnEmptyResultArea) {
    const jobject handle = new_handle();
    EXPECT_EQ(1, TMap_start(handle, 7));
    const tmap_record* record = tmap[7];
    ASSERT_NE(nullptr, record);
    EXPECT_EQ(handle, record->handle);
    EXPECT_EQ(7, record->tid);
    EXPECT_EQ(nullptr, record->next);
    const char zero[offsetof(tmap_record, handle)] = {};
    EXPECT_EQ(0, memcmp(zero, record, sizeof zero));
    EXPECT_CALLS(sim.calls());
}

TEST_P(ThreadMap, BucketIsTheLowTenBitsOfTheId) {
    const struct {
        agent_tid_t tid;
        size_t bucket;
    } cases[] = {{1, 1}, {1025, 1}, {1023, 1023}, {2048, 0}, {-1, 1023}, {-1023, 1}, {INT_MAX, 1023}, {INT_MIN, 0}};
    for (const auto& each : cases) {
        const jobject handle = start(each.tid);
        ASSERT_NE(nullptr, tmap[each.bucket]) << each.tid;
        EXPECT_EQ(tmap[each.bucket], TMap_tid2tm(each.tid));
        EXPECT_EQ(handle, TMap_tid2handle(each.tid));
        EXPECT_EQ(each.tid, TMap_handle2tid(handle));
        EXPECT_EQ(1, TMap_end(handle, each.tid));
        EXPECT_EQ(nullptr, tmap[each.bucket]);
    }
}

TEST_P(ThreadMap, ThreadsOfOneBucketAreFoundByTheirOwnIds) {
    const jobject first = start(1);
    const jobject second = start(1025);
    EXPECT_EQ(first, TMap_tid2handle(1));
    EXPECT_EQ(second, TMap_tid2handle(1025));
    EXPECT_EQ(1, TMap_handle2tid(first));
    EXPECT_EQ(1025, TMap_handle2tid(second));
    EXPECT_EQ(tmap[1], TMap_handle2tm(second)) << "the newest is the first";
    EXPECT_EQ(tmap[1]->next, TMap_handle2tm(first));
}

TEST_P(ThreadMap, SecondStartOfAnIdHidesTheFirstUntilItEnds) {
    const jobject first = start(5);
    const jobject second = start(5);
    EXPECT_EQ((tids{5, 5}), all());
    EXPECT_EQ(second, TMap_tid2handle(5));
    TMap_end(second, 5);
    EXPECT_EQ(first, TMap_tid2handle(5));
}

TEST_P(ThreadMap, EndedThreadLeavesItsChainWhole) {
    const agent_tid_t ids[] = {1, 1025, 2049};
    for (const agent_tid_t ended : ids) {
        jobject handles[3];
        for (size_t i = 0; i < 3; i++) handles[i] = start(ids[i]);
        EXPECT_EQ(1, TMap_end(TMap_tid2handle(ended), ended));
        for (size_t i = 0; i < 3; i++) {
            EXPECT_EQ(ids[i] == ended ? nullptr : handles[i], TMap_tid2handle(ids[i]));
            TMap_end(handles[i], ids[i]);
        }
        EXPECT_EQ(nullptr, tmap[1]);
    }
}

TEST_P(ThreadMap, EndOfAnUnknownThreadIsNothing) {
    const jobject handle = start(1025);
    EXPECT_EQ("", capture_stdout([&] { EXPECT_EQ(1, TMap_end(handle, 1)); }));
    EXPECT_EQ(handle, TMap_tid2handle(1025));
}

TEST_P(ThreadMap, EndUnderAnotherHandleIsReportedAndTheThreadStays) {
    const jobject handle = start(6);
    EXPECT_EQ("TMap_end(): handle mismatch\n", capture_stdout([&] { EXPECT_EQ(1, TMap_end(new_handle(), 6)); }));
    EXPECT_EQ(handle, TMap_tid2handle(6));
}

TEST_P(ThreadMap, EndLooksAtTheNewestThreadOfAnIdOnly) {
    const jobject first = start(6);
    const jobject second = start(6);
    EXPECT_EQ("TMap_end(): handle mismatch\n", capture_stdout([&] { TMap_end(first, 6); }));
    EXPECT_EQ((tids{6, 6}), all());
    EXPECT_EQ(second, TMap_tid2handle(6));
}

TEST_P(ThreadMap, EndReleasesNothingThatTheResultAreaHolds) {
    const jobject handle = start(6);
    void* name = sim.allocate(10);
    TMap_tid2tm(6)->thread_name = (char*)name;
    TMap_end(handle, 6);
    EXPECT_TRUE(sim.is_live_block(name));
    EXPECT_EQ(newer() ? 1u : 0u, sim.calls().size()) << "the call that waits while the caller is suspended";
    EXPECT_EQ(newer() ? 1u : 0u, sim.count_calls("JVMTI.GetObjectHashCode"));
}

TEST_P(ThreadMap, StartAndEndAreLoggedWithIdAndHandle) {
    const jobject handle = new_handle();
    const auto start_and_end = [&] {
        TMap_start(handle, -6);
        TMap_end(handle, -6);
    };
    EXPECT_EQ("", capture_stdout(start_and_end));
    const std::string out = capture_stdout([&] {
        _log_link(_log_map_agent);
        log_start(NULL, stdout);
        log_echo(1);
        log_enable("LogJVMDI_VM_thread", 0, 0);
        start_and_end();
    });
    char expected[160];
    snprintf(expected, sizeof expected,
             "LogJVMDI_VM_threadTMap_start: tid = -6   thread = %lx\n\nLogJVMDI_VM_threadTMap_end: tid = -6   thread = "
             "%lx\n\n",
             (unsigned long)handle, (unsigned long)handle);
    EXPECT_EQ(expected, out);
}

/* ---- Look-ups ---- */

TEST_P(ThreadMap, UnknownIdsAndHandlesGiveNothing) {
    start(1);
    EXPECT_EQ("", capture_stdout([&] {
                  const jobject unknown = new_handle();
                  EXPECT_EQ(nullptr, TMap_tid2handle(1025));
                  EXPECT_EQ(nullptr, TMap_tid2tm(1025));
                  EXPECT_EQ(nullptr, TMap_tid2local(1025));
                  EXPECT_EQ(nullptr, TMap_handle2tm(unknown));
                  EXPECT_EQ(0, TMap_handle2tid(unknown));
                  EXPECT_EQ(0, TMap_handle2tid_nolock(unknown));
              }));
}

TEST_P(ThreadMap, HandleIsLookedForInTheOrderOfTheBuckets) {
    const jobject handle = new_handle();
    for (const agent_tid_t tid : {9, 3, 1027, 700}) TMap_start(handle, tid);
    EXPECT_EQ(1027, TMap_handle2tid(handle));
    EXPECT_EQ(1027, TMap_handle2tid_nolock(handle));
    EXPECT_EQ(tmap[3], TMap_handle2tm(handle));
}

TEST_P(ThreadMap, HandlesAreComparedByValue) {
    sim::Thread& thread = sim.new_thread("thread");
    TMap_start(sim.global(&thread), 3);
    EXPECT_EQ(0, TMap_handle2tid(sim.global(&thread)));
    EXPECT_CALLS(sim.calls());
}

TEST_P(ThreadMap, FirstThreadIsTheNewestOfTheLowestBucket) {
    agent_tid_t tid = -1;
    jobject handle = new_handle();
    EXPECT_EQ(1, TMap_getthread(&tid, &handle));
    EXPECT_EQ(0, tid);
    EXPECT_EQ(nullptr, handle);
    start(1023);
    start(2);
    const jobject newest = start(1026);
    EXPECT_EQ(1, TMap_getthread(&tid, &handle));
    EXPECT_EQ(1026, tid);
    EXPECT_EQ(newest, handle);
}

/* ---- Walks ---- */

struct Walk {
    const char* name;
    jint (*walk)(void*, TMap_callback, void*);
    bool locks;
};
static const Walk walks[] = {{"TMap_iter", TMap_iter, true},
                             {"TMap_iter_list", TMap_iter_list, true},
                             {"TMap_iter_nolock", TMap_iter_nolock, false},
                             {"TMap_iter_nolock_list", TMap_iter_nolock_list, false}};

TEST_P(ThreadMap, WalksGoByBucketAndNewestFirstWithinOneWhateverTheCallbackSays) {
    for (const agent_tid_t tid : {1023, 4, 1028, 0, 2052}) start(tid);
    for (const Walk& each : walks) {
        tids seen;
        int other = 0;
        EXPECT_EQ(1, each.walk(
                         &seen,
                         [](void* a, tmap_record* record, void* b) {
                             static_cast<tids*>(a)->push_back(record->tid);
                             return -++*static_cast<int*>(b);
                         },
                         &other))
            << each.name;
        EXPECT_EQ((tids{0, 2052, 1028, 4, 1023}), seen) << each.name;
        EXPECT_EQ(5, other) << each.name;
    }
}

TEST_P(ThreadMap, WalksMeetWhoIsLeftWhenOthersOfTheBucketOrItsNeighboursHaveGone) {
    for (const agent_tid_t tid : {31, 32, 1056, 33, 63, 64}) start(tid);
    for (const agent_tid_t gone : {31, 32, 63}) TMap_end(TMap_tid2handle(gone), gone);
    const auto walk = [] {
        tids seen;
        TMap_iter(
            &seen,
            [](void* a, tmap_record* record, void*) {
                static_cast<tids*>(a)->push_back(record->tid);
                return 0;
            },
            NULL);
        return seen;
    };
    EXPECT_EQ((tids{1056, 33, 64}), walk());
    start(63);
    TMap_end(TMap_tid2handle(1056), 1056);
    EXPECT_EQ((tids{33, 63, 64}), walk());
}

TEST_P(ThreadMap, WalksHoldTheLockOrDoNotAsTheirNameSays) {
    start(1);
    for (const Walk& each : walks) {
        int held = -1;
        each.walk(
            &held,
            [](void* a, tmap_record*, void*) {
                *static_cast<int*>(a) = monitors::held;
                return 0;
            },
            NULL);
        EXPECT_EQ(each.locks ? 1 : 0, held) << each.name;
    }
}

/* ---- Locking ---- */

TEST_P(ThreadMap, EachFunctionLocksOnceInItsOwnName) {
    const jobject handle = new_handle();
    agent_tid_t tid;
    jobject found;
    TMap_start(handle, 1);
    TMap_tid2handle(1);
    TMap_handle2tid(handle);
    TMap_tid2tm(1);
    TMap_handle2tm(handle);
    TMap_tid2local(1);
    TMap_getthread(&tid, &found);
    TMap_end(handle, 1);
    EXPECT_EQ((strings{"TMap_start", "TMap_tid2handle", "TMap_handle2tid", "TMap_tid2tm", "TMap_handle2tm",
                       "TMap_tid2local", "TMap_getthread", "TMap_end"}),
              locked);
    EXPECT_EQ(0, monitors::held);
}

TEST_P(ThreadMap, FunctionsForHoldersOfTheLockDoNotLock) {
    const jobject handle = start(1);
    locked.clear();
    EXPECT_EQ(1, TMap_handle2tid_nolock(handle));
    TMap_freelocal();
    freeLocal(TMap_tid2tm(1));
    EXPECT_EQ(strings{"TMap_tid2tm"}, locked);
}

TEST_P(ThreadMap, FailedUnlockIsTheResult) {
    const auto ignore = [](void*, tmap_record*, void*) { return 1; };
    agent_tid_t tid = -1;
    jobject handle = new_handle();
    for (const char* caller : {"TMap_start", "TMap_end", "TMap_getthread", "TMap_iter", "TMap_iter_list"})
        monitors::fail("unlock", caller);
    EXPECT_EQ(0, TMap_start(handle, 1));
    EXPECT_EQ(tids{1}, all());
    EXPECT_EQ(0, TMap_iter(NULL, ignore, NULL));
    EXPECT_EQ(0, TMap_iter_list(NULL, ignore, NULL));
    EXPECT_EQ(0, TMap_getthread(&tid, &handle));
    EXPECT_EQ(1, tid);
    EXPECT_EQ(0, TMap_end(handle, 1));
    EXPECT_EQ(tids{}, all());
}

TEST_P(ThreadMap, InitialisingDoesNoHarmToALockThatAStartingThreadHolds) {
    monitor_lock(&tmap_lock, "test");
    EXPECT_EQ(1, TMap_init());
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(&tmap_lock.mutex));
    monitor_unlock(&tmap_lock, "test");
}

TEST_P(ThreadMap, ThreadsComeAndGoAtTheSameTime) {
    enum { THREADS = 4, ROUNDS = 500 };
    std::vector<jobject> handles;
    for (int i = 0; i < THREADS; i++) handles.push_back(new_handle());
    monitors::before_lock = nullptr;
    std::vector<std::unique_ptr<sim::Running>> running;
    for (int i = 0; i < THREADS; i++)
        running.push_back(sim.start_unattached([i, &handles] {
            const agent_tid_t tid = 1 + i * 1024; /* all in one bucket */
            const jobject handle = handles[(size_t)i];
            for (int round = 0; round < ROUNDS; round++) {
                TMap_start(handle, tid);
                EXPECT_EQ(handle, TMap_tid2handle(tid));
                EXPECT_EQ(tid, TMap_handle2tid(handle));
                TMap_end(handle, tid);
            }
        }));
    for (auto& each : running) each->join();
    EXPECT_EQ(tids{}, all());
}

/* ---- Result areas ---- */

struct ResultArea : ThreadMap {
    enum { VARIABLES = 2, RELEASED = 10 };

    ResultArea() : record(fill(1)) {}

    template <class T> void give(T*& field, size_t size = 8) { field = (T*)sim.allocate(size); }

    tmap_record& fill(agent_tid_t tid) {
        start(tid);
        tmap_record& filled = *TMap_tid2tm(tid);
        give(filled.classes);
        give(filled.thread_name);
        give(filled.line_number_table);
        give(filled.local_variable_table, VARIABLES * sizeof *filled.local_variable_table);
        filled.local_variable_count = VARIABLES;
        for (int i = 0; i < VARIABLES; i++) {
            give(filled.local_variable_table[i].name);
            give(filled.local_variable_table[i].signature);
        }
        give(filled.bytecodes);
        give(filled.owned_monitors);
        filled.owned_monitor_count = 3;
        return filled;
    }

    /* What is released, in the order of its release; null once it was. */
    static std::vector<void*> held(const tmap_record& of) {
        std::vector<void*> all = {of.classes, of.thread_name, of.line_number_table};
        for (int i = 0; i < VARIABLES; i++) {
            all.push_back(of.local_variable_table ? of.local_variable_table[i].name : nullptr);
            all.push_back(of.local_variable_table ? of.local_variable_table[i].signature : nullptr);
        }
        all.insert(all.end(), {of.local_variable_table, of.bytecodes, of.owned_monitors});
        return all;
    }
    size_t releases() { return sim.count_calls(sim.vm_name("Deallocate")); }

    tmap_record& record;
};
SIM_ALL_MODES(ResultArea);

TEST_P(ResultArea, IsReleasedWithEveryFieldSetToNull) {
    freeLocal(&record);
    EXPECT_EQ(std::vector<void*>(RELEASED), held(record));
    EXPECT_EQ(0, record.owned_monitor_count);
    EXPECT_EQ(0u, sim.live_blocks().size());
    EXPECT_EQ((size_t)RELEASED, sim.calls().size());
    EXPECT_EQ((size_t)RELEASED, releases());
}

TEST_P(ResultArea, IsReleasedInOrderUpToTheFailureAndLaterFromThereOn) {
    for (int n = 1; n <= RELEASED; n++) {
        tmap_record& filled = n == 1 ? record : fill(n);
        const std::vector<void*> before = held(filled);
        sim.fail_nth(sim.vm_name("Deallocate"), n, JVMDI_ERROR_ACCESS_DENIED);
        EXPECT_EQ("AgentThread: JVMDI_Deallocate() failed -- ACCESS_DENIED\n",
                  capture_stdout([&] { freeLocal(&filled); }));
        for (int i = 0; i < RELEASED; i++) {
            const size_t at = (size_t)i;
            EXPECT_EQ(i < n - 1 ? nullptr : before[at], held(filled)[at]) << n << ", " << i;
            EXPECT_EQ(i >= n - 1, sim.is_live_block(before[at])) << n << ", " << i;
        }
        EXPECT_EQ(3, filled.owned_monitor_count);
        EXPECT_EQ("", capture_stdout([&] { freeLocal(&filled); }));
        EXPECT_EQ(0u, sim.live_blocks().size()) << n;
    }
}

TEST_P(ResultArea, KeepsWhatIsReusedFromQueryToQuery) {
    give(record.methods);
    give(record.monitor_list);
    give(record.locals);
    record.method_count = 11;
    record.monitor_count = 12;
    record.locals_count = 13;
    record.invocation_state = INVOKE_ABANDONED;
    const tmap_record before = record;
    freeLocal(&record);
    EXPECT_EQ(before.methods, record.methods);
    EXPECT_EQ(before.monitor_list, record.monitor_list);
    EXPECT_EQ(before.locals, record.locals);
    EXPECT_EQ(3u, sim.live_blocks().size());
    EXPECT_EQ(11, record.method_count);
    EXPECT_EQ(12, record.monitor_count);
    EXPECT_EQ(13, record.locals_count);
    EXPECT_EQ((jint)INVOKE_ABANDONED, record.invocation_state);
    EXPECT_EQ((jint)VARIABLES, record.local_variable_count);
    EXPECT_EQ(before.handle, record.handle);
    EXPECT_EQ(before.tid, record.tid);
}

TEST_P(ResultArea, KeepsOwnedMonitorsThatItCountsNoneOf) {
    record.owned_monitor_count = 0;
    freeLocal(&record);
    EXPECT_TRUE(sim.is_live_block(record.owned_monitors));
    EXPECT_EQ(1u, sim.live_blocks().size());
}

TEST_P(ResultArea, ThatIsEmptyOrOfNobodyNeedsNoCall) {
    freeLocal(&record);
    sim.clear_calls();
    freeLocal(&record);
    freeLocal(NULL);
    EXPECT_CALLS(sim.calls());
}

TEST_P(ResultArea, OfTheCallerAloneIsEmptiedForANewQueryUnderTheLock) {
    tmap_record& other = fill(1025);
    int held_locks = 0;
    sim.before(sim.vm_name("Deallocate"), [&] { held_locks += monitors::held; });
    EXPECT_EQ(&record, TMap_tid2local(1));
    EXPECT_EQ(std::vector<void*>(RELEASED), held(record));
    EXPECT_EQ((int)RELEASED, held_locks);
    EXPECT_EQ((size_t)RELEASED, sim.live_blocks().size());
    EXPECT_EQ(3, other.owned_monitor_count);
}

TEST_P(ResultArea, ThatCannotBeEmptiedIsGivenAllTheSame) {
    sim.fail_nth(sim.vm_name("Deallocate"), 2, JVMTI_ERROR_INTERNAL);
    const std::string out = sim::capture_stdout([&] { EXPECT_EQ(&record, TMap_tid2local(1)); });
    EXPECT_EQ("AgentThread: JVMDI_Deallocate() failed -- INTERNAL\n", out);
    EXPECT_EQ(nullptr, record.classes);
    EXPECT_NE(nullptr, record.thread_name) << "the second, and what follows, waits for the next release";
    EXPECT_NE(nullptr, record.bytecodes);
    EXPECT_EQ(&record, TMap_tid2local(1));
    EXPECT_EQ(0u, sim.live_blocks().size());
}

TEST_P(ResultArea, OfEveryThreadIsEmptiedBeforeTheProcessResumesWithoutTheLock) {
    fill(1025);
    fill(700);
    locked.clear();
    TMap_freelocal();
    EXPECT_EQ(0u, sim.live_blocks().size());
    EXPECT_EQ(3u * RELEASED, releases());
    EXPECT_EQ(strings{}, locked);
}

TEST_P(ResultArea, IsReleasedThroughJvmtiWhenBothInterfacesAreThere) {
    ::jvmti = sim.jvmti();
    ::jvmdi = sim.jvmdi();
    freeLocal(&record);
    EXPECT_EQ((size_t)RELEASED, sim.count_calls("JVMTI.Deallocate"));
    EXPECT_EQ(0u, sim.count_calls("JVMDI.Deallocate"));
}

TEST_P(ResultArea, HasItsFieldsWhereTheDebuggerReadsThem) {
    if (sizeof(void*) != 4) GTEST_SKIP() << "the natural layout";
    const size_t offsets[] = {offsetof(tmap_record, thread_name),
                              offsetof(tmap_record, methods),
                              offsetof(tmap_record, method_count),
                              offsetof(tmap_record, line_number_table),
                              offsetof(tmap_record, local_variable_count),
                              offsetof(tmap_record, local_variable_table),
                              offsetof(tmap_record, bytecodes),
                              offsetof(tmap_record, classes),
                              offsetof(tmap_record, owned_monitor_count),
                              offsetof(tmap_record, owned_monitors),
                              offsetof(tmap_record, monitor_list),
                              offsetof(tmap_record, monitor_count),
                              offsetof(tmap_record, invocation_state),
                              offsetof(tmap_record, locals_count),
                              offsetof(tmap_record, locals),
                              offsetof(tmap_record, handle),
                              offsetof(tmap_record, tid),
                              offsetof(tmap_record, next)};
    for (size_t i = 0; i < sizeof offsets / sizeof *offsets; i++) EXPECT_EQ(4 * i, offsets[i]);
}

/* ---- getEnv ---- */

TEST_P(ThreadMap, EnvironmentIsTheCallingThreads) {
    EXPECT_EQ(sim.env(), getEnv());
    EXPECT_CALLS(sim.calls(), "JavaVM.GetEnv(0x10002)");
    sim.run_on(sim.new_thread("other"), [&] { EXPECT_EQ(sim.env(), getEnv()); });
    sim.start_unattached([] { EXPECT_EQ(nullptr, getEnv()); })->join();
    sim.set_getenv(JNI_VERSION_1_2, JNI_EVERSION);
    EXPECT_EQ("", capture_stdout([] { EXPECT_EQ(nullptr, getEnv()); }));
}
