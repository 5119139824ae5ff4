/* The universal reference table: one URef for each object, its records, its locking, and what a newer VM asks for. */

#include "registry/agent_uref.h"

#include "entry/agent_entry.h"
#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "registry/prep_list.h"
#include "registry/resources.h"
#include "sim/interleave.h"
#include "sim/sim_test.h"
#include "stop/suspend.h"
#include "support/agent_self.h"
#include "watched_monitor.h"

#include <atomic>
#include <csignal>
#include <string>
#include <sys/time.h>
#include <vector>

using sim::capture_stdout;

typedef std::vector<std::string> strings;

struct URefTable : sim::SimTestP {
    URefTable() : env(sim.env()), object(sim.new_object("java/lang/Object", 5)) {
        install_globals();
        URef_init();
        sim.clear_calls();
    }

    jobject convert(sim::Object& of) { return URef_from_local(env, sim.local(&of), &created); }
    jobject find(sim::Object& of) { return URef_find(env, sim.local(&of)); }
    jint remove(sim::Object& of) { return URef_delete(env, sim.local(&of)); }
    sim::Object& neighbour() { return sim.new_object("java/lang/Object", 5 + UREF_BUCKETS); }

    /* The objects that a bucket holds, in the order of its chain. */
    strings bucket(jint number) {
        strings labels;
        for (const uref_record* record = refmap[number]; record; record = record->next)
            labels.push_back(record->ref ? sim.object(record->ref)->label : "null");
        return labels;
    }
    size_t records() {
        size_t count = 0;
        for (const uref_record* record : refmap)
            for (; record; record = record->next) count++;
        return count;
    }

    std::string hash_call(const sim::Object& of) { return sim.vm_name("GetObjectHashCode(" + of.label + ")"); }
    std::string allocate_call() { return sim.vm_name("Allocate(" + std::to_string(sizeof(uref_record)) + ")"); }
    static std::string compare_call(const sim::Object& known, const sim::Object& with) {
        return "JNI.IsSameObject(" + known.label + ", " + with.label + ")";
    }

    JNIEnv* env;
    sim::Object& object;
    jint created = -1;
};
SIM_ALL_MODES(URefTable);

/* ---- Converting ---- */

TEST_P(URefTable, GivesOneURefForEveryReferenceToAnObject) {
    const jobject first = sim.local(&object);
    const jobject second = sim.local(&object);
    const jobject uref = URef_from_local(env, first, &created);
    EXPECT_EQ(1, created);
    EXPECT_EQ(uref, URef_from_local(env, second, &created));
    EXPECT_EQ(0, created);
    EXPECT_EQ(uref, URef_from_local(env, uref, &created));
    EXPECT_EQ(0, created);
    EXPECT_EQ(uref, URef_find(env, second));
    EXPECT_TRUE(sim.is_global(uref));
    EXPECT_EQ(&object, sim.object(uref));
    EXPECT_EQ(1u, records());
}

TEST_P(URefTable, MakesAReferenceOfItsOwnFromALocalOne) {
    const jobject local = sim.local(&object);
    const jobject uref = URef_from_local(env, local, &created);
    EXPECT_EQ(1, refmap[5]->owned);
    EXPECT_CALLS(sim.calls(), hash_call(object), allocate_call(), "JNI.NewGlobalRef(" + object.label + ")");
    EXPECT_EQ(1, URef_delete(env, local));
    EXPECT_EQ(nullptr, sim.object(uref));
    EXPECT_TRUE(sim.is_local(local));
}

TEST_P(URefTable, DoesNotAdoptAGlobalReferenceThatIsConvertedAsALocalOne) {
    const jobject global = sim.global(&object);
    EXPECT_NE(global, URef_from_local(env, global, &created));
    remove(object);
    EXPECT_TRUE(sim.is_global(global));
}

