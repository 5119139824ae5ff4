/* The agent thread: its creation, its meeting with the debugger, its end, the set-up at attach, the cached properties. */
#include "load_fixture.h"
#include "ready_fixture.h"
#include "sanitizer/both_lock_orders.h"

#include "agent_thread/agent_thread.h"
#include "agent_thread/attach_stop.h"
#include "agent_thread/consumer.h"
#include "agent_thread/control_c.h"
#include "agent_thread/processing.h"
#include "entry/agent_entry.h"
#include "event/hook_points.h"
#include "invoke/requests.h"
#include "java_threads/boot.h"
#include "load/load.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "support/agent_self.h"
#include "vm/vm_properties.h"

using sim::Value;

/* The agent's thread in the log of calls; #1 is the test's own. */
static constexpr const char* LABEL = "java/lang/Thread#2";

struct AgentThread : AgentReady {
    AgentThread() {
        terminate_debug_agent = 1; /* the thread ends as soon as it has met the debugger */
        sim.loaded_classes.clear();
    }
    LogOffAtEnd log_off;
    JNIEnv* env = sim.env();
    sim::Class& thread_class = sim.class_named("java/lang/Thread");

    std::string vm(const std::string& call) const { return sim.vm_name(call); }
    std::string run_call() const { return on_jvmdi() ? "JVMDI.RunDebugThread" : "JVMTI.RunAgentThread"; }
    void live_and_die() {
        start_agent_thread(env);
        sim.join_agent_threads();
    }
};
SIM_ALL_MODES(AgentThread);

/* ---- Creation ---- */

TEST_P(AgentThread, IsMadeADaemonAndStartedWithNormalPriority) {
    live_and_die();
    auto calls = sim.calls_on("main");
    std::erase_if(calls, [](const std::string& call) { return call.starts_with("JNI.Exception"); });
    const std::string thread = LABEL, record = std::to_string(3 * sizeof(void*));
    EXPECT_CALLS(calls, "JNI.FindClass(\"java/lang/Thread\")", "JNI.GetMethodID(java/lang/Thread, \"<init>\", \"()V\")",
                 "JNI.NewObject(java/lang/Thread, java/lang/Thread.<init>)", vm("GetObjectHashCode(") + thread + ")",
                 vm("Allocate(") + record + ")", "JNI.NewGlobalRef(" + thread + ")",
                 "JNI.GetMethodID(java/lang/Thread, \"isDaemon\", \"()Z\")",
                 "JNI.CallBooleanMethod(" + thread + ", java/lang/Thread.isDaemon)",
                 "JNI.GetMethodID(java/lang/Thread, \"setDaemon\", \"(Z)V\")",
                 "JNI.CallVoidMethod(" + thread + ", java/lang/Thread.setDaemon, 1)",
                 run_call() + "(" + thread + ", 5)");
}

TEST_P(AgentThread, ThreadThatIsADaemonAlreadyIsLeftSo) {
    thread_class.find_method("isDaemon", "()Z")->body = [](sim::Invocation&) { return Value(true); };
    live_and_die();
    EXPECT_EQ(1u, sim.count_calls("JNI.CallBooleanMethod*"));
    EXPECT_EQ(0u, sim.count_calls("JNI.CallVoidMethod*"));
    EXPECT_EQ(2u, sim.count_calls("JNI.GetMethodID"));
}

TEST_P(AgentThread, IsKnownByItsUrefWhileItLives) {
    static jobject while_alive;
    sim.before(run_call(), [] { while_alive = agent_thread; });
    live_and_die();
    EXPECT_TRUE(sim.is_global(while_alive));
    EXPECT_EQ(LABEL, sim.object(while_alive)->label);
    EXPECT_EQ(while_alive, URef_find(env, while_alive));
    EXPECT_EQ(nullptr, agent_thread);
}

TEST_P(AgentThread, ExceptionsOfTheDaemonQuestionsAreDescribedAndCleared) {
    sim.throw_in("JNI.CallBooleanMethod", sim.new_exception("java/lang/Error", "one"));
    sim.throw_in("JNI.CallVoidMethod", sim.new_exception("java/lang/Error", "two"));
    EXPECT_EQ("java/lang/Error: one\njava/lang/Error: two\n", capture_stderr([&] { live_and_die(); }));
    EXPECT_EQ(nullptr, sim.pending());
    EXPECT_EQ(1u, sim.count_calls(run_call()));
}

