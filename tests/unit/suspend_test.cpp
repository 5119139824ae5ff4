/* Suspending and resuming: all Java threads, by list or one by one, and single threads. */
#include "load_fixture.h"
#include "ready_fixture.h"

#include "entry/agent_entry.h"
#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "stop/global_locks.h"
#include "stop/suspend.h"
#include "support/agent_self.h"

#include <cstring>
#include <dlfcn.h>

/* ---- What happens to the agent's global locks: these two stand before the C library's functions ---- */

static bool watching_locks;
static std::vector<std::string> trail; /* "+tmap", "-tmap" and so on, and the VM calls of interest */
static int lock_failure;

static const char* name_of_lock(const pthread_mutex_t* mutex) {
    if (mutex == &tmap_lock.mutex) return "tmap";
    if (mutex == &URef_monitor.mutex) return "uref";
    if (mutex == &prep_list.monitor.mutex) return "prep";
    return mutex == &invoke_method_list_monitor.mutex ? "invoke" : nullptr;
}

/* The failure that the call is to have, or 0 after it was noted. */
static int note_lock(const char* sign, const pthread_mutex_t* mutex) {
    const char* name = watching_locks ? name_of_lock(mutex) : nullptr;
    if (!name) return 0;
    trail.push_back(std::string(sign) + name);
    return lock_failure;
}

using mutex_call = int (*)(pthread_mutex_t*);
static mutex_call real_lock, real_unlock;

extern "C" __attribute__((no_sanitize("thread"))) int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    if (!real_lock) real_lock = reinterpret_cast<mutex_call>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    const int failure = note_lock("+", mutex);
    return failure ? failure : real_lock(mutex);
}

extern "C" __attribute__((no_sanitize("thread"))) int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    if (!real_unlock) real_unlock = reinterpret_cast<mutex_call>(dlsym(RTLD_NEXT, "pthread_mutex_unlock"));
    const int failure = note_lock("-", mutex);
    return failure ? failure : real_unlock(mutex);
}

/* ---- Fixtures ---- */

struct Suspend : AgentReady {
    Suspend() {
        set_list_operations(true);
        tid_debug_agent = AGENT_TID;
    }
    enum { AGENT_TID = 99 };
    LogOffAtEnd log_off;
    JNIEnv* env = sim.env();

    /* The capability of the mode's interface; the other interface's says the contrary. */
    void set_list_operations(bool has) {
        jvmti_features.can_suspend = has == on_jvmti();
        jvmdi_features.can_suspend_resume_thread_lists = has == on_jvmdi();
    }
    /* A thread of the map. Ids from 100 on stand in the map's order. */
    sim::Thread& known(agent_tid_t tid) {
        sim::Thread& thread = sim.new_thread("t" + std::to_string(tid));
        TMap_start(sim.global(&thread), tid);
        return thread;
    }
    std::string allocate(size_t size) const { return sim.vm_name("Allocate") + "(" + std::to_string(size) + ")"; }
    std::string vm(const std::string& call) const { return sim.vm_name(call); }
    std::vector<std::string> thread_calls() { return sim.calls_of({"*.Suspend*", "*.Resume*"}); }
    std::string suspend_printing() {
        return capture_stdout([&] { EXPECT_EQ(0, agent_suspend_all(env)); });
    }
    std::string resume_printing(jint expected) {
        return capture_stdout([&] { EXPECT_EQ(expected, agent_resume_all(env)); });
    }
    /* Whether the agent believes to hold the threads: then it does not suspend a second time. */
    bool holds() {
        sim.clear_calls();
        known(1000);
        agent_suspend_all(env);
        return thread_calls().empty();
    }
    void watch(const char* function) {
        sim.before(vm(function), [=] { trail.push_back(function); });
        trail.clear();
        watching_locks = true;
    }
};
SIM_ALL_MODES(Suspend);

/* The same with a VM that suspends single threads only. */
struct SuspendEach : Suspend {
    SuspendEach() { set_list_operations(false); }
};
SIM_ALL_MODES(SuspendEach);

enum { WORD = sizeof(void*), CODE = sizeof(jint), GROWTH_BYTES = 512 * WORD };

/* ---- By list ---- */

