/* Processing: the filter, the references of a queued event, and what each kind does at its hook point. */
#include "agent_thread/agent_thread.h"
#include "agent_thread/processing.h"
#include "event_fixture.h"
#include "java_threads/boot.h"
#include "stop/resume_after_event.h"
#include "stop/suspend.h"

#include <algorithm>
#include <signal.h>
#include <string.h>

using sim::capture_stdout;

/* Every kind, one that is none, and what the records of the kinds have. */
static const struct Kind {
    jint kind;
    bool has_thread, located;
    const char* name;
} kinds[] = {
    {1, true, true, "SINGLE_STEP"},      {2, true, true, "BREAKPOINT"},     {3, true, false, "FRAME_POP"},
    {4, true, true, "EXCEPTION"},        {5, false, false, "USER_DEFINED"}, {6, true, false, "THREAD_START"},
    {7, true, false, "THREAD_END"},      {8, true, false, "CLASS_PREPARE"}, {9, true, false, "CLASS_UNLOAD"},
    {10, true, false, "CLASS_LOAD"},     {20, true, true, "FIELD_ACCESS"},  {21, true, true, "FIELD_MODIFICATION"},
    {30, true, true, "EXCEPTION_CATCH"}, {40, true, true, "METHOD_ENTRY"},  {41, true, true, "METHOD_EXIT"},
    {90, false, false, "VM_INIT"},       {99, false, false, "VM_DEATH"},    {55, false, false, "UNKNOWN 55"},
};

struct Processing : EventTest {
    Processing() : worker(sim.new_thread("worker")), thrown(sim.new_exception("java/lang/Error")) {}

    /* A record of the kind, with references of the calling thread, about the thread "worker". JVMTI leaves classes out. */
    JVMDI_Event event_of(jint kind) {
        JVMDI_Event event = {};
        event.kind = kind;
        if (kind == JVMDI_EVENT_VM_DEATH || kind == JVMDI_EVENT_VM_INIT) return event;
        auto& u = event.u;
        u.breakpoint.thread = sim.local(&worker);
        if (kind == JVMDI_EVENT_THREAD_START || kind == JVMDI_EVENT_THREAD_END) return event;
        const bool of_class = kind >= JVMDI_EVENT_CLASS_PREPARE && kind <= JVMDI_EVENT_CLASS_LOAD;
        u.breakpoint.clazz = of_class || on_jvmdi() ? sim.local<jclass>(&foo) : nullptr;
        if (of_class) return event;
        u.breakpoint.method = bar.id();
        if (kind == JVMDI_EVENT_EXCEPTION || kind == JVMDI_EVENT_EXCEPTION_CATCH)
            u.exception.exception = sim.local(&thrown);
        if (kind == JVMDI_EVENT_FIELD_ACCESS || kind == JVMDI_EVENT_FIELD_MODIFICATION) {
            u.field_access.field_clazz = sim.local<jclass>(&sim.class_named("java/lang/Object"));
            u.field_access.object = sim.local(&sim.new_object(foo));
        }
        return event;
    }

    jint filter(JVMDI_Event event) { return filter_jvmdi_event(sim.env(), &event); }
    void process(JVMDI_Event event, agent_tid_t tid = 5) { process_jvmdi_event(sim.env(), &event, tid); }

    /* The thread that events are about, as one that the agent knows under the id 5. */
    jobject know_worker() {
        const jobject handle = make_uref(worker);
        TMap_start(handle, 5);
        sim.clear_calls();
        return handle;
    }

    sim::Thread& worker;
    sim::Object& thrown;
};
SIM_ALL_MODES(Processing);

/* ---- Filter ---- */

TEST_P(Processing, FilterPassesWhatTheDebuggerIsToSee) {
    const std::vector<jint> passed = {1, 2, 3, 5, 6, 7, 8, 9, 20, 21, 40, 99};
    for (const Kind& kind : kinds) {
        const bool expected = std::find(passed.begin(), passed.end(), kind.kind) != passed.end();
        EXPECT_EQ(expected ? 1 : 0, filter(event_of(kind.kind))) << kind.name;
    }
}

