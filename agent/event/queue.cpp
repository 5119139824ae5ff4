#include "event/agent_event.h"

#include "core/agent_main.h"
#include "core/core_state.h"
#include "invoke/agent_call.h"
#include "registry/agent_uref.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

#include <stdlib.h>
#include <string.h>

enum { BLOCK_ENTRIES = 10, POLL_MILLISECONDS = 2000 };

jint jquor_attached;

static queue_entry* event_queue;               /* the oldest entry not yet taken; null when empty         */
static queue_entry* event_queue_end;           /* the entry appended last, while event_queue is set       */
static queue_entry* event_queue_freelist;      /* free entries, linked through `next`                     */
static queue_entry* pending_notify_event;      /* taken by the agent thread and not yet released; its own */
static monitor_t event_queue_monitor;          /* guards event_queue and event_queue_end; wakes the agent thread */
static monitor_t event_queue_freelist_monitor; /* guards event_queue_freelist; held with no other monitor        */

jint event_queue_init() {
    if (agent_self() == shared_load(tid_debug_agent))
        return report_failure("event_queue_init: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    if (!monitor_init(&event_queue_freelist_monitor) || !monitor_init(&event_queue_monitor)) agent_abort();
    event_queue = event_queue_end = event_queue_freelist = NULL;
    initialize_controlc_event();
    return 0;
}

/* Makes a block of entries the free list; the caller holds the list's monitor. */
static jint allocate_entries() {
    queue_entry* block;
    if (jint err = allocate_or_report(BLOCK_ENTRIES * sizeof *block, &block)) return err;
    memset((void*)block, 0, BLOCK_ENTRIES * sizeof *block);
    for (int i = 0; i < BLOCK_ENTRIES; i++) {
        monitor_init(&block[i].done);
        block[i].next = i + 1 < BLOCK_ENTRIES ? &block[i + 1] : NULL;
    }
    event_queue_freelist = block;
    return 0;
}

static jint take_free_entry(queue_entry** entry) {
    if (!monitor_lock(&event_queue_freelist_monitor, "add_event")) return JVMDI_ERROR_INTERNAL;
    jint err = event_queue_freelist ? 0 : allocate_entries();
    if (!err) {
        *entry = event_queue_freelist;
        event_queue_freelist = (*entry)->next;
    }
    return monitor_unlock(&event_queue_freelist_monitor, "add_event") ? err : JVMDI_ERROR_INTERNAL;
}

static jint put_free_entry(queue_entry* entry) {
    if (!monitor_lock(&event_queue_freelist_monitor, "add_event")) return JVMDI_ERROR_INTERNAL;
    entry->next = event_queue_freelist;
    event_queue_freelist = entry;
    return monitor_unlock(&event_queue_freelist_monitor, "add_event") ? 0 : JVMDI_ERROR_INTERNAL;
}

/* Appends an entry whose done monitor the caller holds; a failure gives up that monitor too. */
static jint append(queue_entry* entry) {
    if (!monitor_lock(&event_queue_monitor, "add_event")) {
        monitor_unlock(&entry->done, "add_event");
        return JVMDI_ERROR_INTERNAL;
    }
    if (event_queue)
        event_queue_end->next = entry;
    else
        event_queue = entry;
    event_queue_end = entry;
    if (!monitor_signal(&event_queue_monitor, "add_event")) {
        monitor_unlock(&entry->done, "add_event");
        monitor_unlock(&event_queue_monitor, "add_event");
        return JVMDI_ERROR_INTERNAL;
    }
    if (!monitor_unlock(&event_queue_monitor, "add_event")) {
        monitor_unlock(&entry->done, "add_event");
        return JVMDI_ERROR_INTERNAL;
    }
    return 0;
}

/* What add_event_helper does; with `may_end` the thread's record may be gone when its event was processed, and is then null. */
static jint post(JNIEnv* env, void* event, event_handler handler, JVMDI_Event* result, tmap_record** record,
                 bool may_end) {
    const agent_tid_t tid = *record ? (*record)->tid : agent_self();
    if (tid == shared_load(tid_debug_agent))
        return report_failure("add_event: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    queue_entry* entry = NULL;
    if (jint err = take_free_entry(&entry)) return err;
    /* held until the event was processed, so that the agent thread cannot signal before this thread waits */
    if (!monitor_lock(&entry->done, "add_event")) return JVMDI_ERROR_INTERNAL;
    entry->event = event;
    entry->tid = tid;
    entry->handler = handler;
    entry->next = NULL;
    if (jint err = append(entry)) return err;
    while (entry->event)
        if (!monitor_wait(&entry->done, "add_event")) return JVMDI_ERROR_INTERNAL;
    if (may_end) *record = TMap_tid2tm(tid);
    service_invoke_request(env, *record, result);
    if (!monitor_unlock(&entry->done, "add_event")) return JVMDI_ERROR_INTERNAL;
    return put_free_entry(entry);
}

static void share_outcome(vm_shared_references* shared, AgentInvokRet* outcome) {
    shared->take(&outcome->exception);
    const bool is_reference = outcome->return_type == 'L' || outcome->return_type == '[';
    if (outcome->status == INVOKE_STATUS_RETURNED && is_reference) shared->take(&outcome->value.l);
}

static bool ends_thread(const void* event, event_handler handler) {
    return handler == (event_handler)process_jvmdi_event && ((const JVMDI_Event*)event)->kind == JVMDI_EVENT_THREAD_END;
}

jint add_event(JNIEnv* env, void* event, event_handler handler) {
    tmap_record* record = TMap_tid2tm(agent_self());
    if (record) {
        const jint state = shared_load(record->invocation_state);
        if (state == INVOKE_ABANDONED) {
            shared_store(record->invocation_state, INVOKE_ABORTED);
            env->Throw((jthrowable)java_lang_throwable);
        }
        if (state != INVOKE_NONE) return 0;
    }
    const bool may_end = ends_thread(event, handler);
    JVMDI_Event result;
    memset(&result, 0, sizeof result);
    vm_shared_references shared(env);
    for (;;) {
        if (jint err = post(env, event, handler, &result, &record, may_end)) return err;
        shared.release(); /* of an outcome that was just delivered */
        if (outcome_of(&result)->status == 0) return 0;
        share_outcome(&shared, outcome_of(&result));
        event = &result;
    }
}

jint add_event_helper(JNIEnv* env, void* event, event_handler handler, JVMDI_Event* result, tmap_record* record) {
    return post(env, event, handler, result, &record, false);
}

/* Waits, with the queue's monitor held, for an entry or a control-C request, and answers attach requests meanwhile. The
 * debugger writes its flags from outside and cannot signal, so they are polled. */
static bool wait_for_work() {
    while (!event_queue && shared_load(controlc_hit) == 0) {
        if (shared_load(jquor_attached) == 1) {
            process_on_attach();
            shared_store(jquor_attached, 0);
        }
        if (!monitor_wait_timeout(&event_queue_monitor, POLL_MILLISECONDS, "process_next_event")) return false;
    }
    return true;
}

static queue_entry* take_head() {
    queue_entry* entry = event_queue;
    if (entry) event_queue = entry->next;
    return entry;
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
    queue_entry* entry = controlc ? NULL : take_head();
    if (!monitor_unlock(&event_queue_monitor, "process_next_event")) return JVMDI_ERROR_INTERNAL;
    if (!controlc && !entry) return 0; /* woken by a value that controlc_hit must not have */

    vm_local_frame frame(env);
    if (controlc) return handle_controlc_event(env);
    process_entry(env, entry);
    event_queue_release_pending(); /* the handler may have released the entry and put another in its place */
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

jint event_queue_release_pending() {
    queue_entry* entry = pending_notify_event;
    pending_notify_event = NULL;
    return entry ? notify_event_processing_done(entry) : 0;
}

static bool is_outcome(const queue_entry* entry, agent_tid_t tid) {
    return entry->handler == (event_handler)process_jvmdi_event && entry->tid == tid &&
           ((const JVMDI_Event*)entry->event)->kind == JVMDI_EVENT_USER_DEFINED;
}

jint event_queue_await_outcome(agent_tid_t tid, AgentInvokRet* result, bool* found) {
    if (!monitor_lock(&event_queue_monitor, "process_invokemethod_event")) return JVMDI_ERROR_INTERNAL;
    while (!event_queue) {
        if (!monitor_wait(&event_queue_monitor, "process_invokemethod_event")) {
            monitor_unlock(&event_queue_monitor, "process_invokemethod_event");
            return JVMDI_ERROR_INTERNAL;
        }
    }
    *found = is_outcome(event_queue, tid);
    queue_entry* entry = *found ? take_head() : NULL;
    if (!monitor_unlock(&event_queue_monitor, "process_invokemethod_event")) return JVMDI_ERROR_INTERNAL;
    if (entry) {
        *result = *outcome_of((JVMDI_Event*)entry->event);
        pending_notify_event = entry;
    }
    return 0;
}
