/* Threads and thread groups. */
#include "entry/agent_entry.h"

#include "entry_fixture.h"

/* ---- The list of threads ---- */

struct ThreadList : EntryTest {
    jint count = -1;
    jthread* threads = NULL;

    std::vector<jobject> listed() {
        EXPECT_EQ(0, agent_get_threads(sim.env(), &count, &threads));
        return {threads, threads + count};
    }
    /* `how_many` further threads in the map. They need no handles of their own here: nobody asks the VM about them. */
    void crowd(int how_many) {
        for (int i = 0; i < how_many; i++) TMap_start(agent_thread, 100000 + i);
    }
};
SIM_ALL_MODES(ThreadList);

TEST_P(ThreadList, HoldsTheCallerButNotTheAgentThread) {
    EXPECT_EQ(std::vector<jobject>{own_record().handle}, listed());
}

TEST_P(ThreadList, GoesByBucketAndNewestFirstWithinOne) {
    forget_own_thread();
    const jobject third = know(sim.new_thread("third"), 9);
    const jobject second = know(sim.new_thread("second"), 8);
    const jobject first = know(sim.new_thread("first"), 8 + TMAP_BUCKETS);
    EXPECT_EQ((std::vector<jobject>{first, second, third}), listed());
}

TEST_P(ThreadList, IsEmptyForAnEmptyMap) {
    forget_own_thread();
    TMap_end(agent_thread, AGENT_TID);
    EXPECT_EQ(std::vector<jobject>(), listed());
}

TEST_P(ThreadList, IsWrittenAnewInTheSameArray) {
    know(sim.new_thread("other"), 8);
    EXPECT_EQ(2u, listed().size());
    jthread* const before = threads;
    TMap_end(TMap_tid2handle(8), 8);
    sim.clear_calls();
    EXPECT_EQ(std::vector<jobject>{own_record().handle}, listed());
    EXPECT_EQ(before, threads);
    EXPECT_CALLS(sim.calls(), );
    EXPECT_EQ(strings(), recorded());
}

TEST_P(ThreadList, HasRoomFor512Threads) {
    crowd(511);
    EXPECT_EQ(512u, listed().size());
    EXPECT_CALLS(sim.calls(), sim.vm_name("Allocate(") + std::to_string(512 * sizeof(jthread)) + ")");
    EXPECT_EQ(512 * sizeof(jthread), sim.block_size(threads));
}

TEST_P(ThreadList, GrowsBy512ForThe513thAndKeepsTheOthers) {
    crowd(510);
    const std::vector<jobject> before = listed();
    EXPECT_EQ(511u, before.size());
    jthread* const old = threads;
    for (agent_tid_t tid : {200000, 200001}) know(sim.new_thread("late"), tid);
    sim.clear_calls();
    const std::vector<jobject> after = listed();
    EXPECT_CALLS(sim.calls(), sim.vm_name("Allocate(") + std::to_string(1024 * sizeof(jthread)) + ")",
                 sim.vm_name("Deallocate()"));
    EXPECT_EQ(513u, after.size());
    EXPECT_FALSE(sim.is_live_block(old));
    EXPECT_EQ(1024 * sizeof(jthread), sim.block_size(threads));
    for (agent_tid_t tid : {200000, 200001}) EXPECT_EQ(1, std::count(after.begin(), after.end(), TMap_tid2handle(tid)));
    EXPECT_EQ(510, std::count(after.begin(), after.end(), agent_thread));
}

TEST_P(ThreadList, DropsAThreadThatItHasNoMemoryFor) {
    std::string printed;
    const auto query = [&] { return agent_get_threads(sim.env(), &count, &threads); };
    EXPECT_EQ(0, result_of_failing("Allocate", 1, query, &printed));
    EXPECT_EQ(FAILURE_OF("Allocate"), printed);
    EXPECT_EQ(0, count);
    EXPECT_EQ(NULL, threads);
    EXPECT_EQ(1u, listed().size()) << "the next call tries again";
}

