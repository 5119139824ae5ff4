/* processing.h: an event that the agent thread has taken: its references made durable, then its hook point. */
#ifndef QUOR_PROCESSING_H
#define QUOR_PROCESSING_H

#include "event/queue.h"

/* Replaces the references of a queued event by URefs, in place. Agent thread only. An event of a thread without a URef
 * prints its message and aborts. */
AGENT_API void preprocess_jvmdi_references(JNIEnv* env, JVMDI_Event* event);

/* Shows one event at its hook point. `tid` is the raising thread's. Agent thread only. */
AGENT_API void process_jvmdi_event(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid);
AGENT_API void process_jvmpi_event(JNIEnv* env, JVMPI_Event* event, agent_tid_t tid);

/* Whether the entries of a queue's handler carry a JVMDI_Event: all do but process_jvmpi_event's. */
static inline bool is_vm_event(event_handler handler) { return handler.jvmpi != process_jvmpi_event; }

/* The agent thread's loop ends when it is exactly 1. Cleared at load, set by VM_DEATH. */
extern jint terminate_debug_agent;

/* Ends the agent thread's loop on a newer VM, which waits at its end for threads that are in native code: wakes the agent
 * thread if it waits. For a VM_DEATH that is not processed like other events. Any thread. */
void end_agent_thread();

/* Whether the calling thread is the agent thread on its way out on a newer VM: its own events are nobody's business any more. */
bool agent_thread_is_leaving();

/* On a newer VM: the threads that exist before the agent hears of threads never announce themselves, and neither does a
 * virtual thread, which raises what events it does on its carrier. Gives the thread of a queued event its URef if it has
 * none, and, unless its native thread is a carrier's, a thread record. A virtual thread's URef is the result: it is to be
 * deleted when the event was processed, since nothing else tells when that thread ends. Null otherwise. */
jthread adopt_unannounced_thread(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid);

/* Puts the boot phase's event hooks back when the VM dies. Set at load, by those who install them. */
extern void (*put_back_boot_hooks)();

#endif
