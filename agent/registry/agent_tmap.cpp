#include "registry/agent_tmap.h"

#include "support/agent_self.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

#include <stdio.h>
#include <stdlib.h>

static const char LOG_SOURCE[] = "agent_tmap.c";

tmap_record* tmap[TMAP_BUCKETS];
monitor_t tmap_lock = MONITOR_INITIALIZER;

/* A bit for each bucket that holds a record: a stop walks the map three times, and most buckets are empty. Written under
 * tmap_lock. */
static constexpr size_t BITS = 32, WORDS = (size_t)TMAP_BUCKETS / BITS;
static uint32_t used_buckets[WORDS];

static void note_bucket(tmap_record* const* bucket) {
    const size_t number = (size_t)(bucket - tmap);
    uint32_t& word = used_buckets[number / BITS];
    const uint32_t bit = (uint32_t)1 << number % BITS;
    shared_store(word, *bucket ? word | bit : word & ~bit);
}

/* Thread ids are addresses on Linux: unsigned, so that one that reads as negative has a bucket like any other. */
static tmap_record** bucket_of(agent_tid_t tid) { return &tmap[(unsigned long)tid % TMAP_BUCKETS]; }

/* The link that points to the id's first record, or to the null at its bucket's end. */
static tmap_record** find_link(agent_tid_t tid) {
    tmap_record** link = bucket_of(tid);
    while (*link && (*link)->tid != tid) link = &(*link)->next;
    return link;
}

/* The first record, in bucket order, that `wanted` accepts. */
template <class Wanted> static tmap_record* first_record(Wanted wanted) {
    for (tmap_record* bucket : tmap)
        for (tmap_record* record = bucket; record; record = record->next)
            if (wanted(record)) return record;
    return NULL;
}

static tmap_record* find_handle(jobject handle) {
    return first_record([=](const tmap_record* record) { return record->handle == handle; });
}

/* Threads that start before the VM has initialised are in the map already, and may be at it now. */
jint TMap_init() { return 1; }

jint TMap_start(jobject handle, agent_tid_t tid) {
    monitor_lock(&tmap_lock, "TMap_start");
    AGENT_LOG(LogJVMDI_VM_thread, "TMap_start: tid = %d   thread = %x\n", tid, handle);
    tmap_record* record = (tmap_record*)calloc(1, sizeof *record);
    if (!record) agent_fatal("TMap_start: out of memory\n");
    record->handle = handle;
    record->tid = tid;
    tmap_record** bucket = bucket_of(tid);
    record->next = *bucket;
    *bucket = record;
    note_bucket(bucket);
    return (jint)monitor_unlock(&tmap_lock, "TMap_start");
}

/* Takes the map's lock for a thread that is about to leave it.
 *
 * A thread that is suspended runs on in native code until its next VM call. Were it suspended when it takes itself out of the
 * map, nobody would find it there to resume it, and it would hang in that call for ever. On a VM that suspends in this way a
 * VM call keeps the thread for as long as it is suspended, and threads are suspended under this lock; so a thread that finds,
 * with the lock, that none was suspended since before such a call may leave. Otherwise it makes the call again. */
static void lock_to_leave(jobject handle) {
    for (;;) {
        const jint suspensions = agent_suspensions();
        const bool may_be_suspended = handle && vm_is_newer() && !on_agent_thread();
        jint ignored;
        if (may_be_suspended) vm_get_object_hash_code(handle, &ignored);
        monitor_lock(&tmap_lock, "TMap_end");
        if (!may_be_suspended || suspensions == agent_suspensions()) return;
        monitor_unlock(&tmap_lock, "TMap_end");
    }
}

jint TMap_end(jobject handle, agent_tid_t tid) {
    lock_to_leave(handle);
    AGENT_LOG(LogJVMDI_VM_thread, "TMap_end: tid = %d   thread = %x\n", tid, handle);
    tmap_record** link = find_link(tid);
    tmap_record* record = *link;
    if (record && record->handle == handle) {
        *link = record->next;
        note_bucket(bucket_of(tid));
        free(record);
    } else if (record) {
        printf("TMap_end(): handle mismatch\n");
    }
    return (jint)monitor_unlock(&tmap_lock, "TMap_end");
}

