#include "agent_thread/await_outcome.h"

#include "agent_thread/consumer.h"
#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "stop/suspend.h"
#include "support/agent_self.h"
#include "support/report.h"

/* Lets the target thread run the posted request while the debugger waits inside its call. */
static jint await_outcome(JNIEnv* env, jobject thread, AgentInvokRet* result) {
    agent_resume_all(env);
    const jint err = process_invokemethod_event(thread, result);
    agent_suspend_all(env);
    return err;
}

jint post_invoke_request_sync(JNIEnv* env, jobject thread, jobject object, jmethodID method, jint return_type,
                              jint count, const jvalue* arguments, AgentInvokRet* result) {
    if (jint err = post_invoke_request(env, thread, object, NULL, method, return_type, count, arguments, 1, 0))
        return err;
    return await_outcome(env, thread, result);
}

jint post_static_invoke_request_sync(JNIEnv* env, jobject thread, jclass clazz, jmethodID method, jint return_type,
                                     jint count, const jvalue* arguments, AgentInvokRet* result) {
    if (jint err = post_invoke_request(env, thread, NULL, clazz, method, return_type, count, arguments, 1, 1))
        return err;
    return await_outcome(env, thread, result);
}

jint process_invokemethod_event(jobject thread, AgentInvokRet* result) {
    tmap_record* record = TMap_handle2tm(thread);
    if (agent_self() != shared_load(tid_debug_agent))
        return report_failure("process_next_event: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    if (!record) {
        /* no such thread can ever serve the request, and a request that stays keeps every reference handed out alive */
        if (invoke_request* request = find_invoke_method(thread)) free_invoke_method(NULL, request);
        return JVMDI_ERROR_INVALID_THREAD;
    }
    const agent_tid_t tid = record->tid;
    if (jint err = release_pending_entry()) return err;
    bool found = false;
    if (jint err = await_queued_outcome(tid, result, &found)) return err;
    if (!found) {
        shared_store(record->invocation_state, INVOKE_ABANDONED);
        result->status = INVOKE_STATUS_THREW;
        result->exception = NULL;
    }
    return 0;
}
