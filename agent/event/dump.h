/* dump.h: dumps of threads, classes, methods and what events are made of, into the log.
 *
 * A dump fetches what it shows from the VM at that moment and changes nothing. A VM call that fails gives one record with
 * the error's number, and the dump goes on. A dump whose category is off makes its VM calls all the same. Any Java thread,
 * with its own environment.
 */
#ifndef QUOR_DUMP_H
#define QUOR_DUMP_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"

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

/* What each kind of event shows of its record (event_table.h). */
void dump_located_event(JNIEnv* env, const JVMDI_Event* event);
void dump_frame_event(JNIEnv* env, const JVMDI_Event* event);
void dump_exception_event(JNIEnv* env, const JVMDI_Event* event);
void dump_exception_catch_event(JNIEnv* env, const JVMDI_Event* event);
void dump_thread_start_event(JNIEnv* env, const JVMDI_Event* event);
void dump_thread_end_event(JNIEnv* env, const JVMDI_Event* event);
void dump_class_event(JNIEnv* env, const JVMDI_Event* event);
void dump_no_details(JNIEnv* env, const JVMDI_Event* event);
void dump_unknown_event(JNIEnv* env, const JVMDI_Event* event);

#endif
