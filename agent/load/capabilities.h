/* capabilities.h: what the agent asks the VM to be able to do. */
#ifndef QUOR_CAPABILITIES_H
#define QUOR_CAPABILITIES_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"

/* Turns `features` into the set that the agent needs and requests it (JVMTI AddCapabilities); 0. `caller` is "JVM_OnLoad"
 * or "Agent_OnLoad"; any failure prints what was refused and aborts. With the environment variable __QUOR_LIGHT it leaves out
 * the events of exceptions, frame pops and method exits, which make every throw slow, and says so in a line on standard output:
 * what needs them gives 99. Start-up thread only. */
AGENT_API jint enable_jvmticapabilities(jvmtiCapabilities* features, const char* caller);

/* Log, under LogJVMDI, the name of each capability that is set. */
AGENT_API void check_features(JVMDI_capabilities capabilities);
AGENT_API void check_jvmtifeatures(jvmtiCapabilities capabilities);

#endif
