/* Attaching and detaching: hooks, events, prepared classes, pending invocations. */
#include "load_fixture.h"
#include "ready_fixture.h"

#include "agent_thread/attach_stop.h"
#include "entry/agent_entry.h"
#include "invoke/requests.h"
#include "java_threads/boot.h"
#include "java_threads/callbacks.h"
#include "java_threads/intake.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "stop/suspend.h"
#include "support/agent_self.h"

#include <cstring>

struct Attach : AgentReady {
    Attach() {
        tid_debug_agent = 99;
        sim.loaded_classes = {&foo};
    }
    LogOffAtEnd log_off;
    JNIEnv* env = sim.env();
    sim::Class& foo = sim.new_class("Foo");

    std::string vm(const std::string& call) const { return sim.vm_name(call); }
    /* One call for each event, in order. */
    std::vector<std::string> modes(std::initializer_list<std::pair<int, int>> mode_and_event) const {
        std::vector<std::string> calls;
        for (const auto& [mode, event] : mode_and_event)
            calls.push_back(
                vm("SetEventNotificationMode(" + std::to_string(mode) + ", " + std::to_string(event) + ", null)"));
        return calls;
    }
    void expect_calls(const std::vector<std::string>& expected, const std::vector<std::string>& actual) {
        EXPECT_TRUE(sim::same_calls(actual, expected));
    }
    std::string signature_in_list(jint index) const { return prep_list.array[index].signature; }
};
SIM_ALL_MODES(Attach);

struct AttachToJvmti : Attach {};
SIM_MODES(AttachToJvmti, Mode::jvmti10, Mode::jvmti_newer);

struct AttachToJvmdi : Attach {};
SIM_MODES(AttachToJvmdi, Mode::jvmdi);

/* ---- Attaching ---- */

static const char* const ALL_CALLBACKS =
    "VMInit VMDeath ThreadStart ThreadEnd ClassFileLoadHook ClassLoad ClassPrepare VMStart Exception ExceptionCatch "
    "SingleStep FramePop Breakpoint FieldAccess FieldModification MethodEntry MethodExit NativeMethodBind "
    "CompiledMethodLoad CompiledMethodUnload DynamicCodeGenerated DataDumpRequest MonitorWait MonitorWaited "
    "MonitorContendedEnter MonitorContendedEntered GarbageCollectionStart GarbageCollectionFinish ObjectFree "
    "VMObjectAlloc";

TEST_P(AttachToJvmti, HooksThenEventsThenClasses) {
    EXPECT_EQ(0, agent_attach_jquor(env));
    std::vector<std::string> expected = {"JVMTI.SetEventCallbacks({" + std::string(ALL_CALLBACKS) + "}, " +
                                         std::to_string(35 * sizeof(void*)) + ")"};
    const auto events =
        modes({{1, 56}, {1, 62}, {1, 63}, {1, 64}, {0, 58}, {0, 59}, {0, 55}, {0, 61}, {0, 65}, {0, 66}, {0, 60}});
    expected.insert(expected.end(), events.begin(), events.end());
    expected.push_back("JVMTI.GetLoadedClasses()");
    auto calls = sim.calls_without({"JNI.GetJavaVM", "JavaVM.GetEnv"});
    ASSERT_LE(expected.size(), calls.size());
    calls.resize(expected.size()); /* what seeding does further is its own test's */
    expect_calls(expected, calls);
}

TEST_P(AttachToJvmdi, HooksThenEventsThenClasses) {
    EXPECT_EQ(0, agent_attach_jquor(env));
    std::vector<std::string> expected = {"JVMDI.SetEventHook(hook)"};
    const auto events = modes({{1, 8}, {1, 9}, {1, 2}, {0, 4}, {0, 30}, {0, 10}, {0, 3}, {0, 40}, {0, 41}, {0, 1}});
    expected.insert(expected.end(), events.begin(), events.end());
    expected.push_back("JVMDI.GetLoadedClasses()");
    auto calls = sim.calls_without({"JNI.GetJavaVM", "JavaVM.GetEnv"});
    ASSERT_LE(expected.size(), calls.size());
    calls.resize(expected.size());
    expect_calls(expected, calls);
    EXPECT_EQ(jvmdi_event_hook, sim.hook);
}

