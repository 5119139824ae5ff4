/* The list of prepared classes: its growth, what is added, its hand-over, and its seeding with the loaded classes. */
#include "query_fixture.h"
#include "vm/vm_call.h"
#include "watched_monitor.h"

#include <atomic>
#include <errno.h>
#include <string.h>

using sim::capture_stdout;

enum { FAILS = JVMDI_ERROR_OPAQUE_FRAME };

struct PrepList : QueryTest {
    PrepList()
        : env(sim.env()), foo(sim.new_class("Foo")), shape(sim.new_interface("pack/Shape")),
          clazz(sim.global<jclass>(&foo)) {
        sim.loaded_classes = {&foo, &shape};
        sim.clear_calls();
    }
    ~PrepList() override { monitors::before_lock = nullptr; }

    void add(jclass added, jint check = 0) { PrepList_add_unlocked(&prep_list, env, added, check); }
    jint collect() { return PrepList_get(&prep_list, env, &count, &batch); }
    strings signatures() {
        strings all;
        for (jint i = 0; i < prep_list.count; i++) all.push_back(prep_list.array[i].signature);
        return all;
    }
    std::string room(int records) {
        return sim.vm_name("Allocate(" + std::to_string((size_t)records * sizeof(class_info)) + ")");
    }
    void expect_empty() {
        EXPECT_EQ(nullptr, prep_list.array);
        EXPECT_EQ(0, prep_list.capacity);
        EXPECT_EQ(0, prep_list.count);
    }

    JNIEnv* env;
    sim::Class &foo, &shape;
    jclass clazz; /* of foo */
    jint count = -1;
    class_info* batch = nullptr;
};
SIM_ALL_MODES(PrepList);

/* ---- Adding ---- */

TEST_P(PrepList, IsEmptyAndFreeAtFirst) {
    prepared_classes list;
    memset((void*)&list, 0x55, sizeof list);
    PrepList_init(&list);
    EXPECT_EQ(nullptr, list.array);
    EXPECT_EQ(0, list.capacity);
    EXPECT_EQ(0, list.count);
    EXPECT_EQ(1u, monitor_lock(&list.monitor, "test"));
    monitor_unlock(&list.monitor, "test");
    EXPECT_CALLS(sim.calls());
}

TEST_P(PrepList, ExpandsByACopyOfItsRecords) {
    EXPECT_EQ(0, PrepList_expand(&prep_list, 2));
    prep_list.count = 2;
    strcpy(prep_list.array[0].signature, "first");
    strcpy(prep_list.array[1].source_file, "last");
    const class_info* before = prep_list.array;
    sim.clear_calls();
    EXPECT_EQ(0, PrepList_expand(&prep_list, 3));
    EXPECT_CALLS(sim.calls(), room(5), sim.vm_name("Deallocate()"));
    EXPECT_FALSE(sim.is_live_block(before));
    EXPECT_EQ(5, prep_list.capacity);
    EXPECT_EQ(2, prep_list.count);
    EXPECT_STREQ("first", prep_list.array[0].signature);
    EXPECT_STREQ("last", prep_list.array[1].source_file);
    EXPECT_EQ(5 * sizeof(class_info), sim.block_size(prep_list.array));
}

TEST_P(PrepList, StaysAsItIsWithoutMemoryToExpand) {
    PrepList_expand(&prep_list, 2);
    const prepared_classes before = prep_list;
    sim.fail(sim.vm_name("Allocate"), FAILS);
    EXPECT_EQ("", capture_stdout([&] { EXPECT_EQ(FAILS, PrepList_expand(&prep_list, 3)); }));
    EXPECT_EQ(before.array, prep_list.array);
    EXPECT_EQ(2, prep_list.capacity);
    EXPECT_TRUE(sim.is_live_block(before.array));
}

TEST_P(PrepList, AddsADescribedClassUnderTheReferenceThatItIsGiven) {
    const jclass interface = sim.global<jclass>(&shape);
    add(interface);
    ASSERT_EQ(1, prep_list.count);
    EXPECT_EQ(interface, prep_list.array[0].clazz);
    EXPECT_STREQ("Lpack/Shape;", prep_list.array[0].signature);
    EXPECT_STREQ(shape.source_file->c_str(), prep_list.array[0].source_file);
    EXPECT_EQ(1, prep_list.array[0].has_source);
    EXPECT_EQ(1, prep_list.array[0].is_interface);
}

