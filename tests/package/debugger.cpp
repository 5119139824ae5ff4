// A debugger's source that includes the installed headers, and nothing else of the agent's.
#include "entry/agent_entry.h"

#include "core/agent_main.h"

jint (*attach)(JNIEnv*) = agent_attach_jquor;
void (*breakpoint_stop)(JNIEnv*, JVMDI_Event*) = hook_bpt;
