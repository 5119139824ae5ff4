#include "java_threads/callbacks.h"

#include "java_threads/boot.h"
#include "java_threads/intake.h"
#include "vm/vm_interface.h"

#include <string.h>

/* The JVMTI callbacks: each fills a record and hands it on. What JVMTI does not tell (classes of methods, frames) stays 0. */

static JVMDI_Event empty_event(jint kind) {
    JVMDI_Event event;
    memset(&event, 0, sizeof event);
    event.kind = kind;
    return event;
}

/* The thread stands in the same place in the records of all kinds that have one; so do method and location. */
static JVMDI_Event thread_event(jint kind, jthread thread) {
    JVMDI_Event event = empty_event(kind);
    event.u.thread_change.thread = thread;
    return event;
}

static JVMDI_Event class_event(jint kind, jthread thread, jclass clazz) {
    JVMDI_Event event = thread_event(kind, thread);
    event.u.class_event.clazz = clazz;
    return event;
}

static JVMDI_Event method_event(jint kind, jthread thread, jmethodID method) {
    JVMDI_Event event = thread_event(kind, thread);
    event.u.frame.method = method;
    return event;
}

static JVMDI_Event located_event(jint kind, jthread thread, jmethodID method, jlocation location) {
    JVMDI_Event event = method_event(kind, thread, method);
    event.u.breakpoint.location = location;
    return event;
}

static JVMDI_Event field_event(jint kind, jthread thread, jmethodID method, jlocation location, jclass field_clazz,
                               jobject object, jfieldID field) {
    JVMDI_Event event = located_event(kind, thread, method, location);
    event.u.field_access.field_clazz = field_clazz;
    event.u.field_access.object = object;
    event.u.field_access.field = field;
    return event;
}

static void post(JNIEnv* env, JVMDI_Event event) { jvmti_event_hook(env, &event, agent_self()); }

static void post_boot(JNIEnv* env, JVMDI_Event event) { boot_event_hook(env, &event); }

void JNICALL cb_jvmtiEventSingleStep(jvmtiEnv*, JNIEnv* env, jthread thread, jmethodID method, jlocation location) {
    post(env, located_event(JVMDI_EVENT_SINGLE_STEP, thread, method, location));
}

void JNICALL cb_jvmtiEventBreakpoint(jvmtiEnv*, JNIEnv* env, jthread thread, jmethodID method, jlocation location) {
    post(env, located_event(JVMDI_EVENT_BREAKPOINT, thread, method, location));
}

void JNICALL cb_jvmtiEventFramePop(jvmtiEnv*, JNIEnv* env, jthread thread, jmethodID method, jboolean) {
    post(env, method_event(JVMDI_EVENT_FRAME_POP, thread, method));
}

void JNICALL cb_jvmtiEventException(jvmtiEnv*, JNIEnv* env, jthread thread, jmethodID method, jlocation location,
                                    jobject exception, jmethodID catch_method, jlocation catch_location) {
    JVMDI_Event event = located_event(JVMDI_EVENT_EXCEPTION, thread, method, location);
    event.u.exception.exception = exception;
    event.u.exception.catch_method = catch_method;
    event.u.exception.catch_location = catch_location;
    post(env, event);
}

void JNICALL cb_jvmtiEventExceptionCatch(jvmtiEnv*, JNIEnv* env, jthread thread, jmethodID method, jlocation location,
                                         jobject exception) {
    JVMDI_Event event = located_event(JVMDI_EVENT_EXCEPTION_CATCH, thread, method, location);
    event.u.exception_catch.exception = exception;
    post(env, event);
}

void JNICALL cb_jvmtiEventThreadStart(jvmtiEnv*, JNIEnv* env, jthread thread) {
    post(env, thread_event(JVMDI_EVENT_THREAD_START, thread));
}

void JNICALL cb_jvmtiEventThreadEnd(jvmtiEnv*, JNIEnv* env, jthread thread) {
    post(env, thread_event(JVMDI_EVENT_THREAD_END, thread));
}

void JNICALL cb_jvmtiEventClassPrepare(jvmtiEnv*, JNIEnv* env, jthread thread, jclass clazz) {
    post(env, class_event(JVMDI_EVENT_CLASS_PREPARE, thread, clazz));
}

void JNICALL cb_jvmtiEventClassLoad(jvmtiEnv*, JNIEnv* env, jthread thread, jclass clazz) {
    post(env, class_event(JVMDI_EVENT_CLASS_LOAD, thread, clazz));
}

void JNICALL cb_jvmtiEventFieldAccess(jvmtiEnv*, JNIEnv* env, jthread thread, jmethodID method, jlocation location,
                                      jclass field_clazz, jobject object, jfieldID field) {
    post(env, field_event(JVMDI_EVENT_FIELD_ACCESS, thread, method, location, field_clazz, object, field));
}

void JNICALL cb_jvmtiEventFieldModification(jvmtiEnv*, JNIEnv* env, jthread thread, jmethodID method,
                                            jlocation location, jclass field_clazz, jobject object, jfieldID field,
                                            char signature_type, jvalue new_value) {
    JVMDI_Event event =
        field_event(JVMDI_EVENT_FIELD_MODIFICATION, thread, method, location, field_clazz, object, field);
    event.u.field_modification.signature_type = signature_type;
    event.u.field_modification.new_value = new_value;
    post(env, event);
}

void JNICALL cb_jvmtiEventMethodEntry(jvmtiEnv*, JNIEnv* env, jthread thread, jmethodID method) {
    post(env, method_event(JVMDI_EVENT_METHOD_ENTRY, thread, method));
}

void JNICALL cb_jvmtiEventMethodExit(jvmtiEnv*, JNIEnv* env, jthread thread, jmethodID method, jboolean, jvalue) {
    post(env, method_event(JVMDI_EVENT_METHOD_EXIT, thread, method));
}

