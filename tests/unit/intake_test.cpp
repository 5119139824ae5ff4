/* Intake of events: from the VM's callback or hook to the queue, or straight to processing, or nowhere; and the boot hook. */
#include "event_fixture.h"

#include "agent_thread/processing.h"
#include "registry/class_info.h"
#include "support/err_str.h"

#include <signal.h>
#include <string.h>

using sim::capture_stdout;

struct Intake : EventTest {
    Intake() : worker(sim.new_thread("worker")) {}

    /* Hands a BREAKPOINT record to the mode's full hook on the calling thread. */
    void hand_breakpoint(JVMDI_Event* event) {
        if (on_jvmti())
            jvmti_event_hook(sim.env(), event, agent_self());
        else
            jvmdi_event_hook(sim.env(), event);
    }

    JVMDI_Event breakpoint_here() {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_BREAKPOINT;
        event.u.breakpoint.thread = sim.local(sim.this_thread());
        event.u.breakpoint.clazz = on_jvmdi() ? sim.local<jclass>(&foo) : nullptr;
        event.u.breakpoint.method = bar.id();
        event.u.breakpoint.location = 12;
        return event;
    }

    sim::Thread& worker;
};
SIM_ALL_MODES(Intake);

TEST_P(Intake, QueuedEventIsProcessedOnTheAgentThreadWhileItsThreadWaits) {
    bool returned = false;
    hooks::during = [&](const hooks::Call&) { EXPECT_FALSE(returned); };
    auto running = start_known(worker, [&] {
        sim.raise_breakpoint(bar, 12, FORCE);
        returned = true;
    });
    EXPECT_EQ(0, process_next_event());
    running->join();
    ASSERT_EQ(strings{"hook_bpt"}, hooks::names());
    EXPECT_EQ(agent_self(), hooks::calls()[0].tid);
    EXPECT_EQ(sim.env(), hooks::calls()[0].env);
    EXPECT_EQ(12, hooks::calls()[0].event.u.breakpoint.location);
    EXPECT_TRUE(returned);
}

TEST_P(Intake, EventOfTheAgentThreadItselfIsProcessedAtOnceWithTheReferencesItCameWith) {
    sim.raise_breakpoint(bar, 7, FORCE);
    ASSERT_EQ(strings{"hook_bpt"}, hooks::names());
    const auto seen = hooks::calls()[0].event.u.breakpoint;
    EXPECT_NE(agent_thread, seen.thread);
    EXPECT_EQ(on_jvmti(), seen.clazz == nullptr) << "JVMTI's class is not looked up";
    EXPECT_EQ(bar.id(), seen.method);
    EXPECT_EQ(0u, sim.count_calls("JVMTI.GetMethodDeclaringClass"));
}

TEST_P(Intake, EventsThatNobodyWantsAreNeitherQueuedNorProcessed) {
    sim.run_on(worker, [&] {
        announce();
        sim.raise_class_load(foo, FORCE);
        sim.raise_method_exit(bar, FORCE);
        sim.raise_vm_init(FORCE);
    });
    sim.raise_class_load(foo, FORCE); /* on the agent thread */
    EXPECT_EQ(strings{}, hooks::names());
    EXPECT_EQ(0, vm_init_done);
}

TEST_P(Intake, EventIsDroppedWhileThereIsNoAgentThread) {
    agent_thread = nullptr;
    sim.run_on(worker, [&] {
        announce();
        sim.raise_breakpoint(bar, 12, FORCE);
    });
    EXPECT_EQ(1u, sim.count_calls("JV*.Allocate")) << "only the URef of announce()";
    EXPECT_EQ(strings{}, hooks::names());
}

TEST_P(Intake, VmsOwnRecordIsLeftAsItWas) {
    auto running = start_known(worker, [&] {
        sim.in_event([&] {
            JVMDI_Event event = breakpoint_here();
            const JVMDI_Event before = event;
            hand_breakpoint(&event);
            EXPECT_EQ(0, memcmp(&before, &event, sizeof event));
        });
    });
    process_next_event();
    running->join();
    EXPECT_EQ(strings{"hook_bpt"}, hooks::names());
}

TEST_P(Intake, EventThatCannotBeQueuedEndsTheProcess) {
    const sim::ChildResult result = run_in_child([&] {
        sim.run_on(worker, [&] {
            announce();
            sim.fail(sim.vm_name("Allocate"), JVMDI_ERROR_OUT_OF_MEMORY);
            sim.raise_breakpoint(bar, 12, FORCE);
        });
    });
    EXPECT_EQ(SIGABRT, result.signal);
    const std::string error = err_str(JVMDI_ERROR_OUT_OF_MEMORY);
    EXPECT_EQ("AgentThread: JVMDI_Allocate() failed -- " + error + "\n" + (on_jvmti() ? "jvmti" : "jvmdi") +
                  "_event_hook: Unable to process event -- " + error + "\n",
              result.out);
}

