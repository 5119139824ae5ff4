/* sim_events.cpp: events, raised through the JVMTI callbacks or the JVMDI hook that the agent registered. */
#include "sim/internal.h"

namespace sim {

bool Sim::enabled(jint event) {
    auto guard = lock();
    return inner->enabled.count({event, nullptr}) != 0;
}
bool Sim::enabled(jint event, Thread& thread) {
    auto guard = lock();
    return inner->enabled.count({event, nullptr}) != 0 || inner->enabled.count({event, &thread}) != 0;
}

void Sim::in_event(const std::function<void()>& body) {
    NativeThread* native = this_native();
    size_t depth;
    {
        auto guard = lock();
        sim::push_frame(native, false, true);
        depth = native->frames.size();
    }
    body();
    auto guard = lock();
    if (native->frames.size() != depth)
        misuse("an event callback left " + std::to_string(native->frames.size() - depth) + " local frames pushed");
    while (native->frames.size() >= depth) pop_frame(native, "the event callback that held it returned");
}

namespace {

/* One event about to be raised: what both interfaces need to know of it. */
struct Event {
    Sim& sim;
    jint jvmti_event; /* 0: JVMTI has none */
    jint jvmdi_event;
    Raise how;

    bool wanted(jint event) const { return how == Raise::force || sim.enabled(event, *sim.this_thread()); }

    /* Calls `callback`, if it is set, with the environments and what `arguments` makes; else the JVMDI hook with a
     * record that `fill` completed. */
    template <class Callback, class TiCall, class Fill>
    bool raise(Callback jvmtiEventCallbacks::*member, TiCall ti_call, Fill fill) const {
        if (sim.mode == Mode::jvmdi) return raise_jvmdi(fill);
        auto guard = sim.lock();
        Callback callback = sim.callbacks.*member;
        if (!callback || !wanted(jvmti_event)) return false;
        guard.unlock();
        sim.in_event([&] { ti_call(callback, sim.jvmti(), sim.env(), sim.local(sim.this_thread())); });
        return true;
    }

    template <class Fill> bool raise_jvmdi(Fill fill) const {
        auto guard = sim.lock();
        JVMDI_EventHook hook = sim.hook;
        if (!hook || !wanted(jvmdi_event)) return false;
        guard.unlock();
        sim.in_event([&] {
            JVMDI_Event record{};
            record.kind = jvmdi_event;
            fill(record.u, sim.local(sim.this_thread()));
            hook(sim.env(), &record);
        });
        return true;
    }

    template <class Record> void locate(Record& record, jthread thread, Method& method, jlocation at) const {
        record.thread = thread;
        record.clazz = sim.local<jclass>(method.owner);
        record.method = method.id();
        record.location = at;
    }
};

using Union = decltype(JVMDI_Event::u);

} // namespace

/* ---- Without a place -------------------------------------------------------------------------------------------- */

bool Sim::raise_vm_init(Raise how) {
    return Event{*this, JVMTI_EVENT_VM_INIT, JVMDI_EVENT_VM_INIT, how}.raise(
        &jvmtiEventCallbacks::VMInit, [](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread); },
        [](Union&, jthread) {});
}
bool Sim::raise_vm_death(Raise how) {
    return Event{*this, JVMTI_EVENT_VM_DEATH, JVMDI_EVENT_VM_DEATH, how}.raise(
        &jvmtiEventCallbacks::VMDeath, [](auto f, auto ti, auto env, jthread) { f(ti, env); }, [](Union&, jthread) {});
}
bool Sim::raise_thread_start(Raise how) {
    return Event{*this, JVMTI_EVENT_THREAD_START, JVMDI_EVENT_THREAD_START, how}.raise(
        &jvmtiEventCallbacks::ThreadStart, [](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread); },
        [](Union& u, jthread thread) { u.thread_change.thread = thread; });
}
bool Sim::raise_thread_end(Raise how) {
    return Event{*this, JVMTI_EVENT_THREAD_END, JVMDI_EVENT_THREAD_END, how}.raise(
        &jvmtiEventCallbacks::ThreadEnd, [](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread); },
        [](Union& u, jthread thread) { u.thread_change.thread = thread; });
}

/* ---- Classes ---------------------------------------------------------------------------------------------------- */

static auto fill_class(Sim& sim, Class& clazz) {
    return [&](Union& u, jthread thread) {
        u.class_event.thread = thread;
        u.class_event.clazz = sim.local<jclass>(&clazz);
    };
}
bool Sim::raise_class_load(Class& clazz, Raise how) {
    return Event{*this, JVMTI_EVENT_CLASS_LOAD, JVMDI_EVENT_CLASS_LOAD, how}.raise(
        &jvmtiEventCallbacks::ClassLoad,
        [&](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread, local<jclass>(&clazz)); },
        fill_class(*this, clazz));
}
bool Sim::raise_class_prepare(Class& clazz, Raise how) {
    return Event{*this, JVMTI_EVENT_CLASS_PREPARE, JVMDI_EVENT_CLASS_PREPARE, how}.raise(
        &jvmtiEventCallbacks::ClassPrepare,
        [&](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread, local<jclass>(&clazz)); },
        fill_class(*this, clazz));
}
bool Sim::raise_class_unload(Class& clazz, Raise how) {
    if (mode != Mode::jvmdi) return false;
    return Event{*this, 0, JVMDI_EVENT_CLASS_UNLOAD, how}.raise_jvmdi(fill_class(*this, clazz));
}

/* ---- At a place in a method ------------------------------------------------------------------------------------- */

