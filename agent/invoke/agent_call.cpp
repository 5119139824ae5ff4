#include "invoke/agent_call.h"

#include "core/agent_main.h"
#include "entry/agent_entry.h"
#include "entry/entry_support.h"
#include "event/agent_event.h"
#include "registry/agent_uref.h"
#include "vm/vm_memory.h"

#include <stdio.h>
#include <string.h>

monitor_t invoke_method_list_monitor;

static invoke_request* invoke_method_list; /* newest first; under invoke_method_list_monitor      */
static jint method_invoke_on;              /* 1 from posting a request until any request is freed */

jint invoke_method_init() {
    if (agent_self() == shared_load(tid_debug_agent))
        return report_failure("invoke_method_init: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
    if (sizeof(AgentInvokRet) > sizeof(JVMDI_Event) - offsetof(JVMDI_Event, u)) {
        printf("invoke_method_init: failed -- AgentInvokRet size is too big\n");
        return JVMDI_ERROR_INTERNAL;
    }
    if (!monitor_init(&invoke_method_list_monitor)) {
        printf("invoke_method_init: monitor_init() failed\n");
        return JVMDI_ERROR_INTERNAL;
    }
    invoke_method_list = NULL;
    java_lang_throwable = NULL;
    shared_store(method_invoke_on, 0);
    return 0;
}

void invoke_method_cleanup(JNIEnv* env) {
    monitor_lock(&invoke_method_list_monitor, "invoke_method_cleanup");
    invoke_request* request = invoke_method_list;
    invoke_method_list = NULL;
    monitor_unlock(&invoke_method_list_monitor, "invoke_method_cleanup");
    while (request) {
        invoke_request* next = request->next;
        free_invoke_method(env, request);
        request = next;
    }
}

jint in_method_invoke() { return shared_load(method_invoke_on) == 1; }

/* The receiver and its class; 113 when the class cannot be had because of a Java exception. */
static jint fill_receiver(JNIEnv* env, invoke_request* request, jobject object) {
    request->object = object;
    jclass clazz = env->GetObjectClass(object);
    if (!clazz && clear_exception(env)) return JVMDI_ERROR_INTERNAL;
    jint created;
    request->clazz = (jclass)URef_from_local(env, clazz, &created);
    return 0;
}

static jint copy_arguments(invoke_request* request, jint count, const jvalue* arguments) {
    request->argument_count = count;
    if (count <= 0) return 0;
    const size_t size = (size_t)count * sizeof *arguments;
    if (jint err = allocate_or_report(size, &request->arguments)) return err;
    memcpy(request->arguments, arguments, size);
    return 0;
}

static jint push_request(invoke_request* request) {
    if (!monitor_lock(&invoke_method_list_monitor, "process_invoke_request")) return JVMDI_ERROR_INTERNAL;
    request->next = invoke_method_list;
    invoke_method_list = request;
    shared_store(method_invoke_on, 1);
    return monitor_unlock(&invoke_method_list_monitor, "process_invoke_request") ? 0 : JVMDI_ERROR_INTERNAL;
}

jint post_invoke_request(JNIEnv* env, jobject thread, jobject object, jclass clazz, jmethodID method, jint return_type,
                         jint count, const jvalue* arguments, jint sync, jint is_static) {
    invoke_request* request;
    if (jint err = allocate_or_report(sizeof *request, &request)) return err;
    memset(request, 0, sizeof *request);
    request->thread = thread;
    request->is_static = is_static;
    request->sync = sync;
    request->clazz = clazz;
    request->method = method;
    request->return_type = (signed char)return_type;
    jint err = is_static ? 0 : fill_receiver(env, request, object);
    if (!err) err = copy_arguments(request, count, arguments);
    if (err) {
        vm_deallocate(request);
        return err;
    }
    return push_request(request);
}

jint post_invoke_request_async(JNIEnv* env, jobject thread, jobject object, jmethodID method, jint return_type,
                               jint count, const jvalue* arguments) {
    return post_invoke_request(env, thread, object, NULL, method, return_type, count, arguments, 0, 0);
}

jint post_static_invoke_request_async(JNIEnv* env, jobject thread, jclass clazz, jmethodID method, jint return_type,
                                      jint count, const jvalue* arguments) {
    return post_invoke_request(env, thread, NULL, clazz, method, return_type, count, arguments, 0, 1);
}

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

invoke_request* find_invoke_method(jobject thread) {
    if (!monitor_lock(&invoke_method_list_monitor, "find_invoke_method")) {
        printf("find_invoke_method: monitor_lock failed\n");
        return NULL;
    }
    invoke_request** link = &invoke_method_list;
    while (*link && (*link)->thread != thread) link = &(*link)->next;
    invoke_request* found = *link;
    if (found) *link = found->next;
    if (!monitor_unlock(&invoke_method_list_monitor, "find_invoke_method")) {
        printf("find_invoke_method: monitor_unlock failed\n");
        return NULL;
    }
    return found;
}

void free_invoke_method(JNIEnv*, invoke_request* request) {
    if (request->arguments)
        if (jint err = vm_deallocate(request->arguments))
            report_failure("free_invoke_method: Deallocate() failed %s\n", err);
    if (jint err = vm_deallocate(request)) report_failure("free_invoke_method: Deallocate() failed %s\n", err);
    shared_store(method_invoke_on, 0);
}

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
    if ((request->return_type == 'L' || request->return_type == '[') && value.l) {
        jint created;
        outcome->value_class = URef_from_local(env, env->GetObjectClass(value.l), &created);
    }
}

/* A debugger that found another event in the queue may have given up before the target thread gets here; that must
 * last, or the call would run on with its events dropped. */
static void begin_invocation(tmap_record* record, jint sync) {
    jint state = INVOKE_NONE;
    if (!sync)
        shared_store(record->invocation_state, INVOKE_NONE);
    else
        __atomic_compare_exchange_n(&record->invocation_state, &state, (jint)INVOKE_RUNNING, false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_ACQUIRE);
}

void service_invoke_request(JNIEnv* env, tmap_record* record, JVMDI_Event* result) {
    reset_outcome(result);
    if (!record) return;
    invoke_request* request = find_invoke_method(record->handle);
    if (!request) return;
    begin_invocation(record, request->sync);
    const jvalue value = call_method(env, request);
    const jint state = shared_load(record->invocation_state);
    const bool abandoned = request->sync && state != INVOKE_RUNNING && state != INVOKE_ABORTED;
    if (!abandoned) {
        fill_outcome(env, request, value, outcome_of(result));
        if (state == INVOKE_ABORTED) env->ExceptionClear();
    }
    shared_store(record->invocation_state, INVOKE_NONE);
    free_invoke_method(env, request);
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
    if (jint err = event_queue_release_pending()) return err;
    bool found = false;
    if (jint err = event_queue_await_outcome(tid, result, &found)) return err;
    if (!found) {
        shared_store(record->invocation_state, INVOKE_ABANDONED);
        result->status = INVOKE_STATUS_THREW;
        result->exception = NULL;
    }
    return 0;
}
