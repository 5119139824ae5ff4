/* poster.h: the raising thread's end of the event queue. */
#ifndef QUOR_POSTER_H
#define QUOR_POSTER_H

#include "event/queue.h"
#include "registry/agent_records.h"

/* Posts an event and blocks the caller until it, and every invocation outcome that follows from it, was processed. Any Java
 * thread but the agent thread (10, after "add_event: failed -- ..."). 0; 113 when a monitor failed; the code of a failed
 * Allocate. An event of a thread that runs a synchronous invocation is dropped (0); if the debugger stopped waiting for that
 * invocation, the first such event throws java_lang_throwable into it. */
AGENT_API jint add_event(JNIEnv* env, void* event, event_handler handler);

/* One round of add_event: posts, waits, and runs a pending invocation request, whose outcome goes to `result` (status 0: there
 * was none). `record` is the caller's thread record, or null. Results as add_event's. */
AGENT_API jint add_event_helper(JNIEnv* env, void* event, event_handler handler, JVMDI_Event* result,
                                tmap_record* record);

#endif
