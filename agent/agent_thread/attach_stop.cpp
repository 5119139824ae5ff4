#include "agent_thread/attach_stop.h"

#include "agent_thread/processing.h"
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

static bool answering; /* the agent thread stands at the answer to an attach */

void list_classes_afresh(JNIEnv* env) {
    if (answering) {
        PrepList_refresh(&prep_list, env);
        return;
    }
    PrepList_reset(&prep_list);
    PrepList_seed(&prep_list, env);
}

static void answer(JNIEnv* env, const char* classpath, const char* vmversion) {
    agent_activity rest(false);
    answering = vm_is_newer();
    jquor_jvmdi_sync_hook(env, tid_debug_agent, classpath ? classpath : ".", tid_main_thread, vmversion);
    answering = false;
}

jint process_on_attach() {
    JNIEnv* env = agent_thread_env();
    vm_local_frame frame(env);
    const char* classpath = get_classpath(env);
    const char* vmversion = get_vmversion(env);
    /* most of the work while the program still runs; what came meanwhile is found when it stands */
    if (vm_is_newer()) list_classes_afresh(env);
    if (agent_thread_is_leaving()) return 0; /* the program has ended meanwhile */
    agent_suspend_all(env);
    enable_class_events();
    if (vm_is_newer())
        PrepList_refresh(&prep_list, env);
    else
        list_classes_afresh(env);
    attach_count++;
    answer(env, classpath, vmversion);
    return resume_after_event(env);
}
