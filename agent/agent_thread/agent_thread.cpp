#include "agent_thread/agent_thread.h"

#include "agent_thread/attach_stop.h"
#include "agent_thread/consumer.h"
#include "agent_thread/let_go.h"
#include "agent_thread/processing.h"
#include "agent_thread/sema.h"
#include "event/hook_points.h"
#include "invoke/requests.h"
#include "registry/agent_uref.h"
#include "support/agent_self.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"
#include "vm/vm_newer.h"
#include "vm/vm_properties.h"

static const char LOG_SOURCE[] = "agent_main.c";

static sema_t quor_contacted; /* posted when the agent thread has met the debugger */

/* Describes and clears a pending exception, prints the message, aborts. */
[[noreturn]] static void fail_start(JNIEnv* env, const char* message) {
    clear_exception(env);
    agent_fatal("%s", message);
}

static jobject new_thread_object(JNIEnv* env, jclass* clazz) {
    *clazz = env->FindClass("java/lang/Thread");
    if (!*clazz) fail_start(env, "start_agent_thread(): FindClass() failed\n");
    const jmethodID constructor = env->GetMethodID(*clazz, "<init>", "()V");
    if (!constructor) fail_start(env, "start_agent_thread(): GetMethodID() failed\n");
    const jobject thread = env->NewObject(*clazz, constructor);
    if (!thread) fail_start(env, "start_agent_thread(): NewObject failed\n");
    return thread;
}

static jmethodID thread_method(JNIEnv* env, jclass clazz, const char* name, const char* signature) {
    const jmethodID method = env->GetMethodID(clazz, name, signature);
    if (!method) fail_start(env, "AgentThread(): GetMethodID getProperty Failed\n");
    return method;
}

static void make_daemon(JNIEnv* env, jclass clazz, jobject thread) {
    const jboolean is_daemon = env->CallBooleanMethod(thread, thread_method(env, clazz, "isDaemon", "()Z"));
    clear_exception(env);
    if (is_daemon) return;
    env->CallVoidMethod(thread, thread_method(env, clazz, "setDaemon", "(Z)V"), JNI_TRUE);
    clear_exception(env);
}

void start_agent_thread(JNIEnv* env) {
    jclass clazz;
    const jobject thread = new_thread_object(env, &clazz);
    jint created;
    shared_store(agent_thread, URef_from_local(env, thread, &created));
    make_daemon(env, clazz, thread);
    sema_init(&quor_contacted, 0);
    tid_main_thread = agent_self();
    if (jint err = vm_run_agent_thread(agent_thread, jvmti_debug_agent, jvmdi_debug_agent))
        agent_fatal_error("start_agent_thread(): RunDebugThread() failed -- %s\n", err);
    sema_wait(&quor_contacted);
    sema_destroy(&quor_contacted);
}

/* The body of the agent thread; `given` is its JNIEnv if the VM passed one. */
static void debug_agent(JNIEnv* given) {
    shared_store(tid_debug_agent, agent_self());
    if (tid_debug_agent == tid_main_thread)
        agent_fatal("\nJquor can only work with native threads,\n"
                    "Set the THREADS_FLAG environment variable to native\n");
    pthread_setname_np(pthread_self(), "quor agent"); /* what a debugger's list of threads shows */
    AGENT_LOG(LogJVMDI, "AgentThread(): debug agent created %d\n", tid_debug_agent);
    JNIEnv* env = given ? given : agent_thread_env();
    {
        agent_activity work(true);
        vm_local_frame frame(env);
        const char* classpath = get_classpath(env);
        const char* vmversion = get_vmversion(env);
        AGENT_LOG(LogJVMDI, "AgentThread(): classpath '%s'\n", classpath ? classpath : "(null)");
        agent_activity rest(false);
        jquor_jvmdi_sync_hook(env, tid_debug_agent, classpath, tid_main_thread, vmversion);
    }
    sema_post(&quor_contacted);
    agent_bar();
    shared_store(agent_thread, (jobject)NULL);
    if (vm_is_newer()) {
        invoke_method_cleanup(env);
        release_all_posters();
    }
    AGENT_LOG(LogJVMDI, "AgentThread(): thread done.\n");
    log_finish();
}

void JNICALL jvmdi_debug_agent(void*) { debug_agent(NULL); }

void JNICALL jvmti_debug_agent(jvmtiEnv*, JNIEnv* env, void*) { debug_agent(env); }

void agent_bar() {
    while (shared_load(terminate_debug_agent) != 1) {
        process_next_event();
        let_go_if_due();
    }
}