TEST_P(ThreadList, KeepsTheOldArrayWhenItCannotBeGivenBack) {
    crowd(511);
    listed();
    jthread* const old = threads;
    TMap_start(agent_thread, 200000);
    std::string printed;
    const auto query = [&] { return agent_get_threads(sim.env(), &count, &threads); };
    EXPECT_EQ(0, result_of_failing("Deallocate", 1, query, &printed));
    EXPECT_EQ(FAILURE_OF("Deallocate"), printed);
    EXPECT_EQ(512, count);
    EXPECT_EQ(old, threads);
    EXPECT_TRUE(sim.is_live_block(old));
}

TEST_P(ThreadList, CallbackAppendsAtTheCountThatItIsGiven) {
    jint length = 0;
    EXPECT_EQ(0, cb_threadInfo(sim.env(), &own_record(), &length));
    EXPECT_EQ(1, length);
    EXPECT_EQ(0, cb_threadInfo(sim.env(), TMap_tid2tm(AGENT_TID), &length));
    EXPECT_EQ(1, length) << "the agent thread is skipped";
}

/* ---- One thread ---- */

struct ThreadInfo : EntryTest {
    sim::Thread& worker = sim.new_thread("worker");
    jobject handle = know(worker, 4242);
    JVMDI_thread_info info{};
    agent_tid_t tid = -1;
    jint status = -7, suspend_status = -7;

    jint ask(jthread thread) { return agent_get_threadinfo(sim.env(), thread, &info, &tid, &status, &suspend_status); }
    jint ask() { return ask(handle); }
    std::string status_function() { return on_jvmdi() ? "GetThreadStatus" : "GetThreadState"; }
};
SIM_ALL_MODES(ThreadInfo);

TEST_P(ThreadInfo, TellsWhatTheVmKnows) {
    worker.priority = 8;
    worker.daemon = true;
    EXPECT_EQ(0, ask());
    EXPECT_STREQ("worker", info.name);
    EXPECT_EQ(8, info.priority);
    EXPECT_EQ(JNI_TRUE, info.is_daemon);
    EXPECT_EQ(4242, tid);
    EXPECT_EQ(sim.main_group, sim.object(info.thread_group));
    EXPECT_EQ(sim.system_loader, sim.object(info.context_class_loader));
}

TEST_P(ThreadInfo, AsksForTheInfoAndThenForTheStatus) {
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_CALLS(made_queries(), sim.vm_name("GetThreadInfo(worker)"), sim.vm_name(status_function() + "(worker)"));
}

TEST_P(ThreadInfo, ParksTheNameInTheCallersRecord) {
    EXPECT_EQ(0, ask());
    EXPECT_EQ(info.name, own_record().thread_name);
    EXPECT_EQ(NULL, TMap_tid2tm(4242)->thread_name);
    EXPECT_EQ(0, ask(own_record().handle));
    EXPECT_STREQ("main", own_record().thread_name);
    EXPECT_EQ(1u, blocks_from("GetThreadInfo")) << "the second query releases the first one's name";
    resume();
    EXPECT_EQ(NULL, own_record().thread_name);
    EXPECT_EQ(0u, blocks_from("GetThreadInfo"));
}

TEST_P(ThreadInfo, KeepsGroupAndLoaderAliveUntilTheProcessResumes) {
    EXPECT_EQ(0, ask());
    EXPECT_TRUE(sim.is_global(info.thread_group));
    EXPECT_TRUE(sim.is_global(info.context_class_loader));
    EXPECT_EQ(
        (strings{"keep_alive uref table entry of " + sim.system_loader->label,
                 "context_class_loader " + sim.system_loader->label,
                 "keep_alive uref table entry of " + sim.main_group->label, "thread_group " + sim.main_group->label}),
        recorded());

    const JVMDI_thread_info first = info;
    EXPECT_EQ(0, ask(own_record().handle));
    EXPECT_EQ(first.thread_group, info.thread_group) << "one URef for the same group";
    EXPECT_EQ(first.context_class_loader, info.context_class_loader);

    resume();
    EXPECT_FALSE(sim.is_global(info.thread_group));
    EXPECT_FALSE(has_uref(*sim.main_group));
    EXPECT_FALSE(has_uref(*sim.system_loader));
}

