#include "invoke/requests.h"

#include "registry/agent_uref.h"
#include "support/agent_self.h"
#include "support/report.h"
#include "support/text.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <type_traits>

/* The list is the place where an invocation changes threads: the agent thread puts a request in, the target thread takes it out
 * when its event is released. Who unlinks a request owns it. Under the list's lock the agent thread, which wants to take one
 * back, and the target, which wants to begin it, are told apart. */

monitor_t invoke_method_list_monitor;
jobject java_lang_throwable;

static invoke_request* invoke_method_list; /* newest first; under invoke_method_list_monitor      */
static jint method_invoke_on;              /* 1 from posting a request until any request is freed */

jint invoke_method_init() {
    if (on_agent_thread()) return report_failure("invoke_method_init: failed -- %s\n", JVMDI_ERROR_INVALID_THREAD);
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
    invoke_method_list = NULL; /* freeing calls the VM: not under the lock */
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
    request->clazz = intern(env, clazz);
    return 0;
}

/* Steps over one parameter's type in a method's signature; true for a class or an array. */
static bool step_over_type(const char** at) {
    const bool is_reference = is_reference_type(**at);
    while (**at == '[') ++*at;
    if (**at == 'L') *at += strcspn(*at, ";");
    if (**at) ++*at;
    return is_reference;
}

/* Calls `action` for each reference that the request needs for its call. The class of an instance call is not among them: the
 * receiver is what JNI goes by. */
template <class Action> static void for_each_reference(invoke_request* request, Action action) {
    if (request->is_static)
        action(request->clazz);
    else
        action(request->object);
    const char* parameter = request->signature + 1;
    for (jint i = 0; i < request->argument_count && request->arguments; i++)
        if (step_over_type(&parameter)) action(request->arguments[i].l);
}

static void disown_references(JNIEnv* env, invoke_request* request) {
    if (!request->signature) return;
    for_each_reference(request, [=](auto& reference) {
        if (reference) env->DeleteGlobalRef(reference);
    });
    vm_deallocate(request->signature);
}

/* On a newer VM the request gets references of its own: what the debugger named it by may be gone when its thread comes to it,
 * with the end of a stop at which another request was freed, or with the thread that was named. 0; the code of a failed
 * GetMethodName; 113 without memory for a reference. */
static jint own_references(JNIEnv* env, invoke_request* request) {
    if (!vm_is_newer()) return 0;
    if (jint err = jvmti->GetMethodName(request->method, NULL, &request->signature, NULL)) {
        request->signature = NULL;
        return err;
    }
    jint err = 0;
    for_each_reference(request, [&](auto& reference) {
        const jobject own = reference ? env->NewGlobalRef(reference) : NULL;
        if (reference && !own) err = JVMDI_ERROR_INTERNAL;
        reference = (std::remove_reference_t<decltype(reference)>)own;
    });
    return err;
}

/* The caller's array is the debugger's scratch memory, which it may use for something else before the thread comes to the call. */
static jint copy_arguments(invoke_request* request, jint count, const jvalue* arguments) {
    request->argument_count = count;
    if (count <= 0) return 0;
    const size_t size = (size_t)count * sizeof *arguments;
    if (jint err = allocate_or_report(size, &request->arguments)) return err;
    memcpy(request->arguments, arguments, size);
    return 0;
}

/* Gives back a request that was never listed. */
static void discard(JNIEnv* env, invoke_request* request) {
    disown_references(env, request);
    if (request->arguments) vm_deallocate(request->arguments);
    vm_deallocate(request);
}

/* The flag is set under the lock, with the request: the target cannot free the one before the other is set. */
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
    memset(request, 0, sizeof *request); /* discard gives back what the steps below have made */
    request->thread = thread;
    request->is_static = is_static;
    request->sync = sync;
    request->clazz = clazz;
    request->method = method;
    request->return_type = (signed char)return_type;
    jint err = is_static ? 0 : fill_receiver(env, request, object);
    if (!err) err = copy_arguments(request, count, arguments);
    if (!err) err = own_references(env, request);
    if (err) {
        discard(env, request);
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

/* Unlinks the newest request that `wanted` accepts; `taken` is called for it before the list is unlocked. The messages name
 * find_invoke_method for all who come here: readers of the output know that text. */
template <class Wanted, class Taken> static invoke_request* unlink_request(Wanted wanted, Taken taken) {
    if (!monitor_lock(&invoke_method_list_monitor, "find_invoke_method")) {
        printf("find_invoke_method: monitor_lock failed\n");
        return NULL;
    }
    invoke_request** link = &invoke_method_list;
    while (*link && !wanted(*link)) link = &(*link)->next;
    invoke_request* found = *link;
    if (found) {
        *link = found->next;
        taken(found);
    }
    if (!monitor_unlock(&invoke_method_list_monitor, "find_invoke_method")) {
        printf("find_invoke_method: monitor_unlock failed\n");
        return NULL;
    }
    return found;
}

invoke_request* find_invoke_method(jobject thread) {
    return unlink_request([=](const invoke_request* request) { return request->thread == thread; },
                          [](const invoke_request*) {});
}

invoke_request* begin_invocation(tmap_record* record) {
    return unlink_request([=](const invoke_request* request) { return request->thread == record->handle; },
                          [=](const invoke_request* request) {
                              const jint state = request->sync ? INVOKE_RUNNING : INVOKE_NONE;
                              shared_store(record->invocation_state, state);
                          });
}

bool take_invocation_back(JNIEnv* env, jobject thread) {
    invoke_request* request =
        unlink_request([=](const invoke_request* listed) { return listed->thread == thread && listed->sync; },
                       [](const invoke_request*) {});
    if (request) free_invoke_method(env, request);
    return request != NULL;
}

void abandon_invocation(tmap_record* record) {
    if (!vm_is_newer()) {
        shared_store(record->invocation_state, INVOKE_ABANDONED);
        return;
    }
    /* one that is over leaves its outcome in the queue; what its thread does next must not be answered with an exception */
    jint running = INVOKE_RUNNING;
    __atomic_compare_exchange_n(&record->invocation_state, &running, (jint)INVOKE_ABANDONED, false, __ATOMIC_ACQ_REL,
                                __ATOMIC_ACQUIRE);
    shared_store(method_invoke_on, 0); /* the stop's handles are not kept for a method that may never end */
}

void free_invoke_method(JNIEnv* env, invoke_request* request) {
    disown_references(env, request);
    if (request->arguments)
        if (jint err = vm_deallocate(request->arguments))
            report_failure("free_invoke_method: Deallocate() failed %s\n", err);
    if (jint err = vm_deallocate(request)) report_failure("free_invoke_method: Deallocate() failed %s\n", err);
    shared_store(method_invoke_on, 0);
}

void free_requests_of(JNIEnv* env, jobject thread) {
    while (invoke_request* request = find_invoke_method(thread)) free_invoke_method(env, request);
}
