#include "sim/harness.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace sim {

using Clock = std::chrono::steady_clock;

/* An anonymous file: output of any length, without a reader that could be late. */
class Buffer {
public:
    Buffer() : fd(memfd_create("output", MFD_CLOEXEC)) {
        if (fd < 0) throw std::runtime_error("memfd_create failed");
    }
    ~Buffer() { close(fd); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    std::string text() const {
        std::string all;
        char piece[4096];
        off_t at = 0;
        for (ssize_t n; (n = pread(fd, piece, sizeof piece, at)) > 0; at += n)
            all.append(piece, static_cast<size_t>(n));
        return all;
    }
    void add_line(std::string line) const {
        std::replace(line.begin(), line.end(), '\n', ' ');
        line += '\n';
        if (write(fd, line.data(), line.size()) < 0) _exit(99);
    }
    const int fd;
};

static std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

/* ---- Child processes -------------------------------------------------------------------------------------------- */

/* Waits for the child; kills it at the deadline. */
static int await(pid_t child, int timeout_seconds, bool& timed_out) {
    int status = 0;
    for (auto deadline = Clock::now() + std::chrono::seconds(timeout_seconds); waitpid(child, &status, WNOHANG) == 0;) {
        if (Clock::now() > deadline) {
            timed_out = true;
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return status;
}

ChildResult run_child(const std::function<void(const Report&)>& body, int timeout_seconds) {
    Buffer out, err, reports;
    std::fflush(nullptr);
    pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        rlimit no_core{0, 0};
        setrlimit(RLIMIT_CORE, &no_core);
        dup2(out.fd, STDOUT_FILENO);
        dup2(err.fd, STDERR_FILENO);
        std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
        body([&](const std::string& line) { reports.add_line(line); });
        std::fflush(nullptr);
        _exit(0);
    }
    ChildResult result;
    int status = await(child, timeout_seconds, result.timed_out);
    if (WIFEXITED(status)) result.exit_status = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    result.out = out.text();
    result.err = err.text();
    result.reports = lines_of(reports.text());
    return result;
}

/* ---- Output ----------------------------------------------------------------------------------------------------- */

static std::string capture(int fd, std::FILE* stream, const std::function<void()>& body) {
    Buffer buffer;
    std::fflush(stream);
    int saved = dup(fd);
    dup2(buffer.fd, fd);
    body();
    std::fflush(stream);
    dup2(saved, fd);
    close(saved);
    return buffer.text();
}

std::string capture_stdout(const std::function<void()>& body) { return capture(STDOUT_FILENO, stdout, body); }
std::string capture_stderr(const std::function<void()>& body) { return capture(STDERR_FILENO, stderr, body); }

/* ---- Waiting and comparing -------------------------------------------------------------------------------------- */

bool wait_for(const std::function<bool()>& condition, int seconds) {
    auto deadline = Clock::now() + std::chrono::seconds(seconds);
    while (!condition()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::string difference(const std::vector<std::string>& expected, const std::vector<std::string>& actual) {
    if (expected == actual) return "";
    std::ostringstream text;
    size_t count = std::max(expected.size(), actual.size());
    for (size_t i = 0; i < count; ++i) {
        bool wanted = i < expected.size(), made = i < actual.size();
        if (wanted && made && expected[i] == actual[i])
            text << "    " << actual[i] << '\n';
        else {
            if (wanted) text << "  - " << expected[i] << '\n';
            if (made) text << "  + " << actual[i] << '\n';
        }
    }
    return text.str();
}

} // namespace sim