TEST_P(Suspend, ListMethodMakesOneCallForAllThreads) {
    const sim::Thread &first = known(101), &second = known(102);
    sim.clear_calls();
    EXPECT_EQ("", suspend_printing());
    EXPECT_CALLS(sim.calls(), allocate(GROWTH_BYTES), allocate(GROWTH_BYTES), allocate(2 * CODE),
                 vm("SuspendThreadList([t101, t102])"), vm("Deallocate()"));
    EXPECT_EQ(1, first.suspend_count);
    EXPECT_EQ(1, second.suspend_count);
}

TEST_P(Suspend, ResumingUsesTheSameArraysAgain) {
    const sim::Thread &first = known(101), &second = known(102);
    agent_suspend_all(env);
    sim.clear_calls();
    EXPECT_EQ("", resume_printing(0));
    EXPECT_CALLS(sim.calls(), allocate(2 * CODE), vm("ResumeThreadList([t101, t102])"), vm("Deallocate()"));
    EXPECT_EQ(0, first.suspend_count + second.suspend_count);
    sim.clear_calls();
    agent_suspend_all(env);
    EXPECT_CALLS(sim.calls(), allocate(2 * CODE), vm("SuspendThreadList([t101, t102])"), vm("Deallocate()"));
}

TEST_P(Suspend, AgentThreadAndCallerAreLeftOut) {
    known(AGENT_TID);
    known(agent_self());
    known(101);
    agent_suspend_all(env);
    agent_resume_all(env);
    EXPECT_CALLS(thread_calls(), vm("SuspendThreadList([t101])"), vm("ResumeThreadList([t101])"));
}

TEST_P(Suspend, WithNobodyToSuspendTheVmIsNotAsked) {
    known(AGENT_TID);
    sim.clear_calls();
    EXPECT_EQ("", suspend_printing());
    EXPECT_EQ(std::vector<std::string>{}, sim.calls());
    EXPECT_TRUE(holds());
}

TEST_P(Suspend, WithNobodyToResumeTheVmIsNotAsked) {
    agent_suspend_all(env);
    sim.clear_calls();
    EXPECT_EQ("", resume_printing(0));
    EXPECT_EQ(std::vector<std::string>{}, sim.calls());
    EXPECT_FALSE(holds());
}

TEST_P(Suspend, SecondSuspensionDoesNothing) {
    known(101);
    agent_suspend_all(env);
    sim.clear_calls();
    watch("SuspendThreadList");
    EXPECT_EQ("", suspend_printing());
    watching_locks = false;
    EXPECT_EQ(std::vector<std::string>{}, sim.calls());
    EXPECT_EQ(std::vector<std::string>{}, trail);
}

TEST_P(Suspend, ResumingWithoutSuspensionDoesNothing) {
    known(101);
    sim.clear_calls();
    watch("ResumeThreadList");
    EXPECT_EQ("", resume_printing(0));
    watching_locks = false;
    EXPECT_EQ(std::vector<std::string>{}, sim.calls());
    EXPECT_EQ(std::vector<std::string>{}, trail);
}

/* ---- Growth of the list ---- */

TEST_P(Suspend, ArraysGrowByFiveHundredAndTwelve) {
    for (agent_tid_t tid = 100; tid < 613; tid++) known(tid);
    sim.clear_calls();
    EXPECT_EQ("", suspend_printing());
    std::string list = "SuspendThreadList([t100";
    for (int tid = 101; tid < 613; tid++) list += ", t" + std::to_string(tid);
    EXPECT_CALLS(sim.calls(), allocate(GROWTH_BYTES), allocate(GROWTH_BYTES), allocate(2 * GROWTH_BYTES),
                 allocate(2 * GROWTH_BYTES), vm("Deallocate()"), vm("Deallocate()"), allocate(513 * CODE),
                 vm(list + "])"), vm("Deallocate()"));
}

TEST_P(Suspend, FiveHundredAndTwelveThreadsNeedOneGrowth) {
    for (agent_tid_t tid = 100; tid < 612; tid++) known(tid);
    sim.clear_calls();
    agent_suspend_all(env);
    agent_resume_all(env);
    EXPECT_CALLS(sim.calls_of({"*.Allocate"}), allocate(GROWTH_BYTES), allocate(GROWTH_BYTES), allocate(512 * CODE),
                 allocate(512 * CODE));
}

