/* core_state.h: what the sources of the core share; not part of the interface. */
#ifndef QUOR_CORE_STATE_H
#define QUOR_CORE_STATE_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"

#include <initializer_list>

/* The agent thread's loop ends when it is exactly 1. Cleared at load, set by VM_DEATH. */
extern jint terminate_debug_agent;

/* The VM interface's version number, recorded at load (jvmdiVersion asks again if need be), and whether it is. */
extern jint jvmti_version;
extern unsigned char jvmti_version_set;
extern jint jvmdi_version;
extern unsigned char jvmdi_version_set;

/* A JVMTI 1.0 callbacks record has 35 slots; a current jvmti.h declares more, which the agent leaves alone. */
enum { JVMTI_CALLBACKS_SIZE = 35 * sizeof(void*) };

/* Switch events on or off for all threads, in the order given; the results are not looked at. */
void set_jvmti_events(jvmtiEventMode mode, std::initializer_list<jint> events);
void set_jvmdi_events(jint mode, std::initializer_list<jint> events);

/* On a newer VM: the threads that exist before the agent hears of threads never announce themselves, and neither does a
 * virtual thread, which raises what events it does on its carrier. Gives the thread of a queued event its URef if it has
 * none, and, unless its native thread is a carrier's, a thread record. A virtual thread's URef is the result: it is to be
 * deleted when the event was processed, since nothing else tells when that thread ends. Null otherwise. */
jthread adopt_unannounced_thread(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid);

#endif
