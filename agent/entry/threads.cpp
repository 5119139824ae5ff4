#include "entry/agent_entry.h"

#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/resources.h"
#include "support/agent_self.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

/* The list that agent_get_threads hands out, in VM memory, and how many threads it has room for. */
static jthread* threadList;
static jint threadListSize;

/* What the debugger is told under JVMTI, whose thread state says everything: there is no suspend status. */
static const jint NO_SUSPEND_STATUS = -1;

static jint grow_thread_list() {
    void* grown;
    if (jint err = grown_copy(threadList, threadListSize, sizeof *threadList, &grown)) return err;
    if (threadList)
        if (jint err = deallocate_or_report(threadList)) return err;
    threadList = (jthread*)grown;
    threadListSize += GROWTH;
    return 0;
}

jint cb_threadInfo(void*, tmap_record* record, void* count) {
    jint* found = (jint*)count;
    if (is_agent_thread(record->tid)) return 0;
    if (*found >= threadListSize && grow_thread_list()) return 0;
    threadList[(*found)++] = record->handle;
    return 0;
}

jint agent_get_threads(JNIEnv* env, jint* count, jthread** threads) {
    env = current_env(env);
    *count = 0;
    TMap_iter(env, cb_threadInfo, count);
    *threads = threadList;
    return 0;
}

jint agent_get_threadinfo(JNIEnv* env, jthread thread, JVMDI_thread_info* info, agent_tid_t* tid, jint* status,
                          jint* suspend_status) {
    env = current_env(env);
    if (jvmti) *suspend_status = NO_SUSPEND_STATUS;
    tmap_record* record = TMap_tid2local(agent_self());
    if (!record) return JVMDI_ERROR_NULL_POINTER;
    *tid = TMap_handle2tid(thread);
    if (jint err = vm_get_thread_info(env, thread, info)) return err;
    record->thread_name = info->name;
    info->thread_group = keep_alive(env, info->thread_group, "thread_group");
    info->context_class_loader = keep_alive(env, info->context_class_loader, "context_class_loader");
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetThreadState(thread, status); },
        [=](JVMDI_Interface_1* vm) { return vm->GetThreadStatus(thread, status, suspend_status); });
}

jint agent_get_topthreadgroups(JNIEnv* env, jint* count, jthreadGroup** groups) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->GetTopThreadGroups(count, groups); });
}

jint agent_get_threadgroupinfo(JNIEnv* env, jthreadGroup group, JVMDI_thread_group_info* info) {
    return vm_get_thread_group_info(current_env(env), group, info);
}

jint agent_get_threadgroupchildren(JNIEnv* env, jthreadGroup group, jint* thread_count, jthread** threads,
                                   jint* group_count, jthreadGroup** groups) {
    return vm_call(current_env(env), [=](auto* vm) {
        return vm->GetThreadGroupChildren(group, thread_count, threads, group_count, groups);
    });
}

static jint suspend_thread(JNIEnv* env, jthread thread) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->SuspendThread(thread); });
}

/* A newer VM suspends a thread wherever it is, and it is not to be in the reference table. */
jint agent_suspendthread(JNIEnv* env, jthread thread) {
    if (!vm_is_newer()) return suspend_thread(env, thread);
    monitor_lock(&URef_monitor, "agent_suspendthread");
    const jint err = suspend_thread(env, thread);
    agent_note_suspension();
    monitor_unlock(&URef_monitor, "agent_suspendthread");
    return err;
}

jint agent_resumethread(JNIEnv* env, jthread thread) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->ResumeThread(thread); });
}

jint agent_stopthread(JNIEnv* env, jthread thread, jobject exception) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->StopThread(thread, exception); });
}

jint agent_interruptthread(JNIEnv* env, jthread thread) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->InterruptThread(thread); });
}