TEST_P(URefTable, AdoptsAGlobalReferenceThatStaysItsCallersToDelete) {
    const jobject global = sim.global(&object);
    EXPECT_EQ(global, URef_from_global(env, global, &created));
    EXPECT_EQ(1, created);
    EXPECT_EQ(0, refmap[5]->owned);
    EXPECT_CALLS(sim.calls(), hash_call(object), allocate_call());
    EXPECT_EQ(1, URef_delete(env, global));
    EXPECT_TRUE(sim.is_global(global));
    EXPECT_EQ(nullptr, find(object));
}

TEST_P(URefTable, LeavesAGlobalReferenceToAKnownObjectToItsCaller) {
    const jobject uref = convert(object);
    const jobject global = sim.global(&object);
    EXPECT_EQ(uref, URef_from_global(env, global, &created));
    EXPECT_EQ(0, created);
    EXPECT_EQ(1, refmap[5]->owned);
    remove(object);
    EXPECT_FALSE(sim.is_global(uref));
    EXPECT_TRUE(sim.is_global(global));
}

TEST_P(URefTable, ComparesInTheBucketOnlyAndMakesNoReferenceToAKnownObject) {
    sim::Object& beside = neighbour();
    sim::Object& elsewhere = sim.new_object("java/lang/Object", 6);
    for (sim::Object* each : {&object, &beside, &elsewhere}) convert(*each);
    sim.clear_calls();
    convert(object);
    EXPECT_CALLS(sim.calls(), hash_call(object), compare_call(beside, object), compare_call(object, object));
}

TEST_P(URefTable, HasNothingForNull) {
    strings locked;
    monitors::before_lock = [&](const std::string& caller) { locked.push_back(caller); };
    EXPECT_EQ(nullptr, URef_from_local(env, NULL, &created));
    EXPECT_EQ(nullptr, URef_from_global(env, NULL, &created));
    EXPECT_EQ(nullptr, URef_from_local_nolock(env, NULL, 5, &created));
    EXPECT_EQ(nullptr, URef_from_global_nolock(env, NULL, 5, &created));
    EXPECT_EQ(nullptr, URef_find(env, NULL));
    monitors::before_lock = nullptr;
    EXPECT_EQ(-1, created);
    EXPECT_EQ(0, nfinds);
    EXPECT_EQ(0u, records());
    EXPECT_EQ(strings{}, locked);
    EXPECT_CALLS(sim.calls());
}

TEST_P(URefTable, CountsEverySearchButThoseOfDeletions) {
    find(object);
    EXPECT_EQ(1, nfinds);
    convert(object);
    convert(object);
    EXPECT_EQ(3, nfinds);
    URef_from_global(env, sim.global(&object), &created);
    URef_from_local_nolock(env, sim.local(&object), 5, &created);
    EXPECT_EQ(5, nfinds);
    remove(object);
    URef_delete_nolock(env, sim.local(&object), 5);
    EXPECT_EQ(5, nfinds);
}

TEST_P(URefTable, ConvertsForAHolderOfTheLockInTheBucketThatItNames) {
    strings locked;
    monitors::before_lock = [&](const std::string& caller) { locked.push_back(caller); };
    sim::Object& other = sim.new_object("java/lang/Object", 900);
    const jobject global = sim.global(&other);
    const jobject uref = URef_from_local_nolock(env, sim.local(&object), 7, &created);
    EXPECT_EQ(1, created);
    EXPECT_EQ(global, URef_from_global_nolock(env, global, 7, &created));
    EXPECT_EQ((strings{other.label, object.label}), bucket(7));
    EXPECT_EQ(uref, URef_from_global_nolock(env, uref, 7, &created));
    EXPECT_EQ(0, created);
    URef_delete_nolock(env, sim.local(&object), 7);
    EXPECT_EQ(strings{other.label}, bucket(7));
    EXPECT_FALSE(sim.is_global(uref));
    monitors::before_lock = nullptr;
    EXPECT_EQ(strings{}, locked);
    EXPECT_EQ(0u, sim.count_calls("JV*.GetObjectHashCode"));
}

