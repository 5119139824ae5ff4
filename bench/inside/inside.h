/* inside.h: a debugger that lives in the debugged process, so that nothing of a debugger's own cost is measured. It finds the
 * agent's interface by name, and takes the place of a hook point while it has something to do there. */
#ifndef QUOR_BENCH_INSIDE_H
#define QUOR_BENCH_INSIDE_H

#include <dlfcn.h>
#include <jni.h>

/* The address of what the agent exports under this name; ends the process when there is none. */
void* exported(const char* name);

template <class Function> Function* entry_point(const char* name) { return (Function*)exported(name); }

/* Ends the process with a line unless the agent's answer is 0. */
void must(jint code, const char* what);

/* For as long as it lives, whoever calls the hook point runs `instead`. The hook point then does nothing of its own. */
class hook_replacement {
public:
    hook_replacement(const char* hook, void* instead);
    ~hook_replacement();
    hook_replacement(const hook_replacement&) = delete;
    hook_replacement& operator=(const hook_replacement&) = delete;

private:
    enum { ROOM = 16 }; /* functions begin at multiples of it */
    unsigned char* place;
    unsigned char original[ROOM];
};

#endif
