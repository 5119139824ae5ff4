/* tracee.h: a process under ptrace, thread by thread: nothing stops but the thread that something happens to.
 *
 * Every thread is seized. A thread that runs into a breakpoint stays where it is; all others run on. Signals are passed on.
 * The agent calls its hook points on one thread alone, so a breakpoint is stepped over by taking its instruction out for one
 * step of that thread.
 */
#ifndef QUOR_STRESS_TRACEE_H
#define QUOR_STRESS_TRACEE_H

#include "registers.h"

#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/types.h>

/* Something that must hold did not. */
struct failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* Something did not happen within its limit. */
struct hang : failure {
    explicit hang(const std::string& what) : failure(what) { happened = true; }
    static inline bool happened; /* and nobody has looked into it yet */
};

/* What wait() met. */
enum class met { breakpoint, end, condition };

class tracee {
public:
    enum class on_our_death { lives_on, dies };

    /* Seizes every thread of the process. */
    tracee(pid_t pid, on_our_death fate);
    /* Leaves the process alone, as far as it is still there: takes the breakpoints out and lets every thread run. */
    ~tracee();
    tracee(const tracee&) = delete;
    tracee& operator=(const tracee&) = delete;

    pid_t pid() const { return process; }
    bool has_ended() const { return ended; }
    int wait_status() const { return end_status; } /* as waitpid gives it, once the process has ended */

    void read(word address, void* to, size_t size) const;
    void write(word address, const void* from, size_t size) const;
    template <class T> T read(word address) const {
        T value;
        read(address, &value, sizeof value);
        return value;
    }
    template <class T> void write(word address, const T& value) const { write(address, &value, sizeof value); }

    void insert_breakpoint(word address);
    void remove_breakpoints();

    /* Lets everything run until a thread stands at a breakpoint, the process has ended, or `condition`, looked at every few
     * milliseconds, holds. A hang when none comes within `seconds`; `what` says in it what was waited for. */
    met wait(double seconds, const std::string& what, const std::function<bool()>& condition = nullptr);

    /* The thread that stands at a breakpoint, and where; 0 when none does. */
    pid_t stopped_thread() const { return stopped; }
    word stopped_at() const { return stop_address; }
    registers get_registers() const;
    void set_registers(const registers& values);

    /* Lets the stopped thread go on, over its breakpoint if it still stands on one. */
    void go_on();

    /* Lets go of the process: breakpoints out, every thread free. */
    void detach();

private:
    void seize(pid_t tid);
    bool seize_new_threads();
    void note_end(pid_t tid, int status);
    bool note_stop(pid_t tid, int status);
    bool take_event(pid_t tid, int status);
    void step_off_breakpoint(word address);
    void take_last_stop(pid_t tid, int status);
    void await_stops(std::set<pid_t> running);
    std::set<pid_t> unheard_of() const;
    void stop_all();

    pid_t process;
    int options;
    int memory = -1;
    std::map<pid_t, int> signals; /* each thread, and the signal that it is still to get */
    std::map<word, unsigned char> breakpoints;
    pid_t stopped = 0;
    word stop_address = 0;
    bool ended = false;
    int end_status = 0;
};

/* The threads of a process. */
std::set<pid_t> threads_of(pid_t pid);
/* The process that traces a thread of process `pid`; 0 when none does or the thread is dead. */
pid_t tracer_of(pid_t pid, pid_t tid);

double seconds_now();

#endif
