/* let_go.h: what the agent keeps for a debugger ends when that debugger has left a newer VM: a URef keeps its class, and with it
 * the class's loader, from being unloaded. */
#ifndef QUOR_LET_GO_H
#define QUOR_LET_GO_H

/* Notes that the debugger has left (true), or has come back before anything was done about it (false). Any thread. */
void let_go_later(bool later);

/* Whether there is something to let go, and nothing is under way that needs it: an invocation keeps what it was given. */
bool let_go_is_due();

/* If it is due, releases what was handed out, the list of prepared classes, and each URef that no thread of the thread map and
 * no filter needs. Agent thread, between two events: at its hook the debugger that leaves still has its handles. */
void let_go_if_due();

#endif
