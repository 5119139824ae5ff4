/* debug_frames.cpp: JVMTI and JVMDI: stack frames and local variables. JVMTI names a frame by thread and depth, JVMDI by
 * a frame ID. */
#include "sim/debug_call.h"

#include <algorithm>

namespace sim {

/* ---- Naming a frame --------------------------------------------------------------------------------------------- */

static Frame* frame_at(DebugCall& call, jthread thread, jint depth) {
    const Thread* found = call.failed ? nullptr : call.get_thread(thread);
    if (!found) return nullptr;
    if (depth < 0)
        call.refuse(JVMTI_ERROR_ILLEGAL_ARGUMENT);
    else if (static_cast<size_t>(depth) >= found->frames.size())
        call.refuse(JVMTI_ERROR_NO_MORE_FRAMES);
    return call.failed ? nullptr : found->frames[static_cast<size_t>(depth)].get();
}

static Frame* frame_of(DebugCall& call, jframeID id) {
    if (call.failed) return nullptr;
    if (state().frame_ids.count(id)) return reinterpret_cast<Frame*>(id);
    call.refuse(JVMDI_ERROR_INVALID_FRAMEID);
    return nullptr;
}

/* A frame by its depth, for the log. */
static Raw frame_text(jframeID id) {
    auto guard = the_sim().lock();
    if (!state().frame_ids.count(id)) return {id ? "no-frame" : "null"};
    const Frame* frame = reinterpret_cast<Frame*>(id);
    const auto& frames = frame->thread->frames;
    auto at = std::find_if(frames.begin(), frames.end(), [=](const auto& other) { return other.get() == frame; });
    return {frame->thread->label + "[" + std::to_string(at - frames.begin()) + "]"};
}

/* ---- Walking ---------------------------------------------------------------------------------------------------- */

static jint get_frame_count(Api api, jthread thread, jint* count) {
    DebugCall call(api, "GetFrameCount", thread);
    if (call.failed || !call.outputs(count)) return call.code();
    const Thread* found = call.get_thread(thread);
    if (found) *count = static_cast<jint>(found->frames.size());
    return call.code();
}

static jint ti_get_frame_location(Api api, jthread thread, jint depth, jmethodID* method, jlocation* at) {
    DebugCall call(api, "GetFrameLocation", thread, depth);
    if (call.failed || !call.outputs(method, at)) return call.code();
    const Frame* frame = frame_at(call, thread, depth);
    if (!frame) return call.code();
    *method = frame->method->id();
    *at = frame->location;
    return JVMTI_ERROR_NONE;
}
static jint di_get_frame_location(Api api, jframeID id, jclass* clazz, jmethodID* method, jlocation* at) {
    DebugCall call(api, "GetFrameLocation", frame_text(id));
    if (call.failed || !call.outputs(clazz, method, at)) return call.code();
    const Frame* frame = frame_of(call, id);
    if (!frame) return call.code();
    *clazz = static_cast<jclass>(call.give(frame->method->owner));
    *method = frame->method->id();
    *at = frame->location;
    return JVMDI_ERROR_NONE;
}

static jint get_current_frame(Api api, jthread thread, jframeID* frame) {
    DebugCall call(api, "GetCurrentFrame", thread);
    if (call.failed || !call.outputs(frame)) return call.code();
    Frame* top = frame_at(call, thread, 0);
    if (top) *frame = top->id();
    return call.code();
}
static jint get_caller_frame(Api api, jframeID called, jframeID* caller) {
    DebugCall call(api, "GetCallerFrame", frame_text(called));
    if (call.failed || !call.outputs(caller)) return call.code();
    const Frame* frame = frame_of(call, called);
    if (!frame) return call.code();
    const auto& frames = frame->thread->frames;
    auto at = std::find_if(frames.begin(), frames.end(), [=](const auto& other) { return other.get() == frame; });
    if (++at == frames.end()) return call.refuse(JVMDI_ERROR_NO_MORE_FRAMES);
    *caller = (*at)->id();
    return JVMDI_ERROR_NONE;
}

/* ---- Changing --------------------------------------------------------------------------------------------------- */

static jint pop_top_frame(Api api, jthread thread) {
    DebugCall call(api, "PopFrame", thread);
    Thread* found = call.failed ? nullptr : call.get_thread(thread);
    if (!found) return call.code();
    if (found->suspend_count == 0) return call.refuse(JVMTI_ERROR_THREAD_NOT_SUSPENDED);
    if (found->frames.size() < 2) return call.refuse(JVMTI_ERROR_NO_MORE_FRAMES);
    state().frame_ids.erase(found->frames.front().get());
    found->frames.pop_front();
    ++found->pops;
    return JVMTI_ERROR_NONE;
}

static jint notify_pop(DebugCall& call, Frame* frame) {
    if (frame) frame->notify_pop = true;
    return call.code();
}
static jint ti_notify_frame_pop(Api api, jthread thread, jint depth) {
    DebugCall call(api, "NotifyFramePop", thread, depth);
    if (!call.failed && !the_sim().capabilities.can_generate_frame_pop_events)
        return call.refuse(JVMTI_ERROR_MUST_POSSESS_CAPABILITY);
    return notify_pop(call, frame_at(call, thread, depth));
}
static jint di_notify_frame_pop(Api api, jframeID frame) {
    DebugCall call(api, "NotifyFramePop", frame_text(frame));
    return notify_pop(call, frame_of(call, frame));
}

/* ---- Local variables -------------------------------------------------------------------------------------------- */

/* V is the type of the value at the interface; Kept tells the JNI characters that it can hold. */
template <class V> struct LocalType;
#define T(V, type_name, characters, member)                      \
    template <> struct LocalType<V> {                            \
        static constexpr const char* name = type_name;           \
        static constexpr std::string_view holds = characters;    \
        static V& raw(Value& value) { return value.raw.member; } \
    };
T(jint, "LocalInt", "IZBCS", i)
T(jlong, "LocalLong", "J", j)
T(jfloat, "LocalFloat", "F", f)
T(jdouble, "LocalDouble", "D", d)
T(jobject, "LocalObject", "L", l)
#undef T

template <class V> static std::string local_name(const char* verb) { return verb + std::string(LocalType<V>::name); }

/* An int slot may hold a smaller type. */
static jint widened(const Value& value) {
    switch (value.type) {
    case 'Z': return value.raw.z;
    case 'B': return value.raw.b;
    case 'C': return value.raw.c;
    case 'S': return value.raw.s;
    default: return value.raw.i;
    }
}

template <class V> static jint read_local(DebugCall& call, const Frame* frame, jint slot, V* value) {
    if (!frame || !call.outputs(value)) return call.code();
    auto found = frame->locals.find(slot);
    if (found == frame->locals.end()) return call.refuse(JVMTI_ERROR_INVALID_SLOT);
    Value held = found->second;
    if (LocalType<V>::holds.find(held.type) == std::string_view::npos) return call.refuse(JVMTI_ERROR_TYPE_MISMATCH);
    if constexpr (std::is_same_v<V, jobject>)
        *value = call.give(held.object);
    else if constexpr (std::is_same_v<V, jint>)
        *value = widened(held);
    else
        *value = LocalType<V>::raw(held);
    return JVMTI_ERROR_NONE;
}

template <class V> static jint write_local(DebugCall& call, Frame* frame, jint slot, V value) {
    if (!frame) return call.code();
    auto found = frame->locals.find(slot);
    if (found == frame->locals.end()) return call.refuse(JVMTI_ERROR_INVALID_SLOT);
    if (LocalType<V>::holds.find(found->second.type) == std::string_view::npos)
        return call.refuse(JVMTI_ERROR_TYPE_MISMATCH);
    if constexpr (std::is_same_v<V, jobject>)
        found->second = Value(resolve(value, call.name));
    else
        found->second = Value(value);
    return JVMTI_ERROR_NONE;
}

template <class V> static jint ti_get_local(Api api, jthread thread, jint depth, jint slot, V* value) {
    DebugCall call(api, local_name<V>("Get").c_str(), thread, depth, slot);
    return read_local(call, frame_at(call, thread, depth), slot, value);
}
template <class V> static jint di_get_local(Api api, jframeID frame, jint slot, V* value) {
    DebugCall call(api, local_name<V>("Get").c_str(), frame_text(frame), slot);
    return read_local(call, frame_of(call, frame), slot, value);
}
template <class V> static jint ti_set_local(Api api, jthread thread, jint depth, jint slot, V value) {
    DebugCall call(api, local_name<V>("Set").c_str(), thread, depth, slot, value);
    return write_local(call, frame_at(call, thread, depth), slot, value);
}
template <class V> static jint di_set_local(Api api, jframeID frame, jint slot, V value) {
    DebugCall call(api, local_name<V>("Set").c_str(), frame_text(frame), slot, value);
    return write_local(call, frame_of(call, frame), slot, value);
}

/* ----------------------------------------------------------------------------------------------------------------- */

void fill_frames(jvmtiInterface_1_& ti, JVMDI_Interface_1& di) {
    ti.GetFrameCount = Ti<get_frame_count>::call;
    di.GetFrameCount = Di<get_frame_count>::call;
    ti.GetFrameLocation = Ti<ti_get_frame_location>::call;
    di.GetFrameLocation = Di<di_get_frame_location>::call;
    di.GetCurrentFrame = Di<get_current_frame>::call;
    di.GetCallerFrame = Di<get_caller_frame>::call;
    ti.PopFrame = Ti<pop_top_frame>::call;
    di.PopFrame = Di<pop_top_frame>::call;
    ti.NotifyFramePop = Ti<ti_notify_frame_pop>::call;
    di.NotifyFramePop = Di<di_notify_frame_pop>::call;
#define T(name, V)                                 \
    ti.GetLocal##name = Ti<ti_get_local<V>>::call; \
    di.GetLocal##name = Di<di_get_local<V>>::call; \
    ti.SetLocal##name = Ti<ti_set_local<V>>::call; \
    di.SetLocal##name = Di<di_set_local<V>>::call;
    T(Object, jobject)
    T(Int, jint)
    T(Long, jlong)
    T(Float, jfloat)
    T(Double, jdouble)
#undef T
}

} // namespace sim