TEST_P(Processing, FilterDumpsOnlySomeKindsWhileLogged) {
    const std::vector<jint> dumped = {1, 2, 5, 6, 7, 9, 20, 21, 40, 90, 55};
    for (const Kind& kind : kinds) {
        const JVMDI_Event event = event_of(kind.kind);
        const std::string out = capture_stdout([&] {
            show_log("LogJVMDI");
            filter(event);
        });
        const bool expected = std::find(dumped.begin(), dumped.end(), kind.kind) != dumped.end();
        EXPECT_EQ(expected, out.find(std::string("Event = ") + kind.name) != std::string::npos) << kind.name << out;
        EXPECT_EQ(expected, !out.empty()) << kind.name << out;
    }
}

TEST_P(Processing, FilterDumpsNothingWhileTheCategoryIsOff) {
    sim.clear_calls();
    for (const Kind& kind : kinds) filter(event_of(kind.kind));
    EXPECT_EQ(0u, sim.count_calls("JV*.GetThreadInfo"));
}

TEST_P(Processing, ThrownExceptionPassesWhenItsFilterSaysSo) {
    set_filter(FILTER_THROWN, "java/lang/Error");
    EXPECT_EQ(1, filter(event_of(JVMDI_EVENT_EXCEPTION)));
    EXPECT_EQ(0, filter(event_of(JVMDI_EVENT_EXCEPTION_CATCH)));
}

TEST_P(Processing, CaughtExceptionPassesWhenItsFilterSaysSo) {
    set_filter(FILTER_CAUGHT, NULL); /* of every class: clearing does not know this kind */
    EXPECT_EQ(0, filter(event_of(JVMDI_EVENT_EXCEPTION)));
    EXPECT_EQ(1, filter(event_of(JVMDI_EVENT_EXCEPTION_CATCH)));
}

/* ---- References ---- */

TEST_P(Processing, ReferencesBecomeUrefsByKind) {
    const jobject thread = know_worker();
    const jobject clazz = make_uref(foo);
    const std::vector<jint> with_class = {1, 2, 4, 8, 9, 20, 21, 30, 40};
    const std::vector<jint> with_thread = {1, 2, 3, 4, 6, 7, 8, 9, 20, 21, 30, 40};
    for (const Kind& kind : kinds) {
        JVMDI_Event event = event_of(kind.kind);
        const JVMDI_Event before = event;
        capture_stdout([&] { preprocess_jvmdi_references(sim.env(), &event); });
        const bool class_is_uref = std::find(with_class.begin(), with_class.end(), kind.kind) != with_class.end();
        const bool thread_is_uref = std::find(with_thread.begin(), with_thread.end(), kind.kind) != with_thread.end();
        EXPECT_EQ(thread_is_uref ? thread : before.u.breakpoint.thread, event.u.breakpoint.thread) << kind.name;
        EXPECT_EQ(class_is_uref ? clazz : before.u.breakpoint.clazz, event.u.breakpoint.clazz) << kind.name;
        EXPECT_EQ(before.u.breakpoint.method, event.u.breakpoint.method) << kind.name;
    }
}

TEST_P(Processing, ExceptionsBecomeUrefs) {
    know_worker();
    for (const jint kind : {JVMDI_EVENT_EXCEPTION, JVMDI_EVENT_EXCEPTION_CATCH}) {
        JVMDI_Event event = event_of(kind);
        preprocess_jvmdi_references(sim.env(), &event);
        EXPECT_NE(nullptr, event.u.exception.exception);
        EXPECT_EQ(uref_of(thrown), event.u.exception.exception) << kind;
    }
}

/* A program may throw for ever, each time another object. */
TEST_P(Processing, UrefOfAnExceptionGoesWithItsStopOnANewerVm) {
    know_worker();
    for (const jint kind : {JVMDI_EVENT_EXCEPTION, JVMDI_EVENT_EXCEPTION_CATCH}) {
        JVMDI_Event event = event_of(kind);
        preprocess_jvmdi_references(sim.env(), &event);
        EXPECT_NE(nullptr, uref_of(thrown)) << kind;
        EXPECT_EQ(uref_of(thrown), event.u.exception.exception) << kind;
        resume_after_event(sim.env());
        EXPECT_EQ(newer(), uref_of(thrown) == nullptr) << kind;
    }
}

