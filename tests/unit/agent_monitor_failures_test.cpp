/* Monitors on platform calls that do what a test tells them: failures, interruptions and times that the platform's own calls
 * give too seldom. The definitions here stand before the C library's for this whole program.
 */
#include "support/agent_monitor.h"

#include "sim/harness.h"

#include <gtest/gtest.h>

#include <deque>
#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <vector>

using sim::ChildResult;
using sim::run_child;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

/* What the next calls return, then 0: only the tests here wait and signal, so there is no real call to fall back on. */
static std::deque<int> mutex_init_results, cond_init_results, wait_results, timedwait_results, signal_results;
static std::deque<timeval> times;

/* What was called. */
static int cond_init_calls, wait_calls, signal_calls;
static const pthread_mutex_t* waited_mutex;
static const pthread_cond_t* waited_cond;
static std::vector<timespec> deadlines;

template <class T> static T next_of(std::deque<T>& script, T otherwise) {
    if (script.empty()) return otherwise;
    T next = script.front();
    script.pop_front();
    return next;
}

static int attributes_given;

extern "C" int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    if (attributes) attributes_given++;
    *mutex = PTHREAD_MUTEX_INITIALIZER;
    return next_of(mutex_init_results, 0);
}

extern "C" int pthread_cond_init(pthread_cond_t* cond, const pthread_condattr_t* attributes) noexcept {
    if (attributes) attributes_given++;
    *cond = PTHREAD_COND_INITIALIZER;
    cond_init_calls++;
    return next_of(cond_init_results, 0);
}

extern "C" int pthread_cond_wait(pthread_cond_t* cond, pthread_mutex_t* mutex) {
    wait_calls++;
    waited_cond = cond;
    waited_mutex = mutex;
    return next_of(wait_results, 0);
}

extern "C" int pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex, const timespec* deadline) {
    deadlines.push_back(*deadline);
    waited_cond = cond;
    waited_mutex = mutex;
    return next_of(timedwait_results, 0);
}

extern "C" int pthread_cond_signal(pthread_cond_t* cond) noexcept {
    signal_calls++;
    waited_cond = cond;
    return next_of(signal_results, 0);
}

extern "C" int gettimeofday(timeval* now, void*) noexcept {
    *now = next_of(times, timeval{1000, 0});
    return 0;
}

/* The one call here that the test framework makes too: it fails while told to and is passed on otherwise. The framework calls
 * it before this program's constructors have run, hence the plain variables. */
static int unlock_failure;
static int (*passed_on_unlock)(pthread_mutex_t*);

extern "C" __attribute__((no_sanitize("thread"))) int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    if (unlock_failure) return unlock_failure;
    if (!passed_on_unlock) passed_on_unlock = (int (*)(pthread_mutex_t*))dlsym(RTLD_NEXT, "pthread_mutex_unlock");
    return passed_on_unlock(mutex);
}

static void expect_deadline(time_t seconds, long nanoseconds, const timespec& deadline) {
    EXPECT_EQ(seconds, deadline.tv_sec);
    EXPECT_EQ(nanoseconds, deadline.tv_nsec);
}

static std::string failure(const char* text, int err) { return std::string(text) + strerror(err) + "\n"; }

TEST(MonitorFailures, MutexThatCannotBeMadeEndsTheProcessBeforeTheConditionIsMade) {
    const ChildResult result = run_child([](auto&) {
        monitor_t monitor;
        mutex_init_results = {EAGAIN};
        cond_init_results = {ENOMEM};
        monitor_init(&monitor);
    });
    EXPECT_EQ(SIGABRT, result.signal);
    EXPECT_EQ(failure("monitor_init: mutex_init() failed -- ", EAGAIN), result.out);
}

TEST(MonitorFailures, ConditionThatCannotBeMadeEndsTheProcess) {
    const ChildResult result = run_child([](auto&) {
        monitor_t monitor;
        cond_init_results = {ENOMEM};
        monitor_init(&monitor);
    });
    EXPECT_EQ(SIGABRT, result.signal);
    EXPECT_EQ(failure("monitor_init: cond_init() failed -- ", ENOMEM), result.out);
}

TEST(MonitorFailures, EachMonitorGetsOneMutexAndOneCondition) {
    monitor_t monitor;
    cond_init_calls = 0;
    EXPECT_EQ(1u, monitor_init(&monitor));
    EXPECT_EQ(1, cond_init_calls);
}

TEST(MonitorFailures, MutexAndConditionHaveDefaultAttributes) {
    monitor_t monitor;
    monitor_init(&monitor);
    EXPECT_EQ(0, attributes_given);
}