void JNICALL cb_jvmtiEventVMInit(jvmtiEnv*, JNIEnv* env, jthread) { post(env, empty_event(JVMDI_EVENT_VM_INIT)); }

void JNICALL cb_jvmtiEventVMDeath(jvmtiEnv*, JNIEnv* env) { post(env, empty_event(JVMDI_EVENT_VM_DEATH)); }

void JNICALL cbb_jvmtiEventVMInit(jvmtiEnv*, JNIEnv* env, jthread) { post_boot(env, empty_event(JVMDI_EVENT_VM_INIT)); }

void JNICALL boot_vm_death(jvmtiEnv*, JNIEnv* env) { post_boot(env, empty_event(JVMDI_EVENT_VM_DEATH)); }

void JNICALL cbb_jvmtiEventThreadStart(jvmtiEnv*, JNIEnv* env, jthread thread) {
    post_boot(env, thread_event(JVMDI_EVENT_THREAD_START, thread));
}

void JNICALL cbb_jvmtiEventThreadEnd(jvmtiEnv*, JNIEnv* env, jthread thread) {
    post_boot(env, thread_event(JVMDI_EVENT_THREAD_END, thread));
}

void JNICALL cbb_jvmtiEventClassPrepare(jvmtiEnv*, JNIEnv* env, jthread thread, jclass clazz) {
    post_boot(env, class_event(JVMDI_EVENT_CLASS_PREPARE, thread, clazz));
}

/* Registered so that a debugger may plant a breakpoint on any event of the VM; each stays a function of its own. */

#define EMPTY_CALLBACK(name, ...) \
    AGENT_HOOK void JNICALL name(__VA_ARGS__) { AGENT_HOOK_BODY; }

EMPTY_CALLBACK(cb_jvmtiEventClassFileLoadHook, jvmtiEnv*, JNIEnv*, jclass, jobject, const char*, jobject, jint,
               const unsigned char*, jint*, unsigned char**)
EMPTY_CALLBACK(cb_jvmtiEventVMStart, jvmtiEnv*, JNIEnv*)
EMPTY_CALLBACK(cb_jvmtiEventNativeMethodBind, jvmtiEnv*, JNIEnv*, jthread, jmethodID, void*, void**)
EMPTY_CALLBACK(cb_jvmtiEventCompiledMethodLoad, jvmtiEnv*, jmethodID, jint, const void*, jint,
               const jvmtiAddrLocationMap*, const void*)
EMPTY_CALLBACK(cb_jvmtiEventCompiledMethodUnload, jvmtiEnv*, jmethodID, const void*)
EMPTY_CALLBACK(cb_jvmtiEventDynamicCodeGenerated, jvmtiEnv*, const char*, const void*, jint)
EMPTY_CALLBACK(cb_jvmtiEventDataDumpRequest, jvmtiEnv*)
EMPTY_CALLBACK(cb_jvmtiEventMonitorWait, jvmtiEnv*, JNIEnv*, jthread, jobject, jlong)
EMPTY_CALLBACK(cb_jvmtiEventMonitorWaited, jvmtiEnv*, JNIEnv*, jthread, jobject, jboolean)
EMPTY_CALLBACK(cb_jvmtiEventMonitorContendedEnter, jvmtiEnv*, JNIEnv*, jthread, jobject)
EMPTY_CALLBACK(cb_jvmtiEventMonitorContendedEntered, jvmtiEnv*, JNIEnv*, jthread, jobject)
EMPTY_CALLBACK(cb_jvmtiEventGarbageCollectionStart, jvmtiEnv*)
EMPTY_CALLBACK(cb_jvmtiEventGarbageCollectionFinish, jvmtiEnv*)
EMPTY_CALLBACK(cb_jvmtiEventObjectFree, jvmtiEnv*, jlong)
EMPTY_CALLBACK(cb_jvmtiEventVMObjectAlloc, jvmtiEnv*, JNIEnv*, jthread, jobject, jclass, jlong)

#undef EMPTY_CALLBACK

jint install_full_callbacks() {
    jvmtiEventCallbacks callbacks;
    memset(&callbacks, 0, sizeof callbacks);
#define CALLBACK(Event) callbacks.Event = cb_jvmtiEvent##Event
    CALLBACK(VMInit);
    CALLBACK(VMDeath);
    CALLBACK(ThreadStart);
    CALLBACK(ThreadEnd);
    CALLBACK(ClassFileLoadHook);
    CALLBACK(ClassLoad);
    CALLBACK(ClassPrepare);
    CALLBACK(VMStart);
    CALLBACK(Exception);
    CALLBACK(ExceptionCatch);
    CALLBACK(SingleStep);
    CALLBACK(FramePop);
    CALLBACK(Breakpoint);
    CALLBACK(FieldAccess);
    CALLBACK(FieldModification);
    CALLBACK(MethodEntry);
    CALLBACK(MethodExit);
    CALLBACK(NativeMethodBind);
    CALLBACK(CompiledMethodLoad);
    CALLBACK(CompiledMethodUnload);
    CALLBACK(DynamicCodeGenerated);
    CALLBACK(DataDumpRequest);
    CALLBACK(MonitorWait);
    CALLBACK(MonitorWaited);
    CALLBACK(MonitorContendedEnter);
    CALLBACK(MonitorContendedEntered);
    CALLBACK(GarbageCollectionStart);
    CALLBACK(GarbageCollectionFinish);
    CALLBACK(ObjectFree);
    CALLBACK(VMObjectAlloc);
#undef CALLBACK
    return jvmti->SetEventCallbacks(&callbacks, JVMTI_CALLBACKS_SIZE);
}
