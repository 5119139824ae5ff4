/*
 * jvmpi.h: the part of the Java Virtual Machine Profiler Interface that a debugging agent touches. A current JDK no
 * longer ships JVMPI.
 *
 * The interface is a record of a version word and function pointers. Only the functions below are declared: what
 * follows them in a VM's record is never called here, so an interface is always handled by pointer.
 */
#ifndef VM_JVMPI_H
#define VM_JVMPI_H

#include <jni.h>

#include <cstddef>

struct JVMPI_Event { /* a per-type union follows event_type and env_id in the VM's record; it is not read here */
    jint event_type;
    JNIEnv* env_id; /* environment of the thread that raised the event */
};

struct JVMPI_Interface {
    jint version;
    void (*NotifyEvent)(JVMPI_Event* event); /* filled in by the profiler side */
    jint (*EnableEvent)(jint event_type, void* arg);
    jint (*DisableEvent)(jint event_type, void* arg);
    jint (*RequestEvent)(jint event_type, void* arg);
    /* further functions follow */
};

static_assert(sizeof(void*) != 4 || sizeof(JVMPI_Event) == 8, "two words before the union");
static_assert(offsetof(JVMPI_Event, env_id) == sizeof(void*), "env_id follows the type");
static_assert(offsetof(JVMPI_Interface, NotifyEvent) == sizeof(void*), "function pointers follow the version");
static_assert(offsetof(JVMPI_Interface, RequestEvent) == 4 * sizeof(void*), "RequestEvent is the fourth function");

#endif
