/* agent_monitor.h: the monitor, one mutex with one condition variable: every lock of the agent's, and every wait but those for
 * its own start (agent_thread/sema.h) and, on a newer VM that is dead, for the end of the process.
 *
 * Each operation returns 1, or 0 after it has printed its failure message on standard output, in which `name` (by
 * convention the calling function's name) says who failed. Nothing here uses the log or the VM. Any thread may call. There
 * is no broadcast, and monitors live as long as the process.
 *
 * Lock orders, set by the modules that hold more than one: tmap_lock, URef_monitor, prep_list's monitor,
 * invoke_method_list_monitor in the global lock step (agent_suspend_all); a queue entry's done monitor before
 * event_queue_monitor; event_queue_freelist_monitor never together with another. Seeding the prepared-class list takes
 * prep_list's monitor before URef_monitor, against the global step: the two never run at the same time, because both are
 * the agent thread's work (the seeding at VM initialisation is over before the agent thread starts). docs/locks.md has them all.
 */
#ifndef QUOR_AGENT_MONITOR_H
#define QUOR_AGENT_MONITOR_H

#include "support/agent_types.h"

/* A monitor's address is the address of its mutex. */
typedef struct monitor {
    pthread_mutex_t mutex; /* default attributes, not recursive      */
    pthread_cond_t cond;   /* default attributes; waits use `mutex`  */
} monitor_t;

/* What a monitor that is ready from the beginning is defined with. */
#define MONITOR_INITIALIZER \
    { PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER }

/* Makes a monitor ready for use. A failure prints "monitor_init: mutex_init() failed -- ..." or
 * "monitor_init: cond_init() failed -- ..." and aborts; so the result is always 1. */
AGENT_API uint32_t monitor_init(monitor_t* monitor);

/* Takes the mutex. */
AGENT_API uint32_t monitor_lock(monitor_t* monitor, const char* name);

/* Gives the mutex back. */
AGENT_API uint32_t monitor_unlock(monitor_t* monitor, const char* name);

/* Waits, without limit, for a signal; the caller holds the mutex. Wake-ups without a signal are possible: the caller
 * examines its own condition. */
AGENT_API uint32_t monitor_wait(monitor_t* monitor, const char* name);

/* The same for at most `ms` milliseconds. A time-out is a success (1) too. A wait that a signal handler interrupts starts a
 * whole new time-out. */
AGENT_API uint32_t monitor_wait_timeout(monitor_t* monitor, jint ms, const char* name);

/* Wakes one waiter; by convention the caller holds the mutex. */
AGENT_API uint32_t monitor_signal(monitor_t* monitor, const char* name);

#endif