TEST_P(Processing, UrefOfAnExceptionThatTheDebuggerKnewBeforeStays) {
    know_worker();
    const jobject uref = make_uref(thrown);
    JVMDI_Event event = event_of(JVMDI_EVENT_EXCEPTION);
    preprocess_jvmdi_references(sim.env(), &event);
    resume_after_event(sim.env());
    EXPECT_EQ(uref, uref_of(thrown));
}

TEST_P(Processing, UrefOfAnExceptionThatArmedAFilterStaysUntilTheFilterIsCleared) {
    know_worker();
    sim::Class& catcher = sim.new_class("Catcher");
    const uintptr_t clazz = (uintptr_t)make_uref(foo), method = (uintptr_t)bar.id();
    EXPECT_EQ(0, event_setfilter_ex(sim.env(), FILTER_UNCAUGHT, clazz, method));
    JVMDI_Event event = event_of(JVMDI_EVENT_EXCEPTION);
    event.u.exception.clazz = sim.local<jclass>(&foo);
    event.u.exception.catch_clazz = sim.local<jclass>(&catcher);
    event.u.exception.catch_method = catcher.add_method("run", "()V").id();
    JVMDI_Event again = event;
    preprocess_jvmdi_references(sim.env(), &event);
    EXPECT_FALSE(event_filter_holds(event.u.exception.exception));
    filter_jvmdi_event_throw(sim.env(), &again);
    EXPECT_TRUE(event_filter_holds(event.u.exception.exception));
    resume_after_event(sim.env());
    EXPECT_NE(nullptr, uref_of(thrown));
    event_clearfilter_ex(sim.env(), FILTER_UNCAUGHT_ARMED, clazz, method);
    EXPECT_EQ(nullptr, uref_of(thrown));
}

TEST_P(Processing, ClassOfAFieldBecomesAUrefItsObjectDoesNot) {
    know_worker();
    for (const jint kind : {JVMDI_EVENT_FIELD_ACCESS, JVMDI_EVENT_FIELD_MODIFICATION}) {
        JVMDI_Event event = event_of(kind);
        const jobject object = event.u.field_access.object;
        preprocess_jvmdi_references(sim.env(), &event);
        EXPECT_NE(nullptr, event.u.field_access.field_clazz);
        EXPECT_EQ(uref_of(sim.class_named("java/lang/Object")), event.u.field_access.field_clazz) << kind;
        EXPECT_EQ(object, event.u.field_access.object) << kind;
    }
}

TEST_P(Processing, JvmtiIsAskedForTheDeclaringClassAfterTheThreadWasFound) {
    know_worker();
    make_uref(foo);
    for (const jint kind : {1, 2, 4, 20, 21, 30, 40}) {
        JVMDI_Event event = event_of(kind);
        sim.clear_calls();
        preprocess_jvmdi_references(sim.env(), &event);
        strings asked = sim.calls_of({"JV*.GetObjectHashCode", "JV*.GetMethodDeclaringClass"});
        asked.resize(on_jvmti() ? 3 : 2);
        strings expected = {sim.vm_name("GetObjectHashCode(worker)"), sim.vm_name("GetObjectHashCode(Foo)")};
        if (on_jvmti()) expected.insert(expected.begin() + 1, "JVMTI.GetMethodDeclaringClass(Foo.bar)");
        EXPECT_TRUE(sim::same_calls(asked, expected)) << kind;
    }
}

TEST_P(Processing, NewThreadGetsAUref) {
    JVMDI_Event event = event_of(JVMDI_EVENT_THREAD_START);
    preprocess_jvmdi_references(sim.env(), &event);
    EXPECT_NE(nullptr, event.u.thread_change.thread);
    EXPECT_EQ(uref_of(worker), event.u.thread_change.thread);
}

