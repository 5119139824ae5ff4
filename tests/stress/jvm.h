/* jvm.h: a JVM with the agent in it, in a folder of its own, that runs one of the stress programs. */
#ifndef QUOR_STRESS_JVM_H
#define QUOR_STRESS_JVM_H

#include <string>
#include <sys/types.h>
#include <vector>

/* What all JVMs of a run have in common. */
struct surroundings {
    std::string java;
    std::string agent_folder;
    std::string classes;
    std::string library; /* of native methods */
    std::string work;
    std::vector<std::string> options;
    bool full = false;
};

struct memory_figures {
    long resident_kilobytes = 0;
    long references = 0; /* JNI global references, by the VM's own count */
};

class jvm {
public:
    /* Starts it; the program prints a line "ready" and waits for a line on its standard input. */
    jvm(const surroundings& around, const std::string& program, const std::vector<std::string>& arguments,
        const std::string& log_settings = "");
    ~jvm();
    jvm(const jvm&) = delete;
    jvm& operator=(const jvm&) = delete;

    pid_t pid() const { return process; }
    void await_agent() const; /* until the agent is loaded: it has not met the debugger then, on any machine so far */
    void await_ready();
    void go() { say("go\n"); }
    void say(const char* line);

    std::string output() const;
    std::string errors() const;
    bool has_printed(const std::string& text) const { return output().find(text) != std::string::npos; }
    /* The number that follows "NAME=" in the output; a failure when there is none. */
    long figure(const std::string& name) const;
    bool has_figure(const std::string& name) const { return has_printed(name + "="); }

    long resident_kilobytes() const;
    /* Counts for the VM's list of its stacks: ask for one, and see whether it has come. */
    void ask_for_stacks() const;
    size_t stacks_shown() const;
    long references() const; /* by the latest list */

    /* Waits for its end without a debugger, and gives the exit status as a shell does. */
    int await_end(double seconds);
    /* Somebody else has waited for its end. */
    void note_reaped() { reaped = true; }
    /* A failure unless it has ended like this, with nothing in its output that no program may cause. */
    void check_end(int wait_status, int expected) const;

private:
    std::string read_file(const char* name) const;

    pid_t process = 0;
    int input = -1;
    bool reaped = false;
    std::string folder;
};

/* The exit status as a shell tells it. */
int shell_status(int wait_status);

#endif
