#include "load/boot_hooks.h"

#include "agent_thread/processing.h"
#include "java_threads/boot.h"
#include "java_threads/callbacks.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_interface.h"
#include "vm/vm_newer.h"

#include <string.h>

/* The second of the two only while the category is on still. */
static void enable_method_events(void (*enable)(bool entry)) {
    if (!log_is_on(LogJVMDImethod)) return;
    enable(true);
    if (log_is_on(LogJVMDImethod)) enable(false);
}

static void install_jvmdi_boot_hook() {
    set_jvmdi_events(JVMDI_DISABLE, {JVMDI_EVENT_EXCEPTION, JVMDI_EVENT_EXCEPTION_CATCH, JVMDI_EVENT_CLASS_PREPARE,
                                     JVMDI_EVENT_CLASS_LOAD, JVMDI_EVENT_CLASS_UNLOAD});
    enable_method_events([](bool entry) {
        set_jvmdi_events(JVMDI_ENABLE, {entry ? JVMDI_EVENT_METHOD_ENTRY : JVMDI_EVENT_METHOD_EXIT});
    });
    jvmdi->SetEventHook(boot_event_hook);
}

/* Those that are installed at load and put back at the end alike. */
static jvmtiEventCallbacks boot_callbacks() {
    jvmtiEventCallbacks callbacks;
    memset(&callbacks, 0, sizeof callbacks);
    callbacks.VMInit = cbb_jvmtiEventVMInit;
    callbacks.ThreadStart = cbb_jvmtiEventThreadStart;
    callbacks.ThreadEnd = cbb_jvmtiEventThreadEnd;
    return callbacks;
}

static void install_jvmti_boot_callbacks() {
    jvmtiEventCallbacks callbacks = boot_callbacks();
    callbacks.ClassPrepare = cbb_jvmtiEventClassPrepare;
    if (vm_is_newer()) callbacks.VMDeath = boot_vm_death;
    jvmti->SetEventCallbacks(&callbacks, JVMTI_CALLBACKS_SIZE);
    set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_VM_INIT});
    set_jvmti_events(JVMTI_DISABLE, {JVMTI_EVENT_CLASS_PREPARE});
    set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_THREAD_START, JVMTI_EVENT_THREAD_END});
    enable_method_events([](bool entry) {
        if (!entry && !jvmti_features.can_generate_method_exit_events) return;
        set_jvmti_events(JVMTI_ENABLE, {entry ? JVMTI_EVENT_METHOD_ENTRY : JVMTI_EVENT_METHOD_EXIT});
    });
    if (vm_is_newer()) set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_VM_DEATH}); /* from now to the end */
}

/* The class-prepare boot callback is not among those put back: nobody collects classes any more. */
static void put_back_jvmti_boot_callbacks() {
    const jvmtiEventCallbacks callbacks = boot_callbacks();
    if (jint err = jvmti->SetEventCallbacks(&callbacks, JVMTI_CALLBACKS_SIZE))
        agent_fatal_error("AgentThread: JVM_OnLoad(): JVMDI_SetEventHook() failed -- %s\n", err);
    set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_VM_INIT, JVMTI_EVENT_THREAD_START, JVMTI_EVENT_THREAD_END});
}

void install_boot_hooks() {
    put_back_boot_hooks = reinstall_boot_hooks;
    if (jvmti)
        install_jvmti_boot_callbacks();
    else
        install_jvmdi_boot_hook();
}

void reinstall_boot_hooks() {
    if (jvmti)
        put_back_jvmti_boot_callbacks();
    else
        jvmdi->SetEventHook(boot_event_hook);
}