TEST_P(Suspend, IdsGrowWithTheThreads) {
    for (agent_tid_t tid = 100; tid < 613; tid++) known(tid).suspend_count = tid == 100 || tid == 612;
    EXPECT_EQ("AgentThread: cb_suspend_list(): thread already suspended 100\n"
              "AgentThread: cb_suspend_list(): thread already suspended 612\n",
              suspend_printing());
}

TEST_P(Suspend, WithoutMemoryToGrowTheThreadIsDropped) {
    known(101);
    known(102);
    const size_t before = sim.live_blocks().size();
    for (int failing : {1, 2}) {
        const ChildResult result = run_in_child([&] {
            sim.fail_nth(vm("Allocate"), failing, JVMTI_ERROR_OUT_OF_MEMORY);
            agent_suspend_all(env);
            EXPECT_CALLS(thread_calls(), vm("SuspendThreadList([t102])"));
            /* the two arrays, and a first one whose second was refused */
            EXPECT_EQ(before + (failing == 1 ? 2 : 3), sim.live_blocks().size());
        });
        EXPECT_EQ("AgentThread: JVMDI_Allocate() failed -- OUT_OF_MEMORY\n", result.out);
    }
}

TEST_P(Suspend, FailureToGiveTheOldArrayBackDropsTheThread) {
    for (agent_tid_t tid = 100; tid < 613; tid++) known(tid);
    sim.fail_nth(vm("Deallocate"), 1, JVMTI_ERROR_INTERNAL);
    EXPECT_EQ("AgentThread: JVMDI_Deallocate() failed -- INTERNAL\n", suspend_printing());
    EXPECT_CALLS(sim.calls_of({"*.Allocate"}), allocate(GROWTH_BYTES), allocate(GROWTH_BYTES),
                 allocate(2 * GROWTH_BYTES), allocate(2 * GROWTH_BYTES), allocate(512 * CODE));
}

TEST_P(Suspend, FailureToGiveTheSecondOldArrayBackLeavesArraysThatCanBeUsed) {
    for (agent_tid_t tid = 100; tid < 614; tid++) known(tid);
    sim.fail_nth(vm("Deallocate"), 2, JVMTI_ERROR_INTERNAL);
    EXPECT_EQ("AgentThread: JVMDI_Deallocate() failed -- INTERNAL\n", suspend_printing());
    std::string list = "SuspendThreadList([t100";
    for (int tid = 101; tid < 614; tid++)
        if (tid != 612) list += ", t" + std::to_string(tid);
    EXPECT_CALLS(thread_calls(), vm(list + "])")); /* the thread that they grew for is dropped, the next one is not */
    agent_resume_all(env);
    EXPECT_CALLS(sim.calls_of({"*.Allocate"}), allocate(GROWTH_BYTES), allocate(GROWTH_BYTES),
                 allocate(2 * GROWTH_BYTES), allocate(2 * GROWTH_BYTES), allocate(513 * CODE), allocate(514 * CODE));
}

/* ---- Failures of the list operations ---- */

TEST_P(Suspend, SuspendedThreadIsToldAndTheOthersAreSuspended) {
    const sim::Thread& first = known(101);
    known(102).suspend_count = 1;
    const sim::Thread& third = known(103);
    EXPECT_EQ("AgentThread: cb_suspend_list(): thread already suspended 102\n", suspend_printing());
    EXPECT_EQ(1, first.suspend_count);
    EXPECT_EQ(1, third.suspend_count);
}

TEST_P(Suspend, OtherCodesOfSingleThreadsAreNamed) {
    known(101).life = sim::Thread::Life::ended;
    EXPECT_EQ("AgentThread: cb_suspend_list(): SuspendThreadList() failed for 101 -- THREAD_NOT_ALIVE\n",
              suspend_printing());
    EXPECT_EQ("AgentThread: cb_resume_list(): ResumeThreadList() failed for 101 -- THREAD_NOT_ALIVE\n",
              resume_printing(JVMTI_ERROR_THREAD_NOT_ALIVE));
}

TEST_P(Suspend, IdsThatReadAsNegativeAreShownSo) {
    sim::Thread& thread = known(-5);
    thread.suspend_count = 1;
    EXPECT_EQ("AgentThread: cb_suspend_list(): thread already suspended -5\n", suspend_printing());
    thread.suspend_count = 0;
    EXPECT_EQ("AgentThread: cb_resume_list(): thread not suspended " + std::to_string(static_cast<unsigned long>(-5)) +
                  "\n",
              resume_printing(JVMTI_ERROR_THREAD_NOT_SUSPENDED));
}

