/* Attaching, breakpoints and events, for programs that measure the agent from inside (Agent.java). */
#include "agent_thread/attach_stop.h"
#include "entry/agent_entry.h"
#include "inside.h"
#include "text_argument.h"

#include <cstring>
#include <time.h>

/* On the calling thread, which may do this like the agent's own: no stop, no wait for the agent's next look at its flags. */
extern "C" JNIEXPORT void JNICALL Java_Agent_attach(JNIEnv* env, jclass) {
    must(entry_point<decltype(agent_attach_jquor)>("agent_attach_jquor")(env), "agent_attach_jquor");
}

static jlong attach_nanoseconds;

static jlong now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (jlong)time.tv_sec * 1000000000 + time.tv_nsec;
}

/* In the place of jquor_jvmdi_sync_hook, on the agent thread: what a debugger does there. */
static const char* attach_here(JNIEnv* env, agent_tid_t, const char*, agent_tid_t, const char* vmversion) {
    const jlong begin = now();
    Java_Agent_attach(env, nullptr);
    attach_nanoseconds = now() - begin;
    return vmversion;
}

extern "C" JNIEXPORT jlong JNICALL Java_Agent_attachAtStop(JNIEnv*, jclass) {
    const hook_replacement hook("jquor_jvmdi_sync_hook", (void*)attach_here);
    jint* const flag = (jint*)exported("jquor_attached");
    __atomic_store_n(flag, 1, __ATOMIC_SEQ_CST);
    while (__atomic_load_n(flag, __ATOMIC_SEQ_CST) != 0) {
        const timespec millisecond = {0, 1000000};
        nanosleep(&millisecond, nullptr);
    }
    return attach_nanoseconds;
}

extern "C" JNIEXPORT void JNICALL Java_Agent_setBreakpoint(JNIEnv* env, jclass, jclass clazz, jstring method) {
    const jmethodID id = env->GetStaticMethodID(clazz, text_argument(env, method).characters, "(I)V");
    must(entry_point<decltype(agent_set_breakpoint)>("agent_set_breakpoint")(env, clazz, id, 0),
         "agent_set_breakpoint");
}

static void enable(JNIEnv* env, jint kind) {
    must(entry_point<decltype(agent_set_eventnotification)>("agent_set_eventnotification")(env, 1, kind, nullptr),
         "agent_set_eventnotification");
}

static jlong delivered;
static hook_replacement* counting;

static void count_event(JNIEnv*, JVMDI_Event*) { delivered++; }

static void count_at(const char* hook) { counting = new hook_replacement(hook, (void*)count_event); }

static void every_exception(JNIEnv* env) {
    const auto set_filter = entry_point<decltype(agent_set_thrownexception_filter)>("agent_set_thrownexception_filter");
    must(set_filter(env, ""), "agent_set_thrownexception_filter");
    enable(env, JVMDI_EVENT_EXCEPTION);
    count_at("hook_exception_thrown");
}

/* Classes need not be asked for. */
extern "C" JNIEXPORT void JNICALL Java_Agent_listen(JNIEnv* env, jclass, jstring what) {
    const text_argument text(env, what);
    if (strcmp(text.characters, "exception") == 0) return every_exception(env);
    const bool entry = strcmp(text.characters, "entry") == 0;
    count_at(entry ? "hook_method_entry" : "hook_class_prepare");
    if (entry) enable(env, JVMDI_EVENT_METHOD_ENTRY);
}

extern "C" JNIEXPORT jlong JNICALL Java_Agent_delivered(JNIEnv*, jclass) { return delivered; }
