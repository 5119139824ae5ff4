/* sim_sweep.cpp: the failure of the n-th call, whatever it is. */
#include "sim/internal.h"

#include <fnmatch.h>

namespace sim {

/* The first row that matches holds. What is not here cannot fail: JNI's looks at classes and exceptions, its releases, and
 * its reads of fields. */
static const Failure failures[] = {
    {"JVM?I.Allocate", JVMTI_ERROR_OUT_OF_MEMORY, false},
    {"JVM?I.*", JVMTI_ERROR_ACCESS_DENIED, false},
    {"JavaVM.GetEnv", JNI_EDETACHED, false},
    {"JNI.GetJavaVM", JNI_ERR, false},
    {"JNI.Throw", JNI_ERR, false},
    {"JNI.New*Ref", 0, false},
    {"JNI.PushLocalFrame", JNI_ENOMEM, true},
    {"JNI.FindClass", 0, true},
    {"JNI.Get*MethodID", 0, true},
    {"JNI.New*", 0, true},
    {"JNI.Call*", 0, true},
    {"JNI.GetStringUTFChars", 0, true},
    {"JNI.Get*ArrayElements", 0, true},
    {"JNI.Get*ArrayElement", 0, true},
    {"JNI.Get*ArrayRegion", 0, true},
    {"JNI.Set*", 0, true},
};

const Failure* failure_of(const std::string& name) {
    for (const Failure& failure : failures)
        if (fnmatch(failure.name, name.c_str(), 0) == 0) return &failure;
    return nullptr;
}

void Call::sweep(Sweep& sweep, const std::string& arguments) {
    const Failure* failure = failure_of(name);
    if (!failure || ++sweep.calls != sweep.fails_at) return;
    failed = true;
    error = failure->code;
    exception = failure->throws ? sweep.exception : nullptr;
    sweep.when_it_fails(name + "(" + arguments + ")");
}

void Sim::sweep(size_t n, std::function<void(const std::string&)> when_it_fails) {
    Object& exception = new_exception("java/lang/Error", "swept");
    auto guard = lock();
    inner->sweep = {false, n, 0, std::move(when_it_fails), &exception};
}
void Sim::sweeping(bool on) {
    auto guard = lock();
    inner->sweep.on = on;
}
size_t Sim::swept_calls() {
    auto guard = lock();
    return inner->sweep.calls;
}

} // namespace sim
