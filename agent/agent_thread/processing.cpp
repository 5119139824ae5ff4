#include "agent_thread/processing.h"

#include "event/event_log.h"
#include "event/event_table.h"
#include "event/filters.h"
#include "event/hook_points.h"
#include "event/queue.h"
#include "invoke/requests.h"
#include "registry/agent_records.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/class_info.h"
#include "registry/prep_list.h"
#include "registry/resources.h"
#include "stop/resume_after_event.h"
#include "stop/running_stop.h"
#include "stop/suspend.h"
#include "support/agent_self.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_interface.h"
#include "vm/vm_newer.h"

#include <stdio.h>

static const char LOG_SOURCE[] = "agent_main.c";

jint terminate_debug_agent;
void (*put_back_boot_hooks)();

static jint user_class_loaded; /* set by the first prepared class that is not the platform's; never reset */

/* The exception that has armed a filter must be known when it is caught. */
static void release_exception(JNIEnv* env, jobject exception) {
    if (!event_filter_holds(exception)) freeURef(env, exception);
}

/* A program may throw for ever, each time another object: on a newer VM a URef that an event makes for its exception goes when
 * the process resumes, like everything else that the debugger was handed at that stop. */
static void own_exception(JNIEnv* env, jobject* exception) {
    jint created = 0;
    *exception = URef_from_local(env, *exception, &created);
    if (created && vm_is_newer()) add_resource(env, *exception, release_exception, "exception");
}

static void find_thread(JNIEnv* env, jthread* thread, const char* message) {
    *thread = URef_find(env, *thread);
    if (!*thread) agent_fatal("%s", message);
}

static void note_prepared_class(JNIEnv* env, jclass clazz) {
    if (!user_class_loaded && !is_system_class(env, clazz)) user_class_loaded = 1;
    PrepList_add_locked(&prep_list, env, clazz, 0);
}

/* Every kind with references has its thread, class and method where a breakpoint has them, and the exception and field
 * records share their first words; the layout is asserted in registry/agent_records.cpp. */
void preprocess_jvmdi_references(JNIEnv* env, JVMDI_Event* event) {
    const event_row* row = event_row_of(event->kind);
    const unsigned wanted = row ? row->references : 0;
    if (!wanted) {
        const char* message = row ? row->message : "preprocess_jvmdi_references: got unknown event";
        if (message) fputs(message, stdout);
        return;
    }
    auto& place = event->u.breakpoint;
    if (wanted & FIND_THREAD) find_thread(env, &place.thread, row->message);
    if (wanted & OWN_THREAD) place.thread = intern(env, place.thread);
    if ((wanted & DECLARING_CLASS) && jvmti) jvmti->GetMethodDeclaringClass(place.method, &place.clazz);
    if (wanted & OWN_CLASS) place.clazz = intern(env, place.clazz);
    if (wanted & OWN_EXCEPTION) own_exception(env, &event->u.exception.exception);
    if (wanted & OWN_FIELD_CLASS) event->u.field_access.field_clazz = intern(env, event->u.field_access.field_clazz);
    if (event->kind == JVMDI_EVENT_CLASS_PREPARE) note_prepared_class(env, place.clazz);
}

jthread adopt_unannounced_thread(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid) {
    const event_row* row = event_row_of(event->kind);
    if (!vm_is_newer() || !row || !(row->references & FIND_THREAD)) return NULL;
    const jthread thread = event->u.breakpoint.thread;
    const tmap_record* record = TMap_tid2tm(tid);
    if (record && env->IsSameObject(record->handle, thread)) return NULL;
    jint created = 0;
    const jthread handle = URef_from_local(env, thread, &created);
    const bool deletes_handle = event->kind == JVMDI_EVENT_THREAD_END;
    if (record) return created && !deletes_handle ? handle : NULL;
    if (handle) TMap_start(handle, tid);
    return NULL;
}

/* Whether the event was raised on the agent thread, by what the debugger does with it while it stands at a hook: a class
 * look-up runs Java code, say. The outcome of an invocation or a control-C stop, charged to any thread, is not. */
static bool is_raised_in_stop(const JVMDI_Event* event, agent_tid_t tid) {
    return is_agent_thread(tid) && event->kind != JVMDI_EVENT_USER_DEFINED;
}

