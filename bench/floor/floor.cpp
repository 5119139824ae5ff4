/* The least that an agent does at a stop, for comparison: a thread at a breakpoint hands over to a thread of the agent's own,
 * which suspends the other threads, resumes them and hands back. No queue, no filter, no table, nothing to look at.
 *
 * The program loads the library a second time, for its native methods (Floor.java): same code, same state.
 */
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <jvmti.h>
#include <pthread.h>

static jvmtiEnv* jvmti;
static jthread own_thread;
static jthread* others;
static jint other_count;
static jvmtiError* results; /* room for one each */

/* Nothing here is destroyed when the process ends: the agent's thread is still there. */
static pthread_mutex_t hand_over = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t handed_over = PTHREAD_COND_INITIALIZER, handed_back = PTHREAD_COND_INITIALIZER;
static bool pending; /* guarded by hand_over: a thread waits at its breakpoint */

static void must(jint error, const char* what) {
    if (!error) return;
    fprintf(stderr, "floor: %s gives %d\n", what, (int)error);
    abort();
}

static void stop_and_go_on() {
    must(jvmti->SuspendThreadList(other_count, others, results), "SuspendThreadList");
    must(jvmti->ResumeThreadList(other_count, others, results), "ResumeThreadList");
}

static void JNICALL agent_body(jvmtiEnv*, JNIEnv*, void*) {
    pthread_mutex_lock(&hand_over);
    for (;;) {
        while (!pending) pthread_cond_wait(&handed_over, &hand_over);
        pthread_mutex_unlock(&hand_over);
        stop_and_go_on();
        pthread_mutex_lock(&hand_over);
        pending = false;
        pthread_cond_signal(&handed_back);
    }
}

static void JNICALL at_breakpoint(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation) {
    pthread_mutex_lock(&hand_over);
    pending = true;
    pthread_cond_signal(&handed_over);
    while (pending) pthread_cond_wait(&handed_back, &hand_over);
    pthread_mutex_unlock(&hand_over);
}

static void JNICALL at_start(jvmtiEnv*, JNIEnv* env, jthread) {
    const jclass clazz = env->FindClass("java/lang/Thread");
    own_thread = env->NewGlobalRef(env->NewObject(clazz, env->GetMethodID(clazz, "<init>", "()V")));
    must(jvmti->RunAgentThread(own_thread, agent_body, nullptr, JVMTI_THREAD_NORM_PRIORITY), "RunAgentThread");
}

extern "C" JNIEXPORT jint JNICALL Agent_OnLoad(JavaVM* vm, char*, void*) {
    must(vm->GetEnv((void**)&jvmti, JVMTI_VERSION_1_0), "GetEnv");
    jvmtiCapabilities capabilities;
    memset((void*)&capabilities, 0, sizeof capabilities);
    capabilities.can_suspend = 1;
    capabilities.can_generate_breakpoint_events = 1;
    must(jvmti->AddCapabilities(&capabilities), "AddCapabilities");
    jvmtiEventCallbacks callbacks = {};
    callbacks.VMInit = at_start;
    callbacks.Breakpoint = at_breakpoint;
    must(jvmti->SetEventCallbacks(&callbacks, sizeof callbacks), "SetEventCallbacks");
    must(jvmti->SetEventNotificationMode(JVMTI_ENABLE, JVMTI_EVENT_VM_INIT, nullptr), "VM_INIT");
    return 0;
}

/* Notes the threads that there are, which every stop from now on suspends. */
extern "C" JNIEXPORT void JNICALL Java_Floor_listThreads(JNIEnv* env, jclass) {
    jint count = 0;
    must(jvmti->GetAllThreads(&count, &others), "GetAllThreads"); /* an earlier list stays behind: they are few */
    results = (jvmtiError*)realloc(results, (size_t)count * sizeof *results);
    other_count = 0;
    for (jint i = 0; i < count; i++)
        if (!env->IsSameObject(others[i], own_thread)) others[other_count++] = (jthread)env->NewGlobalRef(others[i]);
}

extern "C" JNIEXPORT void JNICALL Java_Floor_setBreakpoint(JNIEnv* env, jclass, jclass clazz, jstring method) {
    const char* name = env->GetStringUTFChars(method, nullptr);
    const jmethodID id = env->GetStaticMethodID(clazz, name, "(I)V");
    env->ReleaseStringUTFChars(method, name);
    must(jvmti->SetBreakpoint(id, 0), "SetBreakpoint");
    must(jvmti->SetEventNotificationMode(JVMTI_ENABLE, JVMTI_EVENT_BREAKPOINT, nullptr), "BREAKPOINT");
}
