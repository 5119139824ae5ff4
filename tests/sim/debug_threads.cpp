/* debug_threads.cpp: JVMTI and JVMDI: threads, thread groups and monitors. */
#include "sim/debug_call.h"

namespace sim {

using Life = Thread::Life;

/* ---- Suspending: counts only, no thread is stopped --------------------------------------------------------------- */

static jint suspend_or_resume(Thread& thread, bool suspend) {
    if (thread.life != Life::alive) return JVMTI_ERROR_THREAD_NOT_ALIVE;
    bool suspended = thread.suspend_count > 0;
    if (suspend == suspended) return suspend ? JVMTI_ERROR_THREAD_SUSPENDED : JVMTI_ERROR_THREAD_NOT_SUSPENDED;
    thread.suspend_count += suspend ? 1 : -1;
    return JVMTI_ERROR_NONE;
}

template <bool suspend> static jint change_thread(Api api, jthread thread) {
    DebugCall call(api, suspend ? "SuspendThread" : "ResumeThread", thread);
    Thread* found = call.failed ? nullptr : call.get_thread(thread);
    return found ? suspend_or_resume(*found, suspend) : call.code();
}

static Raw list_text(jint count, const jthread* threads) {
    auto guard = the_sim().lock();
    std::string text = "[";
    for (jint i = 0; i < count; ++i) text += (i ? ", " : "") + show(threads[i]);
    return {text + "]"};
}

template <bool suspend, class Result>
static jint change_list(Api api, jint count, const jthread* threads, Result* results) {
    DebugCall call(api, suspend ? "SuspendThreadList" : "ResumeThreadList", list_text(count, threads));
    if (call.failed || !call.outputs(threads, results)) return call.code();
    for (jint i = 0; i < count; ++i) {
        Thread* thread = call.get<Thread>(threads[i], JVMTI_ERROR_INVALID_THREAD);
        results[i] = static_cast<Result>(thread ? suspend_or_resume(*thread, suspend) : JVMTI_ERROR_INVALID_THREAD);
    }
    return JVMTI_ERROR_NONE;
}
template <bool suspend> static jint ti_change_list(Api api, jint count, const jthread* threads, jvmtiError* results) {
    return change_list<suspend>(api, count, threads, results);
}
template <bool suspend> static jint di_change_list(Api api, jint count, jthread* threads, jint* results) {
    return change_list<suspend>(api, count, threads, results);
}

/* ---- One thread ------------------------------------------------------------------------------------------------- */

static jint stop_thread(Api api, jthread thread, jobject exception) {
    DebugCall call(api, "StopThread", thread, exception);
    Thread* found = call.failed ? nullptr : call.get_thread(thread);
    if (!found) return call.code();
    if (found->life != Life::alive) return call.refuse(JVMTI_ERROR_THREAD_NOT_ALIVE);
    Object* thrown = call.get<Object>(exception, JVMTI_ERROR_INVALID_OBJECT);
    if (thrown) found->pending_async = thrown;
    return call.code();
}

static jint interrupt_thread(Api api, jthread thread) {
    DebugCall call(api, "InterruptThread", thread);
    Thread* found = call.failed ? nullptr : call.get_thread(thread);
    if (!found) return call.code();
    if (found->life != Life::alive) return call.refuse(JVMTI_ERROR_THREAD_NOT_ALIVE);
    found->interrupted = true;
    return JVMTI_ERROR_NONE;
}

template <class Info> static jint get_thread_info(Api api, jthread thread, Info* info) {
    DebugCall call(api, "GetThreadInfo", thread);
    if (call.failed || !call.outputs(info)) return call.code();
    Thread* found = call.get_thread(thread);
    if (!found) return call.code();
    info->name = call.give_text(found->name);
    info->priority = found->priority;
    info->is_daemon = found->daemon;
    info->thread_group = found->life == Life::ended ? nullptr : call.give(found->group);
    info->context_class_loader = call.give(found->context_loader);
    return JVMTI_ERROR_NONE;
}

static jint state_of(const Thread& thread) {
    if (thread.jvmti_state) return *thread.jvmti_state;
    if (thread.life == Life::fresh) return 0;
    if (thread.life == Life::ended) return JVMTI_THREAD_STATE_TERMINATED;
    return JVMTI_THREAD_STATE_ALIVE | JVMTI_THREAD_STATE_RUNNABLE |
           (thread.suspend_count > 0 ? JVMTI_THREAD_STATE_SUSPENDED : 0) |
           (thread.interrupted ? JVMTI_THREAD_STATE_INTERRUPTED : 0);
}
static jint get_thread_state(Api api, jthread thread, jint* status) {
    DebugCall call(api, "GetThreadState", thread);
    if (call.failed || !call.outputs(status)) return call.code();
    Thread* found = call.get_thread(thread);
    if (found) *status = state_of(*found);
    return call.code();
}
static jint get_thread_status(Api api, jthread thread, jint* status, jint* suspend_status) {
    DebugCall call(api, "GetThreadStatus", thread);
    if (call.failed || !call.outputs(status, suspend_status)) return call.code();
    Thread* found = call.get_thread(thread);
    if (!found) return call.code();
    *status = found->jvmdi_status;
    *suspend_status = found->suspend_count > 0 ? JVMDI_SUSPEND_STATUS_SUSPENDED : 0;
    return JVMDI_ERROR_NONE;
}

static jint run_agent_body(DebugCall& call, jthread thread, jint priority, const std::function<void(JNIEnv*)>& body) {
    Thread* found = call.failed ? nullptr : call.get_thread(thread);
    if (!found) return call.code();
    if (priority < JVMTI_THREAD_MIN_PRIORITY || priority > JVMTI_THREAD_MAX_PRIORITY)
        return call.refuse(JVMTI_ERROR_INVALID_PRIORITY);
    found->priority = priority;
    call.unlock();
    return run_agent_thread(found, body);
}
static jint ti_run_agent_thread(Api api, jthread thread, jvmtiStartFunction body, const void* arg, jint priority) {
    DebugCall call(api, "RunAgentThread", thread, priority);
    jvmtiEnv* ti = the_sim().jvmti();
    return run_agent_body(call, thread, priority, [=](JNIEnv* env) { body(ti, env, const_cast<void*>(arg)); });
}
static jint di_run_debug_thread(Api api, jthread thread, JVMDI_StartFunction body, void* arg, int priority) {
    DebugCall call(api, "RunDebugThread", thread, priority);
    return run_agent_body(call, thread, priority, [=](JNIEnv*) { body(arg); });
}

/* ---- Thread groups ---------------------------------------------------------------------------------------------- */

template <class T, class Wanted> static std::vector<T*> objects_where(Wanted wanted) {
    std::vector<T*> found;
    for (const auto& object : state().objects)
        if (T* candidate = dynamic_cast<T*>(object.get()); candidate && wanted(*candidate)) found.push_back(candidate);
    return found;
}

static jint get_top_thread_groups(Api api, jint* count, jthreadGroup** groups) {
    DebugCall call(api, "GetTopThreadGroups");
    if (call.failed || !call.outputs(count, groups)) return call.code();
    auto top = objects_where<ThreadGroup>([](const ThreadGroup& group) { return !group.parent; });
    *count = static_cast<jint>(top.size());
    *groups = call.give_all<jthreadGroup>(top);
    return JVMTI_ERROR_NONE;
}

template <class Info> static jint get_thread_group_info(Api api, jthreadGroup group, Info* info) {
    DebugCall call(api, "GetThreadGroupInfo", group);
    if (call.failed || !call.outputs(info)) return call.code();
    const auto* found = call.get<ThreadGroup>(group, JVMTI_ERROR_INVALID_THREAD_GROUP);
    if (!found) return call.code();
    info->parent = call.give(found->parent);
    info->name = call.give_text(found->name);
    info->max_priority = found->max_priority;
    info->is_daemon = found->daemon;
    return JVMTI_ERROR_NONE;
}

static jint get_thread_group_children(Api api, jthreadGroup group, jint* thread_count, jthread** threads,
                                      jint* group_count, jthreadGroup** groups) {
    DebugCall call(api, "GetThreadGroupChildren", group);
    if (call.failed || !call.outputs(thread_count, threads, group_count, groups)) return call.code();
    const auto* parent = call.get<ThreadGroup>(group, JVMTI_ERROR_INVALID_THREAD_GROUP);
    if (!parent) return call.code();
    auto members = objects_where<Thread>(
        [=](const Thread& thread) { return thread.group == parent && thread.life == Life::alive; });
    auto children = objects_where<ThreadGroup>([=](const ThreadGroup& child) { return child.parent == parent; });
    *thread_count = static_cast<jint>(members.size());
    *threads = call.give_all<jthread>(members);
    *group_count = static_cast<jint>(children.size());
    *groups = call.give_all<jthreadGroup>(children);
    return JVMTI_ERROR_NONE;
}

/* ---- Monitors --------------------------------------------------------------------------------------------------- */

static jint give_owned(DebugCall& call, jthread thread, jint* count, jobject** monitors) {
    if (call.failed || !call.outputs(count, monitors)) return call.code();
    const Thread* found = call.get_thread(thread);
    if (!found) return call.code();
    *count = static_cast<jint>(found->owned.size());
    *monitors = call.give_all<jobject>(found->owned);
    return JVMTI_ERROR_NONE;
}
static jint ti_get_owned_monitor_info(Api api, jthread thread, jint* count, jobject** monitors) {
    DebugCall call(api, "GetOwnedMonitorInfo", thread);
    return give_owned(call, thread, count, monitors);
}
static jint di_get_owned_monitor_info(Api api, jthread thread, JVMDI_owned_monitor_info* info) {
    DebugCall call(api, "GetOwnedMonitorInfo", thread);
    return give_owned(call, thread, &info->owned_monitor_count, &info->owned_monitors);
}

static jint get_current_contended_monitor(Api api, jthread thread, jobject* monitor) {
    DebugCall call(api, "GetCurrentContendedMonitor", thread);
    if (call.failed || !call.outputs(monitor)) return call.code();
    const Thread* found = call.get_thread(thread);
    if (found) *monitor = call.give(found->contended);
    return call.code();
}

/* The part of a monitor's record that both interfaces have. */
template <class Info> static const Monitor* give_monitor(DebugCall& call, jobject object, Info* info) {
    if (call.failed || !call.outputs(info)) return nullptr;
    const Object* found = call.get<Object>(object, JVMTI_ERROR_INVALID_OBJECT);
    if (!found) return nullptr;
    const Monitor& monitor = found->monitor;
    info->owner = call.give(monitor.owner);
    info->entry_count = monitor.entry_count;
    info->waiter_count = static_cast<jint>(monitor.waiters.size());
    info->waiters = call.give_all<jthread>(monitor.waiters);
    return &monitor;
}
static jint get_object_monitor_usage(Api api, jobject object, jvmtiMonitorUsage* usage) {
    DebugCall call(api, "GetObjectMonitorUsage", object);
    const Monitor* monitor = give_monitor(call, object, usage);
    if (!monitor) return call.code();
    usage->notify_waiter_count = static_cast<jint>(monitor->notify_waiters.size());
    usage->notify_waiters = call.give_all<jthread>(monitor->notify_waiters);
    return JVMTI_ERROR_NONE;
}
static jint get_monitor_info(Api api, jobject object, JVMDI_monitor_info* info) {
    DebugCall call(api, "GetMonitorInfo", object);
    give_monitor(call, object, info);
    return call.code();
}

/* ----------------------------------------------------------------------------------------------------------------- */

void fill_threads(jvmtiInterface_1_& ti, JVMDI_Interface_1& di) {
    ti.SuspendThread = Ti<change_thread<true>>::call;
    di.SuspendThread = Di<change_thread<true>>::call;
    ti.ResumeThread = Ti<change_thread<false>>::call;
    di.ResumeThread = Di<change_thread<false>>::call;
    ti.SuspendThreadList = Ti<ti_change_list<true>>::call;
    di.SuspendThreadList = Di<di_change_list<true>>::call;
    ti.ResumeThreadList = Ti<ti_change_list<false>>::call;
    di.ResumeThreadList = Di<di_change_list<false>>::call;
    ti.StopThread = Ti<stop_thread>::call;
    di.StopThread = Di<stop_thread>::call;
    ti.InterruptThread = Ti<interrupt_thread>::call;
    di.InterruptThread = Di<interrupt_thread>::call;
    ti.GetThreadInfo = Ti<get_thread_info<jvmtiThreadInfo>>::call;
    di.GetThreadInfo = Di<get_thread_info<JVMDI_thread_info>>::call;
    ti.GetThreadState = Ti<get_thread_state>::call;
    di.GetThreadStatus = Di<get_thread_status>::call;
    ti.RunAgentThread = Ti<ti_run_agent_thread>::call;
    di.RunDebugThread = Di<di_run_debug_thread>::call;
    ti.GetTopThreadGroups = Ti<get_top_thread_groups>::call;
    di.GetTopThreadGroups = Di<get_top_thread_groups>::call;
    ti.GetThreadGroupInfo = Ti<get_thread_group_info<jvmtiThreadGroupInfo>>::call;
    di.GetThreadGroupInfo = Di<get_thread_group_info<JVMDI_thread_group_info>>::call;
    ti.GetThreadGroupChildren = Ti<get_thread_group_children>::call;
    di.GetThreadGroupChildren = Di<get_thread_group_children>::call;
    ti.GetOwnedMonitorInfo = Ti<ti_get_owned_monitor_info>::call;
    di.GetOwnedMonitorInfo = Di<di_get_owned_monitor_info>::call;
    ti.GetCurrentContendedMonitor = Ti<get_current_contended_monitor>::call;
    di.GetCurrentContendedMonitor = Di<get_current_contended_monitor>::call;
    ti.GetObjectMonitorUsage = Ti<get_object_monitor_usage>::call;
    di.GetMonitorInfo = Di<get_monitor_info>::call;
}

} // namespace sim