TEST_P(URefTable, AsksJvmtiWhenBothInterfacesAreThere) {
    ::jvmti = sim.jvmti();
    ::jvmdi = sim.jvmdi();
    sim.clear_calls();
    convert(object);
    remove(object);
    EXPECT_EQ(4u, sim.count_calls("JVMTI.*"));
    EXPECT_EQ(0u, sim.count_calls("JVMDI.*"));
}

/* ---- Buckets ---- */

TEST_P(URefTable, BucketIsTheAbsoluteHashCodeModulo1024) {
    const struct {
        jint hash, bucket;
    } cases[] = {{0, 0},    {5, 5},     {-5, 5},    {1029, 5},         {-1029, 5},     {1023, 1023},
                 {1024, 0}, {-1024, 0}, {-1025, 1}, {INT32_MAX, 1023}, {INT32_MIN, 0}, {INT32_MIN + 1, 1023}};
    for (const auto& each : cases) {
        object.hash = each.hash;
        EXPECT_EQ(each.bucket, hashf(sim.local(&object))) << each.hash;
        convert(object);
        EXPECT_EQ(strings{object.label}, bucket(each.bucket)) << each.hash;
        remove(object);
    }
}

TEST_P(URefTable, ObjectsOfOneBucketAreToldApartAndStandNewestFirst) {
    sim::Object& beside = neighbour();
    sim::Object& same_hash = sim.new_object("java/lang/Object", 5);
    const jobject urefs[] = {convert(object), convert(beside), convert(same_hash)};
    EXPECT_EQ((strings{same_hash.label, beside.label, object.label}), bucket(5));
    EXPECT_EQ(urefs[0], find(object));
    EXPECT_EQ(urefs[1], find(beside));
    EXPECT_EQ(urefs[2], find(same_hash));
}

TEST_P(URefTable, RecordIsThreeWords) {
    EXPECT_EQ(0u, offsetof(uref_record, ref));
    EXPECT_EQ(sizeof(void*), offsetof(uref_record, next));
    EXPECT_EQ(2 * sizeof(void*), offsetof(uref_record, owned));
    convert(object);
    EXPECT_EQ(3 * sizeof(void*), sim.block_size(refmap[5]));
}

/* ---- Finding and deleting ---- */

TEST_P(URefTable, FindingMakesNoURef) {
    EXPECT_EQ(nullptr, find(object));
    EXPECT_EQ(0u, records());
    const jobject uref = convert(object);
    sim.clear_calls();
    EXPECT_EQ(uref, find(object));
    EXPECT_CALLS(sim.calls(), hash_call(object), compare_call(object, object));
}

TEST_P(URefTable, DeletingAnUnknownObjectChangesNothing) {
    sim::Object& beside = neighbour();
    const jobject uref = convert(beside);
    sim.clear_calls();
    EXPECT_EQ(1, remove(object));
    EXPECT_CALLS(sim.calls(), hash_call(object), compare_call(beside, object));
    EXPECT_EQ(uref, find(beside));
}

TEST_P(URefTable, DeletingTakesOneRecordOutOfItsChain) {
    sim::Object* const objects[] = {&object, &neighbour(), &sim.new_object("java/lang/Object", -5)};
    for (sim::Object* removed : objects) {
        for (sim::Object* each : objects) convert(*each);
        remove(*removed);
        EXPECT_EQ(2u, records());
        for (sim::Object* each : objects) {
            EXPECT_EQ(each == removed, find(*each) == nullptr) << each->label;
            remove(*each);
        }
        EXPECT_EQ(nullptr, refmap[5]);
    }
    EXPECT_EQ(0u, sim.live_blocks().size());
    EXPECT_EQ(0u, sim.live_globals());
}