TEST_P(AttachToJvmti, EachCallbackIsTheAgentsOwn) {
    agent_attach_jquor(env);
    const jvmtiEventCallbacks& set = sim.callbacks;
#define EXPECT_OWN(Event) EXPECT_EQ(cb_jvmtiEvent##Event, set.Event)
    EXPECT_OWN(VMInit);
    EXPECT_OWN(VMDeath);
    EXPECT_OWN(ThreadStart);
    EXPECT_OWN(ThreadEnd);
    EXPECT_OWN(ClassFileLoadHook);
    EXPECT_OWN(ClassLoad);
    EXPECT_OWN(ClassPrepare);
    EXPECT_OWN(VMStart);
    EXPECT_OWN(Exception);
    EXPECT_OWN(ExceptionCatch);
    EXPECT_OWN(SingleStep);
    EXPECT_OWN(FramePop);
    EXPECT_OWN(Breakpoint);
    EXPECT_OWN(FieldAccess);
    EXPECT_OWN(FieldModification);
    EXPECT_OWN(MethodEntry);
    EXPECT_OWN(MethodExit);
    EXPECT_OWN(NativeMethodBind);
    EXPECT_OWN(CompiledMethodLoad);
    EXPECT_OWN(CompiledMethodUnload);
    EXPECT_OWN(DynamicCodeGenerated);
    EXPECT_OWN(DataDumpRequest);
    EXPECT_OWN(MonitorWait);
    EXPECT_OWN(MonitorWaited);
    EXPECT_OWN(MonitorContendedEnter);
    EXPECT_OWN(MonitorContendedEntered);
    EXPECT_OWN(GarbageCollectionStart);
    EXPECT_OWN(GarbageCollectionFinish);
    EXPECT_OWN(ObjectFree);
    EXPECT_OWN(VMObjectAlloc);
#undef EXPECT_OWN
}

TEST_P(AttachToJvmti, ReservedCallbacksStayNull) {
    agent_attach_jquor(env);
    void* slots[35];
    memcpy(slots, &sim.callbacks, sizeof slots);
    int used = 0;
    for (const void* slot : slots) used += slot != nullptr;
    EXPECT_EQ(30, used);
}

TEST_P(Attach, FailureToHookEndsItAndIsToldByTheJvmdiName) {
    sim.fail(vm("SetEventCallbacks"), JVMTI_ERROR_NOT_AVAILABLE);
    sim.fail(vm("SetEventHook"), JVMTI_ERROR_NOT_AVAILABLE);
    const std::string out = capture_stdout([&] { EXPECT_EQ(JVMTI_ERROR_NOT_AVAILABLE, agent_attach_jquor(env)); });
    EXPECT_EQ("agent_attach_jquor: JVMDI_SetEventHook() failed -- NOT_AVAILABLE\n", out);
    EXPECT_EQ(1u, sim.calls().size());
}

TEST_P(Attach, ResultsOfSwitchingEventsAreIgnored) {
    sim.fail(vm("SetEventNotificationMode"), JVMTI_ERROR_INVALID_EVENT_TYPE);
    EXPECT_EQ("", capture_stdout([&] { EXPECT_EQ(0, agent_attach_jquor(env)); }));
    EXPECT_EQ(on_jvmdi() ? 10u : 11u, sim.count_calls("*.SetEventNotificationMode"));
}

TEST_P(Attach, PreparedClassesAreListedAfresh) {
    PrepList_add_locked(&prep_list, env, sim.local<jclass>(&sim.new_class("Gone")), 0);
    sim.loaded_classes = {&foo};
    agent_attach_jquor(env);
    ASSERT_EQ(1, prep_list.count);
    EXPECT_EQ("LFoo;", signature_in_list(0));
    agent_attach_jquor(env);
    EXPECT_EQ(1, prep_list.count);
}

TEST_P(Attach, WithoutClassesItStillSucceeds) {
    sim.fail(vm("GetLoadedClasses"), JVMTI_ERROR_INTERNAL);
    PrepList_add_locked(&prep_list, env, sim.local<jclass>(&foo), 0);
    EXPECT_EQ("", capture_stdout([&] { EXPECT_EQ(0, agent_attach_jquor(env)); }));
    EXPECT_EQ(0, prep_list.count);
}

TEST_P(Attach, TheDebuggersFlagIsTheDebuggers) {
    for (jint flag : {0, 1}) {
        jquor_attached = flag;
        agent_attach_jquor(env);
        EXPECT_EQ(flag, jquor_attached);
    }
}

TEST_P(Attach, BothWaysAreLogged) {
    log_now("LogJVMDI");
    EXPECT_EQ(logged("AgentThread: agent_attach_jquor()"), capture_stdout([&] { agent_attach_jquor(env); }));
    EXPECT_EQ(logged("AgentThread: agent_detach_jquor()") + logged("AgentThread: agent_resume_all()"),
              capture_stdout([&] { agent_detach_jquor(env); }));
}

/* ---- Detaching ---- */

