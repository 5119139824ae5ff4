/* vm_call.h: the choice between the two debug interfaces of a VM, where they differ in no more than the call.
 *
 * JVMTI when the global `jvmti` is set, otherwise the JVMDI function of the same number. Where the two differ in more than
 * the call (who owns a reference, what a frame is), the module that owns the rule says what each does, through
 * vm_call_either.
 *
 * JVMDI's functions are called through the table that the caller's VM gives (vm_jvmdi), by functions without a JNIEnv through
 * the one of loading. Results are the interface's error codes; references that come back are local ones from JVMTI, global
 * ones from JVMDI.
 */
#ifndef QUOR_VM_CALL_H
#define QUOR_VM_CALL_H

#include "vm/vm_interface.h"

#include <stddef.h>

/* Makes `call` (a generic lambda over the interface) where both interfaces take the same arguments. */
template <class Call> static inline jint vm_call(JNIEnv* env, Call call) {
    if (jvmti) return call(jvmti);
    JVMDI_Interface_1* table;
    if (jint err = vm_jvmdi(env, &table)) return err;
    return call(table);
}

/* The same for a caller without a JNIEnv. */
template <class Call> static inline jint vm_call_loaded(Call call) {
    return jvmti ? (jint)call(jvmti) : (jint)call(vm_known_jvmdi());
}

/* Makes one of two calls where the interfaces take different arguments. */
template <class TiCall, class DiCall> static inline jint vm_call_either(JNIEnv* env, TiCall ti_call, DiCall di_call) {
    if (jvmti) return ti_call(jvmti);
    JVMDI_Interface_1* table;
    if (jint err = vm_jvmdi(env, &table)) return err;
    return di_call(table);
}

/* Memory. `block` receives `size` bytes that only vm_deallocate gives back. */

template <class T> static inline jint vm_allocate(size_t size, T** block) {
    unsigned char* memory = NULL;
    jint err =
        jvmti ? (jint)jvmti->Allocate((jlong)size, &memory) : vm_known_jvmdi()->Allocate((jlong)size, (jbyte**)&memory);
    *block = (T*)(void*)memory;
    return err;
}
static inline jint vm_deallocate(const void* block) {
    unsigned char* memory = (unsigned char*)const_cast<void*>(block);
    return jvmti ? (jint)jvmti->Deallocate(memory) : vm_known_jvmdi()->Deallocate((jbyte*)memory);
}

/* Objects. */

static inline jint vm_get_object_hash_code(jobject object, jint* hash) {
    return vm_call_loaded([=](auto* vm) { return vm->GetObjectHashCode(object, hash); });
}

/* Threads and thread groups. The two interfaces' records have one layout. */

static_assert(sizeof(JVMDI_thread_info) == sizeof(jvmtiThreadInfo));
static_assert(offsetof(JVMDI_thread_info, thread_group) == offsetof(jvmtiThreadInfo, thread_group));
static_assert(offsetof(JVMDI_thread_info, context_class_loader) == offsetof(jvmtiThreadInfo, context_class_loader));
static_assert(sizeof(JVMDI_thread_group_info) == sizeof(jvmtiThreadGroupInfo));
static_assert(offsetof(JVMDI_thread_group_info, max_priority) == offsetof(jvmtiThreadGroupInfo, max_priority));

static inline jint vm_get_thread_info(JNIEnv* env, jthread thread, JVMDI_thread_info* info) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetThreadInfo(thread, (jvmtiThreadInfo*)(void*)info); },
        [=](JVMDI_Interface_1* vm) { return vm->GetThreadInfo(thread, info); });
}
static inline jint vm_get_thread_group_info(JNIEnv* env, jthreadGroup group, JVMDI_thread_group_info* info) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetThreadGroupInfo(group, (jvmtiThreadGroupInfo*)(void*)info); },
        [=](JVMDI_Interface_1* vm) { return vm->GetThreadGroupInfo(group, info); });
}
/* The monitors that a thread owns; the array is the caller's to vm_deallocate. */
static inline jint vm_get_owned_monitor_info(JNIEnv* env, jthread thread, JVMDI_owned_monitor_info* info) {
    return vm_call_either(
        env,
        [=](jvmtiEnv* vm) {
            return vm->GetOwnedMonitorInfo(thread, &info->owned_monitor_count, &info->owned_monitors);
        },
        [=](JVMDI_Interface_1* vm) { return vm->GetOwnedMonitorInfo(thread, info); });
}
static inline jint vm_get_current_contended_monitor(JNIEnv* env, jthread thread, jobject* monitor) {
    return vm_call(env, [=](auto* vm) { return vm->GetCurrentContendedMonitor(thread, monitor); });
}

/* Suspend or resume each of `count` threads; `results` receives a code for each. */
static inline jint vm_suspend_thread_list(jint count, jthread* threads, jint* results) {
    return jvmti ? (jint)jvmti->SuspendThreadList(count, threads, (jvmtiError*)(void*)results)
                 : vm_known_jvmdi()->SuspendThreadList(count, threads, results);
}
static inline jint vm_resume_thread_list(jint count, jthread* threads, jint* results) {
    return jvmti ? (jint)jvmti->ResumeThreadList(count, threads, (jvmtiError*)(void*)results)
                 : vm_known_jvmdi()->ResumeThreadList(count, threads, results);
}

