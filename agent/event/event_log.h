/* event_log.h: events in the log: their names and their dumps. */
#ifndef QUOR_EVENT_LOG_H
#define QUOR_EVENT_LOG_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"
#include "vm/jvmpi.h"

/* The name of an event kind, a constant. An unknown kind gives "UNKNOWN %d" in a buffer of that function, overwritten by the
 * next unknown kind of any thread. In JVMDI mode jvmti_event_str takes JVMDI kinds. */
AGENT_API const char* jvmdi_event_str(jint kind);
AGENT_API const char* jvmti_event_str(jint kind);
AGENT_API const char* jvmpi_event_str(jint kind);

/* The event's name (LogJVMDI), then what it concerns: thread, class, method, location, as far as its kind has them. */
AGENT_API void dump_jvmdi_event(JNIEnv* env, JVMDI_Event* event);

/* The event's name (LogJVMDI, although callers test LogJVMPI: it takes both). */
AGENT_API void dump_jvmpi_event(JNIEnv* env, JVMPI_Event* event);

#endif