TEST_P(Suspend, ResumingGivesTheLastFailure) {
    sim::Thread &first = known(101), &second = known(102);
    known(103);
    agent_suspend_all(env);
    first.life = sim::Thread::Life::ended;
    second.suspend_count = 0;
    EXPECT_EQ("AgentThread: cb_resume_list(): ResumeThreadList() failed for 101 -- THREAD_NOT_ALIVE\n"
              "AgentThread: cb_resume_list(): thread not suspended 102\n",
              resume_printing(JVMTI_ERROR_THREAD_NOT_SUSPENDED));
    EXPECT_FALSE(holds());
}

TEST_P(Suspend, AfterAFailedSuspensionResumingTellsEachThread) {
    known(101);
    known(102);
    sim.fail(vm("SuspendThreadList"), JVMTI_ERROR_NOT_AVAILABLE);
    EXPECT_EQ("AgentThread: cb_suspend_list(): SuspendThreadList() failed -- NOT_AVAILABLE\n", suspend_printing());
    EXPECT_EQ("AgentThread: cb_resume_list(): thread not suspended 101\n"
              "AgentThread: cb_resume_list(): thread not suspended 102\n",
              resume_printing(JVMTI_ERROR_THREAD_NOT_SUSPENDED));
    EXPECT_CALLS(thread_calls(), vm("SuspendThreadList([t101, t102])"), vm("ResumeThreadList([t101, t102])"));
}

TEST_P(Suspend, FailedResumptionGivesItsCodeAndLetsGo) {
    known(101);
    agent_suspend_all(env);
    sim.fail(vm("ResumeThreadList"), JVMTI_ERROR_NOT_AVAILABLE);
    EXPECT_EQ("AgentThread: cb_resume_list(): ResumeThreadList() failed -- NOT_AVAILABLE\n",
              resume_printing(JVMTI_ERROR_NOT_AVAILABLE));
    EXPECT_FALSE(holds());
}

/* On newer VMs it is made afresh: what is left in it may be threads that have ended. */
TEST_P(Suspend, WithoutMemoryForResultsTheListIsKept) {
    known(101);
    sim.fail_nth(vm("Allocate"), 3, JVMTI_ERROR_OUT_OF_MEMORY);
    EXPECT_EQ("AgentThread: JVMDI_Allocate() failed -- OUT_OF_MEMORY\n", suspend_printing());
    EXPECT_EQ(std::vector<std::string>{}, thread_calls());
    const std::string told = "AgentThread: cb_resume_list(): thread not suspended 101\n";
    EXPECT_EQ(newer() ? told : told + told, resume_printing(JVMTI_ERROR_THREAD_NOT_SUSPENDED));
    EXPECT_CALLS(thread_calls(), vm(newer() ? "ResumeThreadList([t101])" : "ResumeThreadList([t101, t101])"));
}

TEST_P(Suspend, FailureToGiveTheResultsBackKeepsTheList) {
    known(101);
    sim.fail_nth(vm("Deallocate"), 1, JVMTI_ERROR_INTERNAL);
    EXPECT_EQ("AgentThread: JVMDI_Deallocate() failed -- INTERNAL\n", suspend_printing());
    sim.fail_nth(vm("Deallocate"), 1, JVMTI_ERROR_ILLEGAL_ARGUMENT);
    EXPECT_EQ(std::string(newer() ? "" : "AgentThread: cb_resume_list(): thread not suspended 101\n") +
                  "AgentThread: JVMDI_Deallocate() failed -- ILLEGAL_ARGUMENT\n",
              resume_printing(JVMTI_ERROR_ILLEGAL_ARGUMENT));
    EXPECT_CALLS(thread_calls(), vm("SuspendThreadList([t101])"),
                 vm(newer() ? "ResumeThreadList([t101])" : "ResumeThreadList([t101, t101])"));
}

/* ---- One by one ---- */