/* The references that a hook sees, and how they live. */
struct SeenReferences {
    bool object_is_global = false;
    jobject object = nullptr;
};

TEST_P(Intake, OnANewerVmTheObjectsOfAFieldEventAreGlobalReferencesUntilItIsDone) {
    sim::Field& field = foo.add_field("field", "Ljava/lang/Object;");
    sim::Object& holder = sim.new_object(foo);
    SeenReferences seen;
    hooks::during = [&](const hooks::Call& call) {
        seen = {sim.is_global(call.event.u.field_access.object), call.event.u.field_access.object};
        EXPECT_EQ(&holder, sim.object(seen.object));
    };
    auto running = start_known(worker, [&] { sim.raise_field_access(bar, 3, field, &holder, FORCE); });
    process_next_event();
    running->join();
    EXPECT_EQ(newer(), seen.object_is_global);
    EXPECT_EQ(nullptr, sim.object(seen.object)) << "the reference outlives the event";
}

TEST_P(Intake, OnANewerVmANewFieldValueIsSharedOnlyIfItIsAReference) {
    sim::Object& holder = sim.new_object(foo);
    sim::Object& value = sim.new_object();
    sim::Field& number = foo.add_field("number", "I");
    sim::Field& object = foo.add_field("object", "Ljava/lang/Object;");
    auto running = start_known(worker, [&] {
        sim.raise_field_modification(bar, 3, number, &holder, jint{77}, FORCE);
        sim.raise_field_modification(bar, 4, object, &holder, &value, FORCE);
    });
    bool value_was_global = false;
    hooks::during = [&](const hooks::Call& call) {
        value_was_global = sim.is_global(call.event.u.field_modification.new_value.l);
    };
    process_next_event();
    EXPECT_FALSE(value_was_global);
    EXPECT_EQ(77, hooks::calls()[0].event.u.field_modification.new_value.i);
    EXPECT_EQ('I', hooks::calls()[0].event.u.field_modification.signature_type);
    process_next_event();
    EXPECT_EQ(newer(), value_was_global);
    EXPECT_EQ('L', hooks::calls()[1].event.u.field_modification.signature_type);
    running->join();
}

TEST_P(Intake, RaisingThreadMakesExactlyTheCallsOfItsMode) {
    auto running = start_known(worker, [&] {
        sim.raise_breakpoint(bar, 12, FORCE);
        sim.clear_calls();
        sim.raise_breakpoint(bar, 12, FORCE);
    });
    process_next_event();
    process_next_event();
    running->join();
    strings calls = sim.calls_on("worker");
    if (newer()) std::erase(calls, "JVMTI.GetObjectHashCode(worker)"); /* it leaves the map after a harmless call */
    if (newer())
        EXPECT_CALLS(calls, "JNI.NewGlobalRef(worker)", "JNI.DeleteGlobalRef(worker)");
    else
        EXPECT_CALLS(calls);
}

/* ---- JVMPI ---- */

TEST_P(Intake, JvmpiEventIsQueuedForItsHandlerAlsoWithoutAnAgentThread) {
    agent_thread = nullptr;
    auto running = sim.start(worker, [&] {
        JVMPI_Event event = {5, sim.env()};
        jvmpi_event_hook(&event);
    });
    const std::string out = capture_stdout([&] {
        show_log("LogJVMPI");
        show_log("LogJVMDI");
        process_next_event();
    });
    running->join();
    EXPECT_NE(std::string::npos, out.find("Event = ")) << out;
    EXPECT_EQ(strings{}, hooks::names());
    EXPECT_CALLS(stops_and_goes());
}

TEST_P(Intake, JvmpiEventIsSilentWhileItsCategoryIsOff) {
    JVMPI_Event event = {5, sim.env()};
    const std::string out = capture_stdout([&] {
        show_log("LogJVMDI");
        process_jvmpi_event(sim.env(), &event, agent_self());
    });
    EXPECT_EQ("", out);
}

TEST_P(Intake, JvmpiEventOfTheAgentThreadIsProcessedAtOnce) {
    JVMPI_Event event = {5, sim.env()};
    const std::string out = capture_stdout([&] {
        show_log("LogJVMPI");
        show_log("LogJVMDI");
        jvmpi_event_hook(&event);
    });
    EXPECT_NE(std::string::npos, out.find("Event = ")) << out;
}

TEST_P(Intake, JvmtiEventGoesByTheIdThatIsPassedInNotByItsThread) {
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_USER_DEFINED;
    event.u.user.key = 1;
    agent_tid_t raiser = 0;
    sim.run_on(worker, [&] {
        raiser = agent_self();
        jvmti_event_hook(sim.env(), &event, tid_debug_agent);
    });
    ASSERT_EQ(strings{"hook_invoke_method"}, hooks::names());
    EXPECT_EQ(raiser, hooks::calls()[0].tid) << "processed at once, where it was raised";
}

