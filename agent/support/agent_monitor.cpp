#include "support/agent_monitor.h"

#include "support/format.h"
#include "support/report.h"

#include <errno.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/time.h>

static_assert(offsetof(monitor_t, mutex) == 0, "a monitor's address is its mutex's");

/* 1, or 0 with `message` (caller's name, then the error's text) printed, for the result of a platform call. */
static uint32_t succeeded(int err, checked_format<const char*, const char*> message, const char* name) {
    if (err == 0) return 1;
    printf(message.text, name, strerror(err));
    return 0;
}

uint32_t monitor_init(monitor_t* monitor) {
    if (int err = pthread_mutex_init(&monitor->mutex, NULL))
        agent_fatal("monitor_init: mutex_init() failed -- %s\n", strerror(err));
    if (int err = pthread_cond_init(&monitor->cond, NULL))
        agent_fatal("monitor_init: cond_init() failed -- %s\n", strerror(err));
    return 1;
}

uint32_t monitor_lock(monitor_t* monitor, const char* name) {
    return succeeded(pthread_mutex_lock(&monitor->mutex), "%s: mutex_lock failed -- %s\n", name);
}

uint32_t monitor_unlock(monitor_t* monitor, const char* name) {
    return succeeded(pthread_mutex_unlock(&monitor->mutex), "%s: mutex_unlock failed -- %s\n", name);
}

uint32_t monitor_wait(monitor_t* monitor, const char* name) {
    int err;
    do {
        err = pthread_cond_wait(&monitor->cond, &monitor->mutex);
    } while (err == EINTR);
    return succeeded(err, "%s: cond_wait failed -- %s\n", name);
}

static timespec deadline_after(jint ms) {
    timeval now;
    gettimeofday(&now, NULL);
    const jint nanoseconds = (jint)now.tv_usec * 1000 + (ms % 1000) * 1000000;
    timespec deadline = {};
    deadline.tv_sec = now.tv_sec + ms / 1000 + nanoseconds / 1000000000;
    deadline.tv_nsec = nanoseconds % 1000000000;
    return deadline;
}

uint32_t monitor_wait_timeout(monitor_t* monitor, jint ms, const char* name) {
    int err;
    do {
        const timespec deadline = deadline_after(ms); /* anew after an interruption: the whole time-out again */
        err = pthread_cond_timedwait(&monitor->cond, &monitor->mutex, &deadline);
    } while (err == EINTR);
    if (err == ETIME || err == ETIMEDOUT) return 1;
    return succeeded(err, "%s: cond_timedwait failed -- %s\n", name);
}

uint32_t monitor_signal(monitor_t* monitor, const char* name) {
    return succeeded(pthread_cond_signal(&monitor->cond), "%s: cond_signal() failed -- %s\n", name);
}
