#include "event/dump.h"

#include "registry/agent_tmap.h"
#include "support/err_str.h"
#include "support/log_agent.h"
#include "vm/vm_call.h"
#include "vm/vm_interface.h"

static const char LOG_SOURCE[] = "agent_trace.c";

/* Class and method dumps have no environment: they use the table fetched at load. */
static JNIEnv* const no_env = NULL;

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

/* A text that the VM may have refused to give. */
static const char* shown(const char* text) { return text ? text : "(null)"; }

/* Gives back what the VM returned, if it did. */
static void give_back(const void* block, bool (*failed)(jint)) {
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
    give_back(info.name, group_failed);
}

void dump_thread(JNIEnv* env, jthread thread, jboolean with_group) {
    const agent_tid_t tid = TMap_handle2tid(thread);
    JVMDI_thread_info info = {};
    const jint err = vm_get_thread_info(env, thread, &info);
    if (jvmti && err == JVMTI_ERROR_WRONG_PHASE) return;
    if (!thread_failed(err))
        AGENT_LOG(LogJVMDIthread, " Thread: name = %s(%d) priority = %d, is_daemon = %d\n", info.name, tid,
                  info.priority, info.is_daemon);
    if (with_group && info.thread_group) dump_threadGroup(env, info.thread_group);
    release_reference(env, info.thread_group);
    release_reference(env, info.context_class_loader);
    give_back(info.name, thread_failed);
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
        AGENT_LOG(LogJVMDIclass, "\n\tsignature = %s\n\tstatus = 0x%x\n\tsourceName = %s", shown(signature), status,
                  shown(source));
        if (generic) AGENT_LOG(LogJVMDIclass, "\n\tgeneric = %s\n", generic);
    }
    give_back(signature, class_failed);
    give_back(source, class_failed);
    give_back(generic, class_failed);
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
        AGENT_LOG(LogJVMDI, " Method: name = %s, signature = %s, isNative = %d\n", shown(name), shown(signature),
                  is_native);
        if (generic) AGENT_LOG(LogJVMDI, "generic = %s\n", generic);
    }
    if (!method_failed(vm_is_method_synthetic(no_env, clazz, method, &is_synthetic)))
        AGENT_LOG(LogJVMDImethod, " Method: name = %s, signature = %s, isSynthetic = %d\n", shown(name),
                  shown(signature), is_synthetic);
    if (!method_failed(vm_get_method_location(no_env, clazz, method, &start, &end)))
        AGENT_LOG(LogJVMDImethod, " Method: start = %lld, end = %lld\n", start, end);
    give_back(signature, method_failed);
    give_back(name, method_failed);
    give_back(generic, method_failed);
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
    give_back(bytecodes, method_failed);
    give_back(lines, method_failed);
}

void dump_method(jclass clazz, jmethodID method) {
    if (dump_method_summary(clazz, method)) dump_method_lines(clazz, method);
}

void dump_location(jlong location) { AGENT_LOG(LogJVMDIlocation, " location = %lld\n", location); }

void dump_jframe() {}

/* ---- Events ---- */

/* Single step and breakpoint, whose records are alike. */
void dump_located_event(JNIEnv* env, const JVMDI_Event* event) {
    const auto& at = event->u.breakpoint;
    dump_thread(env, at.thread, JNI_TRUE);
    dump_class(at.clazz);
    dump_method(at.clazz, at.method);
    dump_location(at.location);
}

/* Frame pop, method entry and method exit. */
void dump_frame_event(JNIEnv* env, const JVMDI_Event* event) {
    const auto& frame = event->u.frame;
    dump_method(frame.clazz, frame.method);
    dump_jframe();
    dump_class(frame.clazz);
    dump_thread(env, frame.thread, JNI_TRUE);
}

void dump_exception_event(JNIEnv* env, const JVMDI_Event* event) {
    dump_class(env->GetObjectClass(event->u.exception.exception));
}

void dump_exception_catch_event(JNIEnv* env, const JVMDI_Event* event) {
    dump_class(env->GetObjectClass(event->u.exception_catch.exception));
}

void dump_thread_start_event(JNIEnv* env, const JVMDI_Event* event) {
    dump_thread(env, event->u.thread_change.thread, JNI_TRUE);
}

void dump_thread_end_event(JNIEnv* env, const JVMDI_Event* event) {
    dump_thread(env, event->u.thread_change.thread, JNI_FALSE);
}

void dump_class_event(JNIEnv* env, const JVMDI_Event* event) {
    dump_thread(env, event->u.class_event.thread, JNI_TRUE);
    dump_class(event->u.class_event.clazz);
}

void dump_no_details(JNIEnv*, const JVMDI_Event*) {}

/* The VM's start and end concern nothing that could be shown. */
void dump_unknown_event(JNIEnv*, const JVMDI_Event*) { AGENT_LOG(LogJVMDI, " Unknown event occurred\n"); }