TEST_P(Intake, JvmpiEventIsAddedWithItsOwnEnvironment) {
    sim::Thread& other = sim.new_thread("other");
    std::atomic<JNIEnv*> others{nullptr};
    auto lender = sim.start(other, [&] {
        others = sim.env();
        sim::wait_for([&] { return others == nullptr; });
    });
    EXPECT_TRUE(sim::wait_for([&] { return others != nullptr; }));
    sim.fail_nth("JNI.Throw", 1, JNI_ERR);
    java_lang_throwable = make_uref(sim.new_exception("java/lang/Exception"));
    sim.run_on(worker, [&] {
        const jobject handle = announce();
        TMap_tid2tm(agent_self())->invocation_state = INVOKE_ABANDONED;
        JVMPI_Event event = {5, others};
        jvmpi_event_hook(&event); /* the only use of the environment while the event vanishes: Throw */
        TMap_end(handle, agent_self());
    });
    const strings misuse = sim.take_misuse();
    others = nullptr;
    lender->join();
    ASSERT_EQ(1u, misuse.size());
    EXPECT_EQ("JNI.Throw: the JNIEnv of other was used on worker", misuse[0]);
}

TEST_P(Intake, SystemClassIsAskedOfTheInterfaceInUse) {
    sim.clear_calls();
    EXPECT_EQ(1, is_system_class(sim.env(), sim.local<jclass>(&sim.class_named("java/lang/String"))));
    EXPECT_CALLS(sim.calls_of({"*.GetClassSignature"}), sim.vm_name("GetClassSignature(java/lang/String)"));
}

TEST_P(Intake, JvmpiEventThatCannotBeQueuedEndsTheProcessNamingTheJvmdiHook) {
    const sim::ChildResult result = run_in_child([&] {
        sim.fail(sim.vm_name("Allocate"), JVMDI_ERROR_OUT_OF_MEMORY);
        sim.run_on(worker, [&] {
            JVMPI_Event event = {5, sim.env()};
            jvmpi_event_hook(&event);
        });
    });
    EXPECT_EQ(SIGABRT, result.signal);
    const std::string error = err_str(JVMDI_ERROR_OUT_OF_MEMORY);
    EXPECT_EQ("AgentThread: JVMDI_Allocate() failed -- " + error +
                  "\njvmdi_event_hook:Unable to process event failed -- " + error + "\n",
              result.out);
}

/* ---- System classes ---- */

TEST_P(Intake, SystemClassesAreThoseOfThePlatformsPackagesAndTheirArraysOfOneDimension) {
    const struct {
        const char* signature;
        jint expected;
    } rows[] = {
        {"Ljava/lang/String;", 1},
        {"[Ljava/lang/String;", 1},
        {"[[Ljava/lang/String;", 0},
        {"Ljavax/swing/J;", 1},
        {"[Ljavax/swing/J;", 1},
        {"[[Ljavax/swing/J;", 0},
        {"Loro/text/A;", 1},
        {"[Loro/text/A;", 1},
        {"[[Loro/text/A;", 0},
        {"Ljavafx/A;", 0},
        {"Lcom/java/A;", 0},
        {"LFoo;", 0},
        {"[I", 0},
        {"Lsun/misc/Unsafe;", 0},
        {"Ljava;", 0},
        {"Loro;", 0},
    };
    for (const auto& row : rows) {
        foo.signature = row.signature;
        EXPECT_EQ(row.expected, is_system_class(sim.env(), sim.local<jclass>(&foo))) << row.signature;
    }
    EXPECT_EQ(1u, sim.live_blocks().size()) << "only the URef of the agent thread";
}

TEST_P(Intake, ClassWhoseSignatureCannotBeHadIsNoSystemClass) {
    sim.fail(sim.vm_name("GetClassSignature"), JVMDI_ERROR_INVALID_CLASS);
    EXPECT_EQ(0, is_system_class(sim.env(), sim.local<jclass>(&sim.class_named("java/lang/String"))));
    EXPECT_EQ(0u, sim.count_calls("JV*.Deallocate"));
}

TEST_P(Intake, SignatureThatCannotBeGivenBackIsReportedAndItsCodeReturned) {
    sim.fail(sim.vm_name("Deallocate"), JVMDI_ERROR_INTERNAL);
    jint result = 0;
    const std::string out = capture_stdout([&] { result = is_system_class(sim.env(), sim.local<jclass>(&foo)); });
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, result);
    EXPECT_EQ(std::string("AgentThread: JVMDI_Deallocate() failed -- ") + err_str(JVMDI_ERROR_INTERNAL) + "\n", out);
}
