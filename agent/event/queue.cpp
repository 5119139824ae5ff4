#include "event/queue.h"

#include "support/report.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

#include <string.h>

/* Runs on both sides: a poster takes a free entry, appends it and gives it back; the agent thread looks at the head and takes it
 * out. What each does in between stands with it (java_threads/poster.cpp, agent_thread/consumer.cpp). An entry is the poster's
 * again from the moment when its event is null. */

enum { BLOCK_ENTRIES = 10 };

monitor_t event_queue_monitor;

static queue_entry* event_queue;               /* the oldest entry not yet taken; null when empty         */
static queue_entry* event_queue_end;           /* the entry appended last, while event_queue is set       */
static queue_entry* event_queue_freelist;      /* free entries, linked through `next`                     */
static bool event_queue_closed;                /* nobody takes entries any more                           */
static monitor_t event_queue_freelist_monitor; /* guards event_queue_freelist; held with no other monitor */

void event_queue_reset() {
    if (!monitor_init(&event_queue_freelist_monitor) || !monitor_init(&event_queue_monitor)) agent_abort();
    event_queue = event_queue_end = event_queue_freelist = NULL;
    event_queue_closed = false;
}

bool event_queue_hand_over(monitor_t* monitor, const char* name) {
    if (vm_is_newer()) {
        const bool unlocked = monitor_unlock(monitor, name);
        return monitor_signal(monitor, name) && unlocked;
    }
    const bool signalled = monitor_signal(monitor, name);
    return monitor_unlock(monitor, name) && signalled;
}

void event_queue_wake() {
    if (!monitor_lock(&event_queue_monitor, "event_queue_wake")) return;
    monitor_signal(&event_queue_monitor, "event_queue_wake");
    monitor_unlock(&event_queue_monitor, "event_queue_wake");
}

void event_queue_close() {
    if (!monitor_lock(&event_queue_monitor, "event_queue_close")) return;
    event_queue_closed = true;
    monitor_unlock(&event_queue_monitor, "event_queue_close");
}

/* Puts an entry at the end of the queue, unless nobody would ever take it. */
static void enqueue(queue_entry* entry) {
    if (event_queue_closed) {
        entry->event = NULL;
        return;
    }
    if (event_queue)
        event_queue_end->next = entry;
    else
        event_queue = entry;
    event_queue_end = entry;
}

/* Makes a block of entries the free list; the caller holds the list's monitor. */
static jint allocate_entries() {
    queue_entry* block;
    if (jint err = allocate_or_report(BLOCK_ENTRIES * sizeof *block, &block)) return err;
    memset((void*)block, 0, BLOCK_ENTRIES * sizeof *block);
    for (int i = 0; i < BLOCK_ENTRIES; i++) {
        monitor_init(&block[i].done);
        block[i].next = i + 1 < BLOCK_ENTRIES ? &block[i + 1] : NULL;
    }
    event_queue_freelist = block;
    return 0;
}

jint event_queue_take_free(queue_entry** entry) {
    if (!monitor_lock(&event_queue_freelist_monitor, "add_event")) return JVMDI_ERROR_INTERNAL;
    jint err = event_queue_freelist ? 0 : allocate_entries();
    if (!err) {
        *entry = event_queue_freelist;
        event_queue_freelist = (*entry)->next;
    }
    return monitor_unlock(&event_queue_freelist_monitor, "add_event") ? err : JVMDI_ERROR_INTERNAL;
}

jint event_queue_put_free(queue_entry* entry) {
    if (!monitor_lock(&event_queue_freelist_monitor, "add_event")) return JVMDI_ERROR_INTERNAL;
    entry->next = event_queue_freelist;
    event_queue_freelist = entry;
    return monitor_unlock(&event_queue_freelist_monitor, "add_event") ? 0 : JVMDI_ERROR_INTERNAL;
}

jint event_queue_append(queue_entry* entry) {
    if (!monitor_lock(&event_queue_monitor, "add_event")) return JVMDI_ERROR_INTERNAL;
    enqueue(entry);
    if (event_queue_hand_over(&event_queue_monitor, "add_event")) return 0;
    monitor_unlock(&entry->done, "add_event");
    return JVMDI_ERROR_INTERNAL;
}

bool event_queue_is_empty() { return !event_queue; }

queue_entry* event_queue_head() { return event_queue; }

queue_entry* event_queue_take_head() {
    queue_entry* entry = event_queue;
    if (entry) event_queue = entry->next;
    return entry;
}
