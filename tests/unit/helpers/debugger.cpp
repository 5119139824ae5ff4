/* debugger: stands in for the debugger's process in the tests of the handshake.
 *
 * usage: debugger SIGNALS [fifo PATH BYTES | memory ADDRESS VALUE]
 *
 * Prints "ready", waits for that many signals 16, and then answers: writes the bytes (hexadecimal digits, possibly none) to
 * the FIFO and closes it, or writes a 32-bit value to that address in the memory of the signals' sender. Ends with the line
 * "signal 16 from PID" (0: nobody sent it within 60 seconds), status 0, or with status 1 if the answer failed.
 */
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <unistd.h>

static pid_t wait_for_signals(int count) {
    sigset_t wanted;
    sigemptyset(&wanted);
    sigaddset(&wanted, 16);
    sigprocmask(SIG_BLOCK, &wanted, nullptr);
    std::printf("ready\n");
    std::fflush(stdout);
    siginfo_t info{};
    for (; count > 0; count--) {
        const timespec limit{60, 0};
        if (sigtimedwait(&wanted, &info, &limit) != 16) return 0;
    }
    return info.si_pid;
}

static bool write_all(int fd, const void* bytes, size_t size) {
    const bool written = fd != -1 && (size == 0 || write(fd, bytes, size) == static_cast<ssize_t>(size));
    return close(fd) == 0 && written;
}

static bool answer_fifo(const char* path, const char* digits) {
    std::string bytes;
    for (; digits[0] && digits[1]; digits += 2)
        bytes += static_cast<char>(std::stoi(std::string(digits, 2), nullptr, 16));
    return write_all(open(path, O_WRONLY), bytes.data(), bytes.size());
}

static bool answer_memory(pid_t target, const char* address, const char* value) {
    const int32_t word = std::atoi(value);
    const int fd = open(("/proc/" + std::to_string(target) + "/mem").c_str(), O_WRONLY);
    if (fd != -1 && lseek(fd, static_cast<off_t>(std::strtoul(address, nullptr, 0)), SEEK_SET) == -1) return false;
    return write_all(fd, &word, sizeof word);
}

int main(int count, char** arguments) {
    const pid_t sender = count > 1 ? wait_for_signals(std::atoi(arguments[1])) : 0;
    bool answered = true;
    if (count == 5 && std::strcmp(arguments[2], "fifo") == 0)
        answered = answer_fifo(arguments[3], arguments[4]);
    else if (count == 5 && std::strcmp(arguments[2], "memory") == 0)
        answered = answer_memory(sender, arguments[3], arguments[4]);
    std::printf("signal 16 from %d\n", static_cast<int>(sender));
    return answered ? 0 : 1;
}
