#include "entry/agent_entry.h"
#include "event/filters.h"
#include "support/log_agent.h"

#include "query_fixture.h"

#include <string>

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

struct Control : QueryTest {
    sim::Class& foo = sim.new_class("Foo");
    sim::Method& bar = foo.add_method("bar", "(I)V");
    sim::Field& size = foo.add_field("size", "I");
    jclass clazz = sim.local<jclass>(&foo);
};
SIM_ALL_MODES(Control);

/* ---- Breakpoints and watches ---- */

TEST_P(Control, SetsAndClearsBreakpoints) {
    const std::string place = on_jvmdi() ? "(Foo, Foo.bar, 7)" : "(Foo.bar, 7)";
    sim.clear_calls();
    EXPECT_EQ(0, agent_set_breakpoint(sim.env(), clazz, bar.id(), 7));
    EXPECT_EQ(JVMDI_ERROR_DUPLICATE, agent_set_breakpoint(NULL, clazz, bar.id(), 7));
    EXPECT_EQ(0, agent_clear_breakpoint(sim.env(), clazz, bar.id(), 7));
    EXPECT_EQ(JVMDI_ERROR_NOT_FOUND, agent_clear_breakpoint(NULL, clazz, bar.id(), 7));
    EXPECT_EQ(vm_calls({"SetBreakpoint" + place, "SetBreakpoint" + place, "ClearBreakpoint" + place,
                        "ClearBreakpoint" + place}),
              made_vm_calls());
}

TEST_P(Control, PassesLocationsWhole) {
    const jlocation far = 0x123456789;
    bar.end = far;
    EXPECT_EQ(0, agent_set_breakpoint(NULL, clazz, bar.id(), far));
    EXPECT_NE(std::string::npos, sim.calls_of({"*.SetBreakpoint"})[0].find(std::to_string(far)));
}

TEST_P(Control, NeedsNoClassForABreakpointUnderJvmti) {
    EXPECT_EQ(on_jvmdi() ? JVMDI_ERROR_INVALID_CLASS : 0, agent_set_breakpoint(NULL, NULL, bar.id(), 1));
}

TEST_P(Control, ClearsAllBreakpointsUnderJvmdiOnly) {
    EXPECT_EQ(0, agent_set_breakpoint(NULL, clazz, bar.id(), 7));
    sim.clear_calls();
    EXPECT_EQ(on_jvmdi() ? 0 : JVMDI_ERROR_NOT_IMPLEMENTED, agent_clear_allbreakpoints(NULL));
    EXPECT_EQ(on_jvmdi() ? strings{"JVMDI.ClearAllBreakpoints()"} : strings(), made_vm_calls());
    EXPECT_EQ(on_jvmdi() ? JVMDI_ERROR_NOT_FOUND : 0, agent_clear_breakpoint(NULL, clazz, bar.id(), 7));
}

static const struct {
    const char* function;
    jint (*entry)(JNIEnv* env, jclass clazz, jfieldID field);
} watches[] = {
    {"SetFieldAccessWatch", agent_set_fieldaccesswatch},
    {"ClearFieldAccessWatch", agent_clear_fieldaccesswatch},
    {"SetFieldModificationWatch", agent_set_fieldmodificationwatch},
    {"ClearFieldModificationWatch", agent_clear_fieldmodificationwatch},
};

TEST_P(Control, SetsAndClearsWatches) {
    for (const auto& watch : watches) {
        sim.clear_calls();
        EXPECT_EQ(0, watch.entry(NULL, clazz, size.id()));
        EXPECT_EQ(vm_calls({std::string(watch.function) + "(Foo, Foo.size)"}), made_vm_calls());
    }
}

TEST_P(Control, GivesTheVmsCodeUnchanged) {
    for (const char* function : {"SetBreakpoint", "ClearBreakpoint"}) sim.fail(sim.vm_name(function), 77);
    EXPECT_EQ(77, agent_set_breakpoint(NULL, clazz, bar.id(), 7));
    EXPECT_EQ(77, agent_clear_breakpoint(NULL, clazz, bar.id(), 7));
    for (const auto& watch : watches) {
        sim.fail(sim.vm_name(watch.function), 78);
        EXPECT_EQ(78, watch.entry(NULL, clazz, size.id())) << watch.function;
    }
    if (on_jvmdi()) {
        sim.fail("JVMDI.ClearAllBreakpoints", 79);
        EXPECT_EQ(79, agent_clear_allbreakpoints(NULL));
    }
}

