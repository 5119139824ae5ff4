#include "agent_thread/await_outcome.h"

#include "agent_thread/consumer.h"
#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "stop/running_stop.h"
#include "stop/suspend.h"
#include "support/agent_self.h"
#include "support/report.h"
#include "vm/vm_env.h"
#include "vm/vm_newer.h"

/* Lets the target thread run the posted request while the debugger waits inside its call. */
static jint await_outcome(JNIEnv* env, jobject thread, AgentInvokRet* result) {
    const bool ran = !agent_has_suspended();
    agent_resume_all(env);
    const jint err = process_invokemethod_event(thread, result);
    agent_suspend_all(env);
    if (ran) note_stop_by_call();
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

/* What the debugger is told when something else came before the outcome. */
static jint give_up(AgentInvokRet* result) {
    result->status = INVOKE_STATUS_THREW;
    result->exception = NULL;
    return 0;
}

/* The rule of a VM newer than JVMTI 1.0: a call that its thread has not begun is taken back. */
static bool takes_back(jobject thread) { return vm_is_newer() && take_invocation_back(getEnv(), thread); }

jint process_invokemethod_event(jobject thread, AgentInvokRet* result) {
    tmap_record* record = TMap_handle2tm(thread);
    if (!on_agent_thread()) return report_failure("process_next_event: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    if (!record) {
        takes_back(thread); /* nobody can ever serve it */
        return JVMDI_ERROR_INVALID_THREAD;
    }
    /* what would end the wait at once ends it before the thread is let go: it stays in its event */
    if (vm_is_newer() && event_queue_has_work() && takes_back(thread)) return give_up(result);
    if (jint err = release_pending_entry()) return err;
    bool is_outcome = false;
    if (jint err = await_queued_event(record->tid, &is_outcome)) return err;
    if (takes_back(thread)) return give_up(result);
    if (is_outcome) return take_queued_outcome(result);
    abandon_invocation(record);
    return give_up(result);
}
