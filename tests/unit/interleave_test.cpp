/* The interleavings of the simulated VM and of the watched monitors. */
#include "sim/interleave.h"

#include "sim/sim_test.h"
#include "watched_monitor.h"

#include <atomic>

using sim::Interleaving;

struct Interleavings : sim::SimTest {
    sim::Thread& worker = sim.new_thread("worker");
    sim::Thread& other = sim.new_thread("other");

    jobject make() { return sim.env()->NewGlobalRef(sim.local(sim.main_thread)); }
    std::unique_ptr<sim::Running> start_making(sim::Thread& thread, int count) {
        return sim.start(thread, [this, count] {
            for (int i = 0; i < count; i++) made.push_back(make());
        });
    }
    std::vector<jobject> made;
};

TEST_F(Interleavings, AThreadIsHeldBeforeTheCallIsMade) {
    Interleaving order;
    order.hold("worker", "JNI.NewGlobalRef");
    auto running = start_making(worker, 1);
    order.await("worker");
    EXPECT_EQ("JNI.NewGlobalRef", order.held_at("worker"));
    EXPECT_EQ(0u, sim.live_globals());
    EXPECT_EQ(0u, sim.count_calls("JNI.NewGlobalRef"));
    order.go("worker");
    running->join();
    EXPECT_EQ(1u, sim.live_globals());
}

TEST_F(Interleavings, AThreadIsHeldAtTheNthCallFromNow) {
    Interleaving order;
    order.hold("worker", "JNI.New*Ref", 3);
    auto running = start_making(worker, 5);
    order.await("worker");
    EXPECT_EQ(2u, sim.live_globals());
    order.go_on_to("worker", "JNI.NewGlobalRef", 2); /* of three that are left, that where it stands is gone by */
    EXPECT_EQ(4u, sim.live_globals());
    order.go("worker");
    running->join();
    EXPECT_EQ(5u, sim.live_globals());
}

TEST_F(Interleavings, AThreadIsHeldAfterTheCallWasMade) {
    Interleaving order;
    order.hold("worker", "after JNI.NewGlobalRef");
    auto running = start_making(worker, 1);
    order.await("worker");
    EXPECT_EQ(1u, sim.live_globals());
    EXPECT_TRUE(made.empty()) << "the caller has gone on";
    order.go("worker");
    running->join();
    EXPECT_EQ(1u, made.size());
}

TEST_F(Interleavings, OthersGoOnWhileOneIsHeld) {
    Interleaving order;
    order.hold("worker", "JNI.NewGlobalRef");
    auto held = start_making(worker, 1);
    order.await("worker");
    sim.run_on(other, [this] { make(); });
    make();
    EXPECT_EQ(2u, sim.live_globals());
    EXPECT_TRUE(order.is_held("worker"));
    EXPECT_FALSE(order.is_held("other"));
    order.go("worker");
    held->join();
}

TEST_F(Interleavings, TwoHeldThreadsGoInTheOrderOfTheTest) {
    std::vector<std::string> order_seen;
    Interleaving order;
    for (sim::Thread* thread : {&worker, &other}) order.hold(thread->label, "here");
    auto body = [&](const char* name) {
        return [&order_seen, name] {
            sim::pass("here");
            order_seen.push_back(name);
            sim::pass("there");
        };
    };
    auto first = sim.start(worker, body("worker"));
    auto second = sim.start(other, body("other"));
    order.await("worker");
    order.await("other");
    order.go_on_to("other", "there");
    order.go("worker");
    first->join();
    order.go("other");
    second->join();
    EXPECT_EQ((std::vector<std::string>{"other", "worker"}), order_seen);
}

TEST_F(Interleavings, AThreadIsSeenToBeBlockedByAMonitor) {
    monitor_t monitor;
    monitor_init(&monitor);
    Interleaving order;
    monitor_lock(&monitor, "the test");
    auto running = sim.start(worker, [&] {
        monitor_lock(&monitor, "taking");
        monitor_unlock(&monitor, "taking");
    });
    order.await_blocked("worker", "lock taking");
    EXPECT_NE(std::string::npos, order.standings().find("worker: blocked in lock taking\n"));
    monitor_unlock(&monitor, "the test");
    running->join();
    EXPECT_NE(std::string::npos, order.standings().find("worker: passed after unlock taking\n"));
}