TEST_P(Processing, EventOfAThreadWithoutUrefEndsTheProcess) {
    const struct {
        jint kind;
        const char* message;
    } rows[] = {
        {1, "Single step on dead thread:ignored\n"},   {2, "Breakpoint on dead thread:ignored\n"},
        {3, "Frame pop on dead thread:ignored\n"},     {4, "Exception on dead thread:ignored\n"},
        {7, "Thread end on dead thread:ignored\n"},    {8, "Class Prepare on dead thread:ignored\n"},
        {9, "Class unload on dead thread:ignored\n"},  {20, "Breakpoint on dead thread:ignored\n"},
        {21, "Breakpoint on dead thread:ignored\n"},   {30, "Exception caught on dead thread:ignored\n"},
        {40, "Method Entry on dead thread:ignored\n"},
    };
    for (const auto& row : rows) {
        const sim::ChildResult result = run_in_child([&] {
            JVMDI_Event event = event_of(row.kind);
            preprocess_jvmdi_references(sim.env(), &event);
        });
        EXPECT_EQ(SIGABRT, result.signal) << row.kind;
        EXPECT_EQ(row.message, result.out) << row.kind;
    }
}

TEST_P(Processing, KindsThatAreNeverQueuedAreNamed) {
    const struct {
        jint kind;
        const char* text;
    } rows[] = {
        {10, "preprocess_jvmdi_references: got JVMDI_EVENT_CLASS_LOAD"},
        {41, "preprocess_jvmdi_references: got JVMDI_EVENT_METHOD_EXIT"},
        {90, "preprocess_jvmdi_references: got unknown event"},
        {55, "preprocess_jvmdi_references: got unknown event"},
        {5, ""},
        {99, ""},
    };
    for (const auto& row : rows) {
        JVMDI_Event event = event_of(row.kind);
        EXPECT_EQ(row.text, capture_stdout([&] { preprocess_jvmdi_references(sim.env(), &event); })) << row.kind;
    }
}

TEST_P(Processing, PreparedClassIsListedUncheckedAndUnderItsUref) {
    know_worker();
    JVMDI_Event event = event_of(JVMDI_EVENT_CLASS_PREPARE);
    preprocess_jvmdi_references(sim.env(), &event);
    ASSERT_EQ(1, prep_list.count);
    EXPECT_EQ((jclass)uref_of(foo), prep_list.array[0].clazz);
    EXPECT_STREQ("LFoo;", prep_list.array[0].signature);
    EXPECT_EQ(0u, sim.count_calls("JV*.GetClassStatus"));
}

/* How often preparing the class asks for its signature: once for the list, once more to find out whose class it is. */
TEST_P(Processing, ClassesAreExaminedUntilTheFirstOneThatIsNotThePlatforms) {
    know_worker();
    const auto questions = [&](sim::Class& clazz) {
        JVMDI_Event event = event_of(JVMDI_EVENT_CLASS_PREPARE);
        event.u.class_event.clazz = sim.local<jclass>(&clazz);
        sim.clear_calls();
        preprocess_jvmdi_references(sim.env(), &event);
        return sim.count_calls("JV*.GetClassSignature");
    };
    EXPECT_EQ(2u, questions(sim.class_named("java/lang/String")));
    EXPECT_EQ(2u, questions(sim.class_named("java/lang/Error"))) << "the platform's classes do not count";
    EXPECT_EQ(2u, questions(foo));
    EXPECT_EQ(1u, questions(sim.new_class("Foo2")));
}

/* ---- Dispatch ---- */

TEST_P(Processing, EachKindIsShownAtItsHookWithTheOthersStoppedWhereItIsTheRule) {
    const struct {
        jint kind;
        const char* hook;
        bool stops;
    } rows[] = {
        {1, "hook_step", true},
        {2, "hook_bpt", true},
        {3, "hook_frame_pop", true},
        {4, "hook_exception_thrown", true},
        {6, "hook_thread_start", true},
        {7, "hook_thread_stop", false},
        {8, "hook_class_prepare", true},
        {9, "hook_class_unload", true},
        {20, "hook_access", true},
        {21, "hook_access_write", true},
        {30, "hook_exception_caught", true},
        {40, "hook_method_entry", false},
    };
    sim::Thread& other = sim.new_thread("other");
    TMap_start(make_uref(other), 9);
    for (const auto& row : rows) {
        const JVMDI_Event event = event_of(row.kind);
        hooks::noted.clear();
        sim.clear_calls();
        hooks::during = [&](const hooks::Call&) { EXPECT_EQ(row.stops ? 1 : 0, other.suspend_count) << row.kind; };
        if (row.kind == JVMDI_EVENT_THREAD_START) {
            sim.run_on(worker, [] {}); /* ended: cannot be suspended, and is no part of this test */
            worker.life = sim::Thread::Life::alive;
        }
        process(event, 77);
        EXPECT_EQ(strings{row.hook}, hooks::names()) << row.kind;
        EXPECT_EQ(0, other.suspend_count) << row.kind;
        EXPECT_EQ(row.stops ? 2u : 0u, stops_and_goes().size()) << row.kind;
        if (TMap_tid2tm(77)) TMap_end(TMap_tid2handle(77), 77);
    }
}

