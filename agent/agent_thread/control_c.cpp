#include "agent_thread/control_c.h"

#include "agent_thread/processing.h"
#include "event/queue.h"
#include "registry/agent_records.h"
#include "registry/agent_tmap.h"
#include "support/agent_monitor.h"

#include <string.h>

jint controlc_hit;

static JVMDI_Event controlc_event;
static queue_entry controlc_info; /* never queued: it gives the handler the shape of call that a queued event has */

void initialize_controlc_event() {
    shared_store(controlc_hit, 0);
    controlc_event.kind = 0;
    controlc_event.u.user.object = NULL;
    controlc_event.u.user.key = 0;
    controlc_info.event = &controlc_event;
    controlc_info.tid = 0;
    controlc_info.next = NULL;
    monitor_init(&controlc_info.done);
    controlc_info.handler.jvmdi = process_jvmdi_event;
}

jint handle_controlc_event(JNIEnv* env) {
    jobject thread;
    TMap_getthread(&controlc_info.tid, &thread);
    shared_store(controlc_hit, 0);
    controlc_event.kind = JVMDI_EVENT_USER_DEFINED;
    controlc_event.u.user.object = thread;
    controlc_event.u.user.key = CONTROLC_STATUS;
    controlc_info.handler.jvmdi(env, &controlc_event, controlc_info.tid);
    initialize_controlc_event();
    return 0;
}
