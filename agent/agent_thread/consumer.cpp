#include "agent_thread/consumer.h"

#include "agent_thread/attach_stop.h"
#include "agent_thread/control_c.h"
#include "agent_thread/processing.h"
#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "support/agent_self.h"
#include "support/report.h"
#include "vm/vm_env.h"
#include "vm/vm_newer.h"

enum { POLL_MILLISECONDS = 2000 };

static queue_entry* pending_notify_event; /* taken by the agent thread and not yet released; its own */

jint event_queue_init() {
    if (on_agent_thread()) return report_failure("event_queue_init: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    event_queue_reset();
    initialize_controlc_event();
    return 0;
}

/* Waits, with the queue's monitor held, for an entry or a control-C request, and answers attach requests meanwhile. The
 * debugger writes its flags from outside and cannot signal, so they are polled. */
static bool wait_for_work() {
    while (event_queue_is_empty() && shared_load(controlc_hit) == 0) {
        if (shared_load(jquor_attached) == 1) {
            process_on_attach();
            shared_store(jquor_attached, 0);
        }
        if (!monitor_wait_timeout(&event_queue_monitor, POLL_MILLISECONDS, "process_next_event")) return false;
    }
    return true;
}

/* A call whose outcome was queued behind another thread's event is over, although the debugger, which found that event first,
 * has then given it up: what the thread does next must be neither dropped nor answered with an exception. */
static void forget_abandonment(const JVMDI_Event* event, agent_tid_t tid) {
    tmap_record* record = event->kind == JVMDI_EVENT_USER_DEFINED ? TMap_tid2tm(tid) : NULL;
    if (record && shared_load(record->invocation_state) == INVOKE_ABANDONED)
        shared_store(record->invocation_state, INVOKE_NONE);
}

static void process_entry(JNIEnv* env, queue_entry* entry) {
    jthread virtual_thread = NULL; /* known for this event only */
    if (entry->handler == (event_handler)process_jvmdi_event) {
        JVMDI_Event* event = (JVMDI_Event*)entry->event;
        forget_abandonment(event, entry->tid);
        virtual_thread = adopt_unannounced_thread(env, event, entry->tid);
        preprocess_jvmdi_references(env, event);
    }
    pending_notify_event = entry;
    entry->handler(env, entry->event, entry->tid);
    if (virtual_thread) URef_delete(env, virtual_thread);
}

jint process_next_event() {
    if (agent_self() != shared_load(tid_debug_agent))
        return report_failure("process_next_event: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    if (!monitor_lock(&event_queue_monitor, "process_next_event")) return JVMDI_ERROR_INTERNAL;
    if (!wait_for_work()) {
        monitor_unlock(&event_queue_monitor, "process_next_event");
        return JVMDI_ERROR_INTERNAL;
    }
    JNIEnv* env = getEnv();
    const bool controlc = shared_load(controlc_hit) == 1;
    queue_entry* entry = controlc ? NULL : event_queue_take_head();
    if (!monitor_unlock(&event_queue_monitor, "process_next_event")) return JVMDI_ERROR_INTERNAL;
    if (!controlc && !entry) return 0; /* woken by a value that controlc_hit must not have */

    vm_local_frame frame(env);
    if (controlc) return handle_controlc_event(env);
    process_entry(env, entry);
    release_pending_entry(); /* the handler may have released the entry and put another in its place */
    return 0;
}

jint notify_event_processing_done(queue_entry* entry) {
    if (!monitor_lock(&entry->done, "notify_event_processing_done")) return JVMDI_ERROR_INTERNAL;
    entry->event = NULL;
    entry->handler = NULL;
    entry->tid = 0;
    const bool signalled = monitor_signal(&entry->done, "notify_event_processing_done");
    const bool unlocked = monitor_unlock(&entry->done, "notify_event_processing_done");
    return signalled && unlocked ? 0 : JVMDI_ERROR_INTERNAL;
}

jint release_pending_entry() {
    queue_entry* entry = pending_notify_event;
    pending_notify_event = NULL;
    return entry ? notify_event_processing_done(entry) : 0;
}

static bool is_outcome(const queue_entry* entry, agent_tid_t tid) {
    return entry->handler == (event_handler)process_jvmdi_event && entry->tid == tid &&
           ((const JVMDI_Event*)entry->event)->kind == JVMDI_EVENT_USER_DEFINED;
}

jint await_queued_outcome(agent_tid_t tid, AgentInvokRet* result, bool* found) {
    if (!monitor_lock(&event_queue_monitor, "process_invokemethod_event")) return JVMDI_ERROR_INTERNAL;
    while (event_queue_is_empty()) {
        if (!monitor_wait(&event_queue_monitor, "process_invokemethod_event")) {
            monitor_unlock(&event_queue_monitor, "process_invokemethod_event");
            return JVMDI_ERROR_INTERNAL;
        }
    }
    *found = is_outcome(event_queue_head(), tid);
    queue_entry* entry = *found ? event_queue_take_head() : NULL;
    if (!monitor_unlock(&event_queue_monitor, "process_invokemethod_event")) return JVMDI_ERROR_INTERNAL;
    if (entry) {
        *result = *outcome_of((JVMDI_Event*)entry->event);
        pending_notify_event = entry;
    }
    return 0;
}