TEST_P(SuspendEach, EveryThreadIsSuspendedByItself) {
    known(101);
    known(AGENT_TID);
    known(agent_self());
    known(102);
    sim.clear_calls();
    EXPECT_EQ("", suspend_printing());
    EXPECT_CALLS(sim.calls(), vm("SuspendThread(t101)"), vm("SuspendThread(t102)"));
    sim.clear_calls();
    EXPECT_EQ("", suspend_printing());
    EXPECT_EQ(std::vector<std::string>{}, sim.calls());
    EXPECT_EQ("", resume_printing(0));
    EXPECT_CALLS(sim.calls(), vm("ResumeThread(t101)"), vm("ResumeThread(t102)"));
}

TEST_P(SuspendEach, FailuresAreToldAndPassedOver) {
    known(101).suspend_count = 1;
    known(102).life = sim::Thread::Life::ended;
    const sim::Thread& third = known(103);
    EXPECT_EQ("AgentThread: cb_suspend() thread already suspended 101\n"
              "AgentThread:cb_suspend():JVMDI_SuspendThread() failed -- THREAD_NOT_ALIVE\n",
              suspend_printing());
    EXPECT_EQ(1, third.suspend_count);
    EXPECT_TRUE(holds());
}

TEST_P(SuspendEach, FailuresToResumeAreToldAndGiveSuccess) {
    sim::Thread &first = known(101), &second = known(-7), &third = known(103);
    agent_suspend_all(env);
    first.life = sim::Thread::Life::ended;
    second.suspend_count = 0;
    EXPECT_EQ("AgentThread: cb_resume(): JVMDI_ResumeThread() failed -- THREAD_NOT_ALIVE\n"
              "AgentThread: cb_resume() thread not suspended " +
                  std::to_string(static_cast<unsigned long>(-7)) + "\n",
              resume_printing(0));
    EXPECT_EQ(0, third.suspend_count);
    EXPECT_FALSE(holds());
}

/* ---- Locks ---- */

using Trail = std::vector<std::string>;

TEST_P(Suspend, SuspendingTakesTheFourLocksAndGivesThemBackInItsOwnOrder) {
    known(101);
    watch("SuspendThreadList");
    agent_suspend_all(env);
    watching_locks = false;
    EXPECT_EQ((Trail{"+tmap", "+uref", "+prep", "+invoke", "SuspendThreadList", "-tmap", "-prep", "-uref", "-invoke"}),
              trail);
}

TEST_P(SuspendEach, SuspendingTakesTheFourLocks) {
    known(101);
    watch("SuspendThread");
    agent_suspend_all(env);
    watching_locks = false;
    EXPECT_EQ((Trail{"+tmap", "+uref", "+prep", "+invoke", "SuspendThread", "-tmap", "-prep", "-uref", "-invoke"}),
              trail);
}

TEST_P(Suspend, ResumingTakesTheMapsLockOnly) {
    known(101);
    agent_suspend_all(env);
    watch("ResumeThreadList");
    agent_resume_all(env);
    watching_locks = false;
    EXPECT_EQ((Trail{"+tmap", "ResumeThreadList", "-tmap"}), trail);
}

TEST_P(SuspendEach, ResumingTakesTheMapsLockOnly) {
    known(101);
    agent_suspend_all(env);
    watch("ResumeThread");
    agent_resume_all(env);
    watching_locks = false;
    EXPECT_EQ((Trail{"+tmap", "ResumeThread", "-tmap"}), trail);
}

TEST_P(Suspend, LockStepIsAvailableByItself) {
    trail.clear();
    watching_locks = true;
    EXPECT_EQ(0, acquire_globalocks());
    trail.push_back("held");
    EXPECT_EQ(0, release_globalocks());
    watching_locks = false;
    EXPECT_EQ((Trail{"+tmap", "+uref", "+prep", "+invoke", "held", "-tmap", "-prep", "-uref", "-invoke"}), trail);
}

/* What a function prints when no lock can be taken or given back. */
static std::string printed_with_failing_locks(const std::function<void()>& body) {
    return capture_stdout([&] {
        watching_locks = true;
        lock_failure = EINVAL;
        body();
        lock_failure = 0;
        watching_locks = false;
    });
}

