/* consumer.h: the agent thread's end of the event queue. */
#ifndef QUOR_CONSUMER_H
#define QUOR_CONSUMER_H

#include "event/queue.h"
#include "registry/agent_records.h"

/* Makes the queue ready; at load, never on the agent thread (10, after "event_queue_init: failed -- ..."). 0. */
AGENT_API jint event_queue_init();

/* Waits for the next event, control-C or attach request and processes it. Agent thread only (10, after
 * "process_next_event: failed -- ..."). 0; 113 when a monitor failed. */
AGENT_API jint process_next_event();

/* Releases the poster of an entry. Agent thread. 0, or 113 when a monitor failed. */
AGENT_API jint notify_event_processing_done(queue_entry* entry);

/* Closes the queue and releases every thread that waits in it, its event unshown. At the agent thread's end on a newer VM. */
void release_all_posters();

/* Releases the poster of the entry that the agent thread has taken, if any; 0 or 113. */
jint release_pending_entry();

/* Whether an event or a control-C request waits for the agent thread. */
bool event_queue_has_work();

/* For a synchronous invocation, which consumes its own outcome in place of process_next_event. The first waits until the queue
 * is filled, on a VM newer than JVMTI 1.0 also for controlc_hit, and tells whether the head of the queue is the outcome of an
 * invocation in the thread `tid`. The second takes that head: it is copied to `result`, and becomes the entry that the agent
 * thread has taken. 0 or 113. */
jint await_queued_event(agent_tid_t tid, bool* is_outcome);
jint take_queued_outcome(AgentInvokRet* result);

#endif
