/* global_locks.h: the locks that nobody may hold while the Java threads are being suspended, taken together. */
#ifndef QUOR_GLOBAL_LOCKS_H
#define QUOR_GLOBAL_LOCKS_H

#include "support/agent_types.h"

/* Take and give back the agent's global locks: tmap_lock, URef_monitor, prep_list's monitor, invoke_method_list_monitor. Give
 * 0. */
AGENT_API jint acquire_globalocks();
AGENT_API jint release_globalocks();

#endif
