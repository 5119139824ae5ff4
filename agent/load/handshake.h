/* handshake.h: what the option string asks for, and the meeting with the debugger that it may ask for. */
#ifndef QUOR_HANDSHAKE_H
#define QUOR_HANDSHAKE_H

#include "support/agent_types.h"

#include <sys/types.h>

AGENT_API jint attached; /* handshake flag: cleared by the agent, set by the debugger's process   */

/* What the option string asks for. */
struct load_options {
    pid_t sync = 0;    /* the debugger's process; 0: no handshake */
    char* fifo = NULL; /* where the debugger answers              */
};

/* Reads an option string, changed in place, or null. */
load_options parse_options(char* rest);

/* Notifies the debugger's process and waits for its answer; aborts, after a message, without one. */
void shake_hands(const load_options& options);

#endif
