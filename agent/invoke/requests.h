/* requests.h: the method invocations that the debugger has asked for.
 *
 * JNI calls must run in the target thread itself, which is blocked in the event queue while the debugger looks at it. So a
 * request is left in a list; the target finds it when its event is released, runs the method, and posts the outcome as an
 * event of kind JVMDI_EVENT_USER_DEFINED. The debugger waits for it inside its call (synchronous) or meets it later at
 * hook_invoke_method (asynchronous). */
#ifndef QUOR_REQUESTS_H
#define QUOR_REQUESTS_H

#include "registry/agent_records.h"
#include "support/agent_monitor.h"

/* The outcome that a USER_DEFINED event carries. */
static inline AgentInvokRet* outcome_of(JVMDI_Event* event) { return (AgentInvokRet*)(void*)&event->u; }

/* A request. In VM memory, from posting until it has been served. */
typedef struct invoke_request {
    jobject thread; /* handle of the target thread                                                       */
    jint is_static; /* 1: a static method of `clazz`; 0: a method of `object`                            */
    jint sync;      /* 1: the debugger waits for the outcome                                             */
    jclass clazz;   /* static: as the debugger gave it; instance: URef of the object's class             */
    jobject object; /* the receiver, null for a static method                                            */
    jmethodID method;
    signed char return_type; /* B C D F I J L S V Z or [                                                    */
    jint argument_count;
    jvalue* arguments; /* a copy of the caller's array in VM memory, null when there are none               */
    struct invoke_request* next;
    /* The method's, in VM memory, on a VM newer than JVMTI 1.0: there the references that the call needs (class or object, and
     * arguments) are the request's own global ones. Else null. */
    char* signature;
} invoke_request;

/* Guards the list of requests; the last of the agent's global locks. */
AGENT_API monitor_t invoke_method_list_monitor;

/* Makes the module ready, at load: 0; 10 on the agent thread ("invoke_method_init: failed -- ..."); 113
 * ("invoke_method_init: monitor_init() failed"). */
AGENT_API jint invoke_method_init();

/* Frees every request that nobody has served. Called at detach. */
AGENT_API void invoke_method_cleanup(JNIEnv* env);

/* 1 from the posting of a request until any request is freed, else 0. While it is 1, what was handed to the debugger
 * stays valid over a resume. */
AGENT_API jint in_method_invoke();

/* Leaves a request at the head of the list. `arguments` (`count` JNI values) are copied; for an instance method `clazz` is
 * null. Agent thread. 0; Allocate's code after its message; 113 when a monitor failed or GetObjectClass threw. VM Allocate,
 * JNI GetObjectClass. On a VM newer than JVMTI 1.0 also the code of a failed GetMethodName, whose signature tells which
 * arguments are references, and 113 when a reference could not be made (JNI NewGlobalRef). */
AGENT_API jint post_invoke_request(JNIEnv* env, jobject thread, jobject object, jclass clazz, jmethodID method,
                                   jint return_type, jint count, const jvalue* arguments, jint sync, jint is_static);

/* The debugger's asynchronous calls. */
AGENT_API jint post_invoke_request_async(JNIEnv* env, jobject thread, jobject object, jmethodID method,
                                         jint return_type, jint count, const jvalue* arguments);
AGENT_API jint post_static_invoke_request_async(JNIEnv* env, jobject thread, jclass clazz, jmethodID method,
                                                jint return_type, jint count, const jvalue* arguments);

/* Unlinks the newest request for the thread and gives it to the caller; null when there is none, or after
 * "find_invoke_method: monitor_lock failed" or "find_invoke_method: monitor_unlock failed". */
AGENT_API invoke_request* find_invoke_method(jobject thread);

/* Gives a request's memory back and ends the state that in_method_invoke tells. */
AGENT_API void free_invoke_method(JNIEnv* env, invoke_request* request);

/* Takes the newest request for the thread of this record, or null, and writes the invocation state to the record before
 * anybody can see that the request has left the list: who gives it up later knows then that it has begun. */
invoke_request* begin_invocation(tmap_record* record);

/* Frees a synchronous call that its thread has not begun; false if there is none. */
bool take_invocation_back(JNIEnv* env, jobject thread);

/* Notes that nobody waits any more for the call that has begun in the thread of this record. On a VM newer than JVMTI 1.0 only
 * a call that still runs is abandoned, and what was handed to the debugger is not kept for it. */
void abandon_invocation(tmap_record* record);

/* Frees every request for a thread, which has ended. */
void free_requests_of(JNIEnv* env, jobject thread);

AGENT_API jobject java_lang_throwable; /* URef of the exception that aborts an abandoned invocation             */

#endif