struct CreationStep {
    const char* name;
    int call;
    const char* message;
};
static const CreationStep creation_steps[] = {
    {"JNI.FindClass", 1, "start_agent_thread(): FindClass() failed\n"},
    {"JNI.GetMethodID", 1, "start_agent_thread(): GetMethodID() failed\n"},
    {"JNI.NewObject", 1, "start_agent_thread(): NewObject failed\n"},
    {"JNI.GetMethodID", 2, "AgentThread(): GetMethodID getProperty Failed\n"},
    {"JNI.GetMethodID", 3, "AgentThread(): GetMethodID getProperty Failed\n"},
};

TEST_P(AgentThread, EachFailureToCreateItAborts) {
    for (const CreationStep& step : creation_steps) {
        const ChildResult result = run_in_child([&] {
            sim.null_in(step.name, step.call);
            start_agent_thread(env);
        });
        expect_abort(result, step.message);
        EXPECT_EQ("", result.err);
    }
}

TEST_P(AgentThread, PendingExceptionIsDescribedBeforeTheAbort) {
    sim::Object& exception = sim.new_exception("java/lang/Error", "no");
    for (const CreationStep& step : creation_steps) {
        const ChildResult result = run_in_child([&] {
            sim.throw_in(step.name, exception, step.call);
            std::signal(SIGABRT, [](int) { EXPECT_EQ(nullptr, sim::Sim::current()->pending()); });
            start_agent_thread(env);
        });
        expect_abort(result, step.message);
        EXPECT_EQ("java/lang/Error: no\n", result.err);
    }
}

TEST_P(AgentThread, FailureToStartItAbortsAndNamesJvmdi) {
    const ChildResult result = run_in_child([&] {
        sim.fail(run_call(), JVMTI_ERROR_INVALID_PRIORITY);
        start_agent_thread(env);
    });
    expect_abort(result, "start_agent_thread(): RunDebugThread() failed -- INVALID_PRIORITY\n");
}

TEST_P(AgentThread, VmThatMapsJavaThreadsOntoOneNativeThreadIsRefused) {
    const ChildResult result = run_in_child([&] {
        sim.agent_threads = sim::Sim::AgentThreads::inlined;
        start_agent_thread(env);
    });
    expect_abort(result, "\nJquor can only work with native threads,\n"
                         "Set the THREADS_FLAG environment variable to native\n");
}

/* ---- The meeting ---- */

TEST_P(AgentThread, HasMetTheDebuggerWhenItsCreatorGoesOn) {
    sim.before("JNI.NewStringUTF", [] { usleep(20000); }); /* a creator that did not wait would find nothing yet */
    start_agent_thread(env);
    EXPECT_NE(0, quor_tid);
    EXPECT_NE(agent_self(), quor_tid);
    EXPECT_EQ(tid_debug_agent, quor_tid);
    EXPECT_TRUE(quor_env && quor_env != env);
    EXPECT_STREQ("/classes", quor_classpath);
    EXPECT_STREQ("1.0-sim", quor_vmversion);
    sim.join_agent_threads();
}

TEST_P(AgentThread, NativeThreadSaysWhatItIs) {
    char name[16] = "";
    sim.before("JNI.NewStringUTF", [&] { pthread_getname_np(pthread_self(), name, sizeof name); });
    live_and_die();
    EXPECT_STREQ("quor agent", name);
}

TEST_P(AgentThread, MeetsTheDebuggerWithoutAClassPathToo) {
    sim.properties.clear();
    quor_classpath = quor_vmversion = "before";
    live_and_die();
    EXPECT_EQ(nullptr, quor_classpath);
    EXPECT_EQ(nullptr, quor_vmversion);
}

TEST_P(AgentThread, SyncHookStoresWhatItIsGivenAndReturnsTheVersion) {
    EXPECT_STREQ("version", jquor_jvmdi_sync_hook(env, 17, "path", 23, "version"));
    EXPECT_EQ(env, quor_env);
    EXPECT_EQ(17, quor_tid);
    EXPECT_STREQ("path", quor_classpath);
    EXPECT_STREQ("version", quor_vmversion);
}

