#include "support/agent_trace.h"

#include "registry/agent_tmap.h"
#include "support/err_str.h"
#include "support/log_agent.h"
#include "support/names.h"
#include "vm/vm_call.h"

#define LOG_SOURCE "agent_trace.c"

/* Class and method dumps have no environment: they use the table fetched at load. */
static JNIEnv* const no_env = NULL;

/* ---- Event names ---- */

static const number_name jvmdi_event_names[] = {
    {JVMDI_EVENT_SINGLE_STEP, "SINGLE_STEP"},
    {JVMDI_EVENT_BREAKPOINT, "BREAKPOINT"},
    {JVMDI_EVENT_FRAME_POP, "FRAME_POP"},
    {JVMDI_EVENT_EXCEPTION, "EXCEPTION"},
    {JVMDI_EVENT_USER_DEFINED, "USER_DEFINED"},
    {JVMDI_EVENT_THREAD_START, "THREAD_START"},
    {JVMDI_EVENT_THREAD_END, "THREAD_END"},
    {JVMDI_EVENT_CLASS_PREPARE, "CLASS_PREPARE"},
    {JVMDI_EVENT_CLASS_UNLOAD, "CLASS_UNLOAD"},
    {JVMDI_EVENT_CLASS_LOAD, "CLASS_LOAD"},
    {JVMDI_EVENT_FIELD_ACCESS, "FIELD_ACCESS"},
    {JVMDI_EVENT_FIELD_MODIFICATION, "FIELD_MODIFICATION"},
    {JVMDI_EVENT_EXCEPTION_CATCH, "EXCEPTION_CATCH"},
    {JVMDI_EVENT_METHOD_ENTRY, "METHOD_ENTRY"},
    {JVMDI_EVENT_METHOD_EXIT, "METHOD_EXIT"},
    {JVMDI_EVENT_VM_INIT, "VM_INIT"},
    {JVMDI_EVENT_VM_DEATH, "VM_DEATH"},
};

static const number_name jvmti_event_names[] = {
    {50, "VM_INIT"},
    {51, "VM_DEATH"},
    {52, "THREAD_START"},
    {53, "THREAD_END"},
    {54, "CLASS_FILE_LOAD_HOOK"},
    {55, "CLASS_LOAD"},
    {56, "CLASS_PREPARE"},
    {57, "VM_START"},
    {58, "EXCEPTION"},
    {59, "EXCEPTION_CATCH"},
    {60, "SINGLE_STEP"},
    {61, "FRAME_POP"},
    {62, "BREAKPOINT"},
    {63, "FIELD_ACCESS"},
    {64, "FIELD_MODIFICATION"},
    {65, "METHOD_ENTRY"},
    {66, "METHOD_EXIT"},
    {67, "NATIVE_METHOD_BIND"},
    {68, "COMPILED_METHOD_LOAD"},
    {69, "COMPILED_METHOD_UNLOAD"},
    {70, "DYNAMIC_CODE_GENERATED"},
    {71, "DATA_DUMP_REQUEST"},
    {73, "MONITOR_WAIT"},
    {74, "MONITOR_WAITED"},
    {75, "MONITOR_CONTENDED_ENTER"},
    {76, "MONITOR_CONTENDED_ENTERED"},
    {81, "GARBAGE_COLLECTION_START"},
    {82, "GARBAGE_COLLECTION_FINISH"},
    {83, "OBJECT_FREE"},
    {84, "VM_OBJECT_ALLOC"},
};

/* "CONTENTED" is the spelling that log readers match. */
static const number_name jvmpi_event_names[] = {
    {37, "HEAP_DUMP"},
    {50, "OBJECT_DUMP"},
    {54, "MONITOR_CONTENTED_ENTER"},
    {55, "MONITOR_CONTENTED_ENTERED"},
    {56, "MONITOR_CONTENTED_EXIT"},
    {57, "MONITOR_WAIT"},
    {58, "MONITOR_WAITED"},
    {59, "MONITOR_DUMP"},
    {60, "GC_START"},
    {61, "GC_FINISH"},
};

const char* jvmdi_event_str(jint kind) {
    static unknown_name unknown;
    return name_or_unknown(jvmdi_event_names, kind, unknown);
}

const char* jvmti_event_str(jint kind) {
    static unknown_name unknown;
    return jvmdi ? jvmdi_event_str(kind) : name_or_unknown(jvmti_event_names, kind, unknown);
}

