/* The stress scenarios' own debugger: a process that it let go of is as free as before. */
#include "tracee.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

enum { MAKERS = 3, VISITS = 150, SECONDS = 20 };

/* Each maker starts one short thread after the other. */
[[noreturn]] void make_threads_for_ever() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (int i = 0; i < MAKERS; i++)
        std::thread([] {
            for (;;) std::thread([] {}).join();
        }).detach();
    for (;;) pause();
}

struct Tracee : testing::Test {
    void SetUp() override {
        maker = fork();
        if (maker == 0) make_threads_for_ever();
    }
    void TearDown() override {
        kill(maker, SIGKILL);
        while (waitpid(-1, nullptr, __WALL) > 0 || errno == EINTR) {} /* a thread that is still traced ends only so */
    }
    /* Seizes all threads, sees some of the new ones, and leaves. */
    void visit() const {
        tracee target(maker, tracee::on_our_death::lives_on);
        const double until = seconds_now() + 0.005;
        target.wait(SECONDS, "a while", [=] { return seconds_now() > until; });
        target.detach();
    }
    int traced_threads() const {
        int found = 0;
        for (const pid_t tid : threads_of(maker)) found += tracer_of(maker, tid) != 0;
        return found;
    }
    pid_t maker = 0;
};

} // namespace

TEST_F(Tracee, LeavesNoThreadTracedThatWasBeingMadeWhenItLeft) {
    for (int i = 0; i < VISITS; i++) {
        visit();
        ASSERT_EQ(0, traced_threads()) << "after visit " << i;
    }
}
