#include "entry/agent_entry.h"

#include "agent_thread/await_outcome.h"
#include "invoke/requests.h"
#include "support/agent_self.h"
#include "support/report.h"
#include "vm/vm_env.h"

enum { INVOKE_SYNCHRONOUS = 1 };

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
