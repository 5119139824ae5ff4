/* hook_recorder.h: the hook points as a test's program defines them: each call is noted, and may do something.
 *
 * The tests get the agent as an archive, of which the linker takes a source only for names that nobody else defines. A
 * program that includes this header defines every name of hooks.cpp, so that source stays out and the agent calls these.
 * For one source of a program. (hooks_test.cpp looks at the real ones, in the built library.)
 */
#ifndef QUOR_TEST_HOOK_RECORDER_H
#define QUOR_TEST_HOOK_RECORDER_H

#include "event/hook_points.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace hooks {

struct Call {
    std::string hook;
    JVMDI_Event event;   /* a copy, as the hook saw it             */
    JVMDI_Event* record; /* where it stood                         */
    JNIEnv* env;         /* the environment that the hook was given */
    agent_tid_t tid;     /* the thread that called the hook        */
};

struct Contact {
    JNIEnv* env;
    agent_tid_t tid;
    const char* classpath;
    agent_tid_t creator;
    const char* vmversion;
};

static std::mutex guard;
static auto& noted = *new std::vector<Call>; /* never destroyed: a thread may note while the process exits */
static auto& contacts = *new std::vector<Contact>;

/* What a debugger does while it holds the agent thread at a hook; runs after the call was noted. */
static std::function<void(const Call&)> during;

/* The same at jquor_jvmdi_sync_hook. */
static std::function<void()> during_contact;

static inline void note(const char* hook, JNIEnv* env, JVMDI_Event* event) {
    const Call call{hook, *event, event, env, agent_self()};
    {
        std::lock_guard<std::mutex> held(guard);
        noted.push_back(call);
    }
    if (during) during(call);
}

static inline std::vector<Call> calls() {
    std::lock_guard<std::mutex> held(guard);
    return noted;
}

static inline std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const Call& call : calls()) all.push_back(call.hook);
    return all;
}

} // namespace hooks

#define RECORDED_HOOK(name) \
    void name(JNIEnv* env, JVMDI_Event* event) { hooks::note(#name, env, event); }

RECORDED_HOOK(hook_step)
RECORDED_HOOK(hook_bpt)
RECORDED_HOOK(hook_frame_pop)
RECORDED_HOOK(hook_exception_thrown)
RECORDED_HOOK(hook_exception_caught)
RECORDED_HOOK(hook_thread_start)
RECORDED_HOOK(hook_thread_stop)
RECORDED_HOOK(hook_class)
RECORDED_HOOK(hook_class_prepare)
RECORDED_HOOK(hook_class_unload)
RECORDED_HOOK(hook_access)
RECORDED_HOOK(hook_access_write)
RECORDED_HOOK(hook_method_entry)
RECORDED_HOOK(hook_invoke_method)
RECORDED_HOOK(hook_controlc)

#undef RECORDED_HOOK

const char* jquor_jvmdi_sync_hook(JNIEnv* env, agent_tid_t tid, const char* classpath, agent_tid_t creator,
                                  const char* vmversion) {
    {
        std::lock_guard<std::mutex> held(hooks::guard);
        hooks::contacts.push_back({env, tid, classpath, creator, vmversion});
    }
    if (hooks::during_contact) hooks::during_contact();
    return vmversion;
}

#endif
