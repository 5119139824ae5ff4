#include "core/agent_main.h"

#include "core/core_state.h"
#include "core/sema.h"
#include "entry/agent_entry.h"
#include "entry/entry_support.h"
#include "event/agent_event.h"
#include "registry/agent_uref.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_call.h"
#include "vm/vm_newer.h"

#include <stdio.h>
#include <string.h>

static const char LOG_SOURCE[] = "agent_main.c";

jobject agent_thread;
agent_tid_t tid_debug_agent;
JNIEnv* quor_env;
agent_tid_t quor_tid;
const char* quor_classpath;
const char* quor_vmversion;

static agent_tid_t tid_main_thread; /* the thread that created the agent thread */
static sema_t quor_contacted;       /* posted when the agent thread has met the debugger */
static const char* cached_classpath;
static const char* cached_vmversion;
static jint attach_count; /* attaches so far, for a debugger's eyes */

static bool on_agent_thread() { return agent_self() == shared_load(tid_debug_agent); }

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
    make_daemon(env, clazz, agent_thread);
    sema_init(&quor_contacted, 0);
    tid_main_thread = agent_self();
    const jint err =
        jvmti ? (jint)jvmti->RunAgentThread(agent_thread, jvmti_debug_agent, NULL, JVMTI_THREAD_NORM_PRIORITY)
              : jvmdi->RunDebugThread(agent_thread, jvmdi_debug_agent, NULL, JVMTI_THREAD_NORM_PRIORITY);
    if (err) agent_fatal_error("start_agent_thread(): RunDebugThread() failed -- %s\n", err);
    sema_wait(&quor_contacted);
    sema_destroy(&quor_contacted);
}

static JNIEnv* get_agent_env() {
    void* env = NULL;
    if (jint err = javavm->GetEnv(&env, JNI_VERSION_1_2)) agent_fatal("AgentThread(): GetEnv failed -- %d\n", (int)err);
    return (JNIEnv*)env;
}

/* The body of the agent thread; `given` is its JNIEnv if the VM passed one. */
static void debug_agent(JNIEnv* given) {
    shared_store(tid_debug_agent, agent_self());
    if (tid_debug_agent == tid_main_thread)
        agent_fatal("\nJquor can only work with native threads,\n"
                    "Set the THREADS_FLAG environment variable to native\n");
    AGENT_LOG(LogJVMDI, "AgentThread(): debug agent created %d\n", tid_debug_agent);
    JNIEnv* env = given ? given : get_agent_env();
    {
        vm_local_frame frame(env);
        const char* classpath = get_classpath(env);
        const char* vmversion = get_vmversion(env);
        AGENT_LOG(LogJVMDI, "AgentThread(): classpath '%s'\n", classpath ? classpath : "(null)");
        jquor_jvmdi_sync_hook(env, tid_debug_agent, classpath, tid_main_thread, vmversion);
    }
    sema_post(&quor_contacted);
    agent_bar();
    shared_store(agent_thread, (jobject)NULL);
    AGENT_LOG(LogJVMDI, "AgentThread(): thread done.\n");
    log_finish();
}

void JNICALL jvmdi_debug_agent(void*) { debug_agent(NULL); }

void JNICALL jvmti_debug_agent(jvmtiEnv*, JNIEnv* env, void*) { debug_agent(env); }

void agent_bar() {
    while (shared_load(terminate_debug_agent) != 1) process_next_event();
}

static void enable_class_events() {
    if (jvmti) {
        set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_CLASS_PREPARE});
    } else {
        set_jvmdi_events(JVMDI_ENABLE, {JVMDI_EVENT_CLASS_UNLOAD});
        set_jvmdi_events(JVMDI_ENABLE, {JVMDI_EVENT_CLASS_PREPARE});
    }
}

jint process_on_attach() {
    JNIEnv* env = get_agent_env();
    vm_local_frame frame(env);
    const char* classpath = get_classpath(env);
    const char* vmversion = get_vmversion(env);
    agent_suspend_all(env);
    enable_class_events();
    PrepList_reset(&prep_list);
    PrepList_seed(&prep_list, env);
    attach_count++;
    jquor_jvmdi_sync_hook(env, tid_debug_agent, classpath ? classpath : ".", tid_main_thread, vmversion);
    return resume_after_event(env);
}