TEST_P(AgentThread, BodyGetsItsEnvironmentFromTheVmOnJvmdiOnly) {
    live_and_die();
    const auto calls = sim.calls_on(LABEL);
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(on_jvmdi() ? 1u : 0u, sim.count_calls("JavaVM.GetEnv"));
    const char* const firsts[] = {"JNI.FindClass(\"java/lang/System\")", "JNI.PushLocalFrame(1024)",
                                  "JavaVM.GetEnv(0x10002)"};
    EXPECT_EQ(firsts[static_cast<int>(sim.mode)], calls[0]);
}

TEST_P(AgentThread, AsksForTheClassPathBeforeTheVersion) {
    live_and_die();
    EXPECT_CALLS(sim.calls_of({"JNI.NewStringUTF"}), "JNI.NewStringUTF(\"java.class.path\")",
                 "JNI.NewStringUTF(\"oro.boot.class.path\")", "JNI.NewStringUTF(\"java.vm.version\")");
}

struct JvmdiAgentThread : AgentThread {};
SIM_MODES(JvmdiAgentThread, Mode::jvmdi);

TEST_P(JvmdiAgentThread, WithoutAnEnvironmentAborts) {
    const ChildResult result = run_in_child([&] {
        sim.set_getenv(JNI_VERSION_1_2, JNI_EVERSION);
        start_agent_thread(env);
    });
    expect_abort(result, "AgentThread(): GetEnv failed -- -3\n");
}

/* ---- Log and end ---- */

TEST_P(AgentThread, LogsItsBeginningItsClassPathAndItsEnd) {
    log_now("LogJVMDI");
    const std::string out = capture_stdout([&] { live_and_die(); });
    EXPECT_EQ(logged("AgentThread(): debug agent created " + std::to_string(tid_debug_agent) + "\n") +
                  logged("AgentThread(): classpath '/classes'\n") + logged("AgentThread(): thread done.\n"),
              out);
}

TEST_P(AgentThread, TheLogEndsWithIt) {
    log_now("LogJVMDI");
    const std::string out = capture_stdout([&] {
        live_and_die();
        log_printf("after the end");
    });
    EXPECT_EQ(std::string::npos, out.find("after the end"));
}

TEST_P(AgentThread, LoopGoesOnUntilTheFlagIsExactlyOne) {
    terminate_debug_agent = 2;
    tid_debug_agent = agent_self();
    TMap_start(sim.global(&sim.new_thread("worker")), 101);
    controlc_hit = 1; /* something to process, during which the flag becomes 1 */
    int rounds = 0;
    sim.before(vm("SuspendThreadList"), [&] {
        rounds++;
        terminate_debug_agent = 1;
    });
    agent_bar();
    EXPECT_EQ(1, rounds);
    agent_bar();
    EXPECT_EQ(1, rounds);
}

TEST_P(AgentThread, LivesFromVmInitToVmDeath) {
    OwnFolder folder;
    sim.set_getenv(0x30010000, on_jvmti() ? JNI_OK : JNI_EVERSION);
    JVM_OnLoad(sim.vm(), nullptr, nullptr);
    ASSERT_TRUE(sim.raise_vm_init());
    EXPECT_EQ(1, vm_init_done);
    EXPECT_NE(nullptr, agent_thread);
    EXPECT_EQ(1u, sim.running_agent_threads());
    ASSERT_EQ(0, agent_attach_jquor(env));
    ASSERT_TRUE(sim.raise_vm_death(sim::Raise::force));
    sim.join_agent_threads();
    EXPECT_EQ(nullptr, agent_thread);
    EXPECT_EQ(0, vm_init_done);
    EXPECT_EQ(1, terminate_debug_agent);
    EXPECT_EQ(on_jvmdi() ? boot_event_hook : nullptr, sim.hook);
}

/* A current VM waits at its end, up to 300 milliseconds, for threads that are in native code. */
struct LeavingAgentThread : AgentThread {
    LeavingAgentThread() {
        sim.phase = JVMTI_PHASE_ONLOAD;
        Agent_OnLoad(sim.vm(), nullptr, nullptr);
        sim.phase = JVMTI_PHASE_LIVE;
        EXPECT_TRUE(sim.raise_vm_init());
    }
    bool leaves_at_once() {
        /* it would look for flags in 2 seconds */
        if (!sim::wait_for([&] { return sim.running_agent_threads() == 0; }, 1)) return false;
        sim.join_agent_threads();
        return true;
    }
    OwnFolder folder;
};
SIM_MODES(LeavingAgentThread, Mode::jvmti_newer);