TEST_P(AttachToJvmti, DetachingSwitchesTheEventsOffAndLeavesTheCallbacks) {
    agent_attach_jquor(env);
    sim.clear_calls();
    EXPECT_EQ(0, agent_detach_jquor(env));
    expect_calls(
        modes({{0, 65}, {0, 66}, {0, 60}, {0, 62}, {0, 61}, {0, 63}, {0, 64}, {0, 58}, {0, 59}, {0, 55}, {0, 56}}),
        sim.calls());
    EXPECT_EQ(cb_jvmtiEventBreakpoint, sim.callbacks.Breakpoint);
    for (int event = JVMTI_MIN_EVENT_TYPE_VAL; event <= JVMTI_MAX_EVENT_TYPE_VAL; event++)
        EXPECT_FALSE(sim.enabled(event)) << event;
}

TEST_P(AttachToJvmdi, DetachingClearsTheBreakpointsAndPutsTheBootHookBack) {
    agent_attach_jquor(env);
    sim.clear_calls();
    EXPECT_EQ(0, agent_detach_jquor(env));
    std::vector<std::string> expected =
        modes({{0, 40}, {0, 41}, {0, 1}, {0, 2}, {0, 3}, {0, 20}, {0, 21}, {0, 4}, {0, 30}, {0, 10}, {0, 9}, {0, 8}});
    expected.insert(expected.begin(), "JVMDI.ClearAllBreakpoints()");
    expected.push_back("JVMDI.SetEventHook(hook)");
    expect_calls(expected, sim.calls());
    EXPECT_EQ(boot_event_hook, sim.hook);
}

TEST_P(Attach, BreakpointsSurviveDetachingUnderJvmtiOnly) {
    sim::Method& bar = foo.add_method("bar", "()V");
    const jclass clazz = sim.local<jclass>(&foo);
    ASSERT_EQ(0, agent_set_breakpoint(env, clazz, bar.id(), 3));
    agent_detach_jquor(env);
    EXPECT_EQ(on_jvmti() ? 0 : JVMDI_ERROR_NOT_FOUND, agent_clear_breakpoint(env, clazz, bar.id(), 3));
}

TEST_P(Attach, DetachingDropsPendingInvocations) {
    sim::Thread& worker = sim.new_thread("worker");
    const jthread handle = sim.global(&worker);
    const jobject object = sim.global(&sim.new_object(foo));
    sim::Method& bar = foo.add_method("bar", "()V");
    for (int i = 0; i < 2; i++) ASSERT_EQ(0, post_invoke_request_async(env, handle, object, bar.id(), 'V', 0, nullptr));
    ASSERT_EQ(1, in_method_invoke());
    EXPECT_EQ(0, agent_detach_jquor(env));
    EXPECT_EQ(0, in_method_invoke());
    EXPECT_EQ(nullptr, find_invoke_method(handle));
}

TEST_P(Attach, DetachingEndsByResumingTheThreads) {
    const sim::Thread& worker = sim.new_thread("worker");
    TMap_start(sim.global(const_cast<sim::Thread*>(&worker)), 101);
    agent_suspend_all(env);
    sim.clear_calls();
    EXPECT_EQ(0, agent_detach_jquor(env));
    EXPECT_EQ(0, worker.suspend_count);
    const auto calls = sim.calls_without({"*.Allocate", "*.Deallocate"});
    EXPECT_EQ(vm("ResumeThreadList([worker])"), calls.back());
}

TEST_P(Attach, DetachingSucceedsWhateverTheVmSays) {
    TMap_start(sim.global(&sim.new_thread("worker")), 101);
    agent_suspend_all(env);
    for (const char* name : {"ClearAllBreakpoints", "SetEventNotificationMode", "SetEventHook", "ResumeThreadList"})
        sim.fail(vm(name), JVMTI_ERROR_INTERNAL);
    const std::string out = capture_stdout([&] { EXPECT_EQ(0, agent_detach_jquor(env)); });
    EXPECT_EQ("AgentThread: cb_resume_list(): ResumeThreadList() failed -- INTERNAL\n", out);
}

/* ---- The calling thread's environment ---- */

TEST_P(Attach, NullEnvironmentMeansTheCallersOwn) {
    for (const auto entry : {agent_attach_jquor, agent_detach_jquor}) {
        sim.clear_calls();
        EXPECT_EQ(0, entry(nullptr));
        EXPECT_EQ("JavaVM.GetEnv(0x10002)", sim.calls()[0]);
    }
}

TEST_P(Attach, CallerThatTheVmDoesNotKnowAborts) {
    sim.set_getenv(JNI_VERSION_1_2, JNI_EDETACHED);
    for (const auto entry : {agent_attach_jquor, agent_detach_jquor})
        expect_abort(run_in_child([&] { entry(nullptr); }), "");
}
