/* The boot hook, which is in force until a debugger attaches: on the raising thread, at once. */
#include "agent_thread/processing.h"
#include "java_threads/boot.h"
#include "java_threads/poster.h"

#include "event_fixture.h"

using sim::capture_stdout;

struct BootHook : ReadyTest {
    BootHook() : worker(sim.new_thread("worker")) {
        sim.callbacks.VMInit = cbb_jvmtiEventVMInit;
        sim.callbacks.ThreadStart = cbb_jvmtiEventThreadStart;
        sim.callbacks.ThreadEnd = cbb_jvmtiEventThreadEnd;
        sim.callbacks.ClassPrepare = cbb_jvmtiEventClassPrepare;
        sim.hook = boot_event_hook;
    }

    /* Raises VM_INIT here, and ends the agent thread that it started. */
    void init_vm() {
        sim.raise_vm_init(FORCE);
        started = agent_thread;
        started_label = sim.object(started)->label;
        JVMDI_Event death = {};
        death.kind = JVMDI_EVENT_VM_DEATH;
        init_done = vm_init_done;
        add_event(sim.env(), &death, {.jvmdi = process_jvmdi_event});
        sim.join_agent_threads();
    }

    /* Hands a record to the boot hook inside an event of the calling thread. */
    void boot(jint kind, jobject thread = nullptr, jclass clazz = nullptr) {
        JVMDI_Event event = {};
        event.kind = kind;
        event.u.class_event.thread = thread;
        event.u.class_event.clazz = clazz;
        boot_event_hook(sim.env(), &event);
    }

    static std::string hex(jobject reference) {
        char text[32];
        snprintf(text, sizeof text, "%lx", (unsigned long)reference);
        return text;
    }
    static std::string number(agent_tid_t tid) { return std::to_string(tid); }

    /* A record of the log as it reads without header options. */
    static std::string record(const char* category, const std::string& text) {
        char name[32];
        snprintf(name, sizeof name, "%-11s", category);
        return name + text + "\n";
    }

    sim::Thread& worker;
    jobject started = nullptr; /* the agent thread that VM_INIT started */
    std::string started_label;
    jint init_done = -1; /* vm_init_done after VM_INIT            */
};
SIM_ALL_MODES(BootHook);

/* ---- VM_INIT ---- */

TEST_P(BootHook, VmInitLeavesTheAgentThreadInContactAndTheVmMarkedAsInitialised) {
    init_vm();
    EXPECT_EQ(1, init_done);
    EXPECT_NE(nullptr, started);
    ASSERT_EQ(1u, hooks::contacts.size());
    EXPECT_EQ(agent_self(), hooks::contacts[0].creator);
    EXPECT_EQ(hooks::contacts[0].tid, tid_debug_agent);
}

TEST_P(BootHook, VmInitIsLogged) {
    const std::string out = capture_stdout([&] {
        show_log("LogJVMDI");
        init_vm();
    });
    EXPECT_EQ(0u, out.find(record("LogJVMDI", "AgentThread: boot_event_hook():JVMDI_EVENT_VM_INIT\n"))) << out;
}

TEST_P(BootHook, VmInitSeedsThePreparedClasses) {
    sim.loaded_classes = {&foo};
    init_vm();
    ASSERT_EQ(1, prep_list.count);
    EXPECT_STREQ("LFoo;", prep_list.array[0].signature);
}

TEST_P(BootHook, VmInitMakesTheExceptionThatAbortsInvocations) {
    init_vm();
    sim::Object* throwable = sim.object(java_lang_throwable);
    ASSERT_NE(nullptr, throwable);
    EXPECT_EQ("java/lang/Exception", throwable->type->name);
    EXPECT_EQ(java_lang_throwable, uref_of(*throwable));
}

TEST_P(BootHook, VmInitSeedsThenMakesTheExceptionThenStartsTheAgentThread) {
    sim.loaded_classes.clear();
    sim.clear_calls();
    init_vm();
    const strings wanted = {"JV*.GetLoadedClasses", "JNI.FindClass", "JNI.NewObject", "JV*.RunAgentThread",
                            "JV*.RunDebugThread"};
    strings made;
    for (const std::string& call : sim.calls_of(wanted)) made.push_back(call.substr(call.find('.') + 1));
    made.resize(6);
    EXPECT_EQ((strings{"GetLoadedClasses()", "FindClass(\"java/lang/Exception\")",
                       "NewObject(java/lang/Exception, java/lang/Exception.<init>)", "FindClass(\"java/lang/Thread\")",
                       "NewObject(java/lang/Thread, java/lang/Thread.<init>)",
                       std::string(on_jvmti() ? "RunAgentThread" : "RunDebugThread") + "(" + started_label + ", 5)"}),
              made);
}

