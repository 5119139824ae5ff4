/* debug_control.cpp: JVMTI and JVMDI: events, breakpoints and watches, memory, version, phase and capabilities. */
#include "sim/debug_call.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace sim {

/* ---- Memory ----------------------------------------------------------------------------------------------------- */

template <class Byte> static jint allocate(Api api, jlong size, Byte** block) {
    DebugCall call(api, "Allocate", size);
    if (call.failed || !call.outputs(block)) return call.code();
    if (size < 0) return call.refuse(JVMTI_ERROR_ILLEGAL_ARGUMENT);
    *block = size ? static_cast<Byte*>(new_block(static_cast<size_t>(size), call.name)) : nullptr;
    return JVMTI_ERROR_NONE;
}

template <class Byte> static jint deallocate(Api api, Byte* block) {
    DebugCall call(api, "Deallocate");
    return call.failed ? call.code() : give_back(block, call.name);
}

/* ---- Events ----------------------------------------------------------------------------------------------------- */

/* Whether a JVMTI VM may be told to report the event: those that it must be able to from load on, it must have been asked for. */
static bool can_report(jint event) {
    const jvmtiCapabilities& had = the_sim().capabilities;
    switch (event) {
    case JVMTI_EVENT_EXCEPTION:
    case JVMTI_EVENT_EXCEPTION_CATCH: return had.can_generate_exception_events;
    case JVMTI_EVENT_FRAME_POP: return had.can_generate_frame_pop_events;
    case JVMTI_EVENT_METHOD_EXIT: return had.can_generate_method_exit_events;
    default: return true;
    }
}

static jint set_event_notification_mode(Api api, jint how, jint event, jthread thread) {
    DebugCall call(api, "SetEventNotificationMode", how, event, thread);
    if (call.failed) return call.code();
    if (api == Api::jvmti && how == JVMDI_ENABLE && !can_report(event))
        return call.refuse(JVMTI_ERROR_MUST_POSSESS_CAPABILITY);
    Thread* only = thread ? call.get<Thread>(thread, JVMTI_ERROR_INVALID_THREAD) : nullptr;
    if (call.failed) return call.code();
    if (how == JVMDI_ENABLE)
        state().enabled.insert({event, only});
    else
        state().enabled.erase({event, only});
    return JVMTI_ERROR_NONE;
}
static jvmtiError JNICALL ti_set_mode(jvmtiEnv*, jvmtiEventMode how, jvmtiEvent event, jthread thread, ...) {
    return static_cast<jvmtiError>(set_event_notification_mode(Api::jvmti, how, event, thread));
}
static jint JNICALL di_set_mode(jint how, jint event, jthread thread, ...) {
    return set_event_notification_mode(Api::jvmdi, how, event, thread);
}

/* The callbacks of a record in its order, which is that of the event numbers from 50. */
static const char* const callback_slots[] = {
    "VMInit",
    "VMDeath",
    "ThreadStart",
    "ThreadEnd",
    "ClassFileLoadHook",
    "ClassLoad",
    "ClassPrepare",
    "VMStart",
    "Exception",
    "ExceptionCatch",
    "SingleStep",
    "FramePop",
    "Breakpoint",
    "FieldAccess",
    "FieldModification",
    "MethodEntry",
    "MethodExit",
    "NativeMethodBind",
    "CompiledMethodLoad",
    "CompiledMethodUnload",
    "DynamicCodeGenerated",
    "DataDumpRequest",
    "reserved72",
    "MonitorWait",
    "MonitorWaited",
    "MonitorContendedEnter",
    "MonitorContendedEntered",
    "reserved77",
    "reserved78",
    "reserved79",
    "ResourceExhausted",
    "GarbageCollectionStart",
    "GarbageCollectionFinish",
    "ObjectFree",
    "VMObjectAlloc",
    "reserved85",
    "SampledObjectAlloc",
};

/* The names of the callbacks that a record sets. */
static std::string callback_names(const jvmtiEventCallbacks& callbacks) {
    void* slots[sizeof callbacks / sizeof(void*)];
    static_assert(std::size(slots) <= std::size(callback_slots));
    std::memcpy(slots, &callbacks, sizeof slots);
    std::string names;
    for (size_t slot = 0; slot < std::size(slots); ++slot)
        if (slots[slot]) names += (names.empty() ? "" : " ") + std::string(callback_slots[slot]);
    return names;
}

