/* capabilities.h: what the agent asks the VM to be able to do. */
#ifndef QUOR_CAPABILITIES_H
#define QUOR_CAPABILITIES_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"

/* Turns `features` into the set that the agent needs and requests it (JVMTI AddCapabilities); 0. `caller` is "JVM_OnLoad"
 * or "Agent_OnLoad"; any failure prints what was refused and aborts. Start-up thread only. */
AGENT_API jint enable_jvmticapabilities(jvmtiCapabilities* features, const char* caller);

/* Log, under LogJVMDI, the name of each capability that is set. */
AGENT_API void check_features(JVMDI_capabilities capabilities);
AGENT_API void check_jvmtifeatures(jvmtiCapabilities capabilities);

#endif
