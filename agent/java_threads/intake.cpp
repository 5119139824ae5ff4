#include "java_threads/intake.h"

#include "agent_thread/processing.h"
#include "event/event_log.h"
#include "event/event_table.h"
#include "event/filters.h"
#include "event/queue.h"
#include "java_threads/poster.h"
#include "registry/prep_list.h"
#include "support/agent_self.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "support/text.h"
#include "vm/vm_newer.h"

/* All of this runs on the raising thread, in a callback of the VM: the references of the event are that thread's local ones, and
 * the record is on its stack. Both reach the agent thread only because this thread waits for it in add_event. What the debugger
 * is not to see is dropped here, before it costs the thread that wait. */

jint filter_jvmdi_event(JNIEnv* env, JVMDI_Event* event) {
    const event_row* row = event_row_of(event->kind);
    const event_verdict verdict = row ? row->verdict : DROP_DUMPED;
    if ((verdict == PASS_DUMPED || verdict == DROP_DUMPED) && log_is_on(LogJVMDI)) dump_jvmdi_event(env, event);
    switch (verdict) {
    case PASS:
    case PASS_DUMPED: return 1;
    case ASK_THROW_FILTER: return filter_jvmdi_event_throw(env, event);
    case ASK_CATCH_FILTER: return filter_jvmdi_event_catch(env, event);
    default: return 0;
    }
}

/* The references of an event belong to the raising thread; the agent thread is about to use them. */
static void share_references(vm_shared_references* shared, JVMDI_Event* event) {
    const event_row* row = event_row_of(event->kind);
    const unsigned wanted = row ? row->shared : 0;
    auto& u = event->u;
    if (wanted & SHARE_EXCEPTION) shared->share(&u.exception.exception);
    /* the value is a union: only the signature tells whether it is a reference */
    if ((wanted & SHARE_VALUE) && is_reference_type(u.field_modification.signature_type))
        shared->share(&u.field_modification.new_value.l);
    if (wanted & SHARE_FIELD) shared->share(&u.field_access.field_clazz);
    if (wanted & SHARE_FIELD) shared->share(&u.field_access.object);
    if (wanted & SHARE_CLASS) shared->share(&u.class_event.clazz);
    if (wanted & SHARE_THREAD) shared->share(&u.thread_change.thread);
}

enum { CALLBACK_REFERENCES = 32 }; /* that an event on the agent thread makes */

/* What both full event hooks do with an event; `message` reports, with the error's name, that it cannot be queued. */
static void take_event(JNIEnv* env, const JVMDI_Event* raised, agent_tid_t tid, failure_format message) {
    if (agent_thread_is_leaving()) return;
    JVMDI_Event event = *raised; /* its references are about to be replaced; JVMDI's record is the VM's own */
    if (!filter_jvmdi_event(env, &event)) return;
    if (is_agent_thread(tid)) {
        /* raised by a question at a stop: -Xcheck:jni holds the stop's references against the callback's small frame */
        vm_expect_local_references(env, CALLBACK_REFERENCES);
        if (vm_is_newer() && event.kind == JVMDI_EVENT_CLASS_PREPARE)
            PrepList_add_unasked(&prep_list, env, event.u.class_event.clazz);
        process_jvmdi_event(env, &event, tid); /* the agent thread empties the queue: it cannot wait in it */
        return;
    }
    if (!shared_load(agent_thread)) return; /* it has finished: nobody would release this thread */
    vm_shared_references shared(env);
    share_references(&shared, &event);
    if (jint err = add_event(env, &event, {.jvmdi = process_jvmdi_event})) agent_fatal_error(message, err);
}

void JNICALL jvmdi_event_hook(JNIEnv* env, JVMDI_Event* event) {
    take_event(env, event, agent_self(), "jvmdi_event_hook: Unable to process event -- %s\n");
}

void jvmti_event_hook(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid) {
    take_event(env, event, tid, "jvmti_event_hook: Unable to process event -- %s\n");
}

void jvmpi_event_hook(JVMPI_Event* event) {
    if (on_agent_thread()) {
        process_jvmpi_event(event->env_id, event, agent_self());
        return;
    }
    /* readers of the output know this text: it names the other interface's event hook */
    if (jint err = add_event(event->env_id, event, {.jvmpi = process_jvmpi_event}))
        agent_fatal_error("jvmdi_event_hook:Unable to process event failed -- %s\n", err);
}