static jvmtiError JNICALL ti_set_callbacks(jvmtiEnv*, const jvmtiEventCallbacks* callbacks, jint size) {
    jvmtiEventCallbacks given{};
    if (callbacks) std::memcpy(&given, callbacks, std::min(static_cast<size_t>(size), sizeof given));
    DebugCall call(Api::jvmti, "SetEventCallbacks", Raw{"{" + callback_names(given) + "}"}, size);
    if (call.failed) return static_cast<jvmtiError>(call.code());
    the_sim().callbacks = given;
    the_sim().callbacks_size = size;
    return JVMTI_ERROR_NONE;
}
static jint JNICALL di_set_hook(JVMDI_EventHook hook) {
    DebugCall call(Api::jvmdi, "SetEventHook", Raw{hook ? "hook" : "null"});
    if (call.failed) return call.code();
    the_sim().hook = hook;
    return JVMDI_ERROR_NONE;
}

/* ---- Breakpoints and watches ------------------------------------------------------------------------------------ */

/* Keeps what is set: setting twice is 40 (DUPLICATE), clearing what is not set 41 (NOT_FOUND). */
static jint keep(DebugCall& call, bool set, std::set<std::pair<const void*, jlocation>>& kept, const void* id,
                 jlocation at) {
    if (set) return kept.insert({id, at}).second ? JVMTI_ERROR_NONE : call.refuse(JVMTI_ERROR_DUPLICATE);
    return kept.erase({id, at}) ? JVMTI_ERROR_NONE : call.refuse(JVMTI_ERROR_NOT_FOUND);
}

static jint change_breakpoint(DebugCall& call, bool set, jmethodID id, jlocation at) {
    const Method* method = call.failed ? nullptr : call.get_method(id);
    if (!method) return call.code();
    if (at < method->start || at > method->end) return call.refuse(JVMTI_ERROR_INVALID_LOCATION);
    return keep(call, set, state().breakpoints, id, at);
}
template <bool set> static jint ti_breakpoint(Api api, jmethodID id, jlocation at) {
    DebugCall call(api, set ? "SetBreakpoint" : "ClearBreakpoint", id, at);
    return change_breakpoint(call, set, id, at);
}
template <bool set> static jint di_breakpoint(Api api, jclass clazz, jmethodID id, jlocation at) {
    DebugCall call(api, set ? "SetBreakpoint" : "ClearBreakpoint", clazz, id, at);
    if (!call.failed) call.get_class(clazz);
    return change_breakpoint(call, set, id, at);
}
static jint clear_all_breakpoints(Api api) {
    DebugCall call(api, "ClearAllBreakpoints");
    if (!call.failed) state().breakpoints.clear();
    return call.code();
}

static constexpr const char* watch_names[] = {"ClearFieldAccessWatch", "SetFieldAccessWatch",
                                              "ClearFieldModificationWatch", "SetFieldModificationWatch"};
template <bool set, bool modification> static jint watch(Api api, jclass clazz, jfieldID id) {
    DebugCall call(api, watch_names[2 * modification + set], clazz, id);
    if (call.failed || !call.get_class(clazz)) return call.code();
    if (!field_of(id, call.name)) return call.refuse(JVMTI_ERROR_INVALID_FIELDID);
    return keep(call, set, state().watches, id, modification);
}

/* ---- Version, phase, capabilities ------------------------------------------------------------------------------- */