TEST_P(Processing, KindsWithoutAHookDoNothing) {
    for (const jint kind : {10, 41, 90, 55}) {
        const JVMDI_Event event = event_of(kind);
        sim.clear_calls();
        process(event);
        EXPECT_CALLS(sim.calls()) << kind;
    }
    EXPECT_EQ(strings{}, hooks::names());
}

TEST_P(Processing, UserEventIsAControlCByItsKeyAlone) {
    for (const jint key : {1, 2, 3, 4, 0}) {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_USER_DEFINED;
        event.u.user.key = key;
        hooks::noted.clear();
        process(event);
        EXPECT_EQ(strings{key == 3 ? "hook_controlc" : "hook_invoke_method"}, hooks::names()) << key;
    }
}

TEST_P(Processing, ClassOfAThrownExceptionGetsAUrefBeforeTheHook) {
    hooks::during = [&](const hooks::Call&) { EXPECT_NE(nullptr, uref_of(*thrown.type)); };
    process(event_of(JVMDI_EVENT_EXCEPTION));
    EXPECT_EQ(1u, hooks::calls().size());
}

TEST_P(Processing, ThrownExceptionThatIsNullIsShownWithoutAClass) {
    JVMDI_Event event = event_of(JVMDI_EVENT_EXCEPTION);
    event.u.exception.exception = nullptr;
    process(event);
    EXPECT_EQ(strings{"hook_exception_thrown"}, hooks::names());
    EXPECT_EQ(0u, sim.count_calls("JNI.GetObjectClass"));
}

TEST_P(Processing, CaughtExceptionThatIsNullIsNotShownAtAll) {
    JVMDI_Event event = event_of(JVMDI_EVENT_EXCEPTION_CATCH);
    event.u.exception_catch.exception = nullptr;
    sim.clear_calls();
    process(event);
    EXPECT_EQ(strings{}, hooks::names());
    EXPECT_CALLS(sim.calls());
}

TEST_P(Processing, StartedThreadIsInTheMapAndStoppedWhenItIsShown) {
    JVMDI_Event event = event_of(JVMDI_EVENT_THREAD_START);
    preprocess_jvmdi_references(sim.env(), &event);
    const jobject handle = event.u.thread_change.thread;
    worker.life = sim::Thread::Life::alive;
    hooks::during = [&](const hooks::Call&) {
        EXPECT_EQ(handle, TMap_tid2handle(5));
        EXPECT_EQ(1, worker.suspend_count);
    };
    process(event);
    EXPECT_EQ(1u, hooks::calls().size());
}

TEST_P(Processing, EndedThreadIsShownThenForgotten) {
    const jobject handle = know_worker();
    JVMDI_Event event = event_of(JVMDI_EVENT_THREAD_END);
    preprocess_jvmdi_references(sim.env(), &event);
    hooks::during = [&](const hooks::Call&) { EXPECT_EQ(handle, TMap_tid2handle(5)); };
    process(event);
    EXPECT_EQ(1u, hooks::calls().size());
    EXPECT_EQ(nullptr, TMap_tid2handle(5));
    EXPECT_EQ(nullptr, uref_of(worker));
    EXPECT_FALSE(sim.is_global(handle));
}

static std::vector<jobject> released;
static void release(JNIEnv*, jobject reference) { released.push_back(reference); }

