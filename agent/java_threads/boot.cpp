#include "java_threads/boot.h"

#include "agent_thread/agent_thread.h"
#include "agent_thread/processing.h"
#include "event/event_log.h"
#include "event/hook_points.h"
#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "support/log_agent.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"
#include "vm/vm_newer.h"

#include <stdio.h>

static const char LOG_SOURCE[] = "agent_main.c";

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

static void boot_vm_init(JNIEnv* env) {
    AGENT_LOG(LogJVMDI, "AgentThread: boot_event_hook():JVMDI_EVENT_VM_INIT\n");
    TMap_init();
    PrepList_seed(&prep_list, env);
    java_lang_throwable = intern(env, new_throwable(env));
    start_agent_thread(env);
    shared_store(vm_init_done, 1);
}

static void boot_thread_start(JNIEnv* env, JVMDI_Event* event) {
    const agent_tid_t tid = agent_self();
    jthread* thread = &event->u.thread_change.thread;
    AGENT_LOG(LogJVMDI_VM_thread,
              "boot_event_hook : case JVMDI_EVENT_THREAD_START:\n  ---  passed in: tid = %d, thread = %x\n", tid,
              *thread);
    *thread = intern(env, *thread);
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
    event->u.class_event.thread = intern(env, event->u.class_event.thread);
    event->u.class_event.clazz = intern(env, event->u.class_event.clazz);
    if (shared_load(vm_init_done) != 1) {
        AGENT_LOG(LogJVMDI, "AgentThread: boot_event_hook(): ignored EVENT_CLASS_PREPARE");
        return;
    }
    AGENT_LOG(LogJVMDI, "AgentThread: boot_event_hook(): EVENT_CLASS_PREPARE");
    if (log_is_on(LogJVMDI)) dump_jvmdi_event(env, event);
}

void JNICALL boot_event_hook(JNIEnv* env, JVMDI_Event* raised) {
    if (agent_thread_is_leaving()) return;
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
    case JVMDI_EVENT_VM_DEATH:
        if (vm_is_newer()) {
            end_agent_thread();
            break;
        }
        [[fallthrough]];
    default: AGENT_LOG(LogJVMDI, "\tevent %s ignored during boot", jvmdi_event_str(event->kind)); break;
    }
}
