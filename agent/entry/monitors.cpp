#include "entry/agent_entry.h"

#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/resources.h"
#include "support/agent_self.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

#include <string.h>

static const char LOG_SOURCE[] = "agent_entry.c";

/* ---- Capabilities ---- */

template <class Capabilities> static bool can_inspect_monitors(const Capabilities& features) {
    return features.can_get_owned_monitor_info && features.can_get_current_contended_monitor &&
           features.can_get_monitor_info;
}

/* Whether the interface in use can. */
static bool can_inspect_monitors() {
    return jvmti ? can_inspect_monitors(jvmti_features) : can_inspect_monitors(jvmdi_features);
}

/* Whether each interface that is there can. */
static bool all_can_inspect_monitors() {
    return can_inspect_monitors() && (!jvmdi || can_inspect_monitors(jvmdi_features));
}

/* ---- References ---- */

/* A monitor as the VM returned it, fit to be handed out until the process resumes. */
static jobject handed_out(JNIEnv* env, jobject returned, const char* label) {
    const jobject monitor = vm_durable(env, returned);
    add_resource(env, monitor, freeRef, label);
    return monitor;
}

/* How a thread that the VM returned gets its URef. */
typedef jobject (*uref_maker)(JNIEnv* env, jthread returned);

/* JVMTI returns local references, which the reference table copies; JVMDI global ones, which it adopts. */
static jobject uref_of_returned(JNIEnv* env, jthread returned) {
    jint created;
    return jvmti ? URef_from_local(env, returned, &created) : URef_from_global(env, returned, &created);
}

/* The same, with global references on both interfaces. A newer VM is spared the one that a thread with a URef does
 * not need, and that nobody would delete. */
static jobject uref_of_global(JNIEnv* env, jthread returned) {
    if (!jvmti || vm_is_newer()) return uref_of_returned(env, returned);
    jint created;
    return URef_from_global(env, env->NewGlobalRef(returned), &created);
}

/* Fills a slot for each waiter: its URef, or null where the thread map does not know it; a URef made for nothing is
 * deleted again. `slots` may be the waiters' own array. Gives the number of slots that are filled. */
static jint keep_known_waiters(JNIEnv* env, const jthread* waiters, jint count, jobject* slots, uref_maker make_uref) {
    jint known = 0;
    for (jint i = 0; i < count; i++) {
        const jobject uref = make_uref(env, waiters[i]);
        const bool is_known = uref && TMap_handle2tid(uref);
        slots[i] = is_known ? uref : NULL;
        if (is_known)
            known++;
        else if (uref)
            URef_delete(env, uref);
    }
    return known;
}

/* ---- One thread's monitors ---- */

jint agent_get_owned_monitorinfo(JNIEnv* env, jthread thread, JVMDI_owned_monitor_info* info) {
    env = current_env(env);
    if (!can_inspect_monitors()) {
        *info = {};
        return 0;
    }
    tmap_record* record = TMap_tid2local(agent_self());
    if (!record) return JVMDI_ERROR_NULL_POINTER;
    if (jint err = vm_get_owned_monitor_info(env, thread, info)) return err;
    for (jint i = 0; i < info->owned_monitor_count; i++)
        info->owned_monitors[i] = handed_out(env, info->owned_monitors[i], "owned monitor");
    record->owned_monitor_count = info->owned_monitor_count;
    record->owned_monitors = info->owned_monitors;
    return 0;
}

/* What the two queries below share; `label` is the one that they register the monitor under. */
static jint get_contended(JNIEnv* env, jthread thread, jobject* monitor, const char* label) {
    if (jint err = vm_get_current_contended_monitor(env, thread, monitor)) return err;
    *monitor = handed_out(env, *monitor, label);
    return 0;
}

jint agent_get_current_contendedmonitor(JNIEnv* env, jthread thread, jobject* monitor) {
    env = current_env(env);
    if (!all_can_inspect_monitors()) {
        *monitor = NULL;
        return 0;
    }
    return get_contended(env, thread, monitor, "contended monitor");
}

jint agent_get_contended_monitor(JNIEnv* env, jthread thread, jobject* monitor) {
    env = current_env(env);
    if (thread && thread == shared_load(agent_thread)) return 0;
    if (!can_inspect_monitors()) {
        *monitor = NULL;
        return 0;
    }
    if (jint err = get_contended(env, thread, monitor, "contendedMonitor"))
        return report_failure("AgentThread: JVMDI_GetCurrentContendedMonitorInfo() failed -- %s\n", err);
    return 0;
}

/* ---- A monitor's usage ---- */

/* In JVMDI's layout on both interfaces. JVMTI also tells the threads that wait to be notified, which nobody asks for: a newer
 * VM gets their array back. */
static jint get_usage(JNIEnv* env, jobject monitor, JVMDI_monitor_info* usage) {
    return vm_call_either(
        env,
        [=](jvmtiEnv* vm) {
            jvmtiMonitorUsage found = {};
            const jint err = vm->GetObjectMonitorUsage(monitor, &found);
            if (err) return err;
            *usage = {found.owner, found.entry_count, found.waiter_count, found.waiters};
            if (found.notify_waiters && vm_is_newer()) vm_deallocate(found.notify_waiters);
            return err;
        },
        [=](JVMDI_Interface_1* vm) { return vm->GetMonitorInfo(monitor, usage); });
}

