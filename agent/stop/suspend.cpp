#include "stop/suspend.h"

#include "registry/agent_tmap.h"
#include "stop/global_locks.h"
#include "support/agent_self.h"
#include "support/err_str.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

static const char LOG_SOURCE[] = "agent_entry.c";

/* The threads collected for one list operation, and their ids for its messages: two parallel arrays of VM memory. */
static jthread* S_R_threadList;
static agent_tid_t* S_R_threadList_tid;
static jint S_R_curCount;
static jint S_R_threadListSize;

/* Whether the VM suspends and resumes whole lists; otherwise each thread is suspended by itself. */
static bool has_list_operations() {
    return jvmti ? jvmti_features.can_suspend : jvmdi && jvmdi_features.can_suspend_resume_thread_lists;
}

static bool is_exempt(const tmap_record* record) { return is_agent_thread(record->tid) || record->tid == agent_self(); }

jint cb_suspend(void*, tmap_record* record, void*) {
    AGENT_LOG(LogJVMDI_VM_thread, " cb_suspend: tid = %lu  thread = %x", record->tid, record->handle);
    if (is_agent_thread(record->tid)) AGENT_LOG(LogJVMDI_VM_thread, " cb_suspend: agent- us; returning");
    if (is_exempt(record)) return 0;
    const jint err = vm_call_loaded([=](auto* vm) { return vm->SuspendThread(record->handle); });
    if (err == JVMDI_ERROR_THREAD_SUSPENDED)
        print_words<"AgentThread: cb_suspend() thread already suspended %lu\n">(record->tid);
    else if (err)
        report_failure("AgentThread:cb_suspend():JVMDI_SuspendThread() failed -- %s\n", err);
    return 0;
}

jint cb_resume(void*, tmap_record* record, void*) {
    AGENT_LOG(LogJVMDI_VM_thread, " cb_resume: tid = %lu  thread = %x", record->tid, record->handle);
    if (is_agent_thread(record->tid)) AGENT_LOG(LogJVMDI_VM_thread, " cb_resume: agent- us; returning");
    if (is_exempt(record)) return 0;
    const jint err = vm_call_loaded([=](auto* vm) { return vm->ResumeThread(record->handle); });
    if (err == JVMDI_ERROR_THREAD_NOT_SUSPENDED)
        print_words<"AgentThread: cb_resume() thread not suspended %lu\n">(record->tid);
    else if (err)
        report_failure("AgentThread: cb_resume(): JVMDI_ResumeThread() failed -- %s\n", err);
    return 0;
}

/* Grows both arrays, or neither. */
static jint grow_list() {
    void* threads = NULL;
    void* tids = NULL;
    if (jint err = grown_copy(S_R_threadList, S_R_threadListSize, sizeof *S_R_threadList, &threads)) return err;
    if (jint err = grown_copy(S_R_threadList_tid, S_R_threadListSize, sizeof *S_R_threadList_tid, &tids)) return err;
    if (S_R_threadList)
        if (jint err = deallocate_or_report(S_R_threadList)) return err;
    const agent_tid_t* old_tids = S_R_threadList_tid;
    S_R_threadList = (jthread*)threads; /* the old one is gone, whatever becomes of the other */
    S_R_threadList_tid = (agent_tid_t*)tids;
    S_R_threadListSize += GROWTH;
    return old_tids ? deallocate_or_report(old_tids) : 0;
}

jint cb_suspend_resume_list_create(void*, tmap_record* record, void*) {
    if (is_exempt(record)) return 0;
    if (S_R_curCount >= S_R_threadListSize && grow_list()) return 0;
    S_R_threadList[S_R_curCount] = record->handle;
    S_R_threadList_tid[S_R_curCount] = record->tid;
    S_R_curCount++;
    return 0;
}

/* Performs one list operation on the collected threads: `call` is its VM function, `call_failed` the message of a failed
 * call, and `thread_failed` prints what became of one thread. */
template <class Call, class ThreadFailed>
static jint list_operation(Call call, failure_format call_failed, ThreadFailed thread_failed) {
    if (S_R_curCount == 0) return 0;
    jint* results;
    if (jint err = allocate_or_report((size_t)S_R_curCount * sizeof *results, &results)) return err;
    jint result = call(results);
    if (result)
        report_failure(call_failed, result);
    else
        for (jint i = 0; i < S_R_curCount; i++) {
            if (results[i] == 0) continue;
            result = results[i];
            thread_failed(S_R_threadList_tid[i], result);
        }
    if (jint err = deallocate_or_report(results)) return err;
    S_R_curCount = 0;
    return result;
}

jint cb_suspend_list() {
    AGENT_LOG(LogJVMDI_VM_thread, " cb_suspend_list");
    return list_operation(
        [](jint* results) { return vm_suspend_thread_list(S_R_curCount, S_R_threadList, results); },
        "AgentThread: cb_suspend_list(): SuspendThreadList() failed -- %s\n",
        [](agent_tid_t tid, jint err) {
            if (err == JVMDI_ERROR_THREAD_SUSPENDED)
                print_words<"AgentThread: cb_suspend_list(): thread already suspended %d\n">(tid);
            else
                print_words<"AgentThread: cb_suspend_list(): SuspendThreadList() failed for %d -- %s\n">(tid,
                                                                                                         err_str(err));
        });
}

jint cb_resume_list() {
    AGENT_LOG(LogJVMDI_VM_thread, " cb_resume_list");
    return list_operation(
        [](jint* results) { return vm_resume_thread_list(S_R_curCount, S_R_threadList, results); },
        "AgentThread: cb_resume_list(): ResumeThreadList() failed -- %s\n",
        [](agent_tid_t tid, jint err) {
            if (err == JVMDI_ERROR_THREAD_NOT_SUSPENDED)
                print_words<"AgentThread: cb_resume_list(): thread not suspended %lu\n">(tid);
            else
                print_words<"AgentThread: cb_resume_list(): ResumeThreadList() failed for %lu -- %s\n">(tid,
                                                                                                        err_str(err));
        });
}

/* What an operation that failed has left in the list may be threads that have ended, whose references a newer VM polices. */
static void collect_threads(JNIEnv* env) {
    if (vm_is_newer()) S_R_curCount = 0;
    TMap_iter_nolock(env, cb_suspend_resume_list_create, NULL);
}

jint agent_suspend_all(JNIEnv* env) {
    env = current_env(env);
    AGENT_LOG(LogJVMDI, "AgentThread: agent_suspend_all()");
    if (agent_has_suspended()) return 0;
    acquire_globalocks();
    if (has_list_operations()) {
        collect_threads(env);
        cb_suspend_list();
    } else {
        TMap_iter_nolock(env, cb_suspend, NULL);
    }
    agent_note_suspended(true);
    release_globalocks();
    return 0;
}

jint agent_resume_all(JNIEnv* env) {
    env = current_env(env);
    AGENT_LOG(LogJVMDI, "AgentThread: agent_resume_all()");
    if (!agent_has_suspended()) return 0;
    if (!has_list_operations()) {
        TMap_iter(env, cb_resume, NULL);
        agent_note_suspended(false);
        return 0;
    }
    monitor_lock(&tmap_lock, "agent_resume_all");
    collect_threads(env);
    const jint result = cb_resume_list();
    monitor_unlock(&tmap_lock, "agent_resume_all");
    agent_note_suspended(false);
    return result;
}
