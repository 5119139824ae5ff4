/* load.h: the entry points through which the JVM loads the agent. */
#ifndef QUOR_LOAD_H
#define QUOR_LOAD_H

#include "support/agent_types.h"

/* Load. Called by the JVM on its start-up thread, with the option string after "-Xrun<lib>:" or "-agentlib:<lib>="
 * (comma-separated items "sync=<pid>" and "fifo=<path>"; changed in place) or null. The result is 0: a failure prints its
 * message and aborts. JVM_OnLoad works through JVMTI, or through JVMDI where the VM has no JVMTI or the environment variable
 * __QUOR_USE_JVMDI is set; Agent_OnLoad through JVMTI only. */
AGENT_API jint JNICALL JVM_OnLoad(JavaVM* vm, char* options, void* reserved);
AGENT_API jint JNICALL Agent_OnLoad(JavaVM* vm, char* options, void* reserved);

#endif