TEST_P(LeavingAgentThread, IsWokenByTheEndOfAVmThatNobodyAttachedTo) {
    EXPECT_TRUE(sim.raise_vm_death());
    EXPECT_TRUE(leaves_at_once());
    EXPECT_EQ(nullptr, agent_thread);
    EXPECT_EQ(0, vm_init_done);
}

TEST_P(LeavingAgentThread, LeavesWhenADebuggerIsAttachedToo) {
    ASSERT_EQ(0, agent_attach_jquor(env));
    EXPECT_TRUE(sim.raise_vm_death());
    EXPECT_TRUE(leaves_at_once());
}

TEST_P(LeavingAgentThread, LeavesAfterTheDebuggerDid) {
    ASSERT_EQ(0, agent_attach_jquor(env));
    ASSERT_EQ(0, agent_detach_jquor(env));
    EXPECT_TRUE(sim.raise_vm_death());
    EXPECT_TRUE(leaves_at_once());
}

/* A method that the debugger invoked ends the program: events of its thread are dropped meanwhile. */
TEST_P(LeavingAgentThread, LeavesWhenAnInvokedMethodEndsTheVm) {
    ASSERT_EQ(0, agent_attach_jquor(env));
    jint created;
    TMap_start(URef_from_local(env, sim.local(sim.main_thread), &created), agent_self());
    TMap_tid2tm(agent_self())->invocation_state = INVOKE_RUNNING;
    EXPECT_TRUE(sim.raise_vm_death());
    EXPECT_TRUE(leaves_at_once());
}

TEST_P(LeavingAgentThread, LeavesNobodyBehindInItsQueue) {
    ASSERT_EQ(0, agent_attach_jquor(env));
    sim::Method& method = sim.new_class("Foo").add_method("bar", "()V");
    sim::Thread& early = sim.new_thread("early");
    sim::Thread& late = sim.new_thread("late");
    std::atomic<bool> dead = false;
    std::unique_ptr<sim::Running> early_running;
    sim.before("JVMTI.SetEventCallbacks",
               [&] { /* the agent thread is at the VM's end */
                     if (dead.exchange(true)) return;
                     early_running = sim.start(early, [&] { sim.raise_breakpoint(method, 1); });
                     usleep(20000); /* it may be queued, or still come: released in either case */
               });
    EXPECT_TRUE(sim.raise_vm_death());
    EXPECT_TRUE(leaves_at_once());
    early_running->join();
    agent_thread = sim.global(sim.main_thread); /* as a thread may have read it before */
    sim.run_on(late, [&] { sim.raise_breakpoint(method, 1, sim::Raise::force); });
    agent_thread = nullptr;
}

TEST_P(LeavingAgentThread, RaisesNothingThatAnybodySees) {
    EXPECT_TRUE(sim.raise_vm_death());
    EXPECT_TRUE(leaves_at_once());
    tid_debug_agent = agent_self();
    const std::string out = capture_stdout([&] {
        sim.clear_calls();
        sim.raise_thread_end(sim::Raise::force);
    });
    EXPECT_EQ("", out);
    EXPECT_EQ(0u, sim.count_calls("JVMTI.GetObjectHashCode"));
}

/* ---- At attach ---- */

/* The test's thread is the agent thread; one Java thread beside it. */
struct OnAttach : AgentThread {
    OnAttach() {
        tid_debug_agent = agent_self();
        shared_store(terminate_debug_agent, 0);
        TMap_start(sim.global(&worker), 101);
        sim.loaded_classes = {&foo};
        sim.clear_calls();
    }
    sim::Thread& worker = sim.new_thread("worker");
    sim::Class& foo = sim.new_class("Foo");
};
SIM_ALL_MODES(OnAttach);

