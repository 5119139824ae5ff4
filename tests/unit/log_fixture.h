/* log_fixture.h: what the tests of the log share: a folder of their own, a small category map, and texts of files. */
#ifndef QUOR_TEST_LOG_FIXTURE_H
#define QUOR_TEST_LOG_FIXTURE_H

#include "support/log.h"

#include "sim/harness.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdlib.h>
#include <string>
#include <unistd.h>

using sim::ChildResult;
using sim::run_child;

/* Log state cannot be taken back, so each test works in a child: see sim::run_child. */
struct LogTest : testing::Test {
    LogTest() {
        char folder_template[] = "/tmp/quor-log-XXXXXX";
        folder = mkdtemp(folder_template);
        log_path = folder + "/log";
        option_path = folder + "/options";
    }
    ~LogTest() override {
        for (const std::string& path : {log_path, option_path, folder + "/second"}) unlink(path.c_str());
        EXPECT_EQ(0, rmdir(folder.c_str()));
    }

    void write_options(const std::string& text) { std::ofstream(option_path) << text; }

    std::string folder, log_path, option_path;
};

static inline std::string text_of(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/* Three categories, as a library would lay them out. */
static log_category *one_flag, *two_flag, *three_flag;
static log_category test_map[] = {
    {"log_cookie", NULL, 0}, {"One", &one_flag, 0}, {"Two", &two_flag, 0}, {"A_long_category", &three_flag, 0},
    {NULL, NULL, 0},
};
static log_category* const one = &test_map[1];
static log_category* const two = &test_map[2];
static log_category* const three = &test_map[3];

#endif