TEST_P(URefTable, DeletingReleasesTheReferenceAndThenTheRecord) {
    convert(object);
    sim.clear_calls();
    EXPECT_EQ(1, remove(object));
    EXPECT_CALLS(sim.calls(), hash_call(object), compare_call(object, object),
                 "JNI.DeleteGlobalRef(" + object.label + ")", sim.vm_name("Deallocate()"));
}

TEST_P(URefTable, ObjectThatWasDeletedGetsANewURef) {
    const jobject before = convert(object);
    remove(object);
    EXPECT_NE(before, convert(object));
    EXPECT_EQ(1, created);
}

/* ---- Locking ---- */

TEST_P(URefTable, HashCodeIsAskedForOutsideTheLockAndEverythingElseInside) {
    int hash_codes = 0, others = 0;
    sim.before(sim.vm_name("GetObjectHashCode"), [&] { hash_codes += monitors::held == 0; });
    for (const std::string& name : {sim.vm_name("Allocate"), sim.vm_name("Deallocate"), std::string("JNI.NewGlobalRef"),
                                    std::string("JNI.IsSameObject"), std::string("JNI.DeleteGlobalRef")})
        sim.before(name, [&] { others += monitors::held == 1; });
    convert(object);
    find(object);
    remove(object);
    EXPECT_EQ(3, hash_codes);
    EXPECT_EQ(6, others) << "Allocate, NewGlobalRef, two comparisons, DeleteGlobalRef, Deallocate";
    EXPECT_EQ(0, monitors::held);
}

TEST_P(URefTable, GivesNothingWhenItCannotBeLocked) {
    const jobject global = sim.global(&object);
    for (const char* caller : {"URef_from_local", "URef_from_global", "URef_find", "URef_delete"})
        monitors::fail("lock", caller);
    EXPECT_EQ(nullptr, convert(object));
    EXPECT_EQ(nullptr, URef_from_global(env, global, &created));
    EXPECT_EQ(-1, created);
    EXPECT_EQ(0u, records());

    const jobject uref = convert(object);
    EXPECT_EQ(nullptr, find(object));
    EXPECT_EQ(0, remove(object));
    EXPECT_EQ(uref, find(object)) << "it was not deleted";
}

TEST_P(URefTable, GivesNothingWhenItCannotBeUnlockedThoughTheWorkIsDone) {
    sim::Object& other = sim.new_object("java/lang/Object", 8);
    for (const char* caller : {"URef_from_local", "URef_from_global", "URef_find", "URef_delete"})
        monitors::fail("unlock", caller);
    EXPECT_EQ(nullptr, convert(object));
    EXPECT_EQ(1, created);
    EXPECT_EQ(nullptr, URef_from_global(env, sim.global(&other), &created));
    EXPECT_EQ(2u, records());
    EXPECT_EQ(nullptr, find(object));
    EXPECT_NE(nullptr, find(object));
    EXPECT_EQ(0, remove(object));
    EXPECT_EQ(nullptr, find(object));
}

TEST_P(URefTable, IsMadeReadyByInitialisingItsMonitor) {
    pthread_mutex_destroy(&URef_monitor.mutex);
    EXPECT_EQ(1, URef_init());
    EXPECT_EQ(0, pthread_mutex_trylock(&URef_monitor.mutex));
    pthread_mutex_unlock(&URef_monitor.mutex);
    monitors::fail("init", "");
    EXPECT_EQ(0, URef_init()) << "what the monitor says";
}

