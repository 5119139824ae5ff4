/* agent_thread.h: the agent thread's start, loop and end. */
#ifndef QUOR_AGENT_THREAD_H
#define QUOR_AGENT_THREAD_H

#include "support/agent_types.h"

/* Creates the agent's Java daemon thread and returns when it has met the debugger at jquor_jvmdi_sync_hook. Called on the
 * thread that delivers VM_INIT; each failure prints its message and aborts. */
AGENT_API void start_agent_thread(JNIEnv* env);

/* The thread's bodies, started by JVMDI RunDebugThread and JVMTI RunAgentThread; the last argument is ignored. */
AGENT_API void JNICALL jvmdi_debug_agent(void* ignored);
AGENT_API void JNICALL jvmti_debug_agent(jvmtiEnv* vm, JNIEnv* env, void* ignored);

/* The thread's loop over process_next_event, until VM_DEATH ends it. */
AGENT_API void agent_bar();

#endif