/* The VM's system properties, once found how to ask for them. */
struct property_source {
    JNIEnv* env;
    jclass system;
    jmethodID get_property;
};

/* The value of a property as a Java string; null when there is none. */
static jstring get_property(const property_source& source, const char* name) {
    const jstring key = source.env->NewStringUTF(name);
    clear_exception(source.env);
    const jobject value = source.env->CallStaticObjectMethod(source.system, source.get_property, key);
    return clear_exception(source.env) ? NULL : (jstring)value;
}

static size_t utf_length(JNIEnv* env, jstring text) {
    if (!text) return 0;
    const jsize length = env->GetStringUTFLength(text);
    clear_exception(env);
    return (size_t)length;
}

/* Appends a string's text at `end`, not beyond `last`, where its NUL may stand; gives the new end. A VM that could not tell
 * the length of a text gave it no room. */
static char* append_text(JNIEnv* env, jstring text, char* end, const char* last) {
    const char* chars = env->GetStringUTFChars(text, NULL);
    clear_exception(env);
    if (!chars) return end;
    const size_t length = end < last ? strnlen(chars, (size_t)(last - end)) : 0;
    memcpy(end, chars, length);
    end[length] = '\0';
    env->ReleaseStringUTFChars(text, chars);
    clear_exception(env);
    return end + length;
}

static const char* fetch_vmversion(const property_source& source) {
    const jstring version = get_property(source, "java.vm.version");
    if (!version) return NULL;
    const size_t length = utf_length(source.env, version);
    char* text;
    if (jint err = vm_allocate(length + 1, &text)) {
        report_failure("get_vmversion: Allocate failed -- %s\n", err);
        return NULL;
    }
    *text = '\0';
    append_text(source.env, version, text, text + length);
    return text;
}

static const char* fetch_classpath(const property_source& source) {
    enum { SPARE = 10 };
    JNIEnv* env = source.env;
    const jstring classes = get_property(source, "java.class.path");
    const jstring boot = get_property(source, "oro.boot.class.path");
    if (!classes && !boot) return NULL;
    const size_t room = utf_length(env, classes) + utf_length(env, boot) + SPARE;
    char* text;
    if (jint err = vm_allocate(room, &text)) {
        report_failure("get_classpath: Allocate failed -- %s\n", err);
        return NULL;
    }
    const char* last = text + room - 2; /* a ':' and a NUL may follow */
    char* end = text;
    *end = '\0';
    if (classes) end = append_text(env, classes, end, last);
    if (classes && boot) {
        *end++ = ':';
        *end = '\0';
    }
    if (boot) append_text(env, boot, end, last);
    return text;
}

/* The rules that both cached properties share; the messages name the function that was called. */
static const char* cached_property(JNIEnv* env, const char** cache, const char* invalid_env, const char* wrong_thread,
                                   const char* (*fetch)(const property_source&)) {
    if (const char* text = shared_load(*cache)) return text;
    if (!env || !on_agent_thread()) {
        fputs(env ? wrong_thread : invalid_env, stdout);
        return NULL;
    }
    const jclass system = env->FindClass("java/lang/System");
    if (clear_exception(env) || !system) {
        printf("AgentThread(): FindClass System Failed\n");
        return NULL;
    }
    const jmethodID get = env->GetStaticMethodID(system, "getProperty", "(Ljava/lang/String;)Ljava/lang/String;");
    if (clear_exception(env) || !get) {
        printf("AgentThread(): GetMethodID of getProperty Failed\n");
        return NULL;
    }
    const char* text = fetch({env, system, get});
    shared_store(*cache, text);
    return text;
}

const char* get_classpath(JNIEnv* env) {
    return cached_property(env, &cached_classpath, "AgentThread(): Invalid JNIEnv in get_classpath\n",
                           "AgentThread(): Only the agent thread can call get_classpath\n", fetch_classpath);
}

const char* get_vmversion(JNIEnv* env) {
    return cached_property(env, &cached_vmversion, "AgentThread(): Invalid JNIEnv in get_vmversion\n",
                           "AgentThread(): Only the agent thread can call get_vmversion\n", fetch_vmversion);
}