TEST_P(Suspend, LockFailuresNameTheFunction) {
    std::string acquire, release;
    for (int i = 0; i < 4; i++) {
        acquire += "acquire_globalocks: mutex_lock failed -- Invalid argument\n";
        release += "release_globalocks: mutex_unlock failed -- Invalid argument\n";
    }
    EXPECT_EQ(acquire, printed_with_failing_locks([] { EXPECT_EQ(0, acquire_globalocks()); }));
    EXPECT_EQ(release, printed_with_failing_locks([] { EXPECT_EQ(0, release_globalocks()); }));
    agent_suspend_all(env);
    EXPECT_EQ("agent_resume_all: mutex_lock failed -- Invalid argument\n"
              "agent_resume_all: mutex_unlock failed -- Invalid argument\n",
              printed_with_failing_locks([&] { agent_resume_all(env); }));
}

TEST_P(Suspend, TellsFromSuspendingToResumingThatThreadsAreHeld) {
    EXPECT_FALSE(agent_has_suspended());
    agent_suspend_all(env);
    EXPECT_TRUE(agent_has_suspended());
    agent_resume_all(env);
    EXPECT_FALSE(agent_has_suspended());
}

/* ---- The log ---- */

static std::string thread_logged(const std::string& text) { return "LogJVMDI_VM_thread" + text + "\n"; }

/* The reference of a known thread as the log shows it. */
static std::string handle_text(agent_tid_t tid) {
    char text[32];
    snprintf(text, sizeof text, "%lx", reinterpret_cast<unsigned long>(TMap_tid2handle(tid)));
    return text;
}

TEST_P(Suspend, EachCallIsLogged) {
    log_now("LogJVMDI");
    EXPECT_EQ(logged("AgentThread: agent_suspend_all()"), suspend_printing());
    EXPECT_EQ(logged("AgentThread: agent_suspend_all()"), suspend_printing());
    EXPECT_EQ(logged("AgentThread: agent_resume_all()"), resume_printing(0));
    EXPECT_EQ(logged("AgentThread: agent_resume_all()"), resume_printing(0));
}

TEST_P(Suspend, ListOperationsAreLoggedEvenWithoutThreads) {
    log_now("LogJVMDI_VM_thread");
    known(AGENT_TID);
    EXPECT_EQ(thread_logged(" cb_suspend_list"), suspend_printing());
    EXPECT_EQ(thread_logged(" cb_resume_list"), resume_printing(0));
}

TEST_P(SuspendEach, EachThreadIsLoggedTheAgentTwice) {
    known(AGENT_TID);
    known(101);
    log_now("LogJVMDI_VM_thread");
    const std::string agent = "tid = 99  thread = " + handle_text(AGENT_TID),
                      other = "tid = 101  thread = " + handle_text(101);
    EXPECT_EQ(thread_logged(" cb_suspend: " + agent) + thread_logged(" cb_suspend: agent- us; returning") +
                  thread_logged(" cb_suspend: " + other),
              suspend_printing());
    EXPECT_EQ(thread_logged(" cb_resume: " + agent) + thread_logged(" cb_resume: agent- us; returning") +
                  thread_logged(" cb_resume: " + other),
              resume_printing(0));
}

TEST_P(SuspendEach, TheCallerIsLoggedButNotAsTheAgent) {
    known(agent_self());
    log_now("LogJVMDI_VM_thread");
    EXPECT_EQ(thread_logged(" cb_suspend: tid = " + std::to_string(static_cast<unsigned long>(agent_self())) +
                            "  thread = " + handle_text(agent_self())),
              suspend_printing());
    EXPECT_EQ(std::vector<std::string>{}, thread_calls());
}

/* ---- Single threads ---- */

struct SingleThread : Suspend {
    sim::Thread& worker = sim.new_thread("worker");
    jthread handle = sim.global(&worker);
    jobject exception = sim.global(&sim.new_exception("java/lang/ThreadDeath"));
};
SIM_ALL_MODES(SingleThread);

TEST_P(SingleThread, ReferencesReachTheVmUnchanged) {
    EXPECT_EQ(0, agent_suspendthread(env, handle));
    EXPECT_EQ(0, agent_resumethread(env, handle));
    EXPECT_EQ(0, agent_stopthread(env, handle, exception));
    EXPECT_EQ(0, agent_interruptthread(env, handle));
    EXPECT_CALLS(sim.calls_of({"JV*.*Thread"}), vm("SuspendThread(worker)"), vm("ResumeThread(worker)"),
                 vm("StopThread(worker, java/lang/ThreadDeath#1)"), vm("InterruptThread(worker)"));
    EXPECT_TRUE(worker.interrupted);
}