TEST_P(OnAttach, ThreadsStandStillWhileClassesAreListedOrOnANewerVmBroughtUpToDate) {
    EXPECT_EQ(0, process_on_attach());
    const auto calls =
        sim.calls_of({"JavaVM.*", "*.*ThreadList", "*.SetEvent*", "*.GetLoadedClasses", "JNI.NewStringUTF"});
    std::vector<std::string> expected = {"JavaVM.GetEnv(0x10002)", "JNI.NewStringUTF(\"java.class.path\")",
                                         "JNI.NewStringUTF(\"oro.boot.class.path\")",
                                         "JNI.NewStringUTF(\"java.vm.version\")"};
    if (newer()) expected.push_back(vm("GetLoadedClasses()"));
    expected.push_back(vm("SuspendThreadList([worker])"));
    if (on_jvmdi()) {
        expected.push_back(vm("SetEventNotificationMode(1, 9, null)"));
        expected.push_back(vm("SetEventNotificationMode(1, 8, null)"));
        expected.push_back("JavaVM.GetEnv(0x20010000)"); /* the agent's table, fetched on its first use */
    } else {
        expected.push_back(vm("SetEventNotificationMode(1, 56, null)"));
    }
    expected.push_back(vm("GetLoadedClasses()"));
    expected.push_back(vm("ResumeThreadList([worker])"));
    EXPECT_TRUE(sim::same_calls(calls, expected));
}

TEST_P(OnAttach, PreparedClassesAreListedAfresh) {
    PrepList_add_locked(&prep_list, env, sim.local<jclass>(&sim.class_named("java/lang/String")), 0);
    process_on_attach();
    ASSERT_EQ(1, prep_list.count);
    EXPECT_STREQ("LFoo;", prep_list.array[0].signature);
}

TEST_P(OnAttach, WhatIsPreparedWhileClassesAreListedIsListedToo) {
    sim::Class& late = sim.new_class("Late");
    sim.loaded_classes = {&foo};
    sim.before(vm("SuspendThreadList"), [&] { sim.loaded_classes = {&late, &foo}; });
    process_on_attach();
    ASSERT_EQ(2, prep_list.count);
    EXPECT_STREQ(newer() ? "LLate;" : "LFoo;", prep_list.array[1].signature);
}

TEST_P(OnAttach, NoClassIsDescribedWhileThreadsStandStillOnANewerVm) {
    bool stand = false;
    int described = 0;
    sim.before(vm("SuspendThreadList"), [&] { stand = true; });
    sim.before(vm("ResumeThreadList"), [&] { stand = false; });
    sim.before(vm("GetClassSignature"), [&] { described += stand; });
    process_on_attach();
    EXPECT_EQ(newer() ? 0 : 1, described);
}

TEST_P(OnAttach, NobodyIsMetWhenTheProgramEndsWhileItsClassesAreListedOnANewerVm) {
    sim.before(vm("GetClassStatus"), [&] {
        if (newer()) end_agent_thread();
    });
    EXPECT_EQ(0, process_on_attach());
    EXPECT_EQ(newer() ? 0u : 1u, sim.count_calls("*.SuspendThreadList"));
    EXPECT_EQ(newer() ? nullptr : env, quor_env);
}

TEST_P(OnAttach, DebuggerIsMetAgain) {
    process_on_attach();
    EXPECT_EQ(env, quor_env);
    EXPECT_EQ(agent_self(), quor_tid);
    EXPECT_STREQ("/classes", quor_classpath);
    EXPECT_STREQ("1.0-sim", quor_vmversion);
}

TEST_P(OnAttach, MissingClassPathIsShownAsTheCurrentFolder) {
    sim.properties.clear();
    process_on_attach();
    EXPECT_STREQ(".", quor_classpath);
    EXPECT_EQ(nullptr, quor_vmversion);
}

TEST_P(OnAttach, GivesTheResultOfResuming) {
    sim.fail(vm("ResumeThreadList"), JVMTI_ERROR_INTERNAL);
    const std::string out = capture_stdout([&] { EXPECT_EQ(JVMTI_ERROR_INTERNAL, process_on_attach()); });
    EXPECT_EQ("AgentThread: cb_resume_list(): ResumeThreadList() failed -- INTERNAL\n"
              "resume_after_event(): agent_resume_all() failed",
              out);
}

TEST_P(OnAttach, WithoutAnEnvironmentAborts) {
    sim.set_getenv(JNI_VERSION_1_2, JNI_EDETACHED);
    expect_abort(run_in_child([] { process_on_attach(); }), "AgentThread(): GetEnv failed -- -2\n");
}

/* ---- The cached properties ---- */