TEST_P(BootHook, VmInitGoesOnWithoutTheExceptionWhenItCannotBeMade) {
    sim::Object& pending = sim.new_exception("java/lang/Error", "no such class");
    struct {
        const char* call;
        bool throws;
    } rows[] = {{"JNI.FindClass", true}, {"JNI.GetMethodID", true}, {"JNI.NewObject", true}, {"JNI.NewObject", false}};
    for (const auto& row : rows) {
        const sim::ChildResult result = run_in_child([&] {
            if (row.throws)
                sim.throw_in(row.call, pending, 1);
            else
                sim.null_in(row.call, 1);
            init_vm();
            EXPECT_EQ(nullptr, java_lang_throwable);
            EXPECT_EQ(1, init_done);
            EXPECT_EQ(row.throws ? 1u : 0u, sim.count_calls("JNI.ExceptionDescribe"));
        });
        EXPECT_EQ(0, result.exit_status) << row.call;
        EXPECT_EQ("AgentThread(): Throwable Failed\n", result.out) << row.call;
    }
}

/* ---- Threads ---- */

TEST_P(BootHook, ThreadStartPutsTheThreadInTheMapAndShowsItOnItsOwnThread) {
    jobject handle = nullptr;
    agent_tid_t tid = 0;
    sim.run_on(worker, [&] {
        sim.raise_thread_start(FORCE);
        tid = agent_self();
        handle = uref_of(worker);
    });
    ASSERT_EQ(strings{"hook_thread_start"}, hooks::names());
    EXPECT_EQ(tid, hooks::calls()[0].tid);
    EXPECT_NE(nullptr, handle);
    EXPECT_EQ(handle, hooks::calls()[0].event.u.thread_change.thread);
    EXPECT_EQ(handle, TMap_tid2handle(tid));
    EXPECT_CALLS(stops_and_goes());
}

TEST_P(BootHook, ThreadStartLogsTheThreadBeforeAndAfter) {
    const jobject given = sim.local(sim.main_thread);
    const std::string out = capture_stdout([&] {
        show_log("LogJVMDI_VM_thread");
        boot(JVMDI_EVENT_THREAD_START, given);
    });
    const jobject handle = uref_of(*sim.main_thread);
    const std::string tid = number(agent_self());
    EXPECT_EQ(record("LogJVMDI_VM_thread",
                     "boot_event_hook : case JVMDI_EVENT_THREAD_START:\n  ---  passed in: tid = " + tid +
                         ", thread = " + hex(given) + "\n") +
                  record("LogJVMDI_VM_thread", "  --- looked up thread =" + hex(handle) + "\n") +
                  record("LogJVMDI_VM_thread", "TMap_start: tid = " + tid + "   thread = " + hex(handle) + "\n"),
              out);
}

TEST_P(BootHook, ThreadEndShowsTheThreadAndForgetsIt) {
    agent_tid_t tid = 0;
    jobject handle = nullptr;
    sim.run_on(worker, [&] {
        tid = agent_self();
        handle = announce();
        hooks::during = [&](const hooks::Call&) { EXPECT_EQ(handle, TMap_tid2handle(tid)) << "forgotten too soon"; };
        sim.raise_thread_end(FORCE);
        EXPECT_EQ(nullptr, uref_of(worker));
    });
    ASSERT_EQ(strings{"hook_thread_stop"}, hooks::names());
    EXPECT_EQ(handle, hooks::calls()[0].event.u.thread_change.thread);
    EXPECT_EQ(nullptr, TMap_tid2handle(tid));
    EXPECT_FALSE(sim.is_global(handle));
}

TEST_P(BootHook, ThreadEndLogsTheThreadBeforeAndAfter) {
    const jobject handle = announce();
    const jobject given = sim.local(sim.main_thread);
    const std::string out = capture_stdout([&] {
        show_log("LogJVMDI_VM_thread");
        boot(JVMDI_EVENT_THREAD_END, given);
    });
    const std::string tid = number(agent_self());
    EXPECT_EQ(record("LogJVMDI_VM_thread",
                     "boot_event_hook : case JVMDI_EVENT_THREAD_END:\n   ---   passed in: tid = " + tid +
                         ", thread = " + hex(given) + "\n") +
                  record("LogJVMDI_VM_thread", "  --- looked up thread =" + hex(handle) + "\n") +
                  record("LogJVMDI_VM_thread", "TMap_end: tid = " + tid + "   thread = " + hex(handle) + "\n"),
              out);
}

