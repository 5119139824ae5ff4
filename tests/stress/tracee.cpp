#include "tracee.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <sys/ptrace.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static const unsigned char BREAKPOINT = 0xCC;
enum { TICK_MICROSECONDS = 5000, EVENT_SHIFT = 16 };
static const double STOP_ALL_SECONDS = 10;

double seconds_now() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

/* A thread that is being killed is gone for ptrace before it is reaped: ESRCH is no failure. */
static bool trace(int request, pid_t tid, word address, word data) {
    if (ptrace((__ptrace_request)request, tid, (void*)address, (void*)data) == 0) return true;
    if (errno != ESRCH) throw failure("ptrace request " + std::to_string(request) + ": " + strerror(errno));
    return false;
}

/* waitpid comes back at least at every tick. */
static void start_ticking() {
    static bool ticking;
    if (ticking) return;
    ticking = true;
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval interval = {{0, TICK_MICROSECONDS}, {0, TICK_MICROSECONDS}};
    setitimer(ITIMER_REAL, &interval, nullptr);
}

std::set<pid_t> threads_of(pid_t pid) {
    std::set<pid_t> found;
    if (DIR* folder = opendir(("/proc/" + std::to_string(pid) + "/task").c_str())) {
        while (const dirent* entry = readdir(folder))
            if (const int tid = atoi(entry->d_name)) found.insert(tid);
        closedir(folder);
    }
    return found;
}

pid_t tracer_of(pid_t pid, pid_t tid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/task/" + std::to_string(tid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("State:\tZ") || line.starts_with("State:\tX")) return 0;
        if (line.starts_with("TracerPid:")) return std::stoi(line.substr(strlen("TracerPid:")));
    }
    return 0;
}

tracee::tracee(pid_t pid, on_our_death fate)
    : process(pid), options(PTRACE_O_TRACECLONE | (fate == on_our_death::dies ? PTRACE_O_EXITKILL : 0)) {
    start_ticking();
    while (seize_new_threads()) {} /* a thread that is not seized yet may start others */
    if (signals.empty()) throw failure("no thread of process " + std::to_string(pid) + " can be traced");
    memory = open(("/proc/" + std::to_string(pid) + "/mem").c_str(), O_RDWR | O_CLOEXEC);
    if (memory == -1) throw failure("the memory of process " + std::to_string(pid) + " cannot be opened");
}

tracee::~tracee() {
    try {
        detach();
    } catch (const failure&) {
        /* it is gone, or will go with us */
    }
    if (memory != -1) close(memory);
}

void tracee::seize(pid_t tid) {
    if (trace(PTRACE_SEIZE, tid, 0, (word)options)) signals[tid] = 0;
}

bool tracee::seize_new_threads() {
    bool found = false;
    for (const pid_t tid : threads_of(process)) {
        if (signals.count(tid)) continue;
        try {
            seize(tid);
            found = found || signals.count(tid) != 0;
        } catch (const failure&) {
            signals[tid] = 0; /* seized by the kernel when its creator, which is seized, made it: EPERM */
            found = true;
        }
    }
    return found;
}

void tracee::read(word address, void* to, size_t size) const {
    if (pread(memory, to, size, (off_t)address) != (ssize_t)size)
        throw failure("the process's memory at " + std::to_string(address) + " cannot be read");
}

void tracee::write(word address, const void* from, size_t size) const {
    if (pwrite(memory, from, size, (off_t)address) != (ssize_t)size)
        throw failure("the process's memory at " + std::to_string(address) + " cannot be written");
}

void tracee::insert_breakpoint(word address) {
    if (breakpoints.count(address)) return;
    breakpoints[address] = read<unsigned char>(address);
    write(address, BREAKPOINT);
}

void tracee::remove_breakpoints() {
    if (!ended)
        for (const auto& [address, original] : breakpoints) write(address, original);
    breakpoints.clear();
}

void tracee::note_end(pid_t tid, int status) {
    signals.erase(tid);
    if (tid == stopped) stopped = 0;
    if (tid != process) return;
    ended = true;
    end_status = status;
}

/* A thread's trap at a breakpoint, which leaves it stopped; false for a trap of another kind. */
bool tracee::note_stop(pid_t tid, int status) {
    if (status >> EVENT_SHIFT || WSTOPSIG(status) != SIGTRAP) return false;
    registers now;
    if (ptrace(PTRACE_GETREGS, tid, nullptr, &now) != 0 || !breakpoints.count(now.pc() - 1)) return false;
    if (stopped) throw failure("two threads stand at breakpoints at once");
    stopped = tid;
    stop_address = now.pc() - 1;
    now.set_pc(stop_address);
    set_registers(now);
    return true;
}