TEST_P(PrepList, AddsAClassAsOftenAsItIsGiven) {
    add(clazz);
    add(clazz);
    EXPECT_EQ((strings{"LFoo;", "LFoo;"}), signatures());
}

TEST_P(PrepList, AddsNothingForNull) {
    add(nullptr);
    add(nullptr, 1);
    expect_empty();
    EXPECT_CALLS(sim.calls());
}

TEST_P(PrepList, ChecksForThePreparedBitWhenItIsTold) {
    const struct {
        jint status;
        bool is_prepared;
    } cases[] = {{0, false}, {1, false}, {2, true}, {3, true}, {4, false}, {7, true}, {8, false}};
    for (const auto& each : cases) {
        PrepList_reset(&prep_list);
        foo.status = each.status;
        add(clazz, 1);
        EXPECT_EQ(each.is_prepared ? 1 : 0, prep_list.count) << each.status;
        add(clazz, 0);
        EXPECT_EQ(each.is_prepared ? 2 : 1, prep_list.count) << each.status;
    }
    EXPECT_EQ(7u, sim.count_calls("JV*.GetClassStatus"));
}

TEST_P(PrepList, ClassWhoseStatusCannotBeHadIsNotAdded) {
    sim.fail(sim.vm_name("GetClassStatus"), FAILS);
    EXPECT_EQ("add_class_to_class_list: GetClassStatus failed -- OPAQUE_FRAME\n",
              capture_stdout([&] { add(clazz, 1); }));
    expect_empty();
}

TEST_P(PrepList, GrowsBy100AtTheFirstAndThe101stClass) {
    add(clazz);
    EXPECT_EQ(100, prep_list.capacity);
    for (int i = 1; i < 100; i++) add(clazz);
    EXPECT_EQ(100, prep_list.capacity);
    add(clazz);
    EXPECT_EQ(200, prep_list.capacity);
    EXPECT_EQ(strings(101, "LFoo;"), signatures());
    EXPECT_CALLS(sim.calls_of({"JV*.Allocate"}), room(100), room(200));
}

TEST_P(PrepList, ClassThatThereIsNoRoomForIsNotAdded) {
    sim.fail(sim.vm_name("Allocate"), JVMDI_ERROR_OUT_OF_MEMORY);
    EXPECT_EQ("PrepList_add_unlocked: expand failed -- OUT_OF_MEMORY\n", capture_stdout([&] { add(clazz); }));
    expect_empty();
}

TEST_P(PrepList, ClassThatCannotBeDescribedLeavesItsRecordToTheNext) {
    sim.fail_nth(sim.vm_name("GetClassSignature"), 1, FAILS);
    EXPECT_EQ("AgentThread: JVMDI_GetClassSignature() failed -- OPAQUE_FRAME\n"
              "add_class_to_class_list: agent_get_classinfo failed -- OPAQUE_FRAME\n",
              capture_stdout([&] { add(clazz); }));
    EXPECT_EQ(0, prep_list.count);
    EXPECT_EQ(100, prep_list.capacity);
    add(clazz);
    EXPECT_EQ(strings{"LFoo;"}, signatures());
}

/* ---- Locking ---- */

TEST_P(PrepList, AddsUnderTheLockOfTheListThatIsNamedToTheAgentsOwn) {
    prepared_classes another;
    PrepList_init(&another);
    bool held = false;
    sim.before(sim.vm_name("GetClassSignature"), [&] {
        held = pthread_mutex_trylock(&another.monitor.mutex) == EBUSY;
        if (!held) pthread_mutex_unlock(&another.monitor.mutex);
    });
    EXPECT_EQ(1, PrepList_add_locked(&another, env, clazz, 0));
    EXPECT_TRUE(held);
    EXPECT_EQ(0, another.count);
    EXPECT_EQ(strings{"LFoo;"}, signatures());
    foo.status = 1;
    EXPECT_EQ(1, PrepList_add_locked(&prep_list, env, clazz, 1));
    EXPECT_EQ(1, prep_list.count);
}