TEST_P(Control, AsksForTheJvmdiTableOnce) {
    sim.clear_calls();
    EXPECT_EQ(0, agent_set_breakpoint(sim.env(), clazz, bar.id(), 7));
    EXPECT_EQ(0, agent_clear_breakpoint(sim.env(), clazz, bar.id(), 7));
    EXPECT_EQ(on_jvmdi() ? 1u : 0u, sim.count_calls("JNI.GetJavaVM"));
    EXPECT_EQ(on_jvmdi() ? 1u : 0u, sim.count_calls("JavaVM.GetEnv"));
}

/* ---- Filters ---- */

struct Filters : Control {
    /* Whether the filters let an exception event through that is thrown in Foo.bar and caught in `catcher`. */
    jint passes_throw(sim::Method* catcher = NULL) {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_EXCEPTION;
        event.u.exception.clazz = clazz;
        event.u.exception.method = bar.id();
        event.u.exception.exception = thrown;
        if (catcher) {
            event.u.exception.catch_clazz = sim.local<jclass>(catcher->owner);
            event.u.exception.catch_method = catcher->id();
        }
        return filter_jvmdi_event_throw(sim.env(), &event);
    }
    jint passes_catch() {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_EXCEPTION_CATCH;
        event.u.exception_catch.clazz = clazz;
        event.u.exception_catch.method = bar.id();
        event.u.exception_catch.exception = thrown;
        return filter_jvmdi_event_catch(sim.env(), &event);
    }
    jint passes_class(jclass prepared) {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_CLASS_PREPARE;
        event.u.class_event.clazz = prepared;
        return filter_jvmdi_event_br(sim.env(), &event);
    }
    sim::Class& other = sim.new_class("Other");
    jclass other_class = sim.local<jclass>(&other);
    jobject thrown = sim.global(&sim.new_exception("java/lang/Exception"));
};
SIM_ALL_MODES(Filters);

TEST_P(Filters, OfClassLoadsNameTheClass) {
    EXPECT_EQ(0, agent_set_classload_filter(NULL, "Foo"));
    EXPECT_EQ(1, passes_class(clazz));
    EXPECT_EQ(0, passes_class(other_class));
    EXPECT_EQ(0, passes_throw());

    EXPECT_EQ(0, agent_clear_classload_filter(NULL, "Foo"));
    EXPECT_EQ(0, passes_class(clazz));
}

TEST_P(Filters, OfMethodsNameTheMethodAndItsSignature) {
    EXPECT_EQ(0, agent_set_methodbpt(NULL, "bar", "(I)"));
    EXPECT_EQ(1, passes_class(clazz));
    EXPECT_EQ(0, passes_class(other_class));
    EXPECT_EQ(0, agent_clr_methodbpt(NULL, "bar", "(J)"));
    EXPECT_EQ(1, passes_class(clazz));

    EXPECT_EQ(0, agent_clr_methodbpt(NULL, "bar", "(I)"));
    EXPECT_EQ(0, passes_class(clazz));
    EXPECT_EQ(0, agent_set_methodbpt(NULL, "bar", "(J)"));
    EXPECT_EQ(0, passes_class(clazz));
    EXPECT_EQ(0, agent_clr_methodbpt(NULL, "bar", "(J)"));
}

TEST_P(Filters, OfThrownExceptionsNameTheirClass) {
    EXPECT_EQ(0, agent_set_thrownexception_filter(NULL, "java/lang/Error"));
    EXPECT_EQ(0, passes_throw());
    EXPECT_EQ(0, agent_set_thrownexception_filter(NULL, "java/lang/Exception"));
    EXPECT_EQ(1, passes_throw());
    EXPECT_EQ(0, passes_catch());
    EXPECT_EQ(0, passes_class(clazz));

    EXPECT_EQ(0, agent_clear_thrownexception_filter(NULL, "java/lang/Exception"));
    EXPECT_EQ(0, passes_throw());
    EXPECT_EQ(0, agent_clear_thrownexception_filter(NULL, "java/lang/Error"));
}

TEST_P(Filters, OfUncaughtExceptionsShowTheCatchOfTheExceptionThatLeftTheMethod) {
    sim::Method& catcher = other.add_method("run", "()V");
    const uintptr_t method = (uintptr_t)bar.id();
    EXPECT_EQ(0, agent_set_uncaughtexception_filter(NULL, (uintptr_t)clazz, method));
    EXPECT_EQ(0, passes_catch());
    EXPECT_EQ(0, passes_throw(&catcher));
    EXPECT_EQ(1, passes_catch());
}

