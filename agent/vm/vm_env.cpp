#include "vm/vm_env.h"

#include "support/report.h"
#include "vm/vm_interface.h"

JNIEnv* current_env(JNIEnv* env) {
    if (env) return env;
    void* own = NULL;
    if (javavm->GetEnv(&own, JNI_VERSION_1_2) != JNI_OK) agent_abort();
    return (JNIEnv*)own;
}

bool clear_exception(JNIEnv* env) {
    if (!env->ExceptionOccurred()) return false;
    env->ExceptionDescribe();
    env->ExceptionClear();
    return true;
}

JNIEnv* getEnv() {
    void* env = NULL;
    javavm->GetEnv(&env, JNI_VERSION_1_2);
    return (JNIEnv*)env;
}

JNIEnv* agent_thread_env() {
    void* env = NULL;
    if (jint err = javavm->GetEnv(&env, JNI_VERSION_1_2)) agent_fatal("AgentThread(): GetEnv failed -- %d\n", (int)err);
    return (JNIEnv*)env;
}