TEST_P(SingleThread, CodesComeBackUnchangedAndUnprinted) {
    for (const char* name : {"SuspendThread", "ResumeThread", "StopThread", "InterruptThread"})
        sim.fail(vm(name), 4711);
    const std::string out = capture_stdout([&] {
        EXPECT_EQ(4711, agent_suspendthread(env, handle));
        EXPECT_EQ(4711, agent_resumethread(env, handle));
        EXPECT_EQ(4711, agent_stopthread(env, handle, exception));
        EXPECT_EQ(4711, agent_interruptthread(env, handle));
    });
    EXPECT_EQ("", out);
}

TEST_P(SingleThread, JvmdiTableIsFetchedOnFirstUseAndKept) {
    jvmdi = nullptr; /* the table of loading is not used */
    sim.clear_calls();
    agent_suspendthread(env, handle);
    agent_resumethread(env, handle);
    if (on_jvmdi())
        EXPECT_CALLS(sim.calls(), "JNI.GetJavaVM()", "JavaVM.GetEnv(0x20010000)", vm("SuspendThread(worker)"),
                     vm("ResumeThread(worker)"));
    else
        EXPECT_CALLS(sim.calls(), vm("SuspendThread(worker)"), vm("ResumeThread(worker)"));
}

TEST_P(SingleThread, OwnAccountIsNotTouched) {
    TMap_start(handle, 101);
    agent_suspend_all(env);
    EXPECT_EQ(0, agent_resumethread(env, handle));
    EXPECT_TRUE(holds());
    EXPECT_EQ(0, worker.suspend_count);
}

TEST_P(SingleThread, NothingIsLoggedOrLockedButForTheTableOnANewerVm) {
    log_now("LogJVMDI");
    log_enable("LogJVMDI_VM_thread", 0, 0);
    trail.clear();
    watching_locks = true;
    const std::string out = capture_stdout([&] {
        agent_suspendthread(env, handle);
        agent_resumethread(env, handle);
        agent_stopthread(env, handle, exception);
        agent_interruptthread(env, handle);
    });
    watching_locks = false;
    EXPECT_EQ("", out);
    EXPECT_EQ(newer() ? (Trail{"+uref", "-uref"}) : Trail{}, trail) << "no thread is to be suspended in the table";
}

/* ---- The calling thread's environment ---- */

static const struct {
    const char* name;
    void (*call)(JNIEnv*, jthread);
} with_environment[] = {
    {"agent_suspend_all", [](JNIEnv* env, jthread) { agent_suspend_all(env); }},
    {"agent_resume_all", [](JNIEnv* env, jthread) { agent_resume_all(env); }},
    {"agent_suspendthread", [](JNIEnv* env, jthread thread) { agent_suspendthread(env, thread); }},
    {"agent_resumethread", [](JNIEnv* env, jthread thread) { agent_resumethread(env, thread); }},
    {"agent_stopthread", [](JNIEnv* env, jthread thread) { agent_stopthread(env, thread, thread); }},
    {"agent_interruptthread", [](JNIEnv* env, jthread thread) { agent_interruptthread(env, thread); }},
};

TEST_P(SingleThread, NullEnvironmentMeansTheCallersOwn) {
    for (const auto& entry : with_environment) {
        sim.clear_calls();
        entry.call(nullptr, handle);
        ASSERT_FALSE(sim.calls().empty()) << entry.name;
        EXPECT_EQ("JavaVM.GetEnv(0x10002)", sim.calls()[0]) << entry.name;
    }
}

TEST_P(SingleThread, GivenEnvironmentIsNotAskedFor) {
    for (const auto& entry : with_environment) {
        sim.clear_calls();
        entry.call(env, handle);
        for (const std::string& call : sim.calls()) EXPECT_NE("JavaVM.GetEnv(0x10002)", call) << entry.name;
    }
}

TEST_P(SingleThread, CallerThatTheVmDoesNotKnowAborts) {
    sim.set_getenv(JNI_VERSION_1_2, JNI_EDETACHED);
    for (const auto& entry : with_environment) expect_abort(run_in_child([&] { entry.call(nullptr, handle); }), "");
}
