#include "java_threads/poster.h"

#include "agent_thread/processing.h"
#include "invoke/requests.h"
#include "invoke/service.h"
#include "registry/agent_tmap.h"
#include "registry/prep_list.h"
#include "support/agent_self.h"
#include "support/report.h"
#include "support/text.h"
#include "vm/vm_newer.h"

#include <string.h>

/* All of this runs on the thread that raised the event. It stands still in post() from the moment the entry is queued until the
 * agent thread has released it, and then may run a Java method for the debugger before it goes back to the VM; the outcome of
 * the method is posted like an event, round by round, until there is none. */

/* What add_event_helper does; with `may_end` the thread's record may be gone when its event was processed, and is then null. */
static jint post(JNIEnv* env, void* event, event_handler handler, JVMDI_Event* result, tmap_record** record,
                 bool may_end) {
    const agent_tid_t tid = *record ? (*record)->tid : agent_self();
    if (is_agent_thread(tid)) return report_failure("add_event: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    queue_entry* entry = NULL;
    if (jint err = event_queue_take_free(&entry)) return err;
    /* held until the event was processed, so that the agent thread cannot signal before this thread waits */
    if (!monitor_lock(&entry->done, "add_event")) return JVMDI_ERROR_INTERNAL;
    entry->event = event;
    entry->tid = tid;
    entry->handler = handler;
    entry->next = NULL;
    if (jint err = event_queue_append(entry)) return err;
    while (entry->event)
        if (!monitor_wait(&entry->done, "add_event")) return JVMDI_ERROR_INTERNAL;
    if (may_end) *record = TMap_tid2tm(tid);
    service_invoke_request(env, *record, result);
    if (!monitor_unlock(&entry->done, "add_event")) return JVMDI_ERROR_INTERNAL;
    return event_queue_put_free(entry);
}

static void share_outcome(vm_shared_references* shared, AgentInvokRet* outcome) {
    shared->take(&outcome->exception);
    const bool returned = outcome->status == INVOKE_STATUS_RETURNED;
    if (returned && is_reference_type((char)outcome->return_type)) shared->take(&outcome->value.l);
}

static bool ends_thread(const void* event, event_handler handler) {
    return is_vm_event(handler) && ((const JVMDI_Event*)event)->kind == JVMDI_EVENT_THREAD_END;
}

/* On a newer VM a class is listed even when nobody may stop for its preparation, and the VM's end is the agent thread's. */
static void note_dropped(JNIEnv* env, const void* dropped, event_handler handler) {
    const JVMDI_Event* event = (const JVMDI_Event*)dropped;
    if (!vm_is_newer() || !is_vm_event(handler)) return;
    if (event->kind == JVMDI_EVENT_CLASS_PREPARE) PrepList_add_unasked(&prep_list, env, event->u.class_event.clazz);
    if (event->kind == JVMDI_EVENT_VM_DEATH) end_agent_thread();
}

jint add_event(JNIEnv* env, void* event, event_handler handler) {
    tmap_record* record = TMap_tid2tm(agent_self());
    if (record) {
        const jint state = shared_load(record->invocation_state);
        if (state != INVOKE_NONE) note_dropped(env, event, handler);
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
