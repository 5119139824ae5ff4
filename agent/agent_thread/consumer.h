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

/* Releases the poster of the entry that the agent thread has taken, if any; 0 or 113. */
jint release_pending_entry();

/* Waits, without limit, for the queue to fill; if its head is the outcome of an invocation in the thread `tid`, it is copied to
 * `result`, becomes the entry that the agent thread has taken, and *found is true; otherwise the head stays queued. 0 or
 * 113. */
jint await_queued_outcome(agent_tid_t tid, AgentInvokRet* result, bool* found);

#endif