const char* jvmpi_event_str(jint kind) {
    static unknown_name unknown;
    return name_or_unknown(jvmpi_event_names, kind, unknown);
}

/* ---- What the dumps share: each tells failures in its own words and category ---- */

static bool thread_failed(jint err) {
    if (err) AGENT_LOG(LogJVMDIthread, " Thread: Error encountered in trace %d\n", err);
    return err != 0;
}

static bool group_failed(jint err) {
    if (err) AGENT_LOG(LogJVMDIthread, " ThreadGroup: Error encountered in trace %d\n", err);
    return err != 0;
}

static bool class_failed(jint err) {
    if (err) AGENT_LOG(LogJVMDIclass, " Class: Error encountered in trace %d\n", err);
    return err != 0;
}

/* A method's name and whether it is native belong to the general category, the rest to the methods'. */
static bool method_name_failed(jint err) {
    if (err) AGENT_LOG(LogJVMDI, " Method: Error encountered in trace %d\n", err);
    return err != 0;
}

static bool method_failed(jint err) {
    if (err) AGENT_LOG(LogJVMDImethod, " Method: Error encountered in trace %d\n", err);
    return err != 0;
}

/* Gives back what the VM returned, if it did. */
static void release(const void* block, bool (*failed)(jint)) {
    if (block) failed(vm_deallocate(block));
}

/* Deletes a reference that JVMDI returned; those of JVMTI are local ones and go with their frame. */
static void release_reference(JNIEnv* env, jobject reference) {
    if (!jvmti && reference) env->DeleteGlobalRef(reference);
}

/* ---- Threads and thread groups ---- */

void dump_threadGroup(JNIEnv* env, jthreadGroup group) {
    JVMDI_thread_group_info info = {};
    if (!group_failed(vm_get_thread_group_info(env, group, &info)))
        AGENT_LOG(LogJVMDIthread, " ThreadGroup: name = %s max_priority = %d, is_daemon = %d\n", info.name,
                  info.max_priority, info.is_daemon);
    release_reference(env, info.parent);
    release(info.name, group_failed);
}

void dump_thread(JNIEnv* env, jthread thread, jboolean with_group) {
    const agent_tid_t tid = TMap_handle2tid(thread);
    JVMDI_thread_info info = {};
    const jint err = vm_get_thread_info(env, thread, &info);
    if (jvmti && err_is_wrongphase(err)) return;
    if (!thread_failed(err))
        AGENT_LOG(LogJVMDIthread, " Thread: name = %s(%d) priority = %d, is_daemon = %d\n", info.name, tid,
                  info.priority, info.is_daemon);
    if (with_group && info.thread_group) dump_threadGroup(env, info.thread_group);
    release_reference(env, info.thread_group);
    release_reference(env, info.context_class_loader);
    release(info.name, thread_failed);
}

/* ---- Classes ---- */

void dump_class(jclass clazz) {
    char* signature = NULL;
    char* generic = NULL;
    char* source = NULL;
    jint status = 0;
    class_failed(vm_get_class_signature(no_env, clazz, &signature, &generic));
    class_failed(vm_get_class_status(no_env, clazz, &status));
    if (!class_failed(vm_get_source_file_name(no_env, clazz, &source))) {
        AGENT_LOG(LogJVMDIclass, "\n\tsignature = %s\n\tstatus = 0x%x\n\tsourceName = %s", signature, status, source);
        if (generic) AGENT_LOG(LogJVMDIclass, "\n\tgeneric = %s\n", generic);
    }
    release(signature, class_failed);
    release(source, class_failed);
    release(generic, class_failed);
}

/* ---- Methods ---- */

/* Shows everything but the lines; true if the method may have lines. */
static bool dump_method_summary(jclass clazz, jmethodID method) {
    char* name = NULL;
    char* signature = NULL;
    char* generic = NULL;
    jboolean is_native = JNI_FALSE;
    jboolean is_synthetic = JNI_FALSE;
    jlocation start = 0;
    jlocation end = 0;
    method_name_failed(vm_get_method_name(no_env, clazz, method, &name, &signature, &generic));
    if (!method_name_failed(vm_is_method_native(no_env, clazz, method, &is_native))) {
        AGENT_LOG(LogJVMDI, " Method: name = %s, signature = %s, isNative = %d\n", name, signature, is_native);
        if (generic) AGENT_LOG(LogJVMDI, "generic = %s\n", generic);
    }
    if (!method_failed(vm_is_method_synthetic(no_env, clazz, method, &is_synthetic)))
        AGENT_LOG(LogJVMDImethod, " Method: name = %s, signature = %s, isSynthetic = %d\n", name, signature,
                  is_synthetic);
    if (!method_failed(vm_get_method_location(no_env, clazz, method, &start, &end)))
        AGENT_LOG(LogJVMDImethod, " Method: start = %lld, end = %lld\n", start, end);
    release(signature, method_failed);
    release(name, method_failed);
    release(generic, method_failed);
    return !is_native && !is_synthetic;
}

