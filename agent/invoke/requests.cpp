#include "invoke/requests.h"

#include "registry/agent_uref.h"
#include "support/agent_self.h"
#include "support/report.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_memory.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

monitor_t invoke_method_list_monitor;
jobject java_lang_throwable;

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