TEST_P(URefTable, ThreadsThatMeetTheSameObjectsAgreeOnTheirURefs) {
    enum { THREADS = 4, OBJECTS = 40 };
    std::vector<sim::Object*> objects;
    for (jint i = 0; i < OBJECTS; i++) objects.push_back(&sim.new_object("java/lang/Object", i * UREF_BUCKETS / 4));
    jobject urefs[THREADS][OBJECTS];
    std::atomic<int> made = 0;
    std::vector<std::unique_ptr<sim::Running>> running;
    for (auto& own : urefs)
        running.push_back(sim.start(sim.new_thread("converter"), [&] {
            for (size_t i = 0; i < OBJECTS; i++) {
                jint is_new = 0;
                own[i] = URef_from_local(sim.env(), sim.local(objects[i]), &is_new);
                made += is_new;
            }
        }));
    for (auto& each : running) each->join();
    EXPECT_EQ(OBJECTS, made);
    for (size_t i = 0; i < OBJECTS; i++)
        for (const auto& own : urefs) EXPECT_EQ(urefs[0][i], own[i]);
}

/* ---- Failures of the VM ---- */

TEST_P(URefTable, HashCodeThatCannotBeHadEndsTheProcess) {
    const jobject global = sim.global(&object);
    const std::function<void()> uses[] = {
        [&] { hashf(global); },
        [&] { URef_from_local(env, global, &created); },
        [&] { URef_from_global(env, global, &created); },
        [&] { URef_find(env, global); },
        [&] { URef_delete(env, global); },
    };
    for (const auto& use : uses) {
        const sim::ChildResult result = run_in_child([&] {
            sim.fail(sim.vm_name("GetObjectHashCode"), JVMDI_ERROR_INVALID_OBJECT);
            use();
        });
        EXPECT_EQ(1, result.exit_status);
        EXPECT_EQ("AgentThread: JVMDI_GetObjectHashCode() failed -- INVALID_OBJECT\n", result.out);
    }
}

TEST_P(URefTable, ObjectThatNoReferenceCanBeMadeToKeepsARecordThatMatchesNothing) {
    sim.null_in("JNI.NewGlobalRef", 1);
    jobject uref = sim.local(&object);
    EXPECT_EQ("AgentThread: NewGlobalRef() failed\n", capture_stdout([&] { uref = convert(object); }));
    EXPECT_EQ(nullptr, uref);
    EXPECT_EQ(1, created);
    EXPECT_EQ(strings{"null"}, bucket(5));
    EXPECT_EQ(nullptr, find(object));

    sim.clear_calls();
    EXPECT_NE(nullptr, convert(object));
    EXPECT_EQ(1, created);
    EXPECT_EQ(1u, sim.count_calls("JNI.IsSameObject"));
    EXPECT_EQ((strings{object.label, "null"}), bucket(5));
}

/* A VM that is dead already refuses every call, for as long as its process is ending. */
static volatile sig_atomic_t ticks;
static void tick(int) {
    ticks = ticks + 1;
    if (ticks == 2) _exit(7);
}

TEST_P(URefTable, ThreadOfADeadNewerVmWaitsForTheProcessToEndByItself) {
    const sim::ChildResult result = run_in_child([&] {
        const jobject global = sim.global(&object);
        sim.fail(sim.vm_name("GetObjectHashCode"), JVMDI_ERROR_VM_DEAD);
        std::signal(SIGALRM, tick);
        const itimerval soon = {{0, 100000}, {0, 100000}};
        setitimer(ITIMER_REAL, &soon, NULL);
        URef_find(env, global);
    });
    EXPECT_EQ(newer() ? 7 : 1, result.exit_status) << "the status of the end, not of the failure";
    EXPECT_EQ(newer(), result.out.empty()) << result.out;
}

/* ---- Threads that the agent holds ---- */

struct HeldThread : URefTable {
    HeldThread() : worker(sim.new_thread("worker")) {
        tid_debug_agent = agent_self(); /* the test's own thread */
        jvmti_features.can_suspend = on_jvmti();
        PrepList_init(&prep_list);
        TMap_init();
        monitor_init(&invoke_method_list_monitor);
        agent_suspend_all(env);
        sim.clear_calls();
    }

