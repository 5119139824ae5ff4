/* harness.h: running a piece of a test in a process of its own, and catching what it prints. */
#ifndef SIM_HARNESS_H
#define SIM_HARNESS_H

#include <functional>
#include <string>
#include <vector>

namespace sim {

/* What became of a child process. */
struct ChildResult {
    int exit_status = -1;             /* -1 if a signal ended it */
    int signal = 0;                   /* 0 if it exited; SIGABRT after abort() */
    bool timed_out = false;           /* it was killed because it did not end */
    std::string out;                  /* its standard output: fully buffered, so what an abort loses is lost */
    std::string err;                  /* its standard error */
    std::vector<std::string> reports; /* the lines that it reported */
};

/* Calls body(report) in a forked child; report(line) reaches ChildResult::reports even when the child aborts. A body that
 * returns ends the child with status 0 and its output flushed. The caller's process should have no other threads. */
using Report = std::function<void(const std::string&)>;
ChildResult run_child(const std::function<void(const Report&)>& body, int timeout_seconds = 60);

/* What `body` wrote to the file descriptor 1, through printf or without it. */
std::string capture_stdout(const std::function<void()>& body);
/* The same for the file descriptor 2. */
std::string capture_stderr(const std::function<void()>& body);

/* Waits, at most `seconds`, for a condition that another thread brings about; false if it did not come. */
bool wait_for(const std::function<bool()>& condition, int seconds = 20);

/* Two lists of calls side by side, for the message of a failed comparison; empty if they are equal. */
std::string difference(const std::vector<std::string>& expected, const std::vector<std::string>& actual);

} // namespace sim

#endif
