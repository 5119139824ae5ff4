/* attach_stop.h: the stop at which a debugger that attaches is shown the agent. */
#ifndef QUOR_ATTACH_STOP_H
#define QUOR_ATTACH_STOP_H

#include "support/agent_types.h"

/* Set to 1 by the debugger, before it calls agent_attach_jquor at the stop that answers this, or after; polled likewise, answered
 * with process_on_attach, and reset to 0. */
AGENT_API jint jquor_attached;

/* Seeds the list of prepared classes and shows the agent to a debugger that has set jquor_attached. Agent thread only.
 * Gives the result of resume_after_event. On a newer VM the program still runs during the seeding, and stands while the list is
 * brought up to date. */
AGENT_API jint process_on_attach();

/* Makes the list of prepared classes name those that the VM has now: empties and seeds it. At the stop of process_on_attach on a
 * newer VM it is only brought up to date. */
void list_classes_afresh(JNIEnv* env);

/* The thread that created the agent thread; not exported. */
extern agent_tid_t tid_main_thread;

#endif