TEST_P(Filters, OfUncaughtExceptionsAreClearedByBothValues) {
    sim::Method& catcher = other.add_method("run", "()V");
    const uintptr_t method = (uintptr_t)bar.id();
    EXPECT_EQ(0, agent_set_uncaughtexception_filter(NULL, (uintptr_t)clazz, method));
    EXPECT_EQ(0, agent_clear_uncaughtexception_filter(NULL, (uintptr_t)clazz, method));
    passes_throw(&catcher);
    EXPECT_EQ(0, passes_catch());

    EXPECT_EQ(0, agent_set_uncaughtexception_filter(NULL, (uintptr_t)clazz, method));
    EXPECT_EQ(0, agent_clear_uncaughtexception_filter(NULL, (uintptr_t)clazz, (uintptr_t)catcher.id()));
    passes_throw(&catcher);
    EXPECT_EQ(1, passes_catch());
}

TEST_P(Filters, ThatFindNoMemoryGiveItsCode) {
    sim.fail(sim.vm_name("Allocate"), JVMDI_ERROR_OUT_OF_MEMORY);
    CaptureStdout();
    EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, agent_set_classload_filter(NULL, "Foo"));
    EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, agent_set_methodbpt(NULL, "bar", NULL));
    EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, agent_set_thrownexception_filter(NULL, "Foo"));
    EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, agent_set_uncaughtexception_filter(NULL, 1, 2));
    EXPECT_EQ(4, occurrences("OUT_OF_MEMORY", GetCapturedStdout()));
}

/* The agent was loaded without the capability to see exceptions. */
TEST_P(Filters, OfExceptionsAreRefusedByAnAgentThatCannotSeeThem) {
    jvmti_features.can_generate_exception_events = 0;
    const jint expected = on_jvmdi() ? 0 : 99;
    EXPECT_EQ(expected, agent_set_thrownexception_filter(NULL, ""));
    EXPECT_EQ(expected, agent_set_uncaughtexception_filter(NULL, (uintptr_t)clazz, (uintptr_t)bar.id()));
    EXPECT_EQ(on_jvmdi() ? 1 : 0, passes_throw());
    EXPECT_EQ(0, agent_clear_thrownexception_filter(NULL, ""));
    EXPECT_EQ(0, agent_clear_uncaughtexception_filter(NULL, (uintptr_t)clazz, (uintptr_t)bar.id()));
    EXPECT_EQ(0, agent_set_classload_filter(NULL, "Foo")) << "needs no exceptions";
    EXPECT_EQ(0, agent_clear_classload_filter(NULL, "Foo"));
}

/* ---- Event notification ---- */

struct Notification : Control {
    std::string mode_call(jint mode, jint event, const std::string& thread) {
        return sim.vm_name("SetEventNotificationMode(") + std::to_string(mode) + ", " + std::to_string(event) + ", " +
               thread + ")";
    }
};
SIM_ALL_MODES(Notification);

TEST_P(Notification, SpeaksJvmdiKindsOnBothInterfaces) {
    static const struct {
        jint kind, event;
    } numbers[] = {{1, 60},  {2, 62},  {3, 61},  {4, 58},  {6, 52},  {7, 53},  {8, 56}, {10, 55},
                   {20, 63}, {21, 64}, {30, 59}, {40, 65}, {41, 66}, {90, 50}, {99, 51}};
    for (const auto& number : numbers) {
        sim.clear_calls();
        EXPECT_EQ(0, agent_set_eventnotification(NULL, number.kind % 2, number.kind, NULL));
        EXPECT_EQ(strings{mode_call(number.kind % 2, on_jvmdi() ? number.kind : number.event, "null")},
                  made_vm_calls());
    }
}

/* Those numbers too that JVMTI 1.0 gives to no event (72, 77 to 80): whether there is one is the VM's to say. */
TEST_P(Notification, TakesJvmtiEventsAsTheyAre) {
    for (jint event = 50; event <= 84; event++) {
        sim.clear_calls();
        EXPECT_EQ(0, agent_set_eventnotification(NULL, 1, event, NULL));
        EXPECT_EQ(strings{mode_call(1, event, "null")}, made_vm_calls());
    }
}