/* Where the other threads run. */
TEST_P(Processing, EndOfAThreadAndEntryOfAMethodReleaseWhatWasHandedOutOnANewerVmOnly) {
    for (const jint kind : {JVMDI_EVENT_METHOD_ENTRY, JVMDI_EVENT_THREAD_END}) {
        know_worker();
        released.clear();
        tmap_record* record = TMap_tid2tm(5);
        const char* answer = record->thread_name = (char*)sim.allocate(8);
        add_resource(sim.env(), (jobject)0x10, release, "test");
        JVMDI_Event event = event_of(kind);
        preprocess_jvmdi_references(sim.env(), &event);
        process(event);
        EXPECT_EQ(newer() ? std::vector<jobject>{(jobject)0x10} : std::vector<jobject>{}, released) << kind;
        EXPECT_EQ(!newer(), sim.is_live_block(answer)) << kind;
        resume_after_event(sim.env());
    }
}

TEST_P(Processing, EntryOfAMethodReleasesNothingDuringAnInvocation) {
    know_worker();
    add_resource(sim.env(), (jobject)0x10, release, "test");
    post_static_invoke_request_async(sim.env(), (jobject)0x70, (jclass)make_uref(foo), bar.id(), 'V', 0, NULL);
    JVMDI_Event event = event_of(JVMDI_EVENT_METHOD_ENTRY);
    preprocess_jvmdi_references(sim.env(), &event);
    process(event);
    EXPECT_EQ(std::vector<jobject>{}, released);
    invoke_method_cleanup(sim.env());
}

/* A question at a hook may run a method that has a METHOD_ENTRY of its own. */
TEST_P(Processing, EntryOfAMethodOnTheAgentThreadReleasesNothingOfTheStopAroundIt) {
    JVMDI_Event event = event_of(JVMDI_EVENT_METHOD_ENTRY);
    add_resource(sim.env(), (jobject)0x10, release, "test");
    process_jvmdi_event(sim.env(), &event, agent_self());
    EXPECT_EQ(std::vector<jobject>{}, released);
}

TEST_P(Processing, ThreadsAreLoggedWithTheirIds) {
    for (const bool start : {true, false}) {
        const jobject handle = know_worker();
        JVMDI_Event event = event_of(start ? JVMDI_EVENT_THREAD_START : JVMDI_EVENT_THREAD_END);
        preprocess_jvmdi_references(sim.env(), &event);
        const std::string out = capture_stdout([&] {
            show_log("LogJVMDI_VM_thread");
            process(event);
        });
        char expected[160];
        snprintf(expected, sizeof expected,
                 "LogJVMDI_VM_threadprocess_jvmdi_event: case JVMDI_EVENT_THREAD_%s, tid = 5 thread =%lx\n\n",
                 start ? "START" : "END", (unsigned long)handle);
        EXPECT_EQ(0u, out.find(expected)) << out;
    }
}

TEST_P(Processing, UnloadedClassIsShownThenForgotten) {
    know_worker();
    JVMDI_Event event = event_of(JVMDI_EVENT_CLASS_UNLOAD);
    preprocess_jvmdi_references(sim.env(), &event);
    hooks::during = [&](const hooks::Call&) { EXPECT_NE(nullptr, uref_of(foo)); };
    process(event);
    EXPECT_EQ(strings{"hook_class_unload"}, hooks::names());
    EXPECT_EQ(nullptr, uref_of(foo));
}

/* ---- VM_DEATH ---- */

TEST_P(Processing, VmDeathPutsTheBootHooksBackWithoutTheOneForClasses) {
    vm_init_done = 1;
    sim.clear_calls();
    process(event_of(JVMDI_EVENT_VM_DEATH));
    EXPECT_EQ(0, vm_init_done);
    EXPECT_EQ(1, terminate_debug_agent);
    EXPECT_EQ(strings{}, hooks::names());
    if (on_jvmdi()) {
        EXPECT_EQ(boot_event_hook, sim.hook);
        EXPECT_EQ(1u, sim.calls().size());
        return;
    }
    jvmtiEventCallbacks expected = {};
    expected.VMInit = cbb_jvmtiEventVMInit;
    expected.ThreadStart = cbb_jvmtiEventThreadStart;
    expected.ThreadEnd = cbb_jvmtiEventThreadEnd;
    EXPECT_EQ(0, memcmp(&expected, &sim.callbacks, 35 * sizeof(void*)));
    EXPECT_EQ((jint)(35 * sizeof(void*)), sim.callbacks_size);
    EXPECT_CALLS(sim.calls_of({"JVMTI.SetEventNotificationMode"}), "JVMTI.SetEventNotificationMode(1, 50, null)",
                 "JVMTI.SetEventNotificationMode(1, 52, null)", "JVMTI.SetEventNotificationMode(1, 53, null)");
}