static void dump_method_lines(jclass clazz, jmethodID method) {
    jint line_count = 0;
    JVMDI_line_number_entry* lines = NULL;
    if (!method_failed(vm_get_line_number_table(no_env, clazz, method, &line_count, &lines))) {
        for (jint i = 0; i < line_count; i++)
            AGENT_LOG(LogJVMDImethod, " Method: Line number: %d start_location: %lld\n", lines[i].line_number,
                      lines[i].start_location);
    }
    jint byte_count = 0;
    unsigned char* bytecodes = NULL; /* not shown: the dump only tells whether they can be had */
    method_failed(vm_get_bytecodes(no_env, clazz, method, &byte_count, &bytecodes));
    release(bytecodes, method_failed);
    release(lines, method_failed);
}

void dump_method(jclass clazz, jmethodID method) {
    if (dump_method_summary(clazz, method)) dump_method_lines(clazz, method);
}

void dump_location(jlong location) { AGENT_LOG(LogJVMDIlocation, " location = %lld\n", location); }

void dump_jframe() {}

/* ---- Events ---- */

/* Single step and breakpoint. */
static void dump_located(JNIEnv* env, jthread thread, jclass clazz, jmethodID method, jlocation location) {
    dump_thread(env, thread, JNI_TRUE);
    dump_class(clazz);
    dump_method(clazz, method);
    dump_location(location);
}

/* Frame pop, method entry and method exit. */
static void dump_framed(JNIEnv* env, jthread thread, jclass clazz, jmethodID method) {
    dump_method(clazz, method);
    dump_jframe();
    dump_class(clazz);
    dump_thread(env, thread, JNI_TRUE);
}

void dump_jvmdi_event(JNIEnv* env, JVMDI_Event* event) {
    const auto& u = event->u;
    AGENT_LOG(LogJVMDI, "Event = %s", jvmdi_event_str(event->kind));
    switch (event->kind) {
    case JVMDI_EVENT_SINGLE_STEP:
        dump_located(env, u.single_step.thread, u.single_step.clazz, u.single_step.method, u.single_step.location);
        break;
    case JVMDI_EVENT_BREAKPOINT:
        dump_located(env, u.breakpoint.thread, u.breakpoint.clazz, u.breakpoint.method, u.breakpoint.location);
        break;
    case JVMDI_EVENT_FRAME_POP:
    case JVMDI_EVENT_METHOD_ENTRY:
    case JVMDI_EVENT_METHOD_EXIT: dump_framed(env, u.frame.thread, u.frame.clazz, u.frame.method); break;
    case JVMDI_EVENT_EXCEPTION: dump_class(env->GetObjectClass(u.exception.exception)); break;
    case JVMDI_EVENT_EXCEPTION_CATCH: dump_class(env->GetObjectClass(u.exception_catch.exception)); break;
    case JVMDI_EVENT_USER_DEFINED:
    case JVMDI_EVENT_FIELD_ACCESS:
    case JVMDI_EVENT_FIELD_MODIFICATION: break;
    case JVMDI_EVENT_THREAD_START: dump_thread(env, u.thread_change.thread, JNI_TRUE); break;
    case JVMDI_EVENT_THREAD_END: dump_thread(env, u.thread_change.thread, JNI_FALSE); break;
    case JVMDI_EVENT_CLASS_PREPARE:
    case JVMDI_EVENT_CLASS_UNLOAD:
    case JVMDI_EVENT_CLASS_LOAD:
        dump_thread(env, u.class_event.thread, JNI_TRUE);
        dump_class(u.class_event.clazz);
        break;
    default: AGENT_LOG(LogJVMDI, " Unknown event occurred\n"); break;
    }
}

void dump_jvmpi_event(JNIEnv*, JVMPI_Event* event) {
    AGENT_LOG(LogJVMDI, "Event = %s", jvmpi_event_str(event->event_type));
}