jobject TMap_tid2handle(agent_tid_t tid) {
    monitor_lock(&tmap_lock, "TMap_tid2handle");
    const tmap_record* record = *find_link(tid);
    const jobject handle = record ? record->handle : NULL;
    monitor_unlock(&tmap_lock, "TMap_tid2handle");
    return handle;
}

agent_tid_t TMap_handle2tid(jobject handle) {
    monitor_lock(&tmap_lock, "TMap_handle2tid");
    const agent_tid_t tid = TMap_handle2tid_nolock(handle);
    monitor_unlock(&tmap_lock, "TMap_handle2tid");
    return tid;
}

agent_tid_t TMap_handle2tid_nolock(jobject handle) {
    const tmap_record* record = find_handle(handle);
    return record ? record->tid : 0;
}

tmap_record* TMap_tid2tm(agent_tid_t tid) {
    monitor_lock(&tmap_lock, "TMap_tid2tm");
    tmap_record* record = *find_link(tid);
    monitor_unlock(&tmap_lock, "TMap_tid2tm");
    return record;
}

tmap_record* TMap_handle2tm(jobject handle) {
    monitor_lock(&tmap_lock, "TMap_handle2tm");
    tmap_record* record = find_handle(handle);
    monitor_unlock(&tmap_lock, "TMap_handle2tm");
    return record;
}

tmap_record* TMap_tid2local(agent_tid_t tid) {
    monitor_lock(&tmap_lock, "TMap_tid2local");
    tmap_record* record = *find_link(tid);
    freeLocal(record);
    monitor_unlock(&tmap_lock, "TMap_tid2local");
    return record;
}

/* Gives back what one field holds, and forgets it; 0, or the code of the failed Deallocate. */
template <class T> static jint release_field(T*& field) {
    if (!field) return 0;
    if (jint err = deallocate_or_report(field)) return err;
    field = NULL;
    return 0;
}

static jint release_local_variables(tmap_record* record) {
    if (!record->local_variable_table) return 0;
    for (jint i = 0; i < record->local_variable_count; i++) {
        JVMDI_local_variable_entry* entry = &record->local_variable_table[i];
        if (jint err = release_field(entry->name)) return err;
        if (jint err = release_field(entry->signature)) return err;
    }
    return release_field(record->local_variable_table);
}

void freeLocal(tmap_record* record) {
    if (!record) return;
    if (release_field(record->classes)) return;
    if (release_field(record->thread_name)) return;
    if (release_field(record->line_number_table)) return;
    if (release_local_variables(record)) return;
    if (release_field(record->bytecodes)) return;
    if (record->owned_monitor_count != 0) {
        if (release_field(record->owned_monitors)) return;
        record->owned_monitor_count = 0;
    }
}

void TMap_freelocal() {
    TMap_iter_nolock(
        NULL,
        [](void*, tmap_record* record, void*) {
            freeLocal(record);
            return 0;
        },
        NULL);
}

jint TMap_getthread(agent_tid_t* tid, jobject* handle) {
    monitor_lock(&tmap_lock, "TMap_getthread");
    const tmap_record* first = first_record([](const tmap_record*) { return true; });
    *tid = first ? first->tid : 0;
    *handle = first ? first->handle : NULL;
    return (jint)monitor_unlock(&tmap_lock, "TMap_getthread");
}

static jint iterate_locked(void* a, TMap_callback callback, void* b, const char* name) {
    monitor_lock(&tmap_lock, name);
    TMap_iter_nolock(a, callback, b);
    return (jint)monitor_unlock(&tmap_lock, name);
}

jint TMap_iter(void* a, TMap_callback callback, void* b) { return iterate_locked(a, callback, b, "TMap_iter"); }

jint TMap_iter_list(void* a, TMap_callback callback, void* b) {
    return iterate_locked(a, callback, b, "TMap_iter_list");
}

jint TMap_iter_nolock(void* a, TMap_callback callback, void* b) {
    for (size_t word = 0; word < WORDS; word++)
        for (uint32_t bits = shared_load(used_buckets[word]); bits; bits &= bits - 1)
            for (tmap_record* record = tmap[word * BITS + (size_t)__builtin_ctz(bits)]; record; record = record->next)
                callback(a, record, b);
    return 1;
}

jint TMap_iter_nolock_list(void* a, TMap_callback callback, void* b) { return TMap_iter_nolock(a, callback, b); }
