// A debugger's source that includes the installed headers, and nothing else of the agent's.
#include "agent_thread/attach_stop.h"
#include "agent_thread/control_c.h"
#include "entry/agent_entry.h"
#include "event/hook_points.h"
#include "load/handshake.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "support/agent_self.h"
#include "vm/vm_interface.h"

jint (*attach)(JNIEnv*) = agent_attach_jquor;
void (*breakpoint_stop)(JNIEnv*, JVMDI_Event*) = hook_bpt;
jint* request_stop = &controlc_hit;
tmap_record** threads = tmap;
