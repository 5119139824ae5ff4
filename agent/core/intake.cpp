#include "core/agent_main.h"

#include "core/core_state.h"
#include "entry/entry_support.h"
#include "event/agent_event.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "support/agent_trace.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

#include <stdio.h>
#include <string.h>

static const char LOG_SOURCE[] = "agent_main.c";

jint vm_init_done;
jobject java_lang_throwable;

/* The references of an event belong to the raising thread; the agent thread is about to use them. */
static void share_references(vm_shared_references* shared, JVMDI_Event* event) {
    switch (event->kind) {
    case JVMDI_EVENT_EXCEPTION:
    case JVMDI_EVENT_EXCEPTION_CATCH: shared->share(&event->u.exception_catch.exception); break;
    case JVMDI_EVENT_FIELD_MODIFICATION:
        if (event->u.field_modification.signature_type == 'L' || event->u.field_modification.signature_type == '[')
            shared->share(&event->u.field_modification.new_value.l);
        [[fallthrough]];
    case JVMDI_EVENT_FIELD_ACCESS:
        shared->share(&event->u.field_access.field_clazz);
        shared->share(&event->u.field_access.object);
        break;
    case JVMDI_EVENT_CLASS_PREPARE: shared->share(&event->u.class_event.clazz); break;
    default: break;
    }
    if (event->kind != JVMDI_EVENT_VM_DEATH) shared->share(&event->u.thread_change.thread);
}

/* What both full hooks do with an event; `message` reports, with the error's name, that it cannot be queued. */
static void take_event(JNIEnv* env, const JVMDI_Event* raised, agent_tid_t tid, const char* message) {
    JVMDI_Event event = *raised;
    if (!filter_jvmdi_event(env, &event)) return;
    if (tid == shared_load(tid_debug_agent)) {
        process_jvmdi_event(env, &event, tid); /* the agent thread empties the queue: it cannot wait in it */
        return;
    }
    if (!shared_load(agent_thread)) return;
    vm_shared_references shared(env);
    share_references(&shared, &event);
    if (jint err = add_event(env, &event, (event_handler)process_jvmdi_event)) agent_fatal_error(message, err);
}

void JNICALL jvmdi_event_hook(JNIEnv* env, JVMDI_Event* event) {
    take_event(env, event, agent_self(), "jvmdi_event_hook: Unable to process event -- %s\n");
}

void jvmti_event_hook(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid) {
    take_event(env, event, tid, "jvmti_event_hook: Unable to process event -- %s\n");
}

void jvmpi_event_hook(JVMPI_Event* event) {
    if (agent_self() == shared_load(tid_debug_agent)) {
        process_jvmpi_event(event->env_id, event, agent_self());
        return;
    }
    if (jint err = add_event(event->env_id, event, (event_handler)process_jvmpi_event))
        agent_fatal_error("jvmdi_event_hook:Unable to process event failed -- %s\n", err);
}

/* An object that the agent can throw; null, after a message, when it cannot be made. */
static jobject new_throwable(JNIEnv* env) {
    const jclass clazz = env->FindClass("java/lang/Exception");
    const jmethodID constructor = clazz ? env->GetMethodID(clazz, "<init>", "()V") : NULL;
    const jobject throwable = constructor ? env->NewObject(clazz, constructor) : NULL;
    if (throwable) return throwable;
    clear_exception(env);
    printf("AgentThread(): Throwable Failed\n");
    return NULL;
}

static jobject own(JNIEnv* env, jobject reference) {
    jint created;
    return URef_from_local(env, reference, &created);
}

static void boot_vm_init(JNIEnv* env) {
    AGENT_LOG(LogJVMDI, "AgentThread: boot_event_hook():JVMDI_EVENT_VM_INIT\n");
    TMap_init();
    PrepList_seed(&prep_list, env);
    java_lang_throwable = own(env, new_throwable(env));
    start_agent_thread(env);
    shared_store(vm_init_done, 1);
}

static void boot_thread_start(JNIEnv* env, JVMDI_Event* event) {
    const agent_tid_t tid = agent_self();
    jthread* thread = &event->u.thread_change.thread;
    AGENT_LOG(LogJVMDI_VM_thread,
              "boot_event_hook : case JVMDI_EVENT_THREAD_START:\n  ---  passed in: tid = %d, thread = %x\n", tid,
              *thread);
    *thread = own(env, *thread);
    AGENT_LOG(LogJVMDI_VM_thread, "  --- looked up thread =%x\n", *thread);
    TMap_start(*thread, tid);
    hook_thread_start(env, event);
    if (log_is_on(LogJVMDI)) dump_jvmdi_event(env, event);
}

static void boot_thread_end(JNIEnv* env, JVMDI_Event* event) {
    const agent_tid_t tid = agent_self();
    jthread* thread = &event->u.thread_change.thread;
    AGENT_LOG(LogJVMDI_VM_thread,
              "boot_event_hook : case JVMDI_EVENT_THREAD_END:\n   ---   passed in: tid = %d, thread = %x\n", tid,
              *thread);
    *thread = URef_find(env, *thread);
    AGENT_LOG(LogJVMDI_VM_thread, "  --- looked up thread =%x\n", *thread);
    hook_thread_stop(env, event);
    if (!*thread)
        AGENT_LOG(LogJVMDI, "Thread end on dead thread:ignored\n");
    else if (log_is_on(LogJVMDI))
        dump_jvmdi_event(env, event);
    TMap_end(*thread, tid);
    if (*thread) URef_delete(env, *thread);
}

static void boot_class_prepare(JNIEnv* env, JVMDI_Event* event) {
    event->u.class_event.thread = own(env, event->u.class_event.thread);
    event->u.class_event.clazz = (jclass)own(env, event->u.class_event.clazz);
    if (shared_load(vm_init_done) != 1) {
        AGENT_LOG(LogJVMDI, "AgentThread: boot_event_hook(): ignored EVENT_CLASS_PREPARE");
        return;
    }
    AGENT_LOG(LogJVMDI, "AgentThread: boot_event_hook(): EVENT_CLASS_PREPARE");
    if (log_is_on(LogJVMDI)) dump_jvmdi_event(env, event);
}

void JNICALL boot_event_hook(JNIEnv* env, JVMDI_Event* raised) {
    JVMDI_Event copy = *raised;
    JVMDI_Event* event = &copy;
    switch (event->kind) {
    case JVMDI_EVENT_VM_INIT: boot_vm_init(env); break;
    case JVMDI_EVENT_THREAD_START: boot_thread_start(env, event); break;
    case JVMDI_EVENT_THREAD_END: boot_thread_end(env, event); break;
    case JVMDI_EVENT_CLASS_PREPARE: boot_class_prepare(env, event); break;
    case JVMDI_EVENT_CLASS_UNLOAD:
        hook_class_unload(env, event);
        URef_delete(env, event->u.class_event.clazz);
        break;
    default: AGENT_LOG(LogJVMDI, "\tevent %s ignored during boot", jvmdi_event_str(event->kind)); break;
    }
}

static bool begins_with(const char* text, const char* prefix) { return strncmp(text, prefix, strlen(prefix)) == 0; }

jint is_system_class(JNIEnv* env, jclass clazz) {
    static const char* const platform[] = {"Ljava/", "[Ljava/", "Ljavax/", "[Ljavax/", "Loro/", "[Loro/"};
    char* signature;
    if (vm_get_class_signature(env, clazz, &signature)) return 0;
    jint answer = 0;
    for (const char* prefix : platform)
        if (begins_with(signature, prefix)) answer = 1;
    if (jint err = deallocate_or_report(signature)) return err;
    return answer;
}