TEST_P(ThreadInfo, LeavesNullGroupAndLoaderNull) {
    worker.life = sim::Thread::Life::ended;
    worker.context_loader = nullptr;
    EXPECT_EQ(0, ask());
    EXPECT_EQ(NULL, info.thread_group);
    EXPECT_EQ(NULL, info.context_class_loader);
    EXPECT_EQ(strings(), recorded());
}

TEST_P(ThreadInfo, GivesEachInterfacesOwnStatus) {
    worker.jvmti_state = JVMTI_THREAD_STATE_ALIVE | JVMTI_THREAD_STATE_SLEEPING;
    worker.jvmdi_status = JVMDI_THREAD_STATUS_SLEEPING;
    worker.suspend_count = 1;
    EXPECT_EQ(0, ask());
    EXPECT_EQ(on_jvmdi() ? JVMDI_THREAD_STATUS_SLEEPING : JVMTI_THREAD_STATE_ALIVE | JVMTI_THREAD_STATE_SLEEPING,
              status);
    EXPECT_EQ(on_jvmdi() ? JVMDI_SUSPEND_STATUS_SUSPENDED : -1, suspend_status);
}

TEST_P(ThreadInfo, GivesIdZeroForAThreadThatTheMapDoesNotHold) {
    EXPECT_EQ(0, ask(sim.global(&sim.new_thread("stranger"))));
    EXPECT_EQ(0, tid);
    EXPECT_STREQ("stranger", info.name);
}

TEST_P(ThreadInfo, RefusesACallerThatTheMapDoesNotHold) {
    forget_own_thread();
    sim.clear_calls();
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, ask());
    EXPECT_EQ(-1, tid);
    EXPECT_EQ(on_jvmdi() ? -7 : -1, suspend_status) << "always -1 under JVMTI";
    EXPECT_CALLS(made_calls(), );
}

TEST_P(ThreadInfo, GivesTheCodeOfAFailedQuery) {
    EXPECT_EQ(SOME_ERROR, result_of_failing("GetThreadInfo", 1, [&] { return ask(); }));
    EXPECT_EQ(4242, tid);
    EXPECT_EQ(-7, status);
    EXPECT_EQ(on_jvmdi() ? -7 : -1, suspend_status);
    EXPECT_EQ(NULL, own_record().thread_name);
    EXPECT_EQ(strings(), recorded());

    EXPECT_EQ(SOME_ERROR, result_of_failing(status_function(), 1, [&] { return ask(); }));
    EXPECT_STREQ("worker", info.name);
    EXPECT_EQ(info.name, own_record().thread_name);
    EXPECT_EQ(4u, recorded().size());
    EXPECT_EQ(-7, status);
    EXPECT_EQ(on_jvmdi() ? -7 : -1, suspend_status);
}

TEST_P(ThreadInfo, TakesTheCallersOwnEnvironmentForNull) {
    EXPECT_EQ(0, agent_get_threadinfo(NULL, handle, &info, &tid, &status, &suspend_status));
    EXPECT_STREQ("worker", info.name);
    EXPECT_EQ(sim.main_group, sim.object(info.thread_group));
}

/* ---- Thread groups, as the VM gives them ---- */

struct ThreadGroups : EntryTest {
    jint thread_count = -1, group_count = -1;
    jthread* threads = NULL;
    jthreadGroup* groups = NULL;
    jobject main_group = sim.global(sim.main_group);
};
SIM_ALL_MODES(ThreadGroups);

TEST_P(ThreadGroups, AtTheTopAreTheVmsOwnAnswer) {
    sim.new_group("applet");
    sim.clear_calls();
    EXPECT_EQ(0, agent_get_topthreadgroups(sim.env(), &group_count, &groups));
    EXPECT_CALLS(made_calls(), sim.vm_name("GetTopThreadGroups()"));
    ASSERT_GE(group_count, 1);
    EXPECT_EQ(sim.system_group, sim.object(groups[0]));
    EXPECT_EQ(on_jvmdi(), sim.is_global(groups[0]));
    EXPECT_TRUE(sim.is_live_block(groups));
    EXPECT_EQ(strings(), recorded());
}