TEST(MonitorFailures, InterruptedWaitGoesOnWaiting) {
    monitor_t monitor;
    wait_results = {EINTR, EINTR, 0};
    wait_calls = 0;
    EXPECT_EQ(1u, monitor_wait(&monitor, "test"));
    EXPECT_EQ(3, wait_calls);
    EXPECT_EQ(&monitor.cond, waited_cond);
    EXPECT_EQ(&monitor.mutex, waited_mutex);
}

TEST(MonitorFailures, FailedWaitNamesTheCaller) {
    monitor_t monitor;
    wait_results = {EINTR, EPERM};
    CaptureStdout();
    const uint32_t result = monitor_wait(&monitor, "add_event");
    EXPECT_EQ(failure("add_event: cond_wait failed -- ", EPERM), GetCapturedStdout());
    EXPECT_EQ(0u, result);
}

TEST(MonitorFailures, FailedUnlockNamesTheCaller) {
    monitor_t monitor;
    CaptureStdout();
    unlock_failure = EPERM;
    const uint32_t result = monitor_unlock(&monitor, "TMap_start");
    unlock_failure = 0;
    EXPECT_EQ(failure("TMap_start: mutex_unlock failed -- ", EPERM), GetCapturedStdout());
    EXPECT_EQ(0u, result);
}

TEST(MonitorFailures, FailedSignalNamesTheCaller) {
    monitor_t monitor;
    signal_results = {EINVAL};
    signal_calls = 0;
    CaptureStdout();
    const uint32_t result = monitor_signal(&monitor, "notify");
    EXPECT_EQ(failure("notify: cond_signal() failed -- ", EINVAL), GetCapturedStdout());
    EXPECT_EQ(0u, result);
    EXPECT_EQ(1, signal_calls);
    EXPECT_EQ(&monitor.cond, waited_cond);
}

TEST(MonitorFailures, FailedTimedWaitNamesTheCaller) {
    monitor_t monitor;
    timedwait_results = {EPERM};
    CaptureStdout();
    const uint32_t result = monitor_wait_timeout(&monitor, 10, "process_next_event");
    EXPECT_EQ(failure("process_next_event: cond_timedwait failed -- ", EPERM), GetCapturedStdout());
    EXPECT_EQ(0u, result);
}

TEST(MonitorFailures, BothTimeOutCodesAreSuccesses) {
    monitor_t monitor;
    timedwait_results = {ETIME, ETIMEDOUT};
    CaptureStdout();
    EXPECT_EQ(1u, monitor_wait_timeout(&monitor, 10, "test"));
    EXPECT_EQ(1u, monitor_wait_timeout(&monitor, 10, "test"));
    EXPECT_EQ("", GetCapturedStdout());
}

TEST(MonitorFailures, DeadlineCarriesAWholeSecondOutOfTheNanoseconds) {
    monitor_t monitor;
    times = {{1000, 700000}};
    deadlines.clear();
    EXPECT_EQ(1u, monitor_wait_timeout(&monitor, 1500, "test"));
    ASSERT_EQ(1u, deadlines.size());
    expect_deadline(1002, 200000000, deadlines[0]);
    EXPECT_EQ(&monitor.cond, waited_cond);
    EXPECT_EQ(&monitor.mutex, waited_mutex);
}

TEST(MonitorFailures, DeadlinesAtTheEdges) {
    struct {
        timeval now;
        jint ms;
        time_t seconds;
        long nanoseconds;
    } edges[] = {
        {{1000, 0}, 0, 1000, 0},
        {{1000, 999999}, 0, 1000, 999999000},
        {{1000, 999999}, 999, 1001, 998999000},
        {{1000, 500000}, 500, 1001, 0},
        {{1000, 499999}, 500, 1000, 999999000},
        {{1000, 123456}, 2000, 1002, 123456000},
        {{1000, 0}, 2147483647, 1000 + 2147483, 647000000},
        {{1000, 500000}, -1500, 999, 0},
        {{1000, 100000}, -1500, 999, -400000000}, /* remainders keep their sign; the platform refuses such a time */
    };
    monitor_t monitor;
    for (const auto& edge : edges) {
        times = {edge.now};
        deadlines.clear();
        monitor_wait_timeout(&monitor, edge.ms, "test");
        ASSERT_EQ(1u, deadlines.size());
        expect_deadline(edge.seconds, edge.nanoseconds, deadlines[0]);
    }
}

TEST(MonitorFailures, InterruptedTimedWaitStartsAWholeNewTimeOut) {
    monitor_t monitor;
    times = {{1000, 0}, {1005, 250000}};
    timedwait_results = {EINTR, ETIMEDOUT};
    deadlines.clear();
    EXPECT_EQ(1u, monitor_wait_timeout(&monitor, 2000, "test"));
    ASSERT_EQ(2u, deadlines.size());
    expect_deadline(1002, 0, deadlines[0]);
    expect_deadline(1007, 250000000, deadlines[1]);
}