struct Properties : AgentThread {
    Properties() { tid_debug_agent = agent_self(); }

    /* What get_classpath gives for these properties; "(null)" for null. In a child, as an answer is kept for ever. */
    std::string classpath_for(const char* classes, const char* boot) {
        return run_in_child([&] {
                   sim.properties.clear();
                   if (classes) sim.properties["java.class.path"] = classes;
                   if (boot) sim.properties["oro.boot.class.path"] = boot;
                   const char* path = get_classpath(env);
                   printf("%s", path ? path : "(null)");
               })
            .out;
    }
};
SIM_ALL_MODES(Properties);

TEST_P(Properties, ClassPathIsFollowedByTheBootClassPath) {
    EXPECT_EQ("/classes", classpath_for("/classes", nullptr));
    EXPECT_EQ("/classes:/boot", classpath_for("/classes", "/boot"));
    EXPECT_EQ("/boot", classpath_for(nullptr, "/boot"));
    EXPECT_EQ("(null)", classpath_for(nullptr, nullptr));
    EXPECT_EQ("", classpath_for("", nullptr));
    EXPECT_EQ(":/boot", classpath_for("", "/boot"));
    EXPECT_EQ("/caf\xc3\xa9:/b:/c", classpath_for("/caf\xc3\xa9", "/b:/c"));
    EXPECT_EQ(std::string(100000, 'a') + ":" + std::string(5000, 'b'),
              classpath_for(std::string(100000, 'a').c_str(), std::string(5000, 'b').c_str()));
}

TEST_P(Properties, TextsLiveInVmMemoryOfTheirSize) {
    sim.properties["oro.boot.class.path"] = "/boot";
    sim.clear_calls();
    const char* path = get_classpath(env);
    const char* version = get_vmversion(env);
    EXPECT_STREQ("1.0-sim", version);
    EXPECT_CALLS(sim.calls_of({"*.Allocate"}), vm("Allocate(23)"), vm("Allocate(8)"));
    EXPECT_TRUE(sim.is_live_block(path));
    EXPECT_TRUE(sim.is_live_block(version));
    EXPECT_EQ(0u, sim.live_elements());
}

TEST_P(Properties, AreAskedForOnce) {
    const char* path = get_classpath(env);
    const char* version = get_vmversion(env);
    ASSERT_TRUE(path && version);
    sim.clear_calls();
    sim.properties.clear();
    EXPECT_EQ(path, get_classpath(env));
    EXPECT_EQ(version, get_vmversion(env));
    EXPECT_EQ(std::vector<std::string>{}, sim.calls());
}

TEST_P(Properties, OnceKnownAreGivenToAnyThreadAndWithoutAnEnvironment) {
    const char* path = get_classpath(env);
    const char* version = get_vmversion(env);
    tid_debug_agent = 0;
    const std::string out = capture_stdout([&] {
        EXPECT_EQ(path, get_classpath(env));
        EXPECT_EQ(version, get_vmversion(env));
        EXPECT_EQ(path, get_classpath(nullptr));
        EXPECT_EQ(version, get_vmversion(nullptr));
    });
    EXPECT_EQ("", out);
}

TEST_P(Properties, OnlyTheAgentThreadFindsThemOut) {
    tid_debug_agent = 0;
    sim.clear_calls();
    const std::string out = capture_stdout([&] {
        EXPECT_EQ(nullptr, get_classpath(env));
        EXPECT_EQ(nullptr, get_vmversion(env));
    });
    EXPECT_EQ("AgentThread(): Only the agent thread can call get_classpath\n"
              "AgentThread(): Only the agent thread can call get_vmversion\n",
              out);
    EXPECT_EQ(std::vector<std::string>{}, sim.calls());
    tid_debug_agent = agent_self();
    EXPECT_STREQ("/classes", get_classpath(env));
    EXPECT_STREQ("1.0-sim", get_vmversion(env));
}

TEST_P(Properties, NullEnvironmentIsToldFirst) {
    tid_debug_agent = 0;
    const std::string out = capture_stdout([&] {
        EXPECT_EQ(nullptr, get_classpath(nullptr));
        EXPECT_EQ(nullptr, get_vmversion(nullptr));
    });
    EXPECT_EQ("AgentThread(): Invalid JNIEnv in get_classpath\nAgentThread(): Invalid JNIEnv in get_vmversion\n", out);
}

