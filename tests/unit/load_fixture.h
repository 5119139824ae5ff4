/* load_fixture.h: what the tests of loading and attaching share: a folder with a settings file, environment variables and
 * the log on standard output.
 */
#ifndef QUOR_TEST_LOAD_FIXTURE_H
#define QUOR_TEST_LOAD_FIXTURE_H

#include "sim/sim_test.h"
#include "support/log_agent.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

using sim::capture_stderr;
using sim::capture_stdout;
using sim::ChildResult;
using sim::Mode;

/* Ends the logging that a test began. */
struct LogOffAtEnd {
    ~LogOffAtEnd() {
        log_finish();
        log_echo(0);
        for (const log_category* category = _log_map_agent + 1; category->name; category++) log_disable(category->name);
    }
};

/* The current folder of the test, empty at first so that no C.agent of somebody else is read, and around it a process in
 * which nothing is loaded yet. */
class OwnFolder {
public:
    OwnFolder() : before(std::filesystem::current_path()) {
        char path[] = "/tmp/quor-load-XXXXXX";
        folder = mkdtemp(path);
        std::filesystem::current_path(folder);
        for (const char* name : {"__QUOR_USE_JVMDI", "_QUOR_VM_TESTING", "__QUOR_LIGHT"}) unsetenv(name);
        jvmti = nullptr;
        jvmdi = nullptr;
    }
    ~OwnFolder() {
        std::filesystem::current_path(before);
        std::filesystem::remove_all(folder);
    }
    OwnFolder(const OwnFolder&) = delete;
    OwnFolder& operator=(const OwnFolder&) = delete;

    static void write_settings(const std::string& text) { std::ofstream("C.agent") << text; }
    /* Makes loading turn a category on, with its records on standard output. */
    static void log_at_load(const std::string& category) { write_settings("options -stdout\n" + category + "\n"); }

private:
    std::filesystem::path before, folder;
    LogOffAtEnd log_off;
};

/* Turns a category on, with its records on standard output. */
static inline void log_now(const char* category) {
    _log_link(_log_map_agent);
    log_start(nullptr, stdout);
    log_echo(1);
    log_enable(category, 0, 0);
}

/* A record of LogJVMDI as it stands in the log. */
static inline std::string logged(const std::string& text) { return "LogJVMDI   " + text + "\n"; }

/* An option string, which loading changes. */
class Options {
public:
    explicit Options(std::string text) : storage(std::move(text)) {}
    char* text() { return storage.data(); }
    const std::string& whole() const { return storage; }

private:
    std::string storage;
};

static inline void expect_abort(const ChildResult& result, const std::string& message) {
    EXPECT_EQ(SIGABRT, result.signal);
    EXPECT_EQ(message, result.out);
}

#endif
