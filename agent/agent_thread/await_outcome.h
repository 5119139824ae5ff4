/* await_outcome.h: the debugger's waiting for a method that it invokes synchronously. */
#ifndef QUOR_AWAIT_OUTCOME_H
#define QUOR_AWAIT_OUTCOME_H

#include "registry/agent_records.h"

/* The debugger's synchronous calls: they leave a request (invoke/requests.h), resume all threads, wait with
 * process_invokemethod_event, and suspend them again; they give its result. */
AGENT_API jint post_invoke_request_sync(JNIEnv* env, jobject thread, jobject object, jmethodID method, jint return_type,
                                        jint count, const jvalue* arguments, AgentInvokRet* result);
AGENT_API jint post_static_invoke_request_sync(JNIEnv* env, jobject thread, jclass clazz, jmethodID method,
                                               jint return_type, jint count, const jvalue* arguments,
                                               AgentInvokRet* result);

/* Waits, on the agent thread, for the outcome of a synchronous request in the thread with this handle. Status 2 and no
 * exception when another event came first: the request is then abandoned. 0; 10 for an unknown thread, or on another thread
 * than the agent's ("process_next_event: failed -- ..."); 113 when a monitor failed.
 * On a VM newer than JVMTI 1.0 controlc_hit ends the wait too, and stays set; and a request that its thread has not begun is
 * freed instead of abandoned. If that is because an event or controlc_hit was there already, the thread stays in its event. */
AGENT_API jint process_invokemethod_event(jobject thread, AgentInvokRet* result);

#endif
