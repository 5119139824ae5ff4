/* agent_records.h: the records that a debugger reads and that no VM interface declares. Their layouts, and those of JVMDI's
 * records, are asserted for both widths in agent_records.cpp and listed in docs/records.md. */
#ifndef QUOR_AGENT_RECORDS_H
#define QUOR_AGENT_RECORDS_H

#include "support/agent_monitor.h"
#include "vm/jvmdi.h"

#include <stddef.h>

enum { TMAP_BUCKETS = 1024, UREF_BUCKETS = 1024, TEXT_FIELD_SIZE = 1024 };

/* A class as agent_get_classinfo describes it, and the list of prepared classes holds it. */
typedef struct class_info {
    jclass clazz;                      /* the class that was asked about; a URef where the agent found it itself     */
    char signature[TEXT_FIELD_SIZE];   /* NUL-terminated, cut after 1023 bytes                                       */
    char source_file[TEXT_FIELD_SIZE]; /* the same; empty when the class names none                                  */
    jint has_source;                   /* 1 when `source_file` was found                                             */
    jint is_interface;                 /* 1 for an interface that has a source file; 0 without a source file         */
} class_info;

/* A method as agent_get_classmethods describes it. */
typedef struct method_entry {
    jmethodID method;
    jint modifiers;
    char name[TEXT_FIELD_SIZE];      /* NUL-terminated, cut after 1023 bytes */
    char signature[TEXT_FIELD_SIZE]; /* the same                             */
} method_entry;

/* A monitor as agent_get_monitorlist describes it. */
typedef struct monitor_entry {
    jobject monitor;   /* the monitor object                                                            */
    jobject owner;     /* URef of the owning thread                                                     */
    jint waiter_count; /* how many waiters' slots are filled                                            */
    jobject* waiters;  /* a slot for each waiter that the VM reported; 0 where the agent does not know it */
} monitor_entry;

/* What a method invocation that the debugger asked for is doing in a thread. */
enum invocation_state {
    INVOKE_NONE = 0,      /* none                                          */
    INVOKE_RUNNING = 1,   /* a synchronous call runs                       */
    INVOKE_ABANDONED = 2, /* the debugger stopped waiting for it           */
    INVOKE_ABORTED = 3    /* the abort exception was thrown into the call  */
};

/* A live Java thread. The fields before `handle` are its result area: zero at first, filled by the queries named, and, where
 * marked, released before the thread's next query and before the process resumes. VM memory throughout. */
typedef struct tmap_record {
    char* thread_name;                                /* agent_get_threadinfo                 released */
    method_entry* methods;                            /* agent_get_classmethods               kept     */
    jint method_count;                                /*   entries that `methods` has room for         */
    JVMDI_line_number_entry* line_number_table;       /* agent_get_linenumbertable            released */
    jint local_variable_count;                        /* agent_get_localvariabletable                  */
    JVMDI_local_variable_entry* local_variable_table; /*   with each name and signature       released */
    unsigned char* bytecodes;                         /* agent_get_bytecodes                  released */
    class_info* classes;                              /* agent_get_classes                    released */
    jint owned_monitor_count;                         /* agent_get_owned_monitorinfo                   */
    jobject* owned_monitors;                          /*                                      released */
    monitor_entry* monitor_list;                      /* agent_get_monitorlist                kept     */
    jint monitor_count;                               /*   entries that `monitor_list` has room for    */
    jint invocation_state;                            /* enum invocation_state (above)                 */
    jint locals_count;                                /* agent_get_locals: room in `locals`            */
    jint* locals;                                     /*                                      kept     */
    jobject handle;                                   /* the thread's URef                             */
    agent_tid_t tid;                                  /* the thread's id, the map's key                */
    struct tmap_record* next;                         /* next record of the bucket, newest first       */
} tmap_record;

/* One object's entry, in memory from the VM's Allocate. */
typedef struct uref_record {
    jobject ref;              /* the URef                                                                        */
    struct uref_record* next; /* next record of the bucket, newest first                                         */
    jint owned;               /* 1: `ref` was made here and dies with the entry; 0: it is the caller's to delete */
} uref_record;

/* The list of prepared classes. */
typedef struct prepared_classes {
    class_info* array; /* VM memory; null exactly when `capacity` is 0 */
    monitor_t monitor; /* guards the list                              */
    jint capacity;     /* records that `array` has room for            */
    jint count;        /* records filled                               */
} prepared_classes;

enum { INVOKE_STATUS_RETURNED = 1, INVOKE_STATUS_THREW = 2, CONTROLC_STATUS = 3 };

/* The outcome of an invocation: the data words of a USER_DEFINED event, and what a synchronous call fills. References are
 * the calling thread's local references, as JNI gave them. */
typedef struct __attribute__((may_alias)) AgentInvokRet {
    jobject exception;   /* what the method threw, or null                                     */
    jint status;         /* 1 returned; 2 threw, or the debugger's wait was abandoned          */
    jvalue value;        /* the result, in the member of its type; undefined for V             */
    jobject thread;      /* the handle of the thread that ran it                               */
    jobject value_class; /* URef of a non-null object result's class, else null                */
    jint return_type;    /* the JNI signature character, in the low byte                       */
} AgentInvokRet;

static_assert(offsetof(AgentInvokRet, status) == offsetof(JVMDI_Event, u.user.key) - offsetof(JVMDI_Event, u),
              "a control-C stop and an outcome are told apart by one word");

#endif
