/* filters.h: which exception events (and, for callers outside the agent, which classes) are worth a stop.
 *
 * Class names are in the VM's form with slashes; an empty or null one stands for every class. The list has no lock:
 * filters are set and cleared while the debugger holds the agent thread, and read by the threads that raise exceptions; one that
 * sees the exception of an uncaught-exception filter arms it. That is safe because only single words change, and because a
 * filter that was taken out lives until the last walk is over. */
#ifndef QUOR_FILTERS_H
#define QUOR_FILTERS_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"

enum filter_kind {
    FILTER_CLASSLOAD = 1,     /* class name                                            */
    FILTER_METHOD = 2,        /* method name, signature prefix                         */
    FILTER_THROWN = 3,        /* class name of a thrown exception                      */
    FILTER_CAUGHT = 4,        /* class name of a caught exception; nothing sets it     */
    FILTER_UNCAUGHT = 5,      /* class and method that an exception leaves             */
    FILTER_UNCAUGHT_ARMED = 6 /* a kind 5 that has seen its exception                  */
};

/* Adds a filter of strings, which are copied. 0, or Allocate's code after "event_setfilter: Allocate failed -- ...". */
AGENT_API jint event_setfilter_br(JNIEnv* env, uint32_t kind, const char* class_name, const char* method_name,
                                  const char* signature);
/* Adds a filter of two raw values (a class and a method), which are stored unchanged. Results as above. */
AGENT_API jint event_setfilter_ex(JNIEnv* env, uint32_t kind, uintptr_t first, uintptr_t second);

/* Removes the newest filter that matches in every part; gives 0 also when there is none. */
AGENT_API jint event_clearfilter_br(JNIEnv* env, uint32_t kind, const char* class_name, const char* method_name,
                                    const char* signature);
AGENT_API jint event_clearfilter_ex(JNIEnv* env, uint32_t kind, uintptr_t first, uintptr_t second);

/* Whether a filter of classes and methods holds this URef: as its class, or as the exception that has armed it. Agent thread. */
bool event_filter_holds(jobject uref);

/* Whether an EXCEPTION or EXCEPTION_CATCH event is to be delivered (1) or dropped (0). On the raising thread. VM
 * GetClassSignature, Deallocate; JNI GetObjectClass. */
AGENT_API jint filter_jvmdi_event_throw(JNIEnv* env, JVMDI_Event* event);
AGENT_API jint filter_jvmdi_event_catch(JNIEnv* env, JVMDI_Event* event);
/* 1 if a class-load or method filter matches the event's class. For callers outside the agent. */
AGENT_API jint filter_jvmdi_event_br(JNIEnv* env, JVMDI_Event* event);

/* 1 if `clazz` is the class called `class_name`. VM GetClassSignature, Deallocate. */
AGENT_API jint same_classname(JNIEnv* env, const char* class_name, jclass clazz);

/* The first method of the class (no interface) with this name whose signature begins with `signature` (null: any), unless it
 * is abstract; else null. VM IsInterface, GetClassMethods, GetMethodName, GetMethodModifiers, Deallocate. */
AGENT_API jmethodID method_exists(JNIEnv* env, jclass clazz, const char* name, const char* signature);

#endif
