/* agent_event.h: the road from the thread that raised an event to the agent thread: the queue, the control-C stop, the
 * filters of exception events, and the list of prepared classes.
 *
 * The queue is a strict rendezvous: the raising thread (the poster) goes on only when the agent thread (the consumer), and
 * through it the debugger, has finished with the event. Then the poster runs an invocation that the debugger may have left
 * for it (agent_call.h), and posts the outcome as a further event.
 */
#ifndef QUOR_AGENT_EVENT_H
#define QUOR_AGENT_EVENT_H

#include "registry/agent_tmap.h"
#include "support/agent_monitor.h"
#include "support/agent_types.h"
#include "vm/jvmdi.h"

/* The queue. */

/* What the agent thread calls for an event: process_jvmdi_event or process_jvmpi_event behind one type. `tid` is the
 * poster's thread id. */
typedef void (*event_handler)(JNIEnv* env, void* event, agent_tid_t tid);

/* One blocked poster. Entries come from the VM's Allocate ten at a time and are reused for ever. */
typedef struct queue_entry {
    void* event;              /* the event record, the poster's own; null releases the poster        */
    agent_tid_t tid;          /* the poster's thread id                                              */
    struct queue_entry* next; /* link in the queue or in the free list                               */
    monitor_t done;           /* the poster waits on it for `event` to become null                   */
    event_handler handler;    /* what to call for the event                                          */
} queue_entry;

/* Set to 1 by the debugger for a stop at hook_controlc; the agent thread polls it every 2000 milliseconds while it waits, and
 * resets it to 0. Only 0 and 1 may be written. */
AGENT_API jint controlc_hit;

/* Set to 1 by the debugger after it has called agent_attach_jquor; polled likewise, answered with process_on_attach, and
 * reset to 0. */
AGENT_API jint jquor_attached;

/* Makes the queue ready; at load, never on the agent thread (10, after "event_queue_init: failed -- ..."). 0. */
AGENT_API jint event_queue_init();

/* Posts an event and blocks the caller until it, and every invocation outcome that follows from it, was processed. Any Java
 * thread but the agent thread (10, after "add_event: failed -- ..."). 0; 113 when a monitor failed; the code of a failed
 * Allocate. An event of a thread that runs a synchronous invocation is dropped (0); if the debugger stopped waiting for that
 * invocation, the first such event throws java_lang_throwable into it. */
AGENT_API jint add_event(JNIEnv* env, void* event, event_handler handler);

/* One round of add_event: posts, waits, and runs a pending invocation request, whose outcome goes to `result` (status 0: there
 * was none). `record` is the caller's thread record, or null. Results as add_event's. */
AGENT_API jint add_event_helper(JNIEnv* env, void* event, event_handler handler, JVMDI_Event* result,
                                tmap_record* record);

/* Waits for the next event, control-C or attach request and processes it. Agent thread only (10, after
 * "process_next_event: failed -- ..."). 0; 113 when a monitor failed. */
AGENT_API jint process_next_event();

/* Releases the poster of an entry. Agent thread. 0, or 113 when a monitor failed. */
AGENT_API jint notify_event_processing_done(queue_entry* entry);

/* For a synchronous invocation, which consumes its own outcome in place of process_next_event; not exported. The first
 * releases the entry that the agent thread has taken, if any; 0 or 113. The second waits, without limit, for the queue to
 * fill; if its head is an invocation's outcome in the thread `tid`, it is copied to `result`, becomes the entry that the agent
 * thread has taken, and *found is true; otherwise the head stays queued. 0 or 113. */
jint event_queue_release_pending();
jint event_queue_await_outcome(agent_tid_t tid, struct AgentInvokRet* result, bool* found);

/* The control-C stop. */

/* Clears the flag and the event that a control-C stop is shown with. */
AGENT_API void initialize_controlc_event();

/* Shows a control-C stop, charged to the first thread of the thread map. Agent thread; gives 0. */
AGENT_API jint handle_controlc_event(JNIEnv* env);

/* Filters. Class names are in the VM's form with slashes; an empty or null one stands for every class. The list has no lock:
 * filters are set and cleared while the debugger holds the agent thread, and read by the threads that raise exceptions. */

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

/* The list of prepared classes since the debugger last collected it. */

typedef struct prepared_classes {
    class_info* array; /* VM memory; null exactly when `capacity` is 0 */
    monitor_t monitor; /* guards the list                              */
    jint capacity;     /* records that `array` has room for            */
    jint count;        /* records filled                               */
} prepared_classes;

AGENT_API prepared_classes prep_list;

/* Initialises the monitor (aborts if that fails) and empties the list. At load. */
AGENT_API void PrepList_init(prepared_classes* list);

/* Deallocates the array and empties the list. The result of the final unlock, 0 when the lock failed. */
AGENT_API jint PrepList_reset(prepared_classes* list);

/* Makes room for `more` further records; 0, or Allocate's code with the list unchanged. The caller holds the monitor. */
AGENT_API jint PrepList_expand(prepared_classes* list, jint more);

/* Describes the class with agent_get_classinfo in a new record. With `check`, only a prepared class is added. A failure
 * prints its message and adds nothing; no duplicate is looked for. The first is for a caller that holds the monitor; the
 * second takes it, always adds to prep_list itself, and gives the result of its unlock, 0 when its lock failed. */
AGENT_API void PrepList_add_unlocked(prepared_classes* list, JNIEnv* env, jclass clazz, jint check);
AGENT_API jint PrepList_add_locked(prepared_classes* list, JNIEnv* env, jclass clazz, jint check);

/* Hands over the array, which becomes the caller's to vm_deallocate, and leaves the list empty. 0, or 113 when the lock
 * failed. */
AGENT_API jint PrepList_get(prepared_classes* list, JNIEnv* env, jint* count, class_info** array);

/* Adds every prepared class that the VM has loaded. The result of the final unlock (1), 0 when the lock failed; or the error
 * code of a step before the lock, or of the expansion, which leaves the list locked. VM GetLoadedClasses, GetObjectHashCode,
 * JNI NewGlobalRef. */
AGENT_API jint PrepList_seed(prepared_classes* list, JNIEnv* env);

#endif
