/* service.h: the invocation of a method in the thread that the debugger chose for it. */
#ifndef QUOR_SERVICE_H
#define QUOR_SERVICE_H

#include "registry/agent_records.h"

/* In a thread whose event was just released: runs the newest request for it, if any, and writes the outcome to `result`,
 * whose status stays 0 when there is none to deliver. `record` is the thread's own, or null. */
AGENT_API void service_invoke_request(JNIEnv* env, tmap_record* record, JVMDI_Event* result);

#endif
