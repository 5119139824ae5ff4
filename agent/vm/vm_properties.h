/* vm_properties.h: system properties of the VM that the debugger is told at the first contact. */
#ifndef QUOR_VM_PROPERTIES_H
#define QUOR_VM_PROPERTIES_H

#include "support/agent_types.h"

/* The class path (the boot class path appended after ":" when the VM names one) and the VM's version, each asked of the VM
 * once, on the agent thread; null, after a message, when it cannot be had. The text is never freed. */
AGENT_API const char* get_classpath(JNIEnv* env);
AGENT_API const char* get_vmversion(JNIEnv* env);

#endif
