/* debug_call.h: how a function is written once for JVMTI and JVMDI.
 *
 * `static jint suspend_thread(Api api, jthread thread)` serves both tables:
 *     ti.SuspendThread = Ti<suspend_thread>::call;
 *     di.SuspendThread = Di<suspend_thread>::call;
 */
#ifndef SIM_DEBUG_CALL_H
#define SIM_DEBUG_CALL_H

#include "sim/internal.h"

namespace sim {

enum class Api { jvmti, jvmdi };

template <auto F> struct Ti;
template <class... A, jint (*F)(Api, A...)> struct Ti<F> {
    static jvmtiError JNICALL call(jvmtiEnv*, A... args) { return static_cast<jvmtiError>(F(Api::jvmti, args...)); }
};
template <auto F> struct Di;
template <class... A, jint (*F)(Api, A...)> struct Di<F> {
    static jint JNICALL call(A... args) { return F(Api::jvmdi, args...); }
};

/* A call through either table. */
class DebugCall : public Call {
public:
    template <class... A>
    DebugCall(Api table, const char* function, const A&... args)
        : Call((table == Api::jvmti ? "JVMTI." : "JVMDI.") + std::string(function), args...), api(table) {}

    const Api api;

    /* A reference that the function returns: a local one from JVMTI, a global one from JVMDI. */
    jobject give(Object* object) const { return api == Api::jvmti ? new_local(object) : new_global(object); }
    template <class R, class T> R* give_all(const std::vector<T*>& objects) const {
        std::vector<R> references;
        for (T* object : objects) references.push_back(static_cast<R>(give(object)));
        return copy_array(references, name);
    }
    char* give_text(const std::string& text) const { return copy_text(text, name); }

    /* The object behind an argument, of type T; null, with code() set to `bad`, when it is none. */
    template <class T> T* get(jobject reference, jint bad) {
        T* object = dynamic_cast<T*>(resolve(reference, name));
        if (!object) refuse(bad);
        return object;
    }
    /* The thread of an argument; null is the calling thread for JVMTI. */
    Thread* get_thread(jthread reference) {
        if (!reference && api == Api::jvmti && this_native()) return this_native()->java;
        return get<Thread>(reference, JVMTI_ERROR_INVALID_THREAD);
    }
    Class* get_class(jclass reference) { return get<Class>(reference, JVMTI_ERROR_INVALID_CLASS); }
    Method* get_method(jmethodID id) {
        Method* method = method_of(id, name);
        if (!method) refuse(JVMTI_ERROR_INVALID_METHODID);
        return method;
    }
    /* Refuses null output pointers: error 100. */
    template <class... P> bool outputs(P*... pointers) {
        if ((pointers && ...)) return true;
        refuse(JVMTI_ERROR_NULL_POINTER);
        return false;
    }
    jint refuse(jint with) {
        error = with;
        failed = true;
        return with;
    }
};

} // namespace sim

#endif