TEST_P(PrepList, LocksInTheNameOfEachFunction) {
    strings locked;
    monitors::before_lock = [&](const std::string& caller) { locked.push_back(caller); };
    PrepList_add_locked(&prep_list, env, clazz, 0);
    collect();
    PrepList_reset(&prep_list);
    PrepList_seed(&prep_list, env);
    strings expected = {"PrepList_add_locked", "PrepList_get", "PrepList_reset", "PrepList_seed"};
    if (newer())
        expected.insert(expected.end(), {"seed_class", "seed_class"});
    else
        expected.push_back("PrepList_seed");
    EXPECT_EQ(expected, locked);
    EXPECT_EQ(0, monitors::held);
}

TEST_P(PrepList, ThatCannotBeLockedIsLeftAlone) {
    add(clazz);
    const prepared_classes before = prep_list;
    for (const char* caller : {"PrepList_add_locked", "PrepList_get", "PrepList_reset", "PrepList_seed"})
        monitors::fail("lock", caller);
    EXPECT_EQ(0, PrepList_add_locked(&prep_list, env, clazz, 0));
    EXPECT_EQ(113, collect());
    EXPECT_EQ(-1, count);
    EXPECT_EQ(0, PrepList_reset(&prep_list));
    EXPECT_EQ(0, PrepList_seed(&prep_list, env));
    EXPECT_EQ(before.array, prep_list.array);
    EXPECT_EQ(1, prep_list.count);
}

TEST_P(PrepList, ThatCannotBeUnlockedHasDoneItsWork) {
    for (const char* caller : {"PrepList_add_locked", "PrepList_reset"}) monitors::fail("unlock", caller);
    monitors::fail("unlock", "PrepList_seed", newer() ? 1 : 2); /* on old VMs the first is the reference table's */
    EXPECT_EQ(0, PrepList_seed(&prep_list, env));
    EXPECT_EQ(0, PrepList_add_locked(&prep_list, env, clazz, 0));
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;", "LFoo;"}), signatures());
    EXPECT_EQ(0, PrepList_reset(&prep_list));
    expect_empty();
}

TEST_P(PrepList, ThreadsAddWhileTheDebuggerCollects) {
    enum { THREADS = 3, CLASSES = 60 };
    std::atomic<int> running_threads = THREADS;
    std::vector<std::unique_ptr<sim::Running>> running;
    for (int i = 0; i < THREADS; i++)
        running.push_back(sim.start(sim.new_thread("loader"), [&] {
            for (int n = 0; n < CLASSES; n++) PrepList_add_locked(&prep_list, sim.env(), clazz, 0);
            running_threads--;
        }));
    int collected = 0;
    for (bool more = true; more;) {
        more = running_threads > 0;
        collect();
        for (jint i = 0; i < count; i++) collected += strcmp("LFoo;", batch[i].signature) == 0;
        if (batch) vm_deallocate(batch);
    }
    for (auto& each : running) each->join();
    EXPECT_EQ(THREADS * CLASSES, collected);
}

/* ---- Handing over ---- */

TEST_P(PrepList, HandsItsArrayOverOnce) {
    add(clazz);
    const class_info* array = prep_list.array;
    sim.clear_calls();
    EXPECT_EQ(0, collect());
    EXPECT_EQ(1, count);
    EXPECT_EQ(array, batch);
    EXPECT_TRUE(sim.is_live_block(batch));
    expect_empty();
    EXPECT_EQ(0, collect());
    EXPECT_EQ(0, count);
    EXPECT_EQ(nullptr, batch);
    EXPECT_CALLS(sim.calls());
}

TEST_P(PrepList, IsResetByGivingItsArrayBack) {
    add(clazz);
    const class_info* array = prep_list.array;
    sim.clear_calls();
    EXPECT_EQ(1, PrepList_reset(&prep_list));
    EXPECT_FALSE(sim.is_live_block(array));
    expect_empty();
    EXPECT_EQ(1, PrepList_reset(&prep_list));
    EXPECT_CALLS(sim.calls(), sim.vm_name("Deallocate()"));
}

/* ---- Seeding ---- */

struct Seeding : PrepList {
    jint seed() { return PrepList_seed(&prep_list, env); }

    jobject uref_of(sim::Object& object) { return URef_find(env, sim.local(&object)); }
    size_t arrays_of_classes() {
        size_t arrays = 0;
        for (const sim::Block& block : sim.live_blocks()) arrays += block.origin == sim.vm_name("GetLoadedClasses");
        return arrays;
    }
};
SIM_ALL_MODES(Seeding);