TEST_P(Processing, VmDeathWithoutItsCallbacksEndsTheProcessOnJvmtiAlone) {
    const sim::ChildResult result = run_in_child([&] {
        sim.fail(on_jvmti() ? "JVMTI.SetEventCallbacks" : "JVMDI.SetEventHook", JVMDI_ERROR_ILLEGAL_ARGUMENT);
        process(event_of(JVMDI_EVENT_VM_DEATH));
        EXPECT_EQ(1, terminate_debug_agent);
    });
    EXPECT_EQ(on_jvmti() ? SIGABRT : 0, result.signal);
    EXPECT_EQ(on_jvmti() ? "AgentThread: JVM_OnLoad(): JVMDI_SetEventHook() failed -- ILLEGAL_ARGUMENT\n" : "",
              result.out);
}

TEST_P(Processing, VmDeathEndsTheAgentThreadsLoopAndReleasesItsThread) {
    auto running = start_known(worker, [&] {
        sim.raise_breakpoint(bar, 1, FORCE);
        sim.raise_vm_death(FORCE);
    });
    agent_bar();
    running->join();
    EXPECT_EQ(strings{"hook_bpt"}, hooks::names());
}

/* ---- Resuming ---- */

TEST_P(Processing, ResumingReleasesWhatWasHandedOutNewestFirst) {
    add_resource(sim.env(), (jobject)0x10, release, "first");
    add_resource(sim.env(), (jobject)0x20, release, "second");
    EXPECT_EQ(0, resume_after_event(sim.env()));
    EXPECT_EQ((std::vector<jobject>{(jobject)0x20, (jobject)0x10}), released);
}

TEST_P(Processing, ResumingFreesTheThreadsResultAreas) {
    know_worker();
    tmap_record* record = TMap_tid2tm(5);
    record->thread_name = (char*)sim.allocate(8);
    EXPECT_EQ(0, resume_after_event(sim.env()));
    EXPECT_EQ(nullptr, record->thread_name);
}

TEST_P(Processing, ResumingDuringAnInvocationKeepsEverything) {
    know_worker();
    tmap_record* record = TMap_tid2tm(5);
    record->thread_name = (char*)sim.allocate(8);
    add_resource(sim.env(), (jobject)0x10, release, "test");
    post_static_invoke_request_async(sim.env(), record->handle, (jclass)make_uref(foo), bar.id(), 'V', 0, NULL);
    EXPECT_EQ(0, resume_after_event(sim.env()));
    EXPECT_EQ(std::vector<jobject>{}, released);
    EXPECT_NE(nullptr, record->thread_name);
    invoke_method_cleanup(sim.env());
    EXPECT_EQ(0, resume_after_event(sim.env()));
    EXPECT_EQ(1u, released.size());
}

TEST_P(Processing, FailedResumeIsReportedAndReturned) {
    know_worker();
    worker.life = sim::Thread::Life::alive;
    agent_suspend_all(sim.env());
    sim.fail(sim.vm_name("ResumeThreadList"), JVMDI_ERROR_INTERNAL);
    jint result = 0;
    const std::string out = capture_stdout([&] { result = resume_after_event(sim.env()); });
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, result);
    EXPECT_NE(std::string::npos, out.find("\nresume_after_event(): agent_resume_all() failed")) << out;
    EXPECT_EQ('d', out.back()) << "the message has no line end";
}

/* ---- The whole road ---- */

