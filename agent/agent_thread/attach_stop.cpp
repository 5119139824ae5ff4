#include "agent_thread/attach_stop.h"

#include "event/hook_points.h"
#include "registry/prep_list.h"
#include "stop/resume_after_event.h"
#include "stop/suspend.h"
#include "support/agent_self.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"
#include "vm/vm_newer.h"
#include "vm/vm_properties.h"

jint jquor_attached;
agent_tid_t tid_main_thread;

static jint attach_count; /* attaches so far, for a debugger's eyes */

static void enable_class_events() {
    if (jvmti) {
        set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_CLASS_PREPARE});
    } else {
        set_jvmdi_events(JVMDI_ENABLE, {JVMDI_EVENT_CLASS_UNLOAD});
        set_jvmdi_events(JVMDI_ENABLE, {JVMDI_EVENT_CLASS_PREPARE});
    }
}

jint process_on_attach() {
    JNIEnv* env = agent_thread_env();
    vm_local_frame frame(env);
    const char* classpath = get_classpath(env);
    const char* vmversion = get_vmversion(env);
    agent_suspend_all(env);
    enable_class_events();
    PrepList_reset(&prep_list);
    PrepList_seed(&prep_list, env);
    attach_count++;
    {
        agent_activity rest(false);
        jquor_jvmdi_sync_hook(env, tid_debug_agent, classpath ? classpath : ".", tid_main_thread, vmversion);
    }
    return resume_after_event(env);
}
