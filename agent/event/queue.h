/* queue.h: the queue between the threads that raise events and the agent thread: its entries and its monitors.
 *
 * It is a strict rendezvous: the raising thread (java_threads/poster.h) goes on only when the agent thread
 * (agent_thread/consumer.h), and through it the debugger, has finished with the event. */
#ifndef QUOR_QUEUE_H
#define QUOR_QUEUE_H

#include "support/agent_monitor.h"
#include "vm/jvmdi.h"
#include "vm/jvmpi.h"

/* What the agent thread calls for an event: process_jvmdi_event or process_jvmpi_event (agent_thread/processing.h), whose events
 * differ. One word, passed like the plain function pointer that it holds. `tid` is the poster's thread id. */
typedef union event_handler {
    void (*jvmdi)(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid);
    void (*jvmpi)(JNIEnv* env, JVMPI_Event* event, agent_tid_t tid);
} event_handler;

static_assert(sizeof(event_handler) == sizeof(void*), "a handler is one word");

/* One blocked poster. Entries come from the VM's Allocate ten at a time and are reused for ever. */
typedef struct queue_entry {
    void* event;              /* the event record, the poster's own; null releases the poster        */
    agent_tid_t tid;          /* the poster's thread id                                              */
    struct queue_entry* next; /* link in the queue or in the free list                               */
    monitor_t done;           /* the poster waits on it for `event` to become null                   */
    event_handler handler;    /* what to call for the event                                          */
} queue_entry;

/* Guards the queue; signalled for each entry that is appended. The agent thread waits on it. */
extern monitor_t event_queue_monitor;

/* Initialises the monitors (aborts if that fails), empties the queue and opens it. */
void event_queue_reset();

/* Take an entry from those that are free, and give it back. 0, 113 when a monitor failed, the code of a failed Allocate. */
jint event_queue_take_free(queue_entry** entry);
jint event_queue_put_free(queue_entry* entry);

/* Appends an entry whose done monitor the caller holds, and wakes the agent thread. 0; 113 when a monitor failed, and then,
 * unless it was the queue's that could not be locked, that done monitor is given up too. */
jint event_queue_append(queue_entry* entry);

/* Wakes the thread that waits on a monitor, the queue's or an entry's, and gives it back, in this order; on a newer VM the other
 * way round, so that who wakes up finds it free: with the lock still held it goes back to sleep, and is woken once more. Whether
 * both worked; both are done in any case. */
bool event_queue_hand_over(monitor_t* monitor, const char* name);

/* Wakes the agent thread for something else than an entry. */
void event_queue_wake();

/* From now on nothing waits in the queue: what is appended counts as processed at once. */
void event_queue_close();

/* For the holder of event_queue_monitor: whether the queue is empty; its oldest entry, or null; that entry taken out. */
bool event_queue_is_empty();
queue_entry* event_queue_head();
queue_entry* event_queue_take_head();

#endif