TEST_P(Processing, TwoEventsOfTwoThreadsAreShownOneAfterTheOtherEachWithAStopOfItsOwn) {
    sim::Thread& second = sim.new_thread("second");
    hooks::during = [&](const hooks::Call&) {
        EXPECT_EQ(2, worker.suspend_count + second.suspend_count) << "both threads are stopped";
    };
    std::atomic<int> known{0};
    const auto body = [&] {
        known++;
        sim::wait_for([&] { return known >= 2; });
        sim.raise_breakpoint(bar, 1, FORCE);
        known++;
        sim::wait_for([&] { return known >= 4; });
    };
    auto first_running = start_known(worker, body);
    auto second_running = start_known(second, body);
    process_next_event();
    process_next_event();
    first_running->join();
    second_running->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_bpt"}), hooks::names());
    ASSERT_EQ(4u, stops_and_goes().size());
    for (size_t i = 0; i < 4; i++)
        EXPECT_EQ(0u, stops_and_goes()[i].find(sim.vm_name(i % 2 ? "Resume" : "Suspend"))) << i;
}

TEST_P(Processing, BreakpointMakesTheAgentThreadsCallsInTheirOrder) {
    auto running = start_known(worker, [&] {
        make_uref(foo);
        sim.clear_calls();
        sim.raise_breakpoint(bar, 12, FORCE);
    });
    strings at_hook;
    hooks::during = [&](const hooks::Call&) { at_hook = sim.calls_on("main"); };
    process_next_event();
    running->join();
    const auto name = [&](const std::string& call) { return sim.vm_name(call); };
    strings expected = {"JavaVM.GetEnv(0x10002)", name("GetObjectHashCode(worker)"),
                        "JNI.IsSameObject(worker, worker)"};
    if (newer()) /* a frame; and whether the thread is the one that the agent knows under its id */
        expected.insert(expected.begin() + 1, {"JNI.PushLocalFrame(1024)", "JNI.IsSameObject(worker, worker)"});
    if (on_jvmti()) expected.push_back("JVMTI.GetMethodDeclaringClass(Foo.bar)");
    for (const char* call : {"GetObjectHashCode(Foo)", "", "Allocate(", "Allocate(", "Allocate(",
                             "SuspendThreadList([worker])", "Deallocate()"})
        expected.push_back(*call ? name(call) : "JNI.IsSameObject(Foo, Foo)");
    ASSERT_EQ(expected.size(), at_hook.size()) << sim::difference(expected, at_hook);
    for (size_t i = 0; i < expected.size(); i++) EXPECT_EQ(0u, at_hook[i].find(expected[i])) << at_hook[i];
}

/* ---- Threads that a newer VM never announced ---- */

TEST_P(Processing, UnannouncedThreadIsAdoptedOnANewerVmAndEndsTheProcessElsewhere) {
    const sim::ChildResult result = run_in_child([&] {
        agent_tid_t tid = 0;
        auto running = sim.start(worker, [&] {
            tid = agent_self();
            sim.raise_breakpoint(bar, 1, FORCE);
        });
        process_next_event();
        running->join();
        EXPECT_NE(nullptr, TMap_tid2handle(tid));
        EXPECT_EQ(TMap_tid2handle(tid), uref_of(worker));
        EXPECT_EQ(strings{"hook_bpt"}, hooks::names());
    });
    EXPECT_EQ(newer() ? 0 : SIGABRT, result.signal);
    EXPECT_EQ(newer() ? "" : "Breakpoint on dead thread:ignored\n", result.out);
}

TEST_P(Processing, EventLeavesNoLocalReferenceBehindOnANewerVm) {
    make_uref(foo);
    make_uref(thrown);
    const size_t locals = sim.live_locals();
    set_filter(FILTER_THROWN, "");
    auto running = start_known(worker, [&] { sim.raise_exception(bar, 1, &thrown, nullptr, 0, FORCE); });
    process_next_event();
    running->join();
    EXPECT_EQ(strings{"hook_exception_thrown"}, hooks::names());
    if (newer())
        EXPECT_EQ(locals, sim.live_locals());
    else
        EXPECT_LT(locals, sim.live_locals()) << "nothing is released that VMs of the first version do not ask for";
}
