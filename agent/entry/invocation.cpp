#include "entry/agent_entry.h"

#include "entry/entry_support.h"
#include "support/report.h"

enum { INVOKE_SYNCHRONOUS = 1 };

static bool on_agent_thread() { return agent_self() == shared_load(tid_debug_agent); }

jint agent_invoke_method(JNIEnv* env, jobject thread, jobject object, jmethodID method, jint return_type, jint count,
                         const jvalue* arguments, jint flags, AgentInvokRet* result) {
    env = current_env(env);
    if (!on_agent_thread()) {
        printf("invoke_method(): call can run only on the agent\n");
        return JVMDI_ERROR_NOT_IMPLEMENTED;
    }
    if (flags & INVOKE_SYNCHRONOUS)
        return post_invoke_request_sync(env, thread, object, method, return_type, count, arguments, result);
    return post_invoke_request_async(env, thread, object, method, return_type, count, arguments);
}

jint agent_invoke_static_method(JNIEnv* env, jobject thread, jclass clazz, jmethodID method, jint return_type,
                                jint count, const jvalue* arguments, jint flags, AgentInvokRet* result) {
    env = current_env(env);
    if (!on_agent_thread()) agent_fatal("invoke_static_method(): call can run only on the agent\n");
    if (flags & INVOKE_SYNCHRONOUS)
        return post_static_invoke_request_sync(env, thread, clazz, method, return_type, count, arguments, result);
    return post_static_invoke_request_async(env, thread, clazz, method, return_type, count, arguments);
}
