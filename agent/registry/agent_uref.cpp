#include "registry/agent_uref.h"

#include "support/agent_self.h"
#include "support/report.h"
#include "vm/vm_call.h"
#include "vm/vm_newer.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

uref_record* refmap[UREF_BUCKETS];
monitor_t URef_monitor;

jint nfinds;

jint URef_init() { return (jint)monitor_init(&URef_monitor); }

/* A newer VM ends while threads are still at work in the agent, and refuses their calls from then on. The process is about
 * to end with the program's own status: a thread that cannot do without the VM waits for that. */
[[noreturn]] static void await_process_end() {
    for (;;) pause();
}

jint hashf(jobject ref) {
    jint hash = 0;
    if (jint err = vm_get_object_hash_code(ref, &hash)) {
        if (err == JVMDI_ERROR_VM_DEAD && vm_is_newer()) await_process_end();
        report_failure("AgentThread: JVMDI_GetObjectHashCode() failed -- %s\n", err);
        exit(1);
    }
    /* the most negative number has no absolute value; it is a multiple of 1024 */
    return hash == INT32_MIN ? 0 : abs(hash) % UREF_BUCKETS;
}

/* Takes the table's lock, with the bucket of `ref` worked out before; false when the lock failed.
 *
 * A thread that is suspended runs on in native code until its next VM call. Were that the IsSameObject of a search, the thread
 * would keep the lock while it is suspended, and the agent thread at its hook would wait for it for ever. On a VM that suspends
 * in this way the call for the hash code keeps the thread for as long as it is suspended; threads are suspended under this
 * lock; so a thread that finds, with the lock, that none was suspended since before that call is not suspended, and stays so
 * until it gives the lock back. Otherwise it may be, and makes the call again. */
static bool lock_table(jobject ref, jint* bucket, const char* name) {
    for (;;) {
        const jint suspensions = agent_suspensions();
        *bucket = hashf(ref);
        if (!monitor_lock(&URef_monitor, name)) return false;
        if (!vm_is_newer() || suspensions == agent_suspensions()) return true;
        monitor_unlock(&URef_monitor, name);
    }
}

/* The link that points to the object's record, or to the null at its bucket's end. */
static uref_record** find_link(JNIEnv* env, jobject ref, jint bucket) {
    uref_record** link = &refmap[bucket];
    while (*link && !env->IsSameObject((*link)->ref, ref)) link = &(*link)->next;
    return link;
}

static uref_record* URef_find_help(JNIEnv* env, jobject ref, jint bucket) {
    nfinds++;
    return *find_link(env, ref, bucket);
}

static jobject convert_nolock(JNIEnv* env, jobject ref, jint bucket, jint* created, bool adopt) {
    if (uref_record* known = URef_find_help(env, ref, bucket)) {
        *created = 0;
        return known->ref;
    }
    uref_record* record;
    vm_allocate(sizeof *record, &record);
    record->next = refmap[bucket];
    refmap[bucket] = record;
    record->owned = adopt ? 0 : 1;
    record->ref = adopt ? ref : env->NewGlobalRef(ref);
    if (!record->ref) printf("AgentThread: NewGlobalRef() failed\n");
    *created = 1;
    return record->ref;
}

static jobject convert(JNIEnv* env, jobject ref, jint* created, bool adopt, const char* name) {
    if (!ref) return NULL;
    jint bucket;
    if (!lock_table(ref, &bucket, name)) return NULL;
    const jobject uref = convert_nolock(env, ref, bucket, created, adopt);
    return monitor_unlock(&URef_monitor, name) ? uref : NULL;
}

jobject URef_from_local(JNIEnv* env, jobject ref, jint* created) {
    return convert(env, ref, created, false, "URef_from_local");
}

jobject URef_from_global(JNIEnv* env, jobject ref, jint* created) {
    return convert(env, ref, created, true, "URef_from_global");
}

jobject URef_from_local_nolock(JNIEnv* env, jobject ref, jint bucket, jint* created) {
    return ref ? convert_nolock(env, ref, bucket, created, false) : NULL;
}

jobject URef_from_global_nolock(JNIEnv* env, jobject ref, jint bucket, jint* created) {
    return ref ? convert_nolock(env, ref, bucket, created, true) : NULL;
}

jobject URef_find(JNIEnv* env, jobject ref) {
    if (!ref) return NULL;
    jint bucket;
    if (!lock_table(ref, &bucket, "URef_find")) return NULL;
    const uref_record* record = URef_find_help(env, ref, bucket);
    const jobject uref = record ? record->ref : NULL;
    return monitor_unlock(&URef_monitor, "URef_find") ? uref : NULL;
}

jint URef_delete(JNIEnv* env, jobject ref) {
    jint bucket;
    if (!lock_table(ref, &bucket, "URef_delete")) return 0;
    URef_delete_nolock(env, ref, bucket);
    return (jint)monitor_unlock(&URef_monitor, "URef_delete");
}

void URef_delete_nolock(JNIEnv* env, jobject ref, jint bucket) {
    uref_record** link = find_link(env, ref, bucket);
    uref_record* record = *link;
    if (!record) return;
    *link = record->next;
    if (record->owned) env->DeleteGlobalRef(record->ref);
    vm_deallocate(record);
}

void URef_delete_unneeded(JNIEnv* env, bool (*needed)(void* cookie, jobject uref), void* cookie) {
    if (!monitor_lock(&URef_monitor, "URef_delete_unneeded")) return;
    for (uref_record*& bucket : refmap) {
        uref_record** link = &bucket;
        while (uref_record* record = *link) {
            if (needed(cookie, record->ref)) {
                link = &record->next;
                continue;
            }
            *link = record->next;
            if (record->ref) env->DeleteGlobalRef(record->ref);
            vm_deallocate(record);
        }
    }
    monitor_unlock(&URef_monitor, "URef_delete_unneeded");
}