/* Starts the body of the interface in use in `thread`, with normal priority and no argument. */
static inline jint vm_run_agent_thread(jthread thread, jvmtiStartFunction ti_body, void(JNICALL* di_body)(void*)) {
    return jvmti ? (jint)jvmti->RunAgentThread(thread, ti_body, NULL, JVMTI_THREAD_NORM_PRIORITY)
                 : vm_known_jvmdi()->RunDebugThread(thread, di_body, NULL, JVMTI_THREAD_NORM_PRIORITY);
}

/* Classes. */

/* The class's signature and, if asked for, its generic one (which JVMDI does not have and leaves alone); the texts are the
 * caller's to vm_deallocate. */
static inline jint vm_get_class_signature(JNIEnv* env, jclass clazz, char** signature, char** generic = NULL) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetClassSignature(clazz, signature, generic); },
        [=](JVMDI_Interface_1* vm) { return vm->GetClassSignature(clazz, signature); });
}
static inline jint vm_get_class_status(JNIEnv* env, jclass clazz, jint* status) {
    return vm_call(env, [=](auto* vm) { return vm->GetClassStatus(clazz, status); });
}
static inline jint vm_get_source_file_name(JNIEnv* env, jclass clazz, char** name) {
    return vm_call(env, [=](auto* vm) { return vm->GetSourceFileName(clazz, name); });
}
static inline jint vm_is_interface(JNIEnv* env, jclass clazz, jboolean* answer) {
    return vm_call(env, [=](auto* vm) { return vm->IsInterface(clazz, answer); });
}
static inline jint vm_get_class_methods(JNIEnv* env, jclass clazz, jint* count, jmethodID** methods) {
    return vm_call(env, [=](auto* vm) { return vm->GetClassMethods(clazz, count, methods); });
}
static inline jint vm_get_loaded_classes(JNIEnv* env, jint* count, jclass** classes) {
    return vm_call(env, [=](auto* vm) { return vm->GetLoadedClasses(count, classes); });
}

/* Methods. JVMTI needs no class; JVMDI does. */

/* A method's name, signature and, if asked for, generic signature (which JVMDI does not have and leaves alone); the texts
 * are the caller's to vm_deallocate. */
static inline jint vm_get_method_name(JNIEnv* env, jclass clazz, jmethodID method, char** name, char** signature,
                                      char** generic = NULL) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetMethodName(method, name, signature, generic); },
        [=](JVMDI_Interface_1* vm) { return vm->GetMethodName(clazz, method, name, signature); });
}
static inline jint vm_get_method_modifiers(JNIEnv* env, jclass clazz, jmethodID method, jint* modifiers) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetMethodModifiers(method, modifiers); },
        [=](JVMDI_Interface_1* vm) { return vm->GetMethodModifiers(clazz, method, modifiers); });
}
static inline jint vm_is_method_native(JNIEnv* env, jclass clazz, jmethodID method, jboolean* answer) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->IsMethodNative(method, answer); },
        [=](JVMDI_Interface_1* vm) { return vm->IsMethodNative(clazz, method, answer); });
}
static inline jint vm_is_method_synthetic(JNIEnv* env, jclass clazz, jmethodID method, jboolean* answer) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->IsMethodSynthetic(method, answer); },
        [=](JVMDI_Interface_1* vm) { return vm->IsMethodSynthetic(clazz, method, answer); });
}
static inline jint vm_get_method_location(JNIEnv* env, jclass clazz, jmethodID method, jlocation* start,
                                          jlocation* end) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetMethodLocation(method, start, end); },
        [=](JVMDI_Interface_1* vm) { return vm->GetMethodLocation(clazz, method, start, end); });
}
static inline jint vm_get_max_locals(JNIEnv* env, jclass clazz, jmethodID method, jint* size) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetMaxLocals(method, size); },
        [=](JVMDI_Interface_1* vm) { return vm->GetMaxLocals(clazz, method, size); });
}
static_assert(sizeof(JVMDI_line_number_entry) == sizeof(jvmtiLineNumberEntry));
static_assert(offsetof(JVMDI_line_number_entry, line_number) == offsetof(jvmtiLineNumberEntry, line_number));
static inline jint vm_get_line_number_table(JNIEnv* env, jclass clazz, jmethodID method, jint* count,
                                            JVMDI_line_number_entry** table) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetLineNumberTable(method, count, (jvmtiLineNumberEntry**)(void*)table); },
        [=](JVMDI_Interface_1* vm) { return vm->GetLineNumberTable(clazz, method, count, table); });
}
static inline jint vm_get_bytecodes(JNIEnv* env, jclass clazz, jmethodID method, jint* count, unsigned char** bytes) {
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetBytecodes(method, count, bytes); },
        [=](JVMDI_Interface_1* vm) { return vm->GetBytecodes(clazz, method, count, (jbyte**)(void*)bytes); });
}

#endif