TEST_P(ThreadGroups, AreDescribedByTheVm) {
    sim.clear_calls();
    JVMDI_thread_group_info info{};
    EXPECT_EQ(0, agent_get_threadgroupinfo(sim.env(), main_group, &info));
    EXPECT_CALLS(made_calls(), sim.vm_name("GetThreadGroupInfo(main)"));
    EXPECT_STREQ("main", info.name);
    EXPECT_EQ(10, info.max_priority);
    EXPECT_EQ(sim.system_group, sim.object(info.parent));
    EXPECT_EQ(strings(), recorded());
    EXPECT_EQ(NULL, own_record().thread_name);
}

TEST_P(ThreadGroups, ShowTheirChildrenAsTheVmGivesThem) {
    sim::ThreadGroup& child = sim.new_group("child", sim.main_group);
    sim::Thread& worker = sim.new_thread("worker", &child);
    const jobject group = sim.global(&child);
    sim.clear_calls();
    EXPECT_EQ(0, agent_get_threadgroupchildren(sim.env(), group, &thread_count, &threads, &group_count, &groups));
    EXPECT_CALLS(made_calls(), sim.vm_name("GetThreadGroupChildren(child)"));
    ASSERT_EQ(1, thread_count);
    EXPECT_EQ(&worker, sim.object(threads[0]));
    EXPECT_EQ(0, group_count);

    EXPECT_EQ(0, agent_get_threadgroupchildren(sim.env(), main_group, &thread_count, &threads, &group_count, &groups));
    ASSERT_EQ(1, group_count);
    EXPECT_EQ(&child, sim.object(groups[0]));
    EXPECT_EQ(strings(), recorded());
}

TEST_P(ThreadGroups, GiveTheCodesOfFailedQueries) {
    JVMDI_thread_group_info info{};
    std::string printed;
    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              "GetTopThreadGroups", 1,
                              [&] { return agent_get_topthreadgroups(sim.env(), &group_count, &groups); }, &printed));
    EXPECT_EQ("", printed);
    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              "GetThreadGroupInfo", 1,
                              [&] { return agent_get_threadgroupinfo(sim.env(), main_group, &info); }, &printed));
    EXPECT_EQ("", printed);
    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              "GetThreadGroupChildren", 1,
                              [&] {
                                  return agent_get_threadgroupchildren(sim.env(), main_group, &thread_count, &threads,
                                                                       &group_count, &groups);
                              },
                              &printed));
    EXPECT_EQ("", printed);
    EXPECT_EQ(-1, group_count);
    EXPECT_EQ(-1, thread_count);
}

TEST_P(ThreadGroups, AreAskedOfTheTableThatTheCallersVmGives) {
    agent_get_topthreadgroups(sim.env(), &group_count, &groups);
    agent_get_topthreadgroups(sim.env(), &group_count, &groups);
    const size_t fetched = on_jvmdi() ? 1 : 0;
    EXPECT_EQ(fetched, sim.count_calls("JNI.GetJavaVM"));
    EXPECT_EQ(fetched, sim.count_calls("JavaVM.GetEnv"));
}

struct ThreadGroupsWithoutTable : ThreadGroups {};
SIM_MODES(ThreadGroupsWithoutTable, sim::Mode::jvmdi);

TEST_P(ThreadGroupsWithoutTable, GiveTheCodeOfTheFailure) {
    sim.fail("JNI.GetJavaVM", JNI_ERR);
    EXPECT_EQ(JNI_ERR, agent_get_topthreadgroups(sim.env(), &group_count, &groups));
    sim.stop_failing("JNI.GetJavaVM");
    sim.set_getenv(JVMDI_VERSION_1, JNI_EVERSION);
    EXPECT_EQ(JNI_EVERSION, agent_get_topthreadgroups(sim.env(), &group_count, &groups));
    sim.set_getenv(JVMDI_VERSION_1, JNI_OK);
    EXPECT_EQ(0, agent_get_topthreadgroups(sim.env(), &group_count, &groups)) << "a failure is not kept";
}

TEST_P(ThreadGroupsWithoutTable, AbortWhenTheVmDoesNotKnowTheCaller) {
    const sim::ChildResult child = run_in_child([&] {
        sim.set_getenv(JNI_VERSION_1_2, JNI_EDETACHED);
        agent_get_topthreadgroups(NULL, &group_count, &groups);
    });
    EXPECT_EQ(SIGABRT, child.signal);
}