TEST_F(Interleavings, AThreadIsHeldBetweenTwoOperationsOnMonitors) {
    monitor_t monitor;
    monitor_init(&monitor);
    Interleaving order;
    order.hold("worker", "after lock taking");
    auto running = sim.start(worker, [&] {
        monitor_lock(&monitor, "taking");
        monitor_unlock(&monitor, "taking");
    });
    order.await("worker");
    EXPECT_NE(0, pthread_mutex_trylock(&monitor.mutex)) << "the worker holds it";
    order.go_on_to("worker", "after unlock taking");
    EXPECT_EQ(0, pthread_mutex_trylock(&monitor.mutex)) << "the worker has given it back";
    pthread_mutex_unlock(&monitor.mutex);
    order.go("worker");
    running->join();
}

TEST_F(Interleavings, AWaitForASignalIsSeen) {
    monitor_t monitor;
    monitor_init(&monitor);
    std::atomic<bool> woken{false};
    Interleaving order;
    auto running = sim.start(worker, [&] {
        monitor_lock(&monitor, "waiter");
        monitor_wait(&monitor, "waiter");
        woken = true;
        monitor_unlock(&monitor, "waiter");
    });
    order.await_blocked("worker", "wait *");
    monitor_lock(&monitor, "the test"); /* free: the wait has given it back */
    EXPECT_FALSE(woken);
    monitor_signal(&monitor, "the test");
    monitor_unlock(&monitor, "the test");
    order.await_that([&] { return woken.load(); }, "the worker to be woken");
    running->join();
}

TEST_F(Interleavings, AHoldThatNobodyCameToFailsTheTest) {
    {
        Interleaving order;
        order.hold("worker", "JNI.FindClass");
        start_making(worker, 1)->join();
    }
    EXPECT_EQ(std::vector<std::string>{"worker never came to JNI.FindClass"}, sim.take_misuse());
}

TEST_F(Interleavings, OneThatIsNotHeldCannotBeToldToGo) {
    Interleaving order;
    order.go("worker");
    const auto misuse = sim.take_misuse();
    ASSERT_EQ(1u, misuse.size());
    EXPECT_EQ("worker is told to go, but nothing holds it\n", misuse[0]);
}

TEST_F(Interleavings, TheEndLetsEveryThreadGo) {
    std::unique_ptr<sim::Running> running;
    {
        Interleaving order;
        order.hold("worker", "JNI.NewGlobalRef");
        running = start_making(worker, 1);
        order.await("worker");
    }
    running->join();
    EXPECT_EQ(1u, sim.live_globals());
}

TEST_F(Interleavings, AtTheLimitTheProcessEndsAndSaysWhoStandsWhere) {
    const sim::ChildResult result = run_in_child([this] {
        monitor_t first, second;
        monitor_init(&first);
        monitor_init(&second);
        Interleaving order(1);
        auto cross = [](monitor_t& own, const char* name, monitor_t& others, const char* other_name) {
            return [=, &own, &others] {
                monitor_lock(&own, name);
                sim::pass("both have one");
                monitor_lock(&others, other_name);
            };
        };
        order.hold("worker", "both have one");
        order.hold("other", "both have one");
        auto a = sim.start(worker, cross(first, "first", second, "second"));
        auto b = sim.start(other, cross(second, "second", first, "first"));
        order.await("worker");
        order.await("other");
        order.go("worker");
        order.go("other");
        order.await_that([] { return false; }, "what never comes");
    });
    EXPECT_EQ(1, result.exit_status);
    EXPECT_EQ("Not over after 1 seconds. Who stands where:\n"
              "other: blocked in lock first\n"
              "worker: blocked in lock second\n"
              "the test waits for: what never comes\n",
              result.err);
}

TEST_F(Interleavings, WithoutOnePointsAreNoHindrance) {
    EXPECT_FALSE(sim::interleaving);
    make();
    sim::pass("here");
    EXPECT_EQ(1u, sim.live_globals());
}
