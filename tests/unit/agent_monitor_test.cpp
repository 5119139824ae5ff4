/* Monitors on the platform's own calls; agent_monitor_failures_test.cpp replaces those. */
#include "support/agent_monitor.h"

#include <gtest/gtest.h>

#include <chrono>
#include <errno.h>
#include <string.h>
#include <string>
#include <thread>

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

static long elapsed_ms(std::chrono::steady_clock::time_point since) {
    return (long)std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - since)
        .count();
}

TEST(Monitor, FreshMonitorCanBeLockedSignalledAndUnlocked) {
    monitor_t monitor;
    CaptureStdout();
    EXPECT_EQ(1u, monitor_init(&monitor));
    EXPECT_EQ(1u, monitor_lock(&monitor, "test"));
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(&monitor.mutex));
    EXPECT_EQ(1u, monitor_signal(&monitor, "test"));
    EXPECT_EQ(1u, monitor_unlock(&monitor, "test"));
    EXPECT_EQ(0, pthread_mutex_trylock(&monitor.mutex));
    EXPECT_EQ(1u, monitor_unlock(&monitor, "test"));
    EXPECT_EQ("", GetCapturedStdout());
}

TEST(Monitor, RefusedLockNamesTheCaller) {
    monitor_t monitor;
    pthread_mutexattr_t checked;
    pthread_mutexattr_init(&checked);
    pthread_mutexattr_settype(&checked, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&monitor.mutex, &checked);
    EXPECT_EQ(1u, monitor_lock(&monitor, "URef_find"));
    CaptureStdout();
    const uint32_t result = monitor_lock(&monitor, "URef_find");
    EXPECT_EQ(std::string("URef_find: mutex_lock failed -- ") + strerror(EDEADLK) + "\n", GetCapturedStdout());
    EXPECT_EQ(0u, result);
    EXPECT_EQ(1u, monitor_unlock(&monitor, "URef_find"));
    pthread_mutexattr_destroy(&checked);
}

TEST(Monitor, TimedWaitOfNothingReturnsAtOnce) {
    monitor_t monitor;
    monitor_init(&monitor);
    monitor_lock(&monitor, "test");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(1u, monitor_wait_timeout(&monitor, 0, "test"));
    EXPECT_LT(elapsed_ms(start), 1000);
    monitor_unlock(&monitor, "test");
}

TEST(Monitor, TimedWaitThatNobodySignalsSucceedsWhenItsTimeIsUp) {
    monitor_t monitor;
    monitor_init(&monitor);
    monitor_lock(&monitor, "test");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(1u, monitor_wait_timeout(&monitor, 50, "test"));
    EXPECT_GE(elapsed_ms(start), 45); /* the two clocks need not agree to the millisecond */
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(&monitor.mutex));
    monitor_unlock(&monitor, "test");
}

/* A thread that waits on `monitor` with `wait` until `ready`, which the test then sets and signals. */
template <class Wait> static void expect_signal_ends(Wait wait) {
    monitor_t monitor;
    monitor_init(&monitor);
    bool waiting = false;
    bool ready = false;
    uint32_t result = 99;
    std::thread waiter([&] {
        monitor_lock(&monitor, "waiter");
        waiting = true;
        while (!ready) result = wait(&monitor);
        monitor_unlock(&monitor, "waiter");
    });
    for (bool seen = false; !seen;) {
        monitor_lock(&monitor, "test");
        seen = waiting;
        monitor_unlock(&monitor, "test");
    }
    monitor_lock(&monitor, "test"); /* to be had only while the waiter waits */
    ready = true;
    EXPECT_EQ(1u, monitor_signal(&monitor, "test"));
    monitor_unlock(&monitor, "test");
    waiter.join();
    EXPECT_EQ(1u, result);
}

TEST(Monitor, SignalEndsAWait) {
    expect_signal_ends([](monitor_t* monitor) { return monitor_wait(monitor, "waiter"); });
}

TEST(Monitor, SignalEndsATimedWait) {
    const auto start = std::chrono::steady_clock::now();
    expect_signal_ends([](monitor_t* monitor) { return monitor_wait_timeout(monitor, 60000, "waiter"); });
    EXPECT_LT(elapsed_ms(start), 30000);
}