static const struct {
    const char* (*get)(JNIEnv*);
    const char* answer;
    const char* no_memory;
} properties[] = {
    {get_classpath, "/classes", "get_classpath: Allocate failed -- OUT_OF_MEMORY\n"},
    {get_vmversion, "1.0-sim", "get_vmversion: Allocate failed -- OUT_OF_MEMORY\n"},
};

TEST_P(Properties, FailureToFindTheQuestionIsToldAndNotKept) {
    for (const auto& property : properties) {
        const std::string out = capture_stdout([&] {
            sim.null_in("JNI.FindClass");
            EXPECT_EQ(nullptr, property.get(env));
            sim.stop_failing("JNI.FindClass");
            sim.null_in("JNI.GetStaticMethodID");
            EXPECT_EQ(nullptr, property.get(env));
            sim.stop_failing("JNI.GetStaticMethodID");
            EXPECT_STREQ(property.answer, property.get(env));
        });
        EXPECT_EQ("AgentThread(): FindClass System Failed\nAgentThread(): GetMethodID of getProperty Failed\n", out);
    }
}

TEST_P(Properties, WithoutMemoryThereIsNoAnswerAndNothingIsKept) {
    for (const auto& property : properties) {
        sim.fail_nth(vm("Allocate"), 1, JVMTI_ERROR_OUT_OF_MEMORY);
        EXPECT_EQ(property.no_memory, capture_stdout([&] { EXPECT_EQ(nullptr, property.get(env)); }));
        EXPECT_STREQ(property.answer, property.get(env));
    }
}

TEST_P(Properties, UnknownPropertyIsNullAndAskedForAgain) {
    sim.properties.clear();
    for (const auto& property : properties) {
        EXPECT_EQ("", capture_stdout([&] { EXPECT_EQ(nullptr, property.get(env)); }));
    }
    sim.properties["java.vm.version"] = "2";
    EXPECT_STREQ("2", get_vmversion(env));
}

TEST_P(Properties, EveryExceptionIsDescribedAndCleared) {
    sim::Object& exception = sim.new_exception("java/lang/Error", "no");
    for (const char* name : {"FindClass", "GetStaticMethodID", "NewStringUTF", "CallStaticObjectMethod",
                             "GetStringUTFLength", "GetStringUTFChars", "ReleaseStringUTFChars"})
        for (const auto& property : properties) {
            const ChildResult result = run_in_child([&] {
                sim.throw_in(std::string("JNI.") + name, exception, 1);
                property.get(env);
                EXPECT_EQ(nullptr, sim.pending()) << name;
            });
            EXPECT_EQ(0, result.exit_status) << name;
            EXPECT_EQ("java/lang/Error: no\n", result.err) << name;
        }
}

TEST_P(Properties, ExceptionFromBeforeTheLookUpIsClearedAndNoFailure) {
    for (const auto& property : properties) {
        sim.set_pending(&sim.new_exception("java/lang/Error", "earlier"));
        EXPECT_EQ("java/lang/Error: earlier\n",
                  sim::capture_stderr([&] { EXPECT_STREQ(property.answer, property.get(env)); }));
        EXPECT_EQ(nullptr, sim.pending());
        EXPECT_EQ(1u, sim.take_misuse().size()) << "FindClass with the exception pending";
    }
}

/* The room was made without the length that could not be had; what fits is kept. */
TEST_P(Properties, TextOfUnknownLengthIsCutToItsRoom) {
    sim.properties["java.class.path"] = "/a/long/class/path";
    sim.properties["oro.boot.class.path"] = "/boot";
    sim.null_in("JNI.GetStringUTFLength");
    EXPECT_STREQ("/a/long/:", get_classpath(env)); /* of the ten bytes beside the texts */
    EXPECT_STREQ("", get_vmversion(env));
}

TEST_P(Properties, TextWhoseCharactersCannotBeHadIsLeftOut) {
    sim.properties["oro.boot.class.path"] = "/boot";
    sim.null_in("JNI.GetStringUTFChars", 2);
    EXPECT_STREQ("/classes:", get_classpath(env));
    sim.null_in("JNI.GetStringUTFChars", 1);
    EXPECT_STREQ("", get_vmversion(env));
}