/* Takes what waitpid gave; true when a thread has come to a breakpoint or the process has ended. */
bool tracee::take_event(pid_t tid, int status) {
    if (!WIFSTOPPED(status)) {
        note_end(tid, status);
        return ended;
    }
    signals.emplace(tid, 0);
    if (note_stop(tid, status)) return true;
    const int event = status >> EVENT_SHIFT;
    const int signal = WSTOPSIG(status);
    const bool stays =
        event == PTRACE_EVENT_STOP && signal != SIGTRAP; /* the whole process was stopped, by somebody else */
    trace(stays ? PTRACE_LISTEN : PTRACE_CONT, tid, 0, (word)(event || stays ? 0 : signal));
    return false;
}

met tracee::wait(double seconds, const std::string& what, const std::function<bool()>& condition) {
    const double deadline = seconds_now() + seconds;
    while (!ended) {
        if (condition && condition()) return met::condition;
        int status;
        const pid_t tid = waitpid(-1, &status, __WALL);
        if (tid > 0 && take_event(tid, status)) return ended ? met::end : met::breakpoint;
        if (tid == -1 && errno == ECHILD) ended = true; /* reaped by somebody else */
        if (seconds_now() > deadline) throw hang(what + ": not within " + std::to_string((int)seconds) + " seconds");
    }
    return condition && condition() ? met::condition : met::end;
}

registers tracee::get_registers() const {
    registers now;
    if (!stopped || !trace(PTRACE_GETREGS, stopped, 0, (word)&now)) throw failure("the stopped thread is gone");
    return now;
}

void tracee::set_registers(const registers& values) {
    if (!stopped || !trace(PTRACE_SETREGS, stopped, 0, (word)&values)) throw failure("the stopped thread is gone");
}

void tracee::step_off_breakpoint(word address) {
    write(address, breakpoints.at(address));
    const pid_t tid = stopped;
    trace(PTRACE_SINGLESTEP, tid, 0, 0);
    int status;
    for (;;) {
        if (waitpid(tid, &status, __WALL) == -1) {
            if (errno == EINTR) continue;
            break;
        }
        if (!WIFSTOPPED(status)) {
            note_end(tid, status);
            return;
        }
        if (!(status >> EVENT_SHIFT) && WSTOPSIG(status) == SIGTRAP) break;
        if (!(status >> EVENT_SHIFT)) signals[tid] = WSTOPSIG(status); /* after the step */
        trace(PTRACE_SINGLESTEP, tid, 0, 0);
    }
    write(address, BREAKPOINT);
}

void tracee::go_on() {
    if (!stopped) return;
    const pid_t tid = stopped;
    const word pc = get_registers().pc();
    if (breakpoints.count(pc)) step_off_breakpoint(pc);
    stopped = 0;
    if (!signals.count(tid)) return;
    const int signal = signals[tid];
    signals[tid] = 0;
    trace(PTRACE_CONT, tid, 0, (word)signal);
}

/* Takes the stop of a thread that is to stay stopped, or its end. */
void tracee::take_last_stop(pid_t tid, int status) {
    if (!WIFSTOPPED(status)) return note_end(tid, status);
    signals.emplace(tid, 0);
    if (status >> EVENT_SHIFT) return;
    registers now;
    const bool trapped = WSTOPSIG(status) == SIGTRAP;
    if (trapped && ptrace(PTRACE_GETREGS, tid, nullptr, &now) == 0 && breakpoints.count(now.pc() - 1)) {
        now.set_pc(now.pc() - 1); /* it will run the instruction that belongs there */
        trace(PTRACE_SETREGS, tid, 0, (word)&now);
    } else {
        signals[tid] = WSTOPSIG(status);
    }
}

void tracee::await_stops(std::set<pid_t> running) {
    const double deadline = seconds_now() + STOP_ALL_SECONDS;
    while (!running.empty() && !ended) {
        int status;
        const pid_t tid = waitpid(-1, &status, __WALL);
        if (tid == -1 && errno == ECHILD) return;
        if (tid > 0) {
            running.erase(tid);
            take_last_stop(tid, status);
        }
        if (seconds_now() > deadline) throw hang("the stop of all threads");
    }
}

/* A thread that a seized one makes is seized too, and comes to a stop before it runs. Nobody may have heard of it yet, not even
 * when its creator's stop for having made it was taken long ago. */
std::set<pid_t> tracee::unheard_of() const {
    std::set<pid_t> found;
    for (const pid_t tid : threads_of(process))
        if (!signals.count(tid) && tracer_of(process, tid) == getpid()) found.insert(tid);
    return found;
}

/* Stops every thread, and notes the signals that they are still to get. */
void tracee::stop_all() {
    std::set<pid_t> running;
    for (const auto& [tid, signal] : signals)
        if (tid != stopped && trace(PTRACE_INTERRUPT, tid, 0, 0)) running.insert(tid);
    do await_stops(running);
    while (!ended && !(running = unheard_of()).empty());
}

void tracee::detach() {
    if (ended) return;
    stop_all();
    remove_breakpoints();
    for (const auto& [tid, signal] : signals) trace(PTRACE_DETACH, tid, 0, (word)signal);
    signals.clear();
    stopped = 0;
}
