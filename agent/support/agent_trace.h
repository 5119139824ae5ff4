/* agent_trace.h: names of event kinds, and dumps of events, threads, classes and methods into the log.
 *
 * A dump fetches what it shows from the VM at that moment and changes nothing. A VM call that fails gives one record with
 * the error's number, and the dump goes on. A dump whose category is off makes its VM calls all the same. Any Java thread,
 * with its own environment.
 */
#ifndef QUOR_AGENT_TRACE_H
#define QUOR_AGENT_TRACE_H

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

/* Name, id, priority and daemon flag of a thread (LogJVMDIthread), with its group if asked. Nothing at all when JVMTI says
 * that it is in the wrong phase. */
AGENT_API void dump_thread(JNIEnv* env, jthread thread, jboolean with_group);

/* Name, highest priority and daemon flag of a thread group (LogJVMDIthread). */
AGENT_API void dump_threadGroup(JNIEnv* env, jthreadGroup group);

/* Signature, status and source file of a class (LogJVMDIclass). */
AGENT_API void dump_class(jclass clazz);

/* Name and signature of a method (LogJVMDI), then range and, unless it is native or synthetic, lines (LogJVMDImethod). */
AGENT_API void dump_method(jclass clazz, jmethodID method);

/* A location (LogJVMDIlocation). */
AGENT_API void dump_location(jlong location);

/* The place of frame events where a frame would be shown: nothing yet is. */
AGENT_API void dump_jframe();

#endif
