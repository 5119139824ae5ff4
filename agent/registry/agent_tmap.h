/* agent_tmap.h: the Java threads that the agent knows, by native thread id, each with the result area that the debugger's
 * queries fill.
 *
 * A record exists from the thread's start event to its end event. Its handle is the thread's URef; handles are compared by
 * value. Records that a function returns are pointers into the map, valid while the thread is alive. Functions without
 * "nolock" in their name take tmap_lock, and may be called on any thread.
 */
#ifndef QUOR_AGENT_TMAP_H
#define QUOR_AGENT_TMAP_H

#include "registry/agent_records.h"
#include "support/agent_monitor.h"

/* The buckets: the low ten bits of the thread id. Read by the debugger; links are written under tmap_lock. */
AGENT_API tmap_record* tmap[TMAP_BUCKETS];

/* Guards tmap and the records' links; taken first of the agent's global locks. */
AGENT_API monitor_t tmap_lock;

/* Called for each record of a walk with the walk's own two arguments; the result is ignored. */
typedef jint (*TMap_callback)(void* a, tmap_record* record, void* b);

/* Gives 1; called by the boot event hook at VM initialisation. tmap_lock is ready from the beginning: threads may start before, and
 * while, this is called. */
AGENT_API jint TMap_init();

/* Adds a thread in front of its bucket; a second start of one id adds a second record. Gives the unlock's result. */
AGENT_API jint TMap_start(jobject handle, agent_tid_t tid);

/* Removes and frees the id's first record, if its handle is the given one; otherwise prints "TMap_end(): handle mismatch"
 * and keeps it. An unknown id is left alone; what the result area holds is not released. Gives the unlock's result. On a VM
 * newer than JVMTI 1.0 a thread that takes itself out makes a VM call first (GetObjectHashCode), and waits in it while it is
 * suspended. */
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

#endif