TEST_P(Seeding, ListsThePreparedClassesInTheVmsOrderUnderTheirURefs) {
    sim::Class& unprepared = sim.new_class("Unprepared");
    unprepared.status = 1;
    sim.loaded_classes = {&shape, &unprepared, &foo};
    EXPECT_EQ(1, seed());
    EXPECT_EQ((strings{"Lpack/Shape;", "LFoo;"}), signatures());
    EXPECT_EQ(3, prep_list.capacity);
    EXPECT_NE(nullptr, uref_of(foo));
    EXPECT_EQ(uref_of(shape), prep_list.array[0].clazz);
    EXPECT_EQ(uref_of(foo), prep_list.array[1].clazz);
    EXPECT_NE(nullptr, uref_of(unprepared)) << "listed or not";
}

TEST_P(Seeding, MakesTheseCalls) {
    sim.loaded_classes = {&foo};
    seed();
    PrepList_reset(&prep_list);
    URef_delete(env, clazz);
    sim.clear_calls();

    EXPECT_EQ(1, seed());

    strings expected = vm_calls({"GetLoadedClasses()"});
    if (newer()) expected.push_back("JNI.EnsureLocalCapacity(1025)");
    expected.push_back(room(1));
    expected.push_back(sim.vm_name("GetObjectHashCode(Foo)"));
    if (on_jvmti()) expected.push_back("JNI.NewGlobalRef(Foo)");
    const std::string record = "Allocate(" + std::to_string(sizeof(uref_record)) + ")";
    for (const std::string& call : vm_calls({record, "GetClassStatus(Foo)", "GetClassSignature(Foo)", "Deallocate()",
                                             "GetSourceFileName(Foo)", "Deallocate()", "IsInterface(Foo)"}))
        expected.push_back(call);
    if (newer()) expected.insert(expected.end(), {"JNI.DeleteLocalRef(Foo)", "JVMTI.Deallocate()"});
    EXPECT_EQ(expected, sim.calls());
}

TEST_P(Seeding, AddsToWhatTheListHolds) {
    add(clazz);
    EXPECT_EQ(1, seed());
    EXPECT_EQ((strings{"LFoo;", "LFoo;", "Lpack/Shape;"}), signatures());
    EXPECT_EQ(102, prep_list.capacity);
}

TEST_P(Seeding, GoesOnToTheEndOfTheVmOnly) {
    shared_store(vm_init_done, 1);
    sim.before(sim.vm_name("GetClassStatus"), [] { shared_store(vm_init_done, 0); });
    EXPECT_EQ(1, seed());
    EXPECT_EQ(newer() ? 1 : 2, prep_list.count) << "on old VMs it runs with everything suspended";
}

TEST_P(Seeding, OfAVmWithoutClassesListsNone) {
    sim.loaded_classes.clear();
    EXPECT_EQ(1, seed());
    expect_empty();
}

TEST_P(Seeding, TakesTheListsLockAndThenTheTablesAndAsksForHashCodesBetween) {
    std::vector<int> held;
    const auto note = [&] { held.push_back(monitors::held); };
    for (const char* function : {"GetLoadedClasses", "GetObjectHashCode", "GetClassStatus"})
        sim.before(sim.vm_name(function), note);
    seed();
    EXPECT_EQ(newer() ? (std::vector<int>{0, 1, 1, 1, 1}) : (std::vector<int>{0, 1, 1, 2, 2}), held)
        << "a newer VM's threads need the table meanwhile";
    EXPECT_EQ(0, monitors::held);
}

TEST_P(Seeding, SearchesTheTableUnderItsLock) {
    seed();
    std::vector<int> held;
    sim.before("JNI.IsSameObject", [&] { held.push_back(monitors::held); });
    seed();
    EXPECT_LT(0u, held.size());
    EXPECT_EQ(std::vector<int>(held.size(), 2), held);
}

TEST_P(Seeding, KeepsTheURefOfAKnownClass) {
    jint created;
    const jobject uref = URef_from_local(env, clazz, &created);
    const size_t globals = sim.live_globals();
    sim.loaded_classes = {&foo};
    seed();
    EXPECT_EQ(uref, prep_list.array[0].clazz);
    EXPECT_EQ(newer() ? globals : globals + 1, sim.live_globals()) << "a second reference is left on old VMs only";
}

TEST_P(Seeding, LeavesTheVmsReferencesAndArrayToOldVmsOnly) {
    const size_t locals = sim.live_locals();
    seed();
    EXPECT_EQ(locals + (sim.mode == sim::Mode::jvmti10 ? 2 : 0), sim.live_locals());
    EXPECT_EQ(newer() ? 0u : 1u, arrays_of_classes());
}

