/* sim_refs.cpp: references and identifiers, and what their misuse is. */
#include "sim/internal.h"

#include <algorithm>

namespace sim {

static std::string describe(const Reference& reference) {
    return (reference.global ? "global reference to " : "local reference to ") + reference.object->label;
}

static jobject add_reference(const Reference& reference) {
    Sim::State& s = state();
    s.next_reference += 16;
    auto handle = reinterpret_cast<jobject>(s.next_reference);
    s.references.emplace(handle, reference);
    ++(reference.global ? s.globals : s.locals);
    return handle;
}

static void kill(Reference& reference, const char* why) {
    reference.dead = why;
    --(reference.global ? state().globals : state().locals);
}

jobject new_local(Object* object) {
    if (!object) return nullptr;
    NativeThread* native = this_native();
    if (!native) {
        the_sim().misuse("a local reference to " + object->label + " was made on a thread that is not attached");
        return nullptr;
    }
    jobject handle = add_reference({false, native, object});
    native->frames.back().references.push_back(handle);
    return handle;
}

jobject new_global(Object* object) { return object ? add_reference({true, nullptr, object}) : nullptr; }

/* The record of a live reference; misuse otherwise. */
static Reference* live(jobject handle, const std::string& use) {
    auto found = state().references.find(handle);
    if (found == state().references.end()) {
        std::ostringstream number;
        number << handle;
        the_sim().misuse(use + ": " + number.str() + " is no reference");
        return nullptr;
    }
    Reference& reference = found->second;
    if (reference.dead) {
        the_sim().misuse(use + ": the " + describe(reference) + " is dead: " + reference.dead);
        return nullptr;
    }
    return &reference;
}

/* A thread inside an event callback holds its local references for whom it waits. */
static bool usable_here(const Reference& reference) {
    return reference.global || reference.owner == this_native() || reference.owner->events > 0 ||
           the_sim().foreign_locals_pass;
}

Object* resolve(jobject handle, const std::string& use) {
    if (!handle) return nullptr;
    const Reference* reference = live(handle, use);
    if (!reference) return nullptr;
    if (!usable_here(*reference)) {
        NativeThread* here = this_native();
        the_sim().misuse(use + ": the " + describe(*reference) + " belongs to " + reference->owner->java->label +
                         " and was used on " + (here ? here->java->label : "an unattached thread"));
    }
    return reference->object;
}

void delete_local(jobject handle) {
    if (!handle) return;
    Reference* reference = live(handle, "JNI.DeleteLocalRef");
    if (!reference) return;
    if (reference->global)
        the_sim().misuse("JNI.DeleteLocalRef: the " + describe(*reference) + " is not local");
    else if (reference->owner != this_native())
        the_sim().misuse("JNI.DeleteLocalRef: the " + describe(*reference) + " belongs to " +
                         reference->owner->java->label);
    else
        kill(*reference, "deleted");
}

void delete_global(jobject handle) {
    if (!handle) return;
    Reference* reference = live(handle, "JNI.DeleteGlobalRef");
    if (!reference) return;
    if (reference->global)
        kill(*reference, "deleted");
    else if (!the_sim().delete_global_of_local_passes)
        the_sim().misuse("JNI.DeleteGlobalRef: the " + describe(*reference) + " is not global");
}

void push_frame(NativeThread* thread, bool pushed, bool event) {
    thread->frames.push_back({pushed, event, {}});
    if (event) ++thread->events;
}

void pop_frame(NativeThread* thread, const char* why) {
    LocalFrame frame = std::move(thread->frames.back());
    thread->frames.pop_back();
    if (frame.event) --thread->events;
    for (jobject handle : frame.references) {
        Reference& reference = state().references.at(handle);
        if (!reference.dead) kill(reference, why);
    }
}

/* ---- Identifiers ------------------------------------------------------------------------------------------------ */

Method* method_of(jmethodID id, const std::string& use) {
    if (!id) return nullptr;
    if (state().ids.count(id)) return reinterpret_cast<Method*>(id);
    the_sim().misuse(use + ": not a method ID");
    return nullptr;
}

Field* field_of(jfieldID id, const std::string& use) {
    if (!id) return nullptr;
    if (state().ids.count(id)) return reinterpret_cast<Field*>(id);
    the_sim().misuse(use + ": not a field ID");
    return nullptr;
}

/* ---- The test's view -------------------------------------------------------------------------------------------- */

jobject Sim::make_local(Object* object) {
    auto guard = lock();
    return new_local(object);
}
jobject Sim::make_global(Object* object) {
    auto guard = lock();
    return new_global(object);
}

static const Reference* find_live(Sim::State& s, jobject handle) {
    auto found = s.references.find(handle);
    return found == s.references.end() || found->second.dead ? nullptr : &found->second;
}

Object* Sim::object(jobject handle) {
    auto guard = lock();
    const Reference* reference = find_live(*inner, handle);
    return reference ? reference->object : nullptr;
}
bool Sim::is_global(jobject handle) {
    auto guard = lock();
    const Reference* reference = find_live(*inner, handle);
    return reference && reference->global;
}
bool Sim::is_local(jobject handle) {
    auto guard = lock();
    const Reference* reference = find_live(*inner, handle);
    return reference && !reference->global;
}
size_t Sim::live_globals() {
    auto guard = lock();
    return inner->globals;
}
size_t Sim::live_locals() {
    auto guard = lock();
    return inner->locals;
}

static std::vector<std::string> labels_of(Sim::State& s, bool global) {
    std::vector<std::string> labels;
    for (const auto& [handle, reference] : s.references)
        if (!reference.dead && reference.global == global) labels.push_back(reference.object->label);
    std::sort(labels.begin(), labels.end());
    return labels;
}
std::vector<std::string> Sim::global_labels() {
    auto guard = lock();
    return labels_of(*inner, true);
}
std::vector<std::string> Sim::local_labels() {
    auto guard = lock();
    return labels_of(*inner, false);
}

} // namespace sim
