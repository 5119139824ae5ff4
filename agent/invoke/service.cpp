#include "invoke/service.h"

#include "invoke/requests.h"
#include "registry/agent_uref.h"
#include "support/text.h"
#include "vm/vm_newer.h"

#include <stdio.h>
#include <string.h>

/* All of this runs in the target thread, inside the event that the debugger stopped it for. The thread holds its queue entry's
 * done monitor meanwhile; nobody else wants it (docs/locks.md). */

/* Status 0 is what the poster goes by: there is no outcome to deliver, and the thread goes back to the VM. */
static void reset_outcome(JVMDI_Event* result) {
    result->kind = JVMDI_EVENT_USER_DEFINED;
    outcome_of(result)->exception = NULL;
    outcome_of(result)->status = 0;
}

/* Makes the JNI call that matches the return type, for a static or an instance method. */
static jvalue call_method(JNIEnv* env, const invoke_request* request) {
    jvalue value;
    memset(&value, 0, sizeof value);
    const jmethodID method = request->method;
    const jvalue* arguments = request->arguments;
#define CALL(Type)                                                                          \
    (request->is_static ? env->CallStatic##Type##MethodA(request->clazz, method, arguments) \
                        : env->Call##Type##MethodA(request->object, method, arguments))
    switch (request->return_type) {
    case 'B': value.b = CALL(Byte); break;
    case 'C': value.c = CALL(Char); break;
    case 'D': value.d = CALL(Double); break;
    case 'F': value.f = CALL(Float); break;
    case 'I': value.i = CALL(Int); break;
    case 'J': value.j = CALL(Long); break;
    case 'S': value.s = CALL(Short); break;
    case 'V': CALL(Void); break;
    case 'Z': value.z = CALL(Boolean); break;
    case 'L':
    case '[': value.l = CALL(Object); break;
    default: printf("service_invoke_request: unknown return type\n"); break;
    }
#undef CALL
    return value;
}

static void fill_outcome(JNIEnv* env, const invoke_request* request, jvalue value, AgentInvokRet* outcome) {
    outcome->exception = env->ExceptionOccurred();
    /* shown on the program's standard error, and no longer pending: the thread goes on in its own code, which did not throw it */
    if (outcome->exception) env->ExceptionDescribe();
    outcome->thread = request->thread;
    if (outcome->exception) {
        outcome->status = INVOKE_STATUS_THREW;
        return;
    }
    outcome->status = INVOKE_STATUS_RETURNED;
    outcome->value = value;
    outcome->return_type = (unsigned char)request->return_type;
    outcome->value_class = NULL;
    if (is_reference_type((char)request->return_type) && value.l)
        outcome->value_class = intern(env, env->GetObjectClass(value.l));
}

void service_invoke_request(JNIEnv* env, tmap_record* record, JVMDI_Event* result) {
    reset_outcome(result);
    invoke_request* request = record ? begin_invocation(record) : NULL;
    if (!request) return;
    /* the record outlives the call: after THREAD_END, which may free it, the poster has looked it up again */
    const jvalue value = call_method(env, request);
    const jint state = shared_load(record->invocation_state);
    /* aborted is not abandoned: the exception that ended the call is its outcome, for whoever looks at the event */
    const bool abandoned = request->sync && state != INVOKE_RUNNING && state != INVOKE_ABORTED;
    if (!abandoned) {
        fill_outcome(env, request, value, outcome_of(result));
        /* read again: describing an exception runs Java code, whose events may be answered with the abort exception */
        if (shared_load(record->invocation_state) == INVOKE_ABORTED) env->ExceptionClear();
    } else if (vm_is_newer()) {
        env->ExceptionClear(); /* or it would be thrown where the thread stands in its own code */
    }
    /* from here on the thread's events count again, that of the outcome first */
    shared_store(record->invocation_state, INVOKE_NONE);
    free_invoke_method(env, request);
}
