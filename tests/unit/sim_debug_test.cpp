/* The simulated VM's debug interfaces: JVMTI and JVMDI answer alike, each with references of its own kind; threads, events. */
#include "sim/sim_test.h"

using sim::Mode;
using sim::Value;

namespace {

struct DebugInterfaces : sim::SimTest {
    DebugInterfaces() : SimTest(Mode::jvmti_newer) {}
    JNIEnv* env = sim.env();
};

struct EitherInterface : sim::SimTestP {
    JNIEnv* env = sim.env();

    jint suspend(jthread thread) {
        return on_jvmdi() ? sim.jvmdi()->SuspendThread(thread) : sim.jvmti()->SuspendThread(thread);
    }
    jint resume(jthread thread) {
        return on_jvmdi() ? sim.jvmdi()->ResumeThread(thread) : sim.jvmti()->ResumeThread(thread);
    }
    jint deallocate(void* block) {
        return on_jvmdi() ? sim.jvmdi()->Deallocate(static_cast<jbyte*>(block))
                          : sim.jvmti()->Deallocate(static_cast<unsigned char*>(block));
    }
    void enable(jint ti_event, jint di_event) {
        if (on_jvmdi())
            sim.jvmdi()->SetEventNotificationMode(JVMDI_ENABLE, di_event, nullptr);
        else
            sim.jvmti()->SetEventNotificationMode(JVMTI_ENABLE, static_cast<jvmtiEvent>(ti_event), nullptr);
    }
};
SIM_ALL_MODES(EitherInterface);

/* ---- Classes, methods, fields ----------------------------------------------------------------------------------- */

TEST_P(EitherInterface, InterfacesReturnReferencesOfTheirOwnKind) {
    sim::Class& foo = sim.new_class("Foo");
    sim.loaded_classes = {&foo};
    size_t locals = sim.live_locals(), globals = sim.live_globals();
    jint count;
    jclass* classes;
    EXPECT_EQ(0, on_jvmdi() ? sim.jvmdi()->GetLoadedClasses(&count, &classes)
                            : sim.jvmti()->GetLoadedClasses(&count, &classes));
    ASSERT_EQ(1, count);
    EXPECT_EQ(&foo, sim.object(classes[0]));
    EXPECT_EQ(locals + (on_jvmti() ? 1 : 0), sim.live_locals());
    EXPECT_EQ(globals + (on_jvmdi() ? 1 : 0), sim.live_globals());
    deallocate(classes);
}

TEST_P(EitherInterface, AMethodIsDescribedAlikeOnBothInterfaces) {
    sim::Class& foo = sim.new_class("Foo");
    sim::Method& bar = foo.add_method("bar", "()V", 0x400);
    bar.lines = {{0, 10}, {4, 11}};
    jclass clazz = sim.local<jclass>(&foo);
    jint modifiers = 0, count = 0;
    jvmtiLineNumberEntry* lines = nullptr;
    char *name = nullptr, *signature = nullptr;
    if (on_jvmdi()) {
        EXPECT_EQ(0, sim.jvmdi()->GetMethodModifiers(clazz, bar.id(), &modifiers));
        EXPECT_EQ(0, sim.jvmdi()->GetMethodName(clazz, bar.id(), &name, &signature));
        EXPECT_EQ(0, sim.jvmdi()->GetLineNumberTable(clazz, bar.id(), &count,
                                                     reinterpret_cast<JVMDI_line_number_entry**>(&lines)));
        JVMDI_local_variable_entry* locals;
        EXPECT_EQ(101, sim.jvmdi()->GetLocalVariableTable(clazz, bar.id(), &count, &locals));
    } else {
        EXPECT_EQ(0, sim.jvmti()->GetMethodModifiers(bar.id(), &modifiers));
        EXPECT_EQ(0, sim.jvmti()->GetMethodName(bar.id(), &name, &signature, nullptr));
        EXPECT_EQ(0, sim.jvmti()->GetLineNumberTable(bar.id(), &count, &lines));
        jvmtiLocalVariableEntry* locals;
        EXPECT_EQ(101, sim.jvmti()->GetLocalVariableTable(bar.id(), &count, &locals));
    }
    EXPECT_EQ(0x400, modifiers);
    EXPECT_STREQ("bar", name);
    EXPECT_STREQ("()V", signature);
    ASSERT_EQ(2, count);
    EXPECT_EQ(11, lines[1].line_number);
    EXPECT_EQ(4, lines[1].start_location);
    for (void* block : {static_cast<void*>(name), static_cast<void*>(signature), static_cast<void*>(lines)})
        deallocate(block);
    EXPECT_EQ(0U, sim.live_blocks().size());
}

TEST_F(DebugInterfaces, AMethodOfAnotherClassIsMisuseOnJvmdi) {
    sim::Method& bar = sim.new_class("Foo").add_method("bar", "()V");
    jint modifiers;
    sim.jvmdi()->GetMethodModifiers(sim.local<jclass>(&sim.new_class("Other")), bar.id(), &modifiers);
    EXPECT_EQ(std::vector<std::string>{"JVMDI.GetMethodModifiers: Foo.bar is not declared by Other"},
              sim.take_misuse());
}

/* ---- Threads ---------------------------------------------------------------------------------------------------- */

TEST_P(EitherInterface, SuspensionIsCountedWithItsErrors) {
    sim::Thread& worker = sim.new_thread("worker");
    jthread reference = sim.local(&worker);
    EXPECT_EQ(JVMDI_ERROR_THREAD_NOT_SUSPENDED, resume(reference));
    EXPECT_EQ(0, suspend(reference));
    EXPECT_EQ(1, worker.suspend_count);
    EXPECT_EQ(JVMDI_ERROR_THREAD_SUSPENDED, suspend(reference));
    EXPECT_EQ(0, resume(reference));
    worker.life = sim::Thread::Life::ended;
    EXPECT_EQ(JVMDI_ERROR_THREAD_NOT_ALIVE, suspend(reference));
}

TEST_P(EitherInterface, ListsAreSuspendedThreadByThread) {
    jthread threads[] = {sim.local(&sim.new_thread("a")), sim.local(&sim.new_thread("b"))};
    suspend(threads[1]);
    jint results[2];
    if (on_jvmdi())
        EXPECT_EQ(0, sim.jvmdi()->SuspendThreadList(2, threads, results));
    else
        EXPECT_EQ(0, sim.jvmti()->SuspendThreadList(2, threads, reinterpret_cast<jvmtiError*>(results)));
    EXPECT_EQ(0, results[0]);
    EXPECT_EQ(JVMDI_ERROR_THREAD_SUSPENDED, results[1]);
    EXPECT_EQ(sim.vm_name("SuspendThreadList") + "([a, b])", sim.calls().back());
}

TEST_P(EitherInterface, FramesAndLocalsAreFoundByEitherName) {
    sim::Method& bar = sim.new_class("Foo").add_method("bar", "()V");
    sim::Thread& worker = sim.new_thread("worker");
    sim.push_frame(worker, bar, 3).locals = {{0, Value(&worker)}, {1, Value(jbyte{7})}};
    sim.push_frame(worker, bar, 5);
    jthread thread = sim.local(&worker);
    jint value = 0;
    jmethodID method = nullptr;
    jlocation at = 0;
    if (on_jvmdi()) {
        jframeID top, caller;
        jclass clazz;
        EXPECT_EQ(0, sim.jvmdi()->GetCurrentFrame(thread, &top));
        EXPECT_EQ(0, sim.jvmdi()->GetCallerFrame(top, &caller));
        EXPECT_EQ(0, sim.jvmdi()->GetFrameLocation(caller, &clazz, &method, &at));
        EXPECT_EQ(0, sim.jvmdi()->GetLocalInt(caller, 1, &value));
        EXPECT_EQ("JVMDI.GetLocalInt(worker[1], 1)", sim.calls().back());
        EXPECT_EQ(JVMDI_ERROR_TYPE_MISMATCH, sim.jvmdi()->GetLocalInt(caller, 0, &value));
        EXPECT_EQ(JVMDI_ERROR_NO_MORE_FRAMES, sim.jvmdi()->GetCallerFrame(caller, &top));
    } else {
        EXPECT_EQ(0, sim.jvmti()->GetFrameLocation(thread, 1, &method, &at));
        EXPECT_EQ(0, sim.jvmti()->GetLocalInt(thread, 1, 1, &value));
        EXPECT_EQ("JVMTI.GetLocalInt(worker, 1, 1)", sim.calls().back());
        EXPECT_EQ(JVMDI_ERROR_TYPE_MISMATCH, sim.jvmti()->GetLocalInt(thread, 1, 0, &value));
        EXPECT_EQ(JVMDI_ERROR_NO_MORE_FRAMES, sim.jvmti()->GetFrameLocation(thread, 2, &method, &at));
    }
    EXPECT_EQ(bar.id(), method);
    EXPECT_EQ(3, at);
    EXPECT_EQ(7, value);
}

TEST_P(EitherInterface, MonitorsAreDescribedAlikeOnBothInterfaces) {
    sim::Object& monitor = sim.new_object();
    sim::Thread& worker = sim.new_thread("worker");
    sim.own(worker, monitor, 2);
    monitor.monitor.waiters = {sim.main_thread};
    if (on_jvmdi()) {
        JVMDI_monitor_info info;
        EXPECT_EQ(0, sim.jvmdi()->GetMonitorInfo(sim.local(&monitor), &info));
        EXPECT_EQ(&worker, sim.object(info.owner));
        EXPECT_EQ(2, info.entry_count);
        ASSERT_EQ(1, info.waiter_count);
        EXPECT_TRUE(sim.is_global(info.waiters[0]));
        deallocate(info.waiters);
    } else {
        jvmtiMonitorUsage usage;
        EXPECT_EQ(0, sim.jvmti()->GetObjectMonitorUsage(sim.local(&monitor), &usage));
        EXPECT_EQ(&worker, sim.object(usage.owner));
        EXPECT_EQ(2, usage.entry_count);
        ASSERT_EQ(1, usage.waiter_count);
        EXPECT_EQ(0, usage.notify_waiter_count);
        EXPECT_EQ(nullptr, usage.notify_waiters);
        EXPECT_TRUE(sim.is_local(usage.waiters[0]));
        deallocate(usage.waiters);
    }
}

TEST_F(DebugInterfaces, GetEnvKnowsTheThreadAndTheVersion) {
    void* found = nullptr;
    EXPECT_EQ(JNI_OK, sim.vm()->GetEnv(&found, 0x10002));
    EXPECT_EQ(env, found);
    EXPECT_EQ(JNI_EVERSION, sim.vm()->GetEnv(&found, JVMDI_VERSION_1));
    EXPECT_EQ(nullptr, found);
    sim.set_getenv(0x30010000, JNI_ERR);
    EXPECT_EQ(JNI_ERR, sim.vm()->GetEnv(&found, 0x30010000));
    jint result = 0;
    sim.start_unattached([&] { result = sim.vm()->GetEnv(&found, 0x10002); })->join();
    EXPECT_EQ(JNI_EDETACHED, result);
}

struct AgentBody {
    pthread_t native{};
    std::string name;
};
void note_where(void* arg) {
    auto* body = static_cast<AgentBody*>(arg);
    body->native = pthread_self();
    body->name = sim::Sim::current()->this_thread()->label;
}

TEST_P(EitherInterface, AnAgentThreadIsARealThreadUnlessToldOtherwise) {
    AgentBody body;
    auto run = [&](jthread thread) {
        if (on_jvmdi()) return sim.jvmdi()->RunDebugThread(thread, note_where, &body, 5);
        return static_cast<jint>(sim.jvmti()->RunAgentThread(
            thread, [](jvmtiEnv*, JNIEnv*, void* arg) { note_where(arg); }, &body, 5));
    };
    sim::Class& thread_class = sim.class_named("java/lang/Thread");
    sim::Object& agent = sim.new_object(thread_class);
    EXPECT_EQ(0, run(sim.local(&agent)));
    sim.join_agent_threads();
    EXPECT_EQ("java/lang/Thread#" + agent.label.substr(agent.label.find('#') + 1), body.name);
    EXPECT_FALSE(pthread_equal(pthread_self(), body.native));
    EXPECT_EQ(0U, sim.running_agent_threads());
    EXPECT_EQ(JVMDI_ERROR_INVALID_THREAD, run(sim.local(&agent)));

    sim.agent_threads = sim::Sim::AgentThreads::inlined;
    EXPECT_EQ(0, run(sim.local(&sim.new_object(thread_class))));
    EXPECT_TRUE(pthread_equal(pthread_self(), body.native));

    body.name = "none";
    sim.agent_threads = sim::Sim::AgentThreads::recorded;
    EXPECT_EQ(0, run(sim.local(&sim.new_object(thread_class))));
    EXPECT_EQ("none", body.name);
}

TEST_F(DebugInterfaces, AThreadThatEndsByPthreadExitLeavesTheVm) {
    sim::Thread& worker = sim.new_thread("worker");
    auto running = sim.start(worker, [this] {
        sim.local(sim.main_thread);
        pthread_exit(nullptr);
    });
    running->join();
    EXPECT_EQ(sim::Thread::Life::ended, worker.life);
    EXPECT_EQ(0U, sim.live_locals());
}

/* ---- Events ----------------------------------------------------------------------------------------------------- */

struct Seen {
    int breakpoints = 0, classes = 0;
    sim::Object *thread = nullptr, *clazz = nullptr, *object = nullptr;
    jmethodID method = nullptr;
    jfieldID field = nullptr;
    jlocation at = 0;
    char type = 0;
    jvalue value{};
} seen;

void JNICALL see_breakpoint(jvmtiEnv*, JNIEnv*, jthread thread, jmethodID method, jlocation at) {
    ++seen.breakpoints;
    seen.thread = sim::Sim::current()->object(thread);
    seen.method = method;
    seen.at = at;
}
void JNICALL see_class(jvmtiEnv*, JNIEnv*, jthread, jclass clazz) {
    ++seen.classes;
    seen.clazz = sim::Sim::current()->object(clazz);
}
void JNICALL see_event(JNIEnv*, JVMDI_Event* event) {
    if (event->kind == JVMDI_EVENT_BREAKPOINT)
        see_breakpoint(nullptr, nullptr, event->u.breakpoint.thread, event->u.breakpoint.method,
                       event->u.breakpoint.location);
    else if (event->kind == JVMDI_EVENT_CLASS_PREPARE)
        see_class(nullptr, nullptr, nullptr, event->u.class_event.clazz);
}

TEST_P(EitherInterface, EventsReachWhatWasRegisteredWhenTheyAreEnabled) {
    sim::Class& foo = sim.new_class("Foo");
    sim::Method& bar = foo.add_method("bar", "()V");
    sim::Thread& worker = sim.new_thread("worker");
    seen = {};
    EXPECT_FALSE(sim.raise_breakpoint(bar, 1, sim::Raise::force));
    jvmtiEventCallbacks callbacks{};
    callbacks.Breakpoint = see_breakpoint;
    callbacks.ClassPrepare = see_class;
    if (on_jvmdi()) {
        sim.jvmdi()->SetEventHook(see_event);
        EXPECT_EQ("JVMDI.SetEventHook(hook)", sim.calls().back());
        sim.jvmdi()->SetEventNotificationMode(JVMDI_DISABLE, JVMDI_EVENT_BREAKPOINT, nullptr);
    } else {
        sim.jvmti()->SetEventCallbacks(&callbacks, 35 * sizeof(void*));
        EXPECT_EQ("JVMTI.SetEventCallbacks({ClassPrepare Breakpoint}, " + std::to_string(35 * sizeof(void*)) + ")",
                  sim.calls().back());
    }
    sim.run_on(worker, [&] { EXPECT_FALSE(sim.raise_breakpoint(bar, 1)); });
    enable(JVMTI_EVENT_BREAKPOINT, JVMDI_EVENT_BREAKPOINT);
    sim.run_on(worker, [&] { EXPECT_TRUE(sim.raise_breakpoint(bar, 12)); });
    EXPECT_EQ(1, seen.breakpoints);
    EXPECT_EQ(&worker, seen.thread);
    EXPECT_EQ(bar.id(), seen.method);
    EXPECT_EQ(12, seen.at);
    EXPECT_TRUE(sim.raise_class_prepare(foo, sim::Raise::force));
    EXPECT_EQ(&foo, seen.clazz);
    EXPECT_EQ(0U, sim.live_locals());
}

TEST_P(EitherInterface, AnEventIsEnabledForOneThread) {
    sim::Thread& worker = sim.new_thread("worker");
    const jint event = on_jvmdi() ? JVMDI_EVENT_SINGLE_STEP : jint{JVMTI_EVENT_SINGLE_STEP};
    jthread reference = sim.local(&worker);
    if (on_jvmdi())
        sim.jvmdi()->SetEventNotificationMode(JVMDI_ENABLE, event, reference);
    else
        sim.jvmti()->SetEventNotificationMode(JVMTI_ENABLE, static_cast<jvmtiEvent>(event), reference);
    EXPECT_TRUE(sim.enabled(event, worker));
    EXPECT_FALSE(sim.enabled(event, *sim.main_thread));
    EXPECT_FALSE(sim.enabled(event));
}

void JNICALL see_modification(jvmtiEnv*, JNIEnv*, jthread, jmethodID method, jlocation at, jclass, jobject object,
                              jfieldID field, char type, jvalue value) {
    seen.method = method;
    seen.at = at;
    seen.object = sim::Sim::current()->object(object);
    seen.field = field;
    seen.type = type;
    seen.value = value;
}
void JNICALL see_modification_event(JNIEnv*, JVMDI_Event* event) {
    const auto& u = event->u.field_modification;
    see_modification(nullptr, nullptr, u.thread, u.method, u.location, u.field_clazz, u.object, u.field,
                     u.signature_type, u.new_value);
}

TEST_P(EitherInterface, AFieldModificationCarriesTheNewValue) {
    sim::Class& foo = sim.new_class("Foo");
    sim::Method& bar = foo.add_method("bar", "()V");
    sim::Field& size = foo.add_field("size", "J");
    sim::Object& object = sim.new_object(foo);
    sim.callbacks.FieldModification = see_modification;
    sim.hook = see_modification_event;
    EXPECT_TRUE(sim.raise_field_modification(bar, 4, size, &object, Value(jlong{1} << 33), sim::Raise::force));
    EXPECT_EQ(&object, seen.object);
    EXPECT_EQ(size.id(), seen.field);
    EXPECT_EQ('J', seen.type);
    EXPECT_EQ(jlong{1} << 33, seen.value.j);
    EXPECT_EQ(4, seen.at);
}

/* ---- Capabilities ----------------------------------------------------------------------------------------------- */

TEST_F(DebugInterfaces, CapabilitiesAreAddedIfTheyCanBeHad) {
    jvmtiCapabilities wanted{}, got{};
    wanted.can_suspend = 1;
    EXPECT_EQ(JVMTI_ERROR_NONE, sim.jvmti()->AddCapabilities(&wanted));
    sim.jvmti()->GetCapabilities(&got);
    EXPECT_EQ(1U, got.can_suspend);
    EXPECT_EQ(0U, got.can_pop_frame);
    sim.potential_capabilities.can_pop_frame = 0;
    wanted.can_pop_frame = 1;
    EXPECT_EQ(JVMTI_ERROR_NOT_AVAILABLE, sim.jvmti()->AddCapabilities(&wanted));
    EXPECT_EQ("JVMTI.AddCapabilities(0x100100, 0x0, 0x0, 0x0)", sim.calls().back());
}

/* ---- JVMPI ------------------------------------------------------------------------------------------------------ */

TEST_F(DebugInterfaces, ProfilerRequestsAreLoggedAndGiveWhatTheyAreTold) {
    sim.fail("JVMPI.DisableEvent", -1);
    EXPECT_EQ(0, sim.jvmpi()->EnableEvent(60, nullptr));
    EXPECT_EQ(-1, sim.jvmpi()->DisableEvent(61, nullptr));
    EXPECT_EQ(0, sim.jvmpi()->RequestEvent(37, nullptr));
    EXPECT_CALLS(sim.calls(), "JVMPI.EnableEvent(60, null)", "JVMPI.DisableEvent(61, null)",
                 "JVMPI.RequestEvent(37, null)");
}

} // namespace
