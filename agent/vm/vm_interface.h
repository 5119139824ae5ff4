/* vm_interface.h: the VM that loaded the agent: its interfaces, their versions and capabilities, and which events are on. */
#ifndef QUOR_VM_INTERFACE_H
#define QUOR_VM_INTERFACE_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"
#include "vm/jvmpi.h"

#include <initializer_list>

AGENT_API JavaVM* javavm;                    /* the VM that loaded the agent; set once, at load                       */
AGENT_API jvmtiEnv* jvmti;                   /* the JVMTI environment; null when the agent works through JVMDI        */
AGENT_API JVMDI_Interface_1* jvmdi;          /* the JVMDI table; meaningful only when `jvmti` is null                 */
AGENT_API JVMPI_Interface* jvmpi;            /* null at load; a debugger may store an interface here                  */
AGENT_API jvmtiCapabilities jvmti_features;  /* what was requested of a JVMTI VM (four 32-bit words)                 */
AGENT_API JVMDI_capabilities jvmdi_features; /* what a JVMDI VM offers, corrected (one 32-bit word)                 */
AGENT_API jint vm_init_done;                 /* 1 from the handled VM_INIT to VM_DEATH                                */

/* The VM interface's version number, recorded at load (jvmdiVersion asks again if need be), and whether it is. */
extern jint jvmti_version;
extern unsigned char jvmti_version_set;
extern jint jvmdi_version;
extern unsigned char jvmdi_version_set;

/* Gives JVMDI's table as the calling thread's VM has it: asked for once (GetJavaVM, GetEnv), kept for the life of the process. 0,
 * or the result of the GetJavaVM or GetEnv that failed; a failure is not kept. A null `env`, of callers that have none, gives
 * vm_known_jvmdi(). */
jint vm_jvmdi(JNIEnv* env, JVMDI_Interface_1** table);

/* JVMDI's table for a caller without a JNIEnv: `jvmdi`, or the one that vm_jvmdi has fetched where that is null. */
JVMDI_Interface_1* vm_known_jvmdi();

/* False where the agent was loaded without the capability to see exceptions (JVMTI with __QUOR_LIGHT). */
static inline bool vm_sees_exceptions() { return !jvmti || jvmti_features.can_generate_exception_events; }

/* A JVMTI 1.0 callbacks record has 35 slots; a current jvmti.h declares more, which the agent leaves alone. */
enum { JVMTI_CALLBACKS_SIZE = 35 * sizeof(void*) };

/* Switch events on or off for all threads, in the order given; the results are not looked at. */
void set_jvmti_events(jvmtiEventMode mode, std::initializer_list<jint> events);
void set_jvmdi_events(jint mode, std::initializer_list<jint> events);

/* The JVMDI version number, asked of the VM once (GetVersionNumber). */
AGENT_API jint jvmdiVersion();

/* Clears can_suspend_resume_thread_lists where a JVMDI of version 0x20010000 to 0x20010002 reports it. */
AGENT_API void patch_capabilities(JVMDI_capabilities* capabilities);

#endif
