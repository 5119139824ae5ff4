/* event_table.h: what the agent does with each kind of event, one row a kind; not part of the interface. */
#ifndef QUOR_EVENT_TABLE_H
#define QUOR_EVENT_TABLE_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"

/* Whether an event goes on to the agent thread. */
enum event_verdict { DROP, DROP_DUMPED, PASS, PASS_DUMPED, ASK_THROW_FILTER, ASK_CATCH_FILTER };

/* Which references a queued event's preprocessing makes durable. */
enum event_references : unsigned {
    FIND_THREAD = 1,     /* the thread must have a URef                                         */
    OWN_THREAD = 2,      /* a URef is made for the thread                                       */
    DECLARING_CLASS = 4, /* JVMTI leaves the class out: it is the method's declaring class      */
    OWN_CLASS = 8,
    OWN_EXCEPTION = 16,
    OWN_FIELD_CLASS = 32
};

/* Which references of the raising thread the agent thread is about to use (vm_shared_references). */
enum event_shared : unsigned {
    SHARE_THREAD = 1,
    SHARE_CLASS = 2,
    SHARE_EXCEPTION = 4,
    SHARE_FIELD = 8, /* the field's class and the object */
    SHARE_VALUE = 16 /* the field's new value, if it is a reference */
};

typedef void (*hook_point)(JNIEnv* env, JVMDI_Event* event);
typedef void (*event_dump)(JNIEnv* env, const JVMDI_Event* event);

struct event_row {
    jint kind;
    const char* name;
    jvmtiEvent event; /* JVMTI's number; 0 where it has no such event */
    event_verdict verdict;
    unsigned references; /* event_references */
    unsigned shared;     /* event_shared     */
    const char* message; /* what preprocessing prints: of a thread without URef if it must have one, else at once */
    event_dump dump;
    hook_point hook; /* null: nothing is shown */
};

/* The row of a kind, and of an event by JVMTI's number; null for one that the agent does not know. */
const event_row* event_row_of(jint kind);
const event_row* event_row_of_jvmti(jint event);

#endif
