/* watched_monitor.h: the monitors as a test's program defines them: real ones, that a test can look at and make fail.
 *
 * The tests get the agent as an archive, of which the linker takes a source only for names that nobody else defines. A
 * program that includes this header defines every name of agent_monitor.cpp, so that source stays out. For one source of a
 * program. Each operation is a point at which sim::Interleaving can hold a thread.
 */
#ifndef QUOR_TEST_WATCHED_MONITOR_H
#define QUOR_TEST_WATCHED_MONITOR_H

#include "sim/interleave.h"
#include "support/agent_monitor.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <time.h>
#include <vector>

namespace monitors {

struct Failure {
    std::string operation, caller;
    int countdown;
};

static std::mutex guard;
/* Never destroyed: threads go on using them while the process exits. */
static auto& failures = *new std::vector<Failure>;
static auto& waited = *new std::vector<const monitor_t*>;            /* the monitor of each untimed wait, in order   */
static auto& timed = *new std::vector<std::pair<jint, std::string>>; /* milliseconds and caller of each timed wait */
static std::atomic<int> waits;                                       /* untimed waits that were begun */
static std::atomic<int> waiting;        /* threads that are inside an untimed wait or about to be     */
static std::atomic<int> timed_waiting;  /* the same for timed waits                                   */
static thread_local int held;           /* monitors that the calling thread holds                     */
static thread_local int held_at_signal; /* and held when it signalled last                              */
static std::atomic<int> locked;         /* monitors that any thread holds                             */
static std::atomic<jint> longest_timed_wait =
    INT32_MAX; /* in milliseconds: longer ones end by then                   */
/* If set, is called with the caller's name when a lock has been waited for for a second. */
static std::function<void(const char*)> when_stuck;
/* If set, runs before each lock, with the caller's name, on the locking thread. */
static std::function<void(const std::string&)> before_lock;
/* If set, runs in place of each timed wait, which then counts as timed out. */
static std::function<void()> in_timed_wait;

/* Makes the n-th `operation` ("init", "lock", "unlock", "wait", "timed wait", "signal") from now that `caller` makes fail.
 * A failed unlock does give the monitor back, a failed wait does not wait. */
static inline void fail(const std::string& operation, const std::string& caller, int n = 1) {
    std::lock_guard<std::mutex> own(guard);
    failures.push_back({operation, caller, n});
}

static inline bool fails(const std::string& operation, const std::string& caller) {
    std::lock_guard<std::mutex> own(guard);
    bool applies = false;
    for (Failure& failure : failures)
        if (failure.operation == operation && failure.caller == caller && --failure.countdown == 0) applies = true;
    return applies;
}

static inline void require(int err) {
    if (err) throw std::logic_error("a monitor operation failed that was not told to");
}

static inline timespec deadline_after(jint ms) {
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    const long nanoseconds = deadline.tv_nsec + (long)(ms % 1000) * 1000000;
    deadline.tv_sec += ms / 1000 + nanoseconds / 1000000000;
    deadline.tv_nsec = nanoseconds % 1000000000;
    return deadline;
}

/* Locks, and lets be seen when that means waiting for another thread. */
static inline void take(monitor_t* monitor, const char* name) {
    if (pthread_mutex_trylock(&monitor->mutex) == 0) return;
    sim::Blocked here("lock ", name);
    if (when_stuck) {
        const timespec deadline = deadline_after(1000);
        if (pthread_mutex_timedlock(&monitor->mutex, &deadline) == 0) return;
        when_stuck(name);
    }
    require(pthread_mutex_lock(&monitor->mutex));
}

} // namespace monitors

uint32_t monitor_init(monitor_t* monitor) {
    if (monitors::fails("init", "")) return 0;
    pthread_mutex_init(&monitor->mutex, NULL);
    pthread_cond_init(&monitor->cond, NULL);
    return 1;
}

uint32_t monitor_lock(monitor_t* monitor, const char* name) {
    if (monitors::before_lock) monitors::before_lock(name);
    if (monitors::fails("lock", name)) return 0;
    sim::pass("lock ", name);
    monitors::take(monitor, name);
    monitors::held++;
    monitors::locked++;
    sim::pass("after lock ", name);
    return 1;
}

uint32_t monitor_unlock(monitor_t* monitor, const char* name) {
    const bool fails = monitors::fails("unlock", name);
    sim::pass("unlock ", name);
    monitors::held--;
    monitors::locked--;
    monitors::require(pthread_mutex_unlock(&monitor->mutex));
    sim::pass("after unlock ", name);
    return fails ? 0 : 1;
}

uint32_t monitor_wait(monitor_t* monitor, const char* name) {
    if (monitors::fails("wait", name)) return 0;
    {
        std::lock_guard<std::mutex> own(monitors::guard);
        monitors::waited.push_back(monitor);
    }
    monitors::waiting++;
    monitors::waits++;
    sim::pass("wait ", name);
    {
        sim::Blocked here("wait ", name);
        monitors::require(pthread_cond_wait(&monitor->cond, &monitor->mutex));
    }
    monitors::waiting--;
    sim::pass("after wait ", name);
    return 1;
}

uint32_t monitor_wait_timeout(monitor_t* monitor, jint ms, const char* name) {
    if (monitors::fails("timed wait", name)) return 0;
    {
        std::lock_guard<std::mutex> own(monitors::guard);
        monitors::timed.push_back({ms, name});
    }
    if (monitors::in_timed_wait) {
        monitors::in_timed_wait();
        return 1;
    }
    monitors::timed_waiting++;
    const timespec deadline = monitors::deadline_after(std::min(ms, monitors::longest_timed_wait.load()));
    sim::pass("timed wait ", name);
    {
        sim::Blocked here("timed wait ", name);
        pthread_cond_timedwait(&monitor->cond, &monitor->mutex, &deadline);
    }
    monitors::timed_waiting--;
    sim::pass("after timed wait ", name);
    return 1;
}

uint32_t monitor_signal(monitor_t* monitor, const char* name) {
    if (monitors::fails("signal", name)) return 0;
    sim::pass("signal ", name);
    monitors::held_at_signal = monitors::held;
    monitors::require(pthread_cond_signal(&monitor->cond));
    sim::pass("after signal ", name);
    return 1;
}

#endif