TEST_P(Seeding, FetchesTheJvmdiTableOnce) {
    sim.fail(sim.vm_name("GetLoadedClasses"), FAILS); /* so that the class queries do not fetch theirs */
    seed();
    seed();
    if (on_jvmdi())
        EXPECT_CALLS(sim.calls(), "JNI.GetJavaVM()", "JavaVM.GetEnv(0x20010000)", "JVMDI.GetLoadedClasses()",
                     "JVMDI.GetLoadedClasses()");
    else
        EXPECT_CALLS(sim.calls(), "JVMTI.GetLoadedClasses()", "JVMTI.GetLoadedClasses()");
}

TEST_P(Seeding, GivesTheCodeOfAFailureBeforeTheLock) {
    strings locked;
    monitors::before_lock = [&](const std::string& caller) { locked.push_back(caller); };
    if (on_jvmdi())
        for (const char* name : {"JNI.GetJavaVM", "JavaVM.GetEnv"}) {
            sim.fail_nth(name, 1, -6);
            EXPECT_EQ(-6, seed()) << name;
        }
    sim.fail(sim.vm_name("GetLoadedClasses"), FAILS);
    EXPECT_EQ("", capture_stdout([&] { EXPECT_EQ(FAILS, seed()); }));
    EXPECT_EQ(strings{}, locked);
    expect_empty();
}

TEST_P(Seeding, WithoutMemoryGivesItsCodeAndLeavesTheListLockedOnOldVms) {
    sim.fail(sim.vm_name("Allocate"), JVMDI_ERROR_OUT_OF_MEMORY);
    EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, seed());
    EXPECT_EQ(newer() ? 0 : EBUSY, pthread_mutex_trylock(&prep_list.monitor.mutex));
    EXPECT_EQ(0, pthread_mutex_trylock(&URef_monitor.mutex));
    pthread_mutex_unlock(&URef_monitor.mutex);
    monitor_unlock(&prep_list.monitor, "test");
    expect_empty();
    EXPECT_EQ(0u, sim.count_calls("JV*.GetObjectHashCode"));
    EXPECT_EQ(newer() ? 0u : 1u, arrays_of_classes());
}

TEST_P(Seeding, ListsNoClassThatCannotBeMadeGlobal) {
    if (on_jvmdi()) return; /* its references are global already */
    sim.null_in("JNI.NewGlobalRef", 1);
    EXPECT_EQ(1, seed());
    EXPECT_EQ(strings{"Lpack/Shape;"}, signatures());
    EXPECT_EQ(nullptr, uref_of(foo));
}

TEST_P(Seeding, GoesOnAfterAClassThatCannotBeDescribed) {
    sim.fail_nth(sim.vm_name("GetClassSignature"), 1, FAILS);
    capture_stdout([&] { EXPECT_EQ(1, seed()); });
    EXPECT_EQ(strings{"Lpack/Shape;"}, signatures());
    EXPECT_NE(nullptr, uref_of(foo));
}

/* ---- Bringing a seeded list up to date ---- */

struct Refresh : Seeding {
    Refresh() {
        seed();
        sim.clear_calls();
    }
    jint refresh() { return PrepList_refresh(&prep_list, env); }
    sim::Class& new_class(const char* name, bool prepared = true) {
        sim::Class& added = sim.new_class(name);
        if (!prepared) added.status = 1;
        return added;
    }
};
SIM_MODES(Refresh, sim::Mode::jvmti_newer);

TEST_P(Refresh, MakesOneCallForEachClassThatTheListHas) {
    const class_info* array = prep_list.array;
    EXPECT_EQ(1, refresh());
    EXPECT_CALLS(sim.calls_without({"JNI.DeleteLocalRef"}), "JVMTI.GetLoadedClasses()", "JNI.EnsureLocalCapacity(1026)",
                 "JNI.IsSameObject(Foo, Foo)", "JNI.IsSameObject(pack/Shape, pack/Shape)", "JVMTI.Deallocate()");
    EXPECT_EQ(array, prep_list.array);
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;"}), signatures());
}

