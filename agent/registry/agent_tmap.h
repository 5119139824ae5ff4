/* agent_tmap.h: the Java threads that the agent knows, by native thread id, each with the result area that the debugger's
 * queries fill.
 *
 * A record exists from the thread's start event to its end event. Its handle is the thread's URef; handles are compared by
 * value. Records that a function returns are pointers into the map, valid while the thread is alive. Functions without
 * "nolock" in their name take tmap_lock, and may be called on any thread.
 */
#ifndef QUOR_AGENT_TMAP_H
#define QUOR_AGENT_TMAP_H

#include "support/agent_monitor.h"
#include "support/agent_types.h"
#include "vm/jvmdi.h"

enum { TMAP_BUCKETS = 1024, TEXT_FIELD_SIZE = 1024 };

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
    jint invocation_state;                            /* enum invocation_state (agent_call.h)          */
    jint locals_count;                                /* agent_get_locals: room in `locals`            */
    jint* locals;                                     /*                                      kept     */
    jobject handle;                                   /* the thread's URef                             */
    agent_tid_t tid;                                  /* the thread's id, the map's key                */
    struct tmap_record* next;                         /* next record of the bucket, newest first       */
} tmap_record;

static_assert(sizeof(void*) != 4 ||
                  (sizeof(method_entry) == 2056 && sizeof(monitor_entry) == 16 && sizeof(class_info) == 2060 &&
                   sizeof(tmap_record) == 72 && sizeof(JVMDI_local_variable_entry) == 24),
              "the debugger knows these sizes");

/* The buckets: the low ten bits of the thread id. Read by the debugger; links are written under tmap_lock. */
AGENT_API tmap_record* tmap[TMAP_BUCKETS];

/* Guards tmap and the records' links; taken first of the agent's global locks. */
AGENT_API monitor_t tmap_lock;

/* Called for each record of a walk with the walk's own two arguments; the result is ignored. */
typedef jint (*TMap_callback)(void* a, tmap_record* record, void* b);

/* Initialises tmap_lock (aborts if that fails); gives 1. Called by the boot hook at VM initialisation. */
AGENT_API jint TMap_init();

/* Adds a thread in front of its bucket; a second start of one id adds a second record. Gives the unlock's result. */
AGENT_API jint TMap_start(jobject handle, agent_tid_t tid);

/* Removes and frees the id's first record, if its handle is the given one; otherwise prints "TMap_end(): handle mismatch"
 * and keeps it. An unknown id is left alone; what the result area holds is not released. Gives the unlock's result. */
AGENT_API jint TMap_end(jobject handle, agent_tid_t tid);

/* The handle of a thread id, or null. */
AGENT_API jobject TMap_tid2handle(agent_tid_t tid);

/* The thread id of a handle, or 0. The nolock form is for a caller that holds tmap_lock. */
AGENT_API agent_tid_t TMap_handle2tid(jobject handle);
AGENT_API agent_tid_t TMap_handle2tid_nolock(jobject handle);

/* The record of a thread id or of a handle, or null. */
AGENT_API tmap_record* TMap_tid2tm(agent_tid_t tid);
AGENT_API tmap_record* TMap_handle2tm(jobject handle);

/* The record of a thread id with its result area released, ready for a new query; or null. */
AGENT_API tmap_record* TMap_tid2local(agent_tid_t tid);

/* Releases the marked fields of one record (VM Deallocate) and sets them to null, in the order classes, thread name, line
 * number table, local variable table, byte codes, owned monitors. A failing Deallocate prints
 * "AgentThread: JVMDI_Deallocate() failed -- ..." and ends the release: later fields keep their memory. Null does nothing.
 * The caller holds tmap_lock or is the agent thread just before it resumes the others. */
AGENT_API void freeLocal(tmap_record* record);

/* freeLocal on every record, without the lock: the agent thread's, just before it resumes the others. */
AGENT_API void TMap_freelocal();

/* The id and handle of the first record in bucket order, both 0 on an empty map. Gives the unlock's result. */
AGENT_API jint TMap_getthread(agent_tid_t* tid, jobject* handle);

/* Calls `callback` for every record, buckets 0 to 1023, newest first within one. The locking forms give the unlock's result,
 * the others 1; the list forms are the same walks, for callers outside the agent. */
AGENT_API jint TMap_iter(void* a, TMap_callback callback, void* b);
AGENT_API jint TMap_iter_list(void* a, TMap_callback callback, void* b);
AGENT_API jint TMap_iter_nolock(void* a, TMap_callback callback, void* b);
AGENT_API jint TMap_iter_nolock_list(void* a, TMap_callback callback, void* b);

/* The calling thread's JNIEnv (GetEnv of `javavm` for JNI 1.2), null on a thread that the VM does not know. */
AGENT_API JNIEnv* getEnv();

#endif