jint agent_get_monitorinfo(JNIEnv* env, jobject object, JVMDI_monitor_info* info) {
    env = current_env(env);
    JVMDI_Interface_1* table;
    if (!jvmti)
        if (jint err = vm_jvmdi(env, &table)) return err;
    jint hash;
    if (jint err = vm_get_object_hash_code(object, &hash)) return err;
    /* A failure of JVMDI's query is no failure here: the debugger sees a monitor that nobody owns or waits for. */
    if (!jvmti) *info = {};
    const jint err = get_usage(env, object, info);
    if (err && jvmti) return err;
    info->owner = uref_of_global(env, info->owner);
    info->waiter_count = keep_known_waiters(env, info->waiters, info->waiter_count, info->waiters, uref_of_global);
    return 0;
}

/* ---- All monitors that are owned ---- */

/* The monitors of one thread, in VM memory, while agent_get_monitorlist collects. */
struct owned_node {
    owned_node* next;
    jint count;
    jobject* monitors;
};

/* The walk's result: the nodes, last thread first. */
struct owned_collection {
    jint total;
    owned_node* head;
};

static_assert(sizeof(void*) != 4 || (sizeof(owned_node) == 12 && sizeof(owned_collection) == 8),
              "three words a node; callers of cb_monitorInfo pass two");

jint cb_monitorInfo(void* env, tmap_record* record, void* collection) {
    owned_collection* all = (owned_collection*)collection;
    if (is_agent_thread(record->tid)) return 0;
    owned_node* node;
    if (allocate_or_report(sizeof *node, &node)) return 0;
    JVMDI_owned_monitor_info owned = {};
    if (jint err = vm_get_owned_monitor_info((JNIEnv*)env, record->handle, &owned)) {
        report_failure("AgentThread: JVMDI_GetOwnedMonitorInfo() failed -- %s\n", err);
        deallocate_or_report(node);
        return 0;
    }
    *node = {all->head, owned.owned_monitor_count, owned.owned_monitors};
    all->head = node;
    all->total += node->count;
    return 0;
}

static jint release_node(owned_node* node) {
    if (node->monitors)
        if (jint err = deallocate_or_report(node->monitors)) return err;
    return deallocate_or_report(node);
}

/* Makes room in the record for `count` monitors; a larger array stays as it is, but for the waiters. */
static jint reserve_monitors(tmap_record* record, jint count) {
    for (jint i = 0; record->monitor_list && i < record->monitor_count; i++) {
        monitor_entry* entry = &record->monitor_list[i];
        if (!entry->waiters) continue;
        if (jint err = deallocate_or_report(entry->waiters)) return err;
        entry->waiters = NULL;
    }
    if (record->monitor_list && record->monitor_count >= count) return 0;
    if (record->monitor_list)
        if (jint err = deallocate_or_report(record->monitor_list)) return err;
    record->monitor_list = NULL;
    record->monitor_count = 0;
    if (jint err = allocate_or_report((size_t)count * sizeof *record->monitor_list, &record->monitor_list)) return err;
    for (jint i = 0; i < count; i++) record->monitor_list[i].waiters = NULL;
    record->monitor_count = count;
    return 0;
}

static jint describe_waiters(JNIEnv* env, const JVMDI_monitor_info& usage, monitor_entry* entry) {
    entry->waiter_count = 0;
    entry->waiters = NULL;
    if (usage.waiter_count > 0) {
        const size_t size = (size_t)usage.waiter_count * sizeof *entry->waiters;
        if (jint err = allocate_or_report(size, &entry->waiters)) return err;
        entry->waiter_count =
            keep_known_waiters(env, usage.waiters, usage.waiter_count, entry->waiters, uref_of_returned);
    }
    return usage.waiters ? deallocate_or_report(usage.waiters) : 0;
}

static jint describe_monitor(JNIEnv* env, jobject monitor, monitor_entry* entry) {
    JVMDI_monitor_info usage = {};
    if (jint err = get_usage(env, monitor, &usage))
        return report_failure("AgentThread: JVMDI_GetMonitorInfo() failed -- %s\n", err);
    entry->monitor = handed_out(env, monitor, jvmti ? "owned monitor 1" : "owned monitor 2");
    entry->owner = uref_of_returned(env, usage.owner);
    return describe_waiters(env, usage, entry);
}

/* Describes the collected monitors in the record, and gives the nodes back as it goes. */
static jint describe_monitors(JNIEnv* env, owned_collection* all, tmap_record* record) {
    if (jint err = reserve_monitors(record, all->total)) return err;
    monitor_entry* entry = record->monitor_list;
    while (owned_node* node = all->head) {
        for (jint i = 0; i < node->count; i++)
            if (jint err = describe_monitor(env, node->monitors[i], entry++)) return err;
        all->head = node->next;
        if (jint err = release_node(node)) return err;
    }
    return 0;
}

jint agent_get_monitorlist(JNIEnv* env, jint* count, monitor_entry** monitors) {
    env = current_env(env);
    tmap_record* record = TMap_tid2local(agent_self());
    if (!can_inspect_monitors()) {
        *count = 0;
        *monitors = NULL;
        return 0;
    }
    if (!record) return JVMDI_ERROR_NULL_POINTER;

    owned_collection all = {};
    TMap_iter(env, cb_monitorInfo, &all);
    AGENT_LOG(LogJVMDI, "Total monitors=%d", all.total);
    const jint total = all.total;
    const jint err = describe_monitors(env, &all, record);
    while (owned_node* node = all.head) { /* what a failure left */
        all.head = node->next;
        release_node(node);
    }
    if (err) return err;
    *count = total;
    *monitors = record->monitor_list;
    return 0;
}
