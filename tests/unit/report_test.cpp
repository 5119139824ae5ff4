#include "support/report.h"

#include "sim/harness.h"

#include <gtest/gtest.h>

#include <signal.h>

using sim::ChildResult;
using sim::run_child;

TEST(Report, FailureNamesTheErrorAndGivesItBack) {
    testing::internal::CaptureStdout();
    const jint result = report_failure("AgentThread: JVMDI_Allocate() failed -- %s\n", 110);
    EXPECT_EQ("AgentThread: JVMDI_Allocate() failed -- OUT_OF_MEMORY\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(110, result);
}

TEST(Report, FatalMessageReachesTheOutputBeforeTheAbort) {
    const ChildResult result = run_child([](auto&) { agent_fatal("AgentThread: %d of %s\n", 3, "five"); });
    EXPECT_EQ(SIGABRT, result.signal);
    EXPECT_EQ("AgentThread: 3 of five\n", result.out);
    EXPECT_EQ("", result.err);
}

TEST(Report, FatalErrorNamesTheErrorBeforeTheAbort) {
    const ChildResult result = run_child([](auto&) { agent_fatal_error("AgentThread: failed -- %s\n", 98); });
    EXPECT_EQ(SIGABRT, result.signal);
    EXPECT_EQ("AgentThread: failed -- NOT_AVAILABLE\n", result.out);
}
