/* boot.h: the reduced event hook of the time before a debugger attaches. */
#ifndef QUOR_BOOT_H
#define QUOR_BOOT_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"

/* The event hook in force until the debugger attaches, on both interfaces: it tracks threads and classes, and on VM_INIT seeds the
 * registries and starts the agent thread. */
AGENT_API void JNICALL boot_event_hook(JNIEnv* env, JVMDI_Event* event);

#endif