static jint get_version_number(Api api, jint* version) {
    DebugCall call(api, "GetVersionNumber");
    if (call.failed || !call.outputs(version)) return call.code();
    *version = the_sim().version;
    return JVMTI_ERROR_NONE;
}
static jint get_phase(Api api, jvmtiPhase* phase) {
    DebugCall call(api, "GetPhase");
    if (call.failed || !call.outputs(phase)) return call.code();
    *phase = the_sim().phase;
    return JVMTI_ERROR_NONE;
}
static jint get_potential_capabilities(Api api, jvmtiCapabilities* capabilities) {
    DebugCall call(api, "GetPotentialCapabilities");
    if (call.failed || !call.outputs(capabilities)) return call.code();
    *capabilities = the_sim().potential_capabilities;
    return JVMTI_ERROR_NONE;
}
static jint ti_get_capabilities(Api api, jvmtiCapabilities* capabilities) {
    DebugCall call(api, "GetCapabilities");
    if (call.failed || !call.outputs(capabilities)) return call.code();
    *capabilities = the_sim().capabilities;
    return JVMTI_ERROR_NONE;
}
static jint di_get_capabilities(Api api, JVMDI_capabilities* capabilities) {
    DebugCall call(api, "GetCapabilities");
    if (call.failed || !call.outputs(capabilities)) return call.code();
    *capabilities = the_sim().jvmdi_capabilities;
    return JVMDI_ERROR_NONE;
}

static std::array<jint, 4> words_of(const jvmtiCapabilities& capabilities) {
    std::array<jint, 4> words;
    static_assert(sizeof words == sizeof capabilities);
    std::memcpy(words.data(), &capabilities, sizeof words);
    return words;
}
static jint add_capabilities(Api api, const jvmtiCapabilities* wanted) {
    auto asked = words_of(*wanted);
    DebugCall call(api, "AddCapabilities", hex(asked[0]), hex(asked[1]), hex(asked[2]), hex(asked[3]));
    if (call.failed) return call.code();
    auto possible = words_of(the_sim().potential_capabilities);
    auto had = words_of(the_sim().capabilities);
    for (size_t word = 0; word < asked.size(); ++word) {
        if (asked[word] & ~possible[word]) return call.refuse(JVMTI_ERROR_NOT_AVAILABLE);
        had[word] |= asked[word];
    }
    std::memcpy(&the_sim().capabilities, had.data(), sizeof had);
    return JVMTI_ERROR_NONE;
}

/* ----------------------------------------------------------------------------------------------------------------- */

void fill_control(jvmtiInterface_1_& ti, JVMDI_Interface_1& di) {
    ti.Allocate = Ti<allocate<unsigned char>>::call;
    di.Allocate = Di<allocate<jbyte>>::call;
    ti.Deallocate = Ti<deallocate<unsigned char>>::call;
    di.Deallocate = Di<deallocate<jbyte>>::call;
    ti.SetEventNotificationMode = ti_set_mode;
    di.SetEventNotificationMode = di_set_mode;
    ti.SetEventCallbacks = ti_set_callbacks;
    di.SetEventHook = di_set_hook;
    ti.SetBreakpoint = Ti<ti_breakpoint<true>>::call;
    di.SetBreakpoint = Di<di_breakpoint<true>>::call;
    ti.ClearBreakpoint = Ti<ti_breakpoint<false>>::call;
    di.ClearBreakpoint = Di<di_breakpoint<false>>::call;
    di.ClearAllBreakpoints = Di<clear_all_breakpoints>::call;
    ti.SetFieldAccessWatch = Ti<watch<true, false>>::call;
    di.SetFieldAccessWatch = Di<watch<true, false>>::call;
    ti.ClearFieldAccessWatch = Ti<watch<false, false>>::call;
    di.ClearFieldAccessWatch = Di<watch<false, false>>::call;
    ti.SetFieldModificationWatch = Ti<watch<true, true>>::call;
    di.SetFieldModificationWatch = Di<watch<true, true>>::call;
    ti.ClearFieldModificationWatch = Ti<watch<false, true>>::call;
    di.ClearFieldModificationWatch = Di<watch<false, true>>::call;
    ti.GetVersionNumber = Ti<get_version_number>::call;
    di.GetVersionNumber = Di<get_version_number>::call;
    ti.GetPhase = Ti<get_phase>::call;
    ti.GetPotentialCapabilities = Ti<get_potential_capabilities>::call;
    ti.GetCapabilities = Ti<ti_get_capabilities>::call;
    di.GetCapabilities = Di<di_get_capabilities>::call;
    ti.AddCapabilities = Ti<add_capabilities>::call;
}

} // namespace sim