    void use_table() { URef_from_local(sim.env(), sim.local(&object), &created); }
    size_t hash_calls() { return sim.count_calls("JV*.GetObjectHashCode"); }

    sim::Thread& worker;
};
SIM_ALL_MODES(HeldThread);

TEST_P(HeldThread, ThatMetNoSuspensionMakesOneVmCall) {
    sim.run_on(worker, [&] { use_table(); });
    EXPECT_EQ(1u, hash_calls());
    EXPECT_EQ(1, created);
}

/* A suspension that comes after the thread's VM call has not held it there. */
TEST_P(HeldThread, MakesAnotherVmCallWithoutTheLockWhenASuspensionCameBetween) {
    const jobject global = sim.global(&object);
    const std::vector<std::pair<std::string, std::function<void()>>> operations = {
        {"URef_from_local", [&] { use_table(); }},
        {"URef_find", [&] { URef_find(sim.env(), global); }},
        {"URef_from_global", [&] { URef_from_global(sim.env(), global, &created); }},
        {"URef_delete", [&] { URef_delete(sim.env(), global); }},
    };
    for (const auto& [name, operation] : operations) {
        agent_resume_all(env);
        sim::Interleaving order;
        sim.clear_calls();
        order.hold("worker", "lock " + name);
        auto running = sim.start(worker, operation);
        order.await("worker");
        agent_suspend_all(env);
        if (newer()) {
            order.go_on_to("worker", "JVMTI.GetObjectHashCode");
            EXPECT_EQ(0, pthread_mutex_trylock(&URef_monitor.mutex)) << name;
            pthread_mutex_unlock(&URef_monitor.mutex);
        }
        order.go("worker");
        running->join();
        EXPECT_EQ(newer() ? 2u : 1u, hash_calls()) << name;
    }
}

/* However often it is suspended again as soon as it was let go. */
TEST_P(HeldThread, NeverHasTheLockOfANewerVmWhileItIsSuspended) {
    if (!newer()) return;
    sim::Object& wanted = neighbour();
    const jobject uref = convert(wanted);
    sim::Interleaving order;
    order.hold("worker", "after JVMTI.GetObjectHashCode");
    auto running = sim.start(worker, [&] { use_table(); });
    for (int stop = 0; stop < 6; stop++) {
        order.await("worker");
        agent_resume_all(env);
        agent_suspend_all(env);
        order.go_on_to("worker", "JVMTI.GetObjectHashCode"); /* which does not return before it is resumed */
        EXPECT_EQ(uref, find(wanted)) << "the agent thread's own look";
        order.hold("worker", "after JVMTI.GetObjectHashCode");
        order.go("worker");
    }
    order.await("worker");
    order.go("worker");
    running->join();
    EXPECT_EQ((strings{object.label, wanted.label}), bucket(5));
}

TEST_P(HeldThread, IsSuspendedAloneOnlyWhileItIsNotInTheTableOfANewerVm) {
    agent_resume_all(env);
    int held = -1;
    sim.before(sim.vm_name("SuspendThread"), [&] { held = monitors::held; });
    const jint before = agent_suspensions();
    EXPECT_EQ(0, agent_suspendthread(env, sim.global(&worker)));
    EXPECT_EQ(newer() ? 1 : 0, held);
    EXPECT_EQ(before + (newer() ? 1 : 0), agent_suspensions());
}

TEST_P(HeldThread, IsNeverTheAgentThread) {
    use_table();
    EXPECT_EQ(1u, hash_calls());
}

TEST_P(HeldThread, LeavesTheLockToTheReleaseOfWhatWasHandedOut) {
    const jobject uref = convert(object);
    strings locked;
    monitors::before_lock = [&](const std::string& caller) { locked.push_back(caller); };
    freeURef(env, uref);
    monitors::before_lock = nullptr;
    EXPECT_EQ(newer() ? strings{"URef_delete"} : strings{}, locked);
    EXPECT_EQ(nullptr, find(object));
}
