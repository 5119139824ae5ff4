/* control_c.h: the stop of a program that is merely running. */
#ifndef QUOR_CONTROL_C_H
#define QUOR_CONTROL_C_H

#include "support/agent_types.h"

/* Set to 1 by the debugger for a stop at hook_controlc; the agent thread polls it every 2000 milliseconds while it waits, and
 * resets it to 0. Only 0 and 1 may be written. */
AGENT_API jint controlc_hit;

/* Clears the flag and the event that a control-C stop is shown with. */
AGENT_API void initialize_controlc_event();

/* Shows a control-C stop, charged to the first thread of the thread map. Agent thread; gives 0. */
AGENT_API jint handle_controlc_event(JNIEnv* env);

#endif