TEST_P(Refresh, AddsWhatWasPreparedSinceWhereverTheVmGivesIt) {
    sim::Class &first = new_class("First"), &between = new_class("Between"), &last = new_class("Last");
    sim.loaded_classes = {&first, &foo, &new_class("Unprepared", false), &between, &shape, &last};
    EXPECT_EQ(1, refresh());
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;", "LFirst;", "LBetween;", "LLast;"}), signatures());
    EXPECT_EQ(uref_of(between), prep_list.array[3].clazz);
    EXPECT_EQ(3u, sim.count_calls("JVMTI.GetClassSignature"));
    EXPECT_EQ(room(5), sim.calls_of({"JVMTI.Allocate"})[0]) << "at once";
}

TEST_P(Refresh, AddsAClassThatWasLoadedAtTheSeedingAndIsPreparedNow) {
    sim::Class& late = new_class("Late", false);
    sim.loaded_classes = {&foo, &late, &shape};
    PrepList_reset(&prep_list);
    seed();
    const jobject uref = uref_of(late);
    late.status = 7;
    EXPECT_EQ(1, refresh());
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;", "LLate;"}), signatures());
    EXPECT_EQ(uref, prep_list.array[2].clazz);
}

TEST_P(Refresh, KnowsWhatItHasAddedBeforeToo) {
    sim.loaded_classes = {&new_class("First"), &foo, &new_class("Between"), &shape};
    refresh();
    sim.clear_calls();
    EXPECT_EQ(1, refresh());
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;", "LFirst;", "LBetween;"}), signatures());
    EXPECT_EQ(0u, sim.count_calls("JVMTI.GetClassStatus"));
}

TEST_P(Refresh, ForgetsAClassThatWasUnloaded) {
    sim.loaded_classes = {&shape, &new_class("New")};
    EXPECT_EQ(1, refresh());
    EXPECT_EQ((strings{"Lpack/Shape;", "LNew;"}), signatures());
}

TEST_P(Refresh, SeedsAfreshWhatTheVmGivesInAnotherOrder) {
    sim.loaded_classes = {&shape, &foo};
    EXPECT_EQ(1, refresh());
    EXPECT_EQ((strings{"Lpack/Shape;", "LFoo;"}), signatures());
}

TEST_P(Refresh, NamesAClassOnceThatAnEventHasAddedMeanwhile) {
    add(clazz);
    EXPECT_EQ(1, refresh());
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;"}), signatures());
}

TEST_P(Refresh, FillsAListThatTheDebuggerHasCollected) {
    collect();
    EXPECT_EQ(1, refresh());
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;"}), signatures());
}

TEST_P(Refresh, LeavesNoReferenceAndNoArray) {
    sim::Class& added = new_class("Added");
    sim.loaded_classes = {&foo, &added, &new_class("Unprepared", false), &shape};
    const size_t locals = sim.live_locals(), globals = sim.live_globals();
    refresh();
    EXPECT_EQ(locals, sim.live_locals());
    add(clazz); /* so that it begins afresh */
    refresh();
    EXPECT_EQ(locals, sim.live_locals());
    EXPECT_EQ(globals + 2, sim.live_globals()) << "the added class's URef, and that of the one that seeding saw";
    EXPECT_EQ(0u, arrays_of_classes());
}

TEST_P(Refresh, LeavesTheListAsItIsWhenTheClassesCannotBeHad) {
    sim.fail("JVMTI.GetLoadedClasses", FAILS);
    EXPECT_EQ(FAILS, refresh());
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;"}), signatures());
}

TEST_P(Refresh, WithoutMemoryForNewClassesKeepsTheOthers) {
    sim.loaded_classes = {&foo, &new_class("New"), &shape};
    sim.fail_nth("JVMTI.Allocate", 1, JVMDI_ERROR_OUT_OF_MEMORY);
    sim.fail_nth("JVMTI.Allocate", 3, JVMDI_ERROR_OUT_OF_MEMORY); /* the second is the reference table's */
    const std::string out = capture_stdout([&] { EXPECT_EQ(1, refresh()); });
    EXPECT_EQ("PrepList_add_unlocked: expand failed -- OUT_OF_MEMORY\n", out);
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;"}), signatures());
}

TEST_P(Refresh, ThatCannotLockLeavesTheListAlone) {
    monitors::fail("lock", "PrepList_refresh");
    sim.loaded_classes = {};
    EXPECT_EQ(0, refresh());
    EXPECT_EQ((strings{"LFoo;", "Lpack/Shape;"}), signatures());
}
