#include "entry/agent_entry.h"

#include "agent_thread/attach_stop.h"
#include "agent_thread/let_go.h"
#include "invoke/requests.h"
#include "java_threads/boot.h"
#include "java_threads/callbacks.h"
#include "java_threads/intake.h"
#include "stop/suspend.h"
#include "support/agent_self.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"
#include "vm/vm_newer.h"

static const char LOG_SOURCE[] = "agent_entry.c";

static void enable_jvmti_events() {
    set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_CLASS_PREPARE, JVMTI_EVENT_BREAKPOINT, JVMTI_EVENT_FIELD_ACCESS,
                                    JVMTI_EVENT_FIELD_MODIFICATION});
    set_jvmti_events(JVMTI_DISABLE,
                     {JVMTI_EVENT_EXCEPTION, JVMTI_EVENT_EXCEPTION_CATCH, JVMTI_EVENT_CLASS_LOAD, JVMTI_EVENT_FRAME_POP,
                      JVMTI_EVENT_METHOD_ENTRY, JVMTI_EVENT_METHOD_EXIT, JVMTI_EVENT_SINGLE_STEP});
}

static void enable_jvmdi_events() {
    set_jvmdi_events(JVMDI_ENABLE, {JVMDI_EVENT_CLASS_PREPARE, JVMDI_EVENT_CLASS_UNLOAD, JVMDI_EVENT_BREAKPOINT});
    set_jvmdi_events(JVMDI_DISABLE,
                     {JVMDI_EVENT_EXCEPTION, JVMDI_EVENT_EXCEPTION_CATCH, JVMDI_EVENT_CLASS_LOAD, JVMDI_EVENT_FRAME_POP,
                      JVMDI_EVENT_METHOD_ENTRY, JVMDI_EVENT_METHOD_EXIT, JVMDI_EVENT_SINGLE_STEP});
}

/* A debugger that stops the process anywhere may find the agent thread in the VM, or holding a lock that attaching needs. */
static bool may_attach_here() { return !vm_is_newer() || !on_agent_thread() || !agent_is_at_work(); }

jint agent_attach_jquor(JNIEnv* env) {
    if (!may_attach_here()) return JVMDI_ERROR_NOT_IMPLEMENTED;
    env = current_env(env);
    AGENT_LOG(LogJVMDI, "AgentThread: agent_attach_jquor()");
    const jint err = jvmti ? install_full_callbacks() : jvmdi->SetEventHook(jvmdi_event_hook);
    if (err) return report_failure("agent_attach_jquor: JVMDI_SetEventHook() failed -- %s\n", err);
    if (jvmti)
        enable_jvmti_events();
    else
        enable_jvmdi_events();
    let_go_later(false);
    list_classes_afresh(env);
    return 0;
}

static void leave_jvmdi() {
    jvmdi->ClearAllBreakpoints();
    set_jvmdi_events(JVMDI_DISABLE, {JVMDI_EVENT_METHOD_ENTRY, JVMDI_EVENT_METHOD_EXIT, JVMDI_EVENT_SINGLE_STEP,
                                     JVMDI_EVENT_BREAKPOINT, JVMDI_EVENT_FRAME_POP, JVMDI_EVENT_FIELD_ACCESS,
                                     JVMDI_EVENT_FIELD_MODIFICATION, JVMDI_EVENT_EXCEPTION, JVMDI_EVENT_EXCEPTION_CATCH,
                                     JVMDI_EVENT_CLASS_LOAD, JVMDI_EVENT_CLASS_UNLOAD, JVMDI_EVENT_CLASS_PREPARE});
    jvmdi->SetEventHook(boot_event_hook);
}

/* Breakpoints and callbacks stay where they are; without notifications they raise nothing. */
static void leave_jvmti() {
    set_jvmti_events(JVMTI_DISABLE, {JVMTI_EVENT_METHOD_ENTRY, JVMTI_EVENT_METHOD_EXIT, JVMTI_EVENT_SINGLE_STEP,
                                     JVMTI_EVENT_BREAKPOINT, JVMTI_EVENT_FRAME_POP, JVMTI_EVENT_FIELD_ACCESS,
                                     JVMTI_EVENT_FIELD_MODIFICATION, JVMTI_EVENT_EXCEPTION, JVMTI_EVENT_EXCEPTION_CATCH,
                                     JVMTI_EVENT_CLASS_LOAD, JVMTI_EVENT_CLASS_PREPARE});
}

jint agent_detach_jquor(JNIEnv* env) {
    env = current_env(env);
    AGENT_LOG(LogJVMDI, "AgentThread: agent_detach_jquor()");
    if (jvmdi) leave_jvmdi();
    if (jvmti) leave_jvmti();
    invoke_method_cleanup(env);
    agent_resume_all(env);
    let_go_later(vm_is_newer());
    return 0;
}