TEST_P(Notification, RefusesKindsThatJvmtiHasNoEventFor) {
    for (jint kind : {-1, 0, 5, 9, 11, 22, 42, 49, 85, 89, 91, 98, 100}) {
        sim.clear_calls();
        EXPECT_EQ(on_jvmdi() ? 0 : JVMDI_ERROR_INVALID_EVENT_TYPE, agent_set_eventnotification(NULL, 1, kind, NULL))
            << kind;
        EXPECT_EQ(on_jvmdi() ? strings{mode_call(1, kind, "null")} : strings(), made_vm_calls());
    }
}

TEST_P(Notification, IsForOneThreadOfTheThreadMap) {
    jthread known = (jthread)own_record().handle;
    sim.clear_calls();
    EXPECT_EQ(0, agent_set_eventnotification(NULL, 1, JVMDI_EVENT_BREAKPOINT, known));
    EXPECT_EQ(strings{mode_call(1, on_jvmdi() ? 2 : 62, "main")}, made_vm_calls());
}

TEST_P(Notification, DoesNothingForAThreadThatTheThreadMapDoesNotHold) {
    jthread unknown = sim.global<jthread>(&sim.new_thread("unknown"));
    sim.clear_calls();
    EXPECT_EQ(0, agent_set_eventnotification(NULL, 1, JVMDI_EVENT_BREAKPOINT, unknown));
    EXPECT_EQ(0, agent_set_eventnotification(NULL, 1, JVMDI_EVENT_CLASS_UNLOAD, unknown));
    EXPECT_EQ(strings(), made_vm_calls());
}

TEST_P(Notification, GivesTheVmsCodeUnchanged) {
    sim.fail(sim.vm_name("SetEventNotificationMode"), 77);
    EXPECT_EQ(77, agent_set_eventnotification(NULL, 1, JVMDI_EVENT_BREAKPOINT, NULL));
}

TEST_P(Notification, OfWhatALightAgentDoesWithoutGivesTheVmsRefusal) {
    sim.capabilities = {};
    for (jint kind :
         {JVMDI_EVENT_EXCEPTION, JVMDI_EVENT_EXCEPTION_CATCH, JVMDI_EVENT_FRAME_POP, JVMDI_EVENT_METHOD_EXIT}) {
        EXPECT_EQ(on_jvmdi() ? 0 : 99, agent_set_eventnotification(NULL, 1, kind, NULL)) << kind;
        EXPECT_EQ(0, agent_set_eventnotification(NULL, 0, kind, NULL)) << kind;
    }
    EXPECT_EQ(0, agent_set_eventnotification(NULL, 1, JVMDI_EVENT_SINGLE_STEP, NULL));
}

TEST_P(Notification, IsLoggedWithItsThreeArguments) {
    shared_store(LogJVMDI, &__log_map_agent[1]);
    jthread unknown = sim.global<jthread>(&sim.new_thread("unknown"));
    CaptureStdout();
    log_start(NULL, stdout);
    log_echo(1);
    EXPECT_EQ(0, agent_set_eventnotification(NULL, 1, 99, unknown));
    log_finish();
    shared_store(LogJVMDI, (log_category*)NULL);
    EXPECT_NE(std::string::npos, GetCapturedStdout().find("SetEventNotificationMode(mode 1, type 99, thread " +
                                                          std::to_string((long)unknown) + ")"));
}

/* ---- JVMPI ---- */

TEST_P(Control, PassesJvmpiRequestsOn) {
    static const struct {
        const char* function;
        jint (*entry)(JNIEnv* env, jint event_type, void* argument);
    } requests[] = {
        {"JVMPI.RequestEvent", agent_request_jvmpi_event},
        {"JVMPI.EnableEvent", agent_enable_jvmpi_event},
        {"JVMPI.DisableEvent", agent_disable_jvmpi_event},
    };
    jvmpi = sim.jvmpi();
    jint result = 40;
    for (const auto& request : requests) {
        sim.clear_calls();
        EXPECT_EQ(0, request.entry(NULL, 33, NULL));
        EXPECT_EQ(strings{std::string(request.function) + "(33, null)"}, sim.calls_of({"JVMPI.*"}));
        sim.fail(request.function, ++result);
        EXPECT_EQ(result, request.entry(sim.env(), 33, &result));
        EXPECT_EQ(std::string::npos, sim.calls().back().find("null"));
    }
}
