/* probe.cpp: what a debugger reads at one stop, read in one call. gdb's calls into a process take milliseconds each; a test
 * with ten thousand stops makes one call a stop, to this. Loaded by the Java program. */
#include "entry/agent_entry.h"
#include "registry/agent_records.h"
#include "vm/vm_interface.h"

#include <malloc.h>
#include <string.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

static jint failures;

static bool succeeded(jint code) {
    if (code) failures++;
    return code == 0;
}

static void read_threads(JNIEnv* env) {
    jint count = 0;
    jthread* threads = NULL;
    if (!succeeded(agent_get_threads(env, &count, &threads)) || count < 3) failures++;
    for (jint i = 0; i < count; i++) {
        JVMDI_thread_info info;
        JVMDI_owned_monitor_info owned;
        agent_tid_t tid;
        jint status, suspend_status;
        jobject contended = NULL;
        succeeded(agent_get_threadinfo(env, threads[i], &info, &tid, &status, &suspend_status));
        succeeded(agent_get_owned_monitorinfo(env, threads[i], &owned));
        succeeded(agent_get_current_contendedmonitor(env, threads[i], &contended));
    }
}

static void read_monitors(JNIEnv* env) {
    jint count = 0;
    monitor_entry* monitors = NULL;
    if (!succeeded(agent_get_monitorlist(env, &count, &monitors)) || count < 1) failures++;
    JVMDI_monitor_info info;
    if (count > 0 && succeeded(agent_get_monitorinfo(env, monitors[0].monitor, &info)))
        jvmti->Deallocate((unsigned char*)info.waiters); /* the array is the caller's */
}

/* The variables of one frame by its table, which names their types. */
static void read_variables(JNIEnv* env, jthread thread, jint depth, jclass clazz, jmethodID method) {
    jint count = 0;
    JVMDI_local_variable_entry* table = NULL;
    if (!succeeded(agent_get_localvariabletable(env, clazz, method, &count, &table))) return;
    for (jint i = 0; i < count; i++) {
        if (table[i].start_location != 0) continue; /* not live yet, perhaps */
        jint number;
        jlong wide;
        jobject object = NULL;
        switch (table[i].signature[0]) {
        case 'I': succeeded(agent_get_localint(env, NULL, table[i].slot, &number, thread, depth)); break;
        case 'J': succeeded(agent_get_locallong(env, NULL, table[i].slot, &wide, thread, depth)); break;
        case 'L': succeeded(agent_get_localobject(env, NULL, table[i].slot, &object, thread, depth)); break;
        default: break;
        }
    }
}

static void read_frames(JNIEnv* env, jthread thread) {
    jint frames = 0;
    if (!succeeded(agent_get_framecount(env, thread, &frames)) || frames < 2) failures++;
    for (jint depth = 0; depth < frames; depth++) {
        jframeID frame = NULL;
        jclass clazz = NULL;
        jmethodID method = NULL;
        jlocation location = 0;
        jint lines = 0;
        JVMDI_line_number_entry* table = NULL;
        succeeded(depth == 0 ? agent_get_currentframe(env, thread, &frame, &clazz, &method, &location)
                             : agent_get_callerframe(env, NULL, &frame, &clazz, &method, &location, thread, depth));
        succeeded(agent_get_linenumbertable(env, clazz, method, &lines, &table));
        read_variables(env, thread, depth, clazz, method);
    }
}

/* The fields of the object in slot 0 of the top frame: a number and a text. */
static void read_fields(JNIEnv* env, jthread thread, jint expected) {
    jobject object = NULL;
    jclass clazz = NULL;
    if (!succeeded(agent_get_localobject(env, NULL, 0, &object, thread, 0))) return;
    if (!succeeded(agent_get_objectclass(env, object, &clazz))) return;
    if (agent_get_field_int(env, object, env->GetFieldID(clazz, "number", "I")) != expected) failures++;
    const jobject text = agent_get_field_object(env, object, env->GetFieldID(clazz, "text", "Ljava/lang/String;"));
    jint length = 0;
    const char* characters = NULL;
    if (!succeeded(agent_get_stringvalue(env, (jstring)text, &length, &characters)) || strcmp(characters, "text"))
        failures++;
}

/* Reads everything at the stop of one breakpoint event; gives how many answers were wrong. */
EXPORTED jint probe_stop(JNIEnv* env, const JVMDI_Event* event, jint expected) {
    const jthread thread = event->u.breakpoint.thread;
    failures = 0;
    read_threads(env);
    read_monitors(env);
    read_frames(env, thread);
    read_fields(env, thread, expected);
    return failures;
}

/* Bytes of the process's allocator that are in use: the VM's and the agent's memory, handles included. */
EXPORTED long probe_memory() { return (long)mallinfo2().uordblks; }