/* The debugger's breakpoint stops the agent thread in there. */
static void call_hook(hook_point hook, JNIEnv* env, JVMDI_Event* event) {
    agent_activity rest(false);
    hook(env, event);
}

/* Shows the event with all other Java threads stopped. A newer VM runs Java code for much that a debugger asks, and would
 * not survive the use of what the outer stop handed out and this one released: there the outer stop goes on as it was. */
static void show(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid, hook_point hook) {
    const bool keep_stop = vm_is_newer() && is_raised_in_stop(event, tid);
    const bool held = agent_has_suspended();
    agent_suspend_all(env);
    call_hook(hook, env, event);
    if (!keep_stop)
        resume_after_event(env);
    else if (!held)
        agent_resume_all(env);
}

static void show_exception(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid, hook_point hook) {
    if (event->u.exception.exception) {
        /* so that the debugger finds the class in the table */
        jclass clazz = env->GetObjectClass(event->u.exception.exception);
        clazz = intern(env, clazz);
    }
    show(env, event, tid, hook);
}

static void show_thread_start(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid, hook_point hook) {
    const jthread thread = event->u.thread_change.thread;
    AGENT_LOG(LogJVMDI_VM_thread, "process_jvmdi_event: case JVMDI_EVENT_THREAD_START, tid = %d thread =%x\n", tid,
              thread);
    TMap_start(thread, tid);
    show(env, event, tid, hook);
}

/* Shows the event while the other threads run, and leaves them so. What was handed out ends with such a stop, too, on a newer
 * VM; elsewhere with the next stop of all threads. */
static void show_running(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid, hook_point hook) {
    running_stop stop(env, vm_is_newer() && !is_raised_in_stop(event, tid));
    call_hook(hook, env, event);
}

/* The dying thread is not stopped, and neither is any other. */
static void show_thread_end(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid, hook_point hook) {
    const jthread thread = event->u.thread_change.thread;
    AGENT_LOG(LogJVMDI_VM_thread, "process_jvmdi_event: case JVMDI_EVENT_THREAD_END, tid = %d thread =%x\n", tid,
              thread);
    show_running(env, event, tid, hook);
    TMap_end(thread, tid);
    free_requests_of(env, thread);
    URef_delete(env, thread);
}

void end_agent_thread() {
    shared_store(vm_init_done, 0);
    shared_store(terminate_debug_agent, 1);
    event_queue_wake();
}

bool agent_thread_is_leaving() { return vm_is_newer() && on_agent_thread() && shared_load(terminate_debug_agent) == 1; }

static void process_vm_death() {
    put_back_boot_hooks();
    shared_store(terminate_debug_agent, 1);
    shared_store(vm_init_done, 0);
}

void process_jvmdi_event(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid) {
    const event_row* row = event_row_of(event->kind);
    const hook_point hook = row ? row->hook : NULL;
    switch (event->kind) {
    case JVMDI_EVENT_EXCEPTION: show_exception(env, event, tid, hook); break;
    case JVMDI_EVENT_EXCEPTION_CATCH:
        if (event->u.exception_catch.exception) show(env, event, tid, hook);
        break;
    case JVMDI_EVENT_USER_DEFINED:
        show(env, event, tid, event->u.user.key == CONTROLC_STATUS ? hook_controlc : hook);
        break;
    case JVMDI_EVENT_THREAD_START: show_thread_start(env, event, tid, hook); break;
    case JVMDI_EVENT_THREAD_END: show_thread_end(env, event, tid, hook); break;
    case JVMDI_EVENT_CLASS_UNLOAD:
        show(env, event, tid, hook);
        URef_delete(env, event->u.class_event.clazz);
        break;
    case JVMDI_EVENT_METHOD_ENTRY: show_running(env, event, tid, hook); break;
    case JVMDI_EVENT_VM_DEATH: process_vm_death(); break;
    default:
        if (hook) show(env, event, tid, hook);
        break;
    }
}

void process_jvmpi_event(JNIEnv* env, JVMPI_Event* event, agent_tid_t) {
    if (log_is_on(LogJVMPI)) dump_jvmpi_event(env, event);
}
