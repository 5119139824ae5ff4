#include "entry/agent_entry.h"

#include "event/event_table.h"
#include "event/filters.h"
#include "registry/agent_tmap.h"
#include "support/log_agent.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"

static const char LOG_SOURCE[] = "agent_entry.c";

/* ---- Breakpoints and watches ---- */

jint agent_set_breakpoint(JNIEnv* env, jclass clazz, jmethodID method, jlocation location) {
    return vm_call_either(
        current_env(env), [=](jvmtiEnv* vm) { return vm->SetBreakpoint(method, location); },
        [=](JVMDI_Interface_1* vm) { return vm->SetBreakpoint(clazz, method, location); });
}

jint agent_clear_breakpoint(JNIEnv* env, jclass clazz, jmethodID method, jlocation location) {
    return vm_call_either(
        current_env(env), [=](jvmtiEnv* vm) { return vm->ClearBreakpoint(method, location); },
        [=](JVMDI_Interface_1* vm) { return vm->ClearBreakpoint(clazz, method, location); });
}

jint agent_clear_allbreakpoints(JNIEnv* env) {
    return vm_call_either(
        current_env(env), [](jvmtiEnv*) { return JVMDI_ERROR_NOT_IMPLEMENTED; },
        [](JVMDI_Interface_1* vm) { return vm->ClearAllBreakpoints(); });
}

jint agent_set_fieldaccesswatch(JNIEnv* env, jclass clazz, jfieldID field) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->SetFieldAccessWatch(clazz, field); });
}

jint agent_clear_fieldaccesswatch(JNIEnv* env, jclass clazz, jfieldID field) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->ClearFieldAccessWatch(clazz, field); });
}

jint agent_set_fieldmodificationwatch(JNIEnv* env, jclass clazz, jfieldID field) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->SetFieldModificationWatch(clazz, field); });
}

jint agent_clear_fieldmodificationwatch(JNIEnv* env, jclass clazz, jfieldID field) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->ClearFieldModificationWatch(clazz, field); });
}

/* ---- Filters ---- */

/* JVMTI's code for a capability that is missing is JVMDI's for what is not there. */
static_assert((jint)JVMTI_ERROR_MUST_POSSESS_CAPABILITY == JVMDI_ERROR_NOT_IMPLEMENTED);

jint agent_set_classload_filter(JNIEnv* env, const char* class_name) {
    return event_setfilter_br(current_env(env), FILTER_CLASSLOAD, class_name, NULL, NULL);
}

jint agent_clear_classload_filter(JNIEnv* env, const char* class_name) {
    return event_clearfilter_br(current_env(env), FILTER_CLASSLOAD, class_name, NULL, NULL);
}

jint agent_set_methodbpt(JNIEnv* env, const char* method_name, const char* signature) {
    return event_setfilter_br(current_env(env), FILTER_METHOD, NULL, method_name, signature);
}

jint agent_clr_methodbpt(JNIEnv* env, const char* method_name, const char* signature) {
    return event_clearfilter_br(current_env(env), FILTER_METHOD, NULL, method_name, signature);
}

jint agent_set_thrownexception_filter(JNIEnv* env, const char* class_name) {
    env = current_env(env);
    if (!vm_sees_exceptions()) return JVMDI_ERROR_NOT_IMPLEMENTED;
    return event_setfilter_br(env, FILTER_THROWN, class_name, NULL, NULL);
}

jint agent_clear_thrownexception_filter(JNIEnv* env, const char* class_name) {
    return event_clearfilter_br(current_env(env), FILTER_THROWN, class_name, NULL, NULL);
}

jint agent_set_uncaughtexception_filter(JNIEnv* env, uintptr_t clazz, uintptr_t method) {
    env = current_env(env);
    if (!vm_sees_exceptions()) return JVMDI_ERROR_NOT_IMPLEMENTED;
    return event_setfilter_ex(env, FILTER_UNCAUGHT, clazz, method);
}

jint agent_clear_uncaughtexception_filter(JNIEnv* env, uintptr_t clazz, uintptr_t method) {
    return event_clearfilter_ex(current_env(env), FILTER_UNCAUGHT, clazz, method);
}

/* ---- Event notification ---- */

/* JVMTI numbers its events where JVMDI has no kinds, so that a caller may use either; 0 for a kind that JVMTI lacks. */
static jvmtiEvent jvmti_event_of(jint kind) {
    enum { JVMTI_FIRST = JVMTI_EVENT_VM_INIT, JVMTI_LAST = JVMTI_EVENT_VM_OBJECT_ALLOC };
    if (kind >= JVMTI_FIRST && kind <= JVMTI_LAST) return (jvmtiEvent)kind;
    const event_row* row = event_row_of(kind);
    return row ? row->event : (jvmtiEvent)0;
}

jint agent_set_eventnotification(JNIEnv* env, jint mode, jint kind, jthread thread) {
    env = current_env(env);
    AGENT_LOG(LogJVMDI, "SetEventNotificationMode(mode %d, type %d, thread %d)", mode, kind, thread);
    if (thread && !TMap_handle2tid(thread)) return 0;
    return vm_call_either(
        env,
        [=](jvmtiEnv* vm) -> jint {
            const jvmtiEvent event = jvmti_event_of(kind);
            if (!event) return JVMDI_ERROR_INVALID_EVENT_TYPE;
            return vm->SetEventNotificationMode((jvmtiEventMode)mode, event, thread);
        },
        [=](JVMDI_Interface_1* vm) { return vm->SetEventNotificationMode(mode, kind, thread); });
}

/* ---- JVMPI ---- */

jint agent_request_jvmpi_event(JNIEnv* env, jint event_type, void* argument) {
    current_env(env);
    return jvmpi->RequestEvent(event_type, argument);
}

jint agent_enable_jvmpi_event(JNIEnv* env, jint event_type, void* argument) {
    current_env(env);
    return jvmpi->EnableEvent(event_type, argument);
}

jint agent_disable_jvmpi_event(JNIEnv* env, jint event_type, void* argument) {
    current_env(env);
    return jvmpi->DisableEvent(event_type, argument);
}