bool Sim::raise_single_step(Method& method, jlocation at, Raise how) {
    Event event{*this, JVMTI_EVENT_SINGLE_STEP, JVMDI_EVENT_SINGLE_STEP, how};
    return event.raise(
        &jvmtiEventCallbacks::SingleStep,
        [&](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread, method.id(), at); },
        [&](Union& u, jthread thread) { event.locate(u.single_step, thread, method, at); });
}
bool Sim::raise_breakpoint(Method& method, jlocation at, Raise how) {
    Event event{*this, JVMTI_EVENT_BREAKPOINT, JVMDI_EVENT_BREAKPOINT, how};
    return event.raise(
        &jvmtiEventCallbacks::Breakpoint,
        [&](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread, method.id(), at); },
        [&](Union& u, jthread thread) { event.locate(u.breakpoint, thread, method, at); });
}

static auto fill_frame(Sim& sim, Method& method) {
    return [&](Union& u, jthread thread) {
        const auto& frames = sim.this_thread()->frames;
        u.frame.thread = thread;
        u.frame.clazz = sim.local<jclass>(method.owner);
        u.frame.method = method.id();
        u.frame.frame = frames.empty() ? nullptr : frames.front()->id();
    };
}
bool Sim::raise_frame_pop(Method& method, Raise how) {
    return Event{*this, JVMTI_EVENT_FRAME_POP, JVMDI_EVENT_FRAME_POP, how}.raise(
        &jvmtiEventCallbacks::FramePop,
        [&](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread, method.id(), JNI_FALSE); },
        fill_frame(*this, method));
}
bool Sim::raise_method_entry(Method& method, Raise how) {
    return Event{*this, JVMTI_EVENT_METHOD_ENTRY, JVMDI_EVENT_METHOD_ENTRY, how}.raise(
        &jvmtiEventCallbacks::MethodEntry,
        [&](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread, method.id()); }, fill_frame(*this, method));
}
bool Sim::raise_method_exit(Method& method, Raise how) {
    return Event{*this, JVMTI_EVENT_METHOD_EXIT, JVMDI_EVENT_METHOD_EXIT, how}.raise(
        &jvmtiEventCallbacks::MethodExit,
        [&](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread, method.id(), JNI_FALSE, jvalue{}); },
        fill_frame(*this, method));
}

/* ---- Exceptions ------------------------------------------------------------------------------------------------- */

bool Sim::raise_exception(Method& method, jlocation at, Object* exception, Method* catch_method, jlocation catch_at,
                          Raise how) {
    Event event{*this, JVMTI_EVENT_EXCEPTION, JVMDI_EVENT_EXCEPTION, how};
    jmethodID catcher = catch_method ? catch_method->id() : nullptr;
    return event.raise(
        &jvmtiEventCallbacks::Exception,
        [&](auto f, auto ti, auto env, jthread thread) {
            f(ti, env, thread, method.id(), at, local(exception), catcher, catch_at);
        },
        [&](Union& u, jthread thread) {
            event.locate(u.exception, thread, method, at);
            u.exception.exception = local(exception);
            u.exception.catch_clazz = catch_method ? local<jclass>(catch_method->owner) : nullptr;
            u.exception.catch_method = catcher;
            u.exception.catch_location = catch_at;
        });
}
bool Sim::raise_exception_catch(Method& method, jlocation at, Object* exception, Raise how) {
    Event event{*this, JVMTI_EVENT_EXCEPTION_CATCH, JVMDI_EVENT_EXCEPTION_CATCH, how};
    return event.raise(
        &jvmtiEventCallbacks::ExceptionCatch,
        [&](auto f, auto ti, auto env, jthread thread) { f(ti, env, thread, method.id(), at, local(exception)); },
        [&](Union& u, jthread thread) {
            event.locate(u.exception_catch, thread, method, at);
            u.exception_catch.exception = local(exception);
        });
}

/* ---- Fields ----------------------------------------------------------------------------------------------------- */

bool Sim::raise_field_access(Method& method, jlocation at, Field& field, Object* object, Raise how) {
    Event event{*this, JVMTI_EVENT_FIELD_ACCESS, JVMDI_EVENT_FIELD_ACCESS, how};
    return event.raise(
        &jvmtiEventCallbacks::FieldAccess,
        [&](auto f, auto ti, auto env, jthread thread) {
            f(ti, env, thread, method.id(), at, local<jclass>(field.owner), local(object), field.id());
        },
        [&](Union& u, jthread thread) {
            event.locate(u.field_access, thread, method, at);
            u.field_access.field_clazz = local<jclass>(field.owner);
            u.field_access.object = local(object);
            u.field_access.field = field.id();
        });
}

bool Sim::raise_field_modification(Method& method, jlocation at, Field& field, Object* object, Value value, Raise how) {
    Event event{*this, JVMTI_EVENT_FIELD_MODIFICATION, JVMDI_EVENT_FIELD_MODIFICATION, how};
    auto raw = [&] {
        jvalue given = value.raw;
        if (value.type == 'L') given.l = local(value.object);
        return given;
    };
    return event.raise(
        &jvmtiEventCallbacks::FieldModification,
        [&](auto f, auto ti, auto env, jthread thread) {
            f(ti, env, thread, method.id(), at, local<jclass>(field.owner), local(object), field.id(),
              field.signature[0], raw());
        },
        [&](Union& u, jthread thread) {
            event.locate(u.field_modification, thread, method, at);
            u.field_modification.field_clazz = local<jclass>(field.owner);
            u.field_modification.object = local(object);
            u.field_modification.field = field.id();
            u.field_modification.signature_type = field.signature[0];
            u.field_modification.new_value = raw();
        });
}

} // namespace sim
