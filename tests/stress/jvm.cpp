#include "jvm.h"

#include "tracee.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static const char LAST_OF_STACKS[] = "JNI global refs: ";
static const double READY_SECONDS = 60;

int shell_status(int wait_status) {
    return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

static std::string fresh_folder(const std::string& work, const std::string& program) {
    static int serial;
    const fs::path folder =
        fs::absolute(fs::path(work)) / (program + "." + std::to_string(getpid()) + "." + std::to_string(++serial));
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

static void redirect(const char* name, int to) { dup2(open(name, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644), to); }

[[noreturn]] static void become_java(const surroundings& around, std::vector<std::string> words,
                                     const std::string& folder) {
    prctl(PR_SET_PDEATHSIG, SIGKILL); /* no JVM outlives this program */
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    const rlimit small = {1 << 20, 1 << 20}; /* hundreds of native threads have room in 32 bits */
    setrlimit(RLIMIT_STACK, &small);
    if (chdir(folder.c_str()) != 0) _exit(127);
    redirect("program.out", STDOUT_FILENO);
    redirect("program.err", STDERR_FILENO);
    setenv("LD_LIBRARY_PATH", around.agent_folder.c_str(), 1);
    std::vector<char*> arguments;
    for (std::string& each : words) arguments.push_back(each.data());
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

jvm::jvm(const surroundings& around, const std::string& program, const std::vector<std::string>& arguments,
         const std::string& log_settings)
    : folder(fresh_folder(around.work, program)) {
    if (!log_settings.empty()) std::ofstream(folder + "/C.agent") << log_settings;
    std::vector<std::string> words = {around.java, "-Xmx64m", "-XX:-UsePerfData"};
    words.insert(words.end(), around.options.begin(), around.options.end());
    words.insert(words.end(), {"-agentlib:quor_agent", "-cp", around.classes, program});
    words.insert(words.end(), arguments.begin(), arguments.end());
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw failure("no pipe");
    process = fork();
    if (process == 0) {
        dup2(ends[0], STDIN_FILENO);
        become_java(around, words, folder);
    }
    close(ends[0]);
    input = ends[1];
}

jvm::~jvm() {
    if (input != -1) close(input);
    if (reaped) return;
    kill(process, SIGKILL);
    while (waitpid(process, nullptr, __WALL) == -1 && errno == EINTR) {}
}

void jvm::await_agent() const {
    const double deadline = seconds_now() + READY_SECONDS;
    for (;;) {
        std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
        const std::string text{std::istreambuf_iterator<char>(maps), std::istreambuf_iterator<char>()};
        const size_t found = text.find("/libquor_agent.so");
        if (found != std::string::npos && text.find("/libquor_agent.so", found + 1) != std::string::npos) return;
        if (seconds_now() > deadline) throw hang("the agent's load");
        usleep(1000);
    }
}

void jvm::await_ready() {
    const double deadline = seconds_now() + READY_SECONDS;
    while (!has_printed("ready\n")) {
        if (seconds_now() > deadline) throw hang("the program's start");
        if (waitpid(process, nullptr, WNOHANG) == process) {
            reaped = true;
            throw failure("the program ends before it is ready:\n" + output() + errors());
        }
        usleep(5000);
    }
}

void jvm::say(const char* line) {
    const std::string text = line;
    if (::write(input, text.data(), text.size()) != (ssize_t)text.size()) throw failure("the program reads no more");
}

std::string jvm::read_file(const char* name) const {
    std::ifstream stream(folder + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string jvm::output() const { return read_file("program.out"); }

std::string jvm::errors() const { return read_file("program.err"); }

long jvm::figure(const std::string& name) const {
    const std::string text = output();
    const size_t found = text.rfind(name + "=");
    if (found == std::string::npos) throw failure("the program tells no " + name);
    return atol(text.c_str() + found + name.size() + 1);
}

long jvm::resident_kilobytes() const {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0) return atol(line.c_str() + 6);
    return 0;
}

void jvm::ask_for_stacks() const { kill(process, SIGQUIT); }

size_t jvm::stacks_shown() const {
    const std::string text = output();
    size_t shown = 0;
    for (size_t at = text.find(LAST_OF_STACKS); at != std::string::npos; at = text.find(LAST_OF_STACKS, at + 1))
        shown++;
    return shown;
}

long jvm::references() const {
    const std::string text = output();
    const size_t found = text.rfind(LAST_OF_STACKS);
    return found == std::string::npos ? -1 : atol(text.c_str() + found + sizeof LAST_OF_STACKS - 1);
}

int jvm::await_end(double seconds) {
    const double deadline = seconds_now() + seconds;
    int status;
    for (;;) {
        const pid_t ended = waitpid(process, &status, WNOHANG | __WALL);
        if (ended == process && !WIFSTOPPED(status)) {
            reaped = true;
            return status;
        }
        if (seconds_now() > deadline) throw hang("the program's end");
        usleep(5000);
    }
}

void jvm::check_end(int wait_status, int expected) const {
    const int status = shell_status(wait_status);
    if (status != expected)
        throw failure("the program ends with status " + std::to_string(status) + ", not " + std::to_string(expected) +
                      ":\n" + output() + errors());
    static const std::regex complaint("WARNING in native|FATAL ERROR in native|JNI call made|JNI local refs|SURPRISE");
    std::smatch found;
    const std::string text = output() + errors();
    if (std::regex_search(text, found, complaint)) {
        const size_t begin = text.rfind('\n', (size_t)found.position(0)) + 1;
        throw failure("the program's output has: " + text.substr(begin, 600));
    }
}
