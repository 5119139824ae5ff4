/* debugger.h: the smallest debugger that works the agent: it stops at hook points, reads the event's record, and calls the
 * agent's functions on the agent thread. All that it calls is the agent's interface.
 */
#ifndef QUOR_STRESS_DEBUGGER_H
#define QUOR_STRESS_DEBUGGER_H

#include "entry/agent_entry.h"
#include "symbols.h"
#include "tracee.h"

#include <initializer_list>
#include <string>
#include <vector>

inline const double STOP_SECONDS = 45; /* the limit of every wait and call that names no other */

class debugger {
public:
    explicit debugger(pid_t pid, tracee::on_our_death fate = tracee::on_our_death::dies);

    /* Takes hold of the Java side of a process that is just starting: at the agent's first contact, where it then stands. False
     * when `is_over` holds before: the debugger has come too late for it. */
    bool meet(const std::function<bool()>& is_over);
    /* The same of one that runs already, in the safe order: the flag first, agent_attach_jquor at the agent's answer, where the
     * agent thread then stands. */
    void attach();
    /* Lets go of it, at any hook; the process runs on, without breakpoints. */
    void detach_java();
    /* Waits for a stop at hook_controlc, asked for by the flag; other stops meanwhile go to `on_other`. */
    void control_c(const std::function<void()>& on_other = nullptr);
    void request_control_c() { target.write<jint>(names["controlc_hit"], 1); }

    /* Goes on to the next hook; false when the process has ended instead. */
    bool next_stop(double seconds = STOP_SECONDS);
    /* The same, or true when `condition` holds first; is_stopped() tells which. */
    bool next_stop_or(const std::function<bool()>& condition, double seconds = STOP_SECONDS);
    /* Lets the process run to its end; stops meanwhile go to `on_stop`. */
    void run_to_end(const std::function<void()>& on_stop = nullptr, double seconds = STOP_SECONDS);

    bool is_stopped() const { return target.stopped_thread() != 0; }
    bool is_at(const char* hook) const { return is_stopped() && at == names[hook]; }
    std::string hook() const { return names.at(at); }
    /* At a hook: the agent thread's JNIEnv, and the event's record as it was when the hook was called. */
    word env = 0;
    JVMDI_Event event = {};

    /* Calls a function of the agent; its result is a word, or a jint in the low half. Hooks that it runs into are passed. */
    word call(const char* name, const std::vector<word>& arguments, double seconds = STOP_SECONDS);
    /* The same for one that gives an error code, which must be among those allowed. */
    jint ask(const char* name, const std::vector<word>& arguments, std::initializer_list<jint> allowed = {0});

    /* Memory in the process for an out-parameter or a text; valid until the process goes on. */
    word out(size_t size);
    word text(const char* characters);
    template <class T> T get(word address) const { return target.read<T>(address); }

    jclass find_class(const char* name);
    jmethodID method(jclass clazz, const char* name);
    /* One that is set already, by an earlier debugger, does too. */
    void set_breakpoint(const char* class_name, const char* method_name);
    void enable(jint kind, jint mode = 1, jthread thread = nullptr);
    std::vector<jthread> threads();
    /* How many handles the agent keeps. */
    size_t handles() const;

    long nested_stops = 0; /* at hooks that calls ran into */
    tracee target;
    symbols names;

private:
    bool note_stop();

    word at = 0;
    word scratch_end = 0;
    word scratch_next = 0;
};

/* A Java reference or ID, or a number, as an argument. */
template <class T> word arg(T* pointer) { return (word)pointer; }
inline word arg(jint number) { return (word)(intptr_t)number; }

#endif
