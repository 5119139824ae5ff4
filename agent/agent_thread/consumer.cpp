#include "agent_thread/consumer.h"

#include "agent_thread/attach_stop.h"
#include "agent_thread/control_c.h"
#include "agent_thread/let_go.h"
#include "agent_thread/processing.h"
#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "support/agent_self.h"
#include "support/report.h"
#include "vm/vm_env.h"
#include "vm/vm_newer.h"

/* All of this runs on the agent thread, but for event_queue_init, which runs at load. A handler comes back only when the
 * debugger lets the hook point go, and may meanwhile have been through process_invokemethod_event, which takes entries too:
 * nothing here is held, or known of the queue, over a handler's call. */

enum { POLL_MILLISECONDS = 2000 };

/* The entry that the agent thread has taken and whose poster it has not released yet. The agent thread's own, and this
 * source's: it is replaced inside a hook call. A synchronous invocation that the debugger asks for at the hook releases the
 * entry of the event that is being shown, so that the poster can run the method, and puts the entry of the outcome in its
 * place; whoever called the hook must then release that one. */
static queue_entry* pending_notify_event;

jint event_queue_init() {
    if (on_agent_thread()) return report_failure("event_queue_init: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    event_queue_reset();
    initialize_controlc_event();
    return 0;
}

/* The last condition is met while the agent thread waits on a newer VM only: elsewhere it ends itself. */
static bool has_work() {
    return !event_queue_is_empty() || shared_load(controlc_hit) != 0 || shared_load(terminate_debug_agent) == 1;
}

/* Meets the debugger that has attached. The queue is open meanwhile: threads post events, and a method may be asked for. */
static bool answer_attach() {
    if (!monitor_unlock(&event_queue_monitor, "process_next_event")) return false;
    {
        agent_activity work(true);
        process_on_attach();
    }
    shared_store(jquor_attached, 0);
    return monitor_lock(&event_queue_monitor, "process_next_event");
}

/* Waits, with the queue's monitor held, for an entry or a control-C request, and answers attach requests meanwhile. The
 * debugger writes its flags from outside and cannot signal, so they are polled. False, without the monitor, when it failed. */
static bool wait_for_work() {
    while (!has_work() && !let_go_is_due()) {
        if (shared_load(jquor_attached) == 1) {
            if (!answer_attach()) return false;
            continue; /* for what came meanwhile, and was signalled to nobody */
        }
        if (monitor_wait_timeout(&event_queue_monitor, POLL_MILLISECONDS, "process_next_event")) continue;
        monitor_unlock(&event_queue_monitor, "process_next_event");
        return false;
    }
    return true;
}

static void process_jvmdi_entry(JNIEnv* env, queue_entry* entry) {
    JVMDI_Event* event = (JVMDI_Event*)entry->event;
    const jthread virtual_thread = adopt_unannounced_thread(env, event, entry->tid); /* known for this event only */
    preprocess_jvmdi_references(env, event);
    pending_notify_event = entry;
    entry->handler.jvmdi(env, event, entry->tid);
    if (virtual_thread) URef_delete(env, virtual_thread);
}

static void process_jvmpi_entry(JNIEnv* env, queue_entry* entry) {
    pending_notify_event = entry;
    entry->handler.jvmpi(env, (JVMPI_Event*)entry->event, entry->tid);
}

jint process_next_event() {
    if (!on_agent_thread()) return report_failure("process_next_event: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    if (!monitor_lock(&event_queue_monitor, "process_next_event")) return JVMDI_ERROR_INTERNAL;
    if (!wait_for_work()) return JVMDI_ERROR_INTERNAL;
    agent_activity work(true);
    JNIEnv* env = getEnv();
    const bool controlc = shared_load(controlc_hit) == 1;
    queue_entry* entry = controlc ? NULL : event_queue_take_head();
    if (!monitor_unlock(&event_queue_monitor, "process_next_event")) return JVMDI_ERROR_INTERNAL;
    if (!controlc && !entry) return 0; /* woken to end, to let go, or by a value that controlc_hit must not have */

    vm_local_frame frame(env);
    if (controlc) return handle_controlc_event(env);
    if (is_vm_event(entry->handler))
        process_jvmdi_entry(env, entry);
    else
        process_jvmpi_entry(env, entry);
    release_pending_entry(); /* not `entry`: see there */
    return 0;
}

jint notify_event_processing_done(queue_entry* entry) {
    if (!monitor_lock(&entry->done, "notify_event_processing_done")) return JVMDI_ERROR_INTERNAL;
    entry->event = NULL;
    entry->handler.jvmdi = NULL;
    entry->tid = 0;
    return event_queue_hand_over(&entry->done, "notify_event_processing_done") ? 0 : JVMDI_ERROR_INTERNAL;
}

static queue_entry* take_next_entry() {
    if (!monitor_lock(&event_queue_monitor, "release_all_posters")) return NULL;
    queue_entry* entry = event_queue_take_head();
    monitor_unlock(&event_queue_monitor, "release_all_posters");
    return entry;
}

void release_all_posters() {
    event_queue_close();
    while (queue_entry* entry = take_next_entry()) notify_event_processing_done(entry);
}

jint release_pending_entry() {
    queue_entry* entry = pending_notify_event;
    pending_notify_event = NULL;
    return entry ? notify_event_processing_done(entry) : 0;
}

bool event_queue_has_work() {
    if (!monitor_lock(&event_queue_monitor, "process_invokemethod_event")) return false;
    const bool work = has_work();
    monitor_unlock(&event_queue_monitor, "process_invokemethod_event");
    return work;
}

static bool is_outcome_of(const queue_entry* entry, agent_tid_t tid) {
    return entry && is_vm_event(entry->handler) && entry->tid == tid &&
           ((const JVMDI_Event*)entry->event)->kind == JVMDI_EVENT_USER_DEFINED;
}

/* On a newer VM a debugger whose method blocks can end its wait, by the flag that it has for that. */
static bool wait_for_event() {
    static const char NAME[] = "process_invokemethod_event";
    const bool polls = vm_is_newer();
    while (polls ? !has_work() : event_queue_is_empty())
        if (!(polls ? monitor_wait_timeout(&event_queue_monitor, POLL_MILLISECONDS, NAME)
                    : monitor_wait(&event_queue_monitor, NAME)))
            return false;
    return true;
}

jint await_queued_event(agent_tid_t tid, bool* is_outcome) {
    if (!monitor_lock(&event_queue_monitor, "process_invokemethod_event")) return JVMDI_ERROR_INTERNAL;
    const bool waited = wait_for_event();
    *is_outcome = waited && is_outcome_of(event_queue_head(), tid);
    const bool unlocked = monitor_unlock(&event_queue_monitor, "process_invokemethod_event");
    return waited && unlocked ? 0 : JVMDI_ERROR_INTERNAL;
}

jint take_queued_outcome(AgentInvokRet* result) {
    if (!monitor_lock(&event_queue_monitor, "process_invokemethod_event")) return JVMDI_ERROR_INTERNAL;
    queue_entry* entry = event_queue_take_head();
    if (!monitor_unlock(&event_queue_monitor, "process_invokemethod_event")) return JVMDI_ERROR_INTERNAL;
    *result = *outcome_of((JVMDI_Event*)entry->event);
    pending_notify_event = entry;
    return 0;
}