TEST_P(BootHook, EndOfAThreadThatWasNeverSeenIsShownWithoutAThreadAndLoggedAsIgnored) {
    const jobject given = sim.local(sim.main_thread);
    const std::string out = capture_stdout([&] {
        show_log("LogJVMDI");
        boot(JVMDI_EVENT_THREAD_END, given);
    });
    ASSERT_EQ(strings{"hook_thread_stop"}, hooks::names());
    EXPECT_EQ(nullptr, hooks::calls()[0].event.u.thread_change.thread);
    EXPECT_EQ(record("LogJVMDI", "Thread end on dead thread:ignored\n"), out) << "it is not dumped";
}

TEST_P(BootHook, EndOfAKnownThreadIsDumpedWhileLogged) {
    announce();
    const jobject given = sim.local(sim.main_thread);
    const std::string out = capture_stdout([&] {
        show_log("LogJVMDI");
        boot(JVMDI_EVENT_THREAD_END, given);
    });
    EXPECT_EQ(0u, out.find(record("LogJVMDI", "Event = THREAD_END"))) << out;
}

/* ---- Classes ---- */

TEST_P(BootHook, PreparedClassGetsAUrefButIsNotListedNorShown) {
    const jint done_values[] = {0, 1};
    for (const jint done : done_values) {
        vm_init_done = done;
        sim::Class& fresh = sim.new_class(done ? "After" : "Before");
        sim.raise_class_prepare(fresh, FORCE);
        EXPECT_NE(nullptr, uref_of(fresh));
        EXPECT_NE(nullptr, uref_of(*sim.main_thread));
    }
    EXPECT_EQ(0, prep_list.count);
    EXPECT_EQ(strings{}, hooks::names());
}

TEST_P(BootHook, PreparedClassIsDumpedOnlyAfterVmInit) {
    const jthread thread = (jthread)sim.local(sim.main_thread);
    const jclass clazz = sim.local<jclass>(&foo);
    const auto log_of_prepare = [&](jint done) {
        return capture_stdout([&] {
            show_log("LogJVMDI");
            vm_init_done = done;
            boot(JVMDI_EVENT_CLASS_PREPARE, thread, clazz);
        });
    };
    EXPECT_EQ(record("LogJVMDI", "AgentThread: boot_event_hook(): ignored EVENT_CLASS_PREPARE"), log_of_prepare(0));
    const std::string dumped = record("LogJVMDI", "AgentThread: boot_event_hook(): EVENT_CLASS_PREPARE") +
                               record("LogJVMDI", "Event = CLASS_PREPARE");
    const std::string out = log_of_prepare(1);
    EXPECT_EQ(0u, out.find(dumped)) << out;
}

TEST_P(BootHook, UnloadedClassIsShownAsItCameThenForgotten) {
    make_uref(foo);
    const jclass given = sim.local<jclass>(&foo);
    hooks::during = [&](const hooks::Call&) { EXPECT_NE(nullptr, uref_of(foo)) << "forgotten too soon"; };
    boot(JVMDI_EVENT_CLASS_UNLOAD, nullptr, given);
    ASSERT_EQ(strings{"hook_class_unload"}, hooks::names());
    EXPECT_EQ(given, hooks::calls()[0].event.u.class_event.clazz);
    EXPECT_EQ(nullptr, uref_of(foo));
}

TEST_P(BootHook, OtherEventsAreIgnoredAndLoggedByName) {
    const struct {
        jint kind;
        const char* name;
    } rows[] = {{2, "BREAKPOINT"}, {10, "CLASS_LOAD"}, {99, "VM_DEATH"}, {77, "UNKNOWN 77"}};
    for (const auto& row : rows) {
        if (row.kind == JVMDI_EVENT_VM_DEATH && newer()) continue; /* there it ends the agent thread */
        const std::string out = capture_stdout([&] {
            show_log("LogJVMDI");
            boot(row.kind);
        });
        EXPECT_EQ(record("LogJVMDI", std::string("\tevent ") + row.name + " ignored during boot"), out);
    }
    EXPECT_EQ(strings{}, hooks::names());
}

TEST_P(BootHook, LeavesTheVmsRecordAsItWas) {
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_THREAD_START;
    event.u.thread_change.thread = (jthread)sim.local(sim.main_thread);
    const jthread given = event.u.thread_change.thread;
    boot_event_hook(sim.env(), &event);
    EXPECT_EQ(given, event.u.thread_change.thread);
}
