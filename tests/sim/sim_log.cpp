/* sim_log.cpp: the frame of every call: the log, the failures that a test asked for, and the record of misuse. */
#include "sim/internal.h"

#include <fnmatch.h>

#include <cstdio>
#include <utility>

namespace sim {

/* ---- Arguments as text ------------------------------------------------------------------------------------------ */

Raw hex(jint number) {
    std::ostringstream out;
    out << "0x" << std::hex << number;
    return {out.str()};
}

std::string show(jobject reference) {
    if (!reference) return "null";
    auto found = state().references.find(reference);
    return found == state().references.end() ? "no-reference" : found->second.object->label;
}

std::string show(jmethodID method) {
    if (!method) return "null";
    return state().ids.count(method) ? reinterpret_cast<Method*>(method)->label() : "no-method";
}

std::string show(jfieldID field) {
    if (!field) return "null";
    if (!state().ids.count(field)) return "no-field";
    const Field* found = reinterpret_cast<Field*>(field);
    return found->owner->name + "." + found->name;
}

std::string show(const char* text) { return text ? '"' + std::string(text) + '"' : "null"; }

std::string show(const Value& value) {
    switch (value.type) {
    case 'Z': return show(value.raw.z);
    case 'B': return show(value.raw.b);
    case 'C': return show(value.raw.c);
    case 'S': return show(value.raw.s);
    case 'I': return show(value.raw.i);
    case 'J': return show(value.raw.j);
    case 'F': return show(value.raw.f);
    case 'D': return show(value.raw.d);
    case 'L': return value.object ? value.object->label : "null";
    default: return "void";
    }
}

/* ---- The frame of a call ---------------------------------------------------------------------------------------- */

static bool matches_one(const Globs& globs, const std::string& name) {
    for (const std::string& glob : globs)
        if (fnmatch(glob.c_str(), name.c_str(), 0) == 0) return true;
    return false;
}

/* Whether a rule says that this call fails; counts the call down in every rule of its name. */
static Rule* rule_that_applies(std::vector<Rule>& rules) {
    Rule* applies = nullptr;
    for (Rule& rule : rules) {
        if (rule.spent) continue;
        if (rule.countdown == 0)
            applies = &rule;
        else if (--rule.countdown == 0) {
            rule.spent = true;
            applies = &rule;
        }
    }
    return applies;
}

void Call::begin(const std::string& arguments) {
    if (interleaving) {
        unlock();
        pass(name.c_str());
        relock();
    }
    Sim::State& s = state();
    NativeThread* native = this_native();
    if (s.logging) s.log.push_back({name, name + "(" + arguments + ")", native ? native->java->label : "unattached"});
    if (matches_one(s.echoed, name)) std::fprintf(stderr, "%s(%s)\n", name.c_str(), arguments.c_str());

    auto action = s.actions.find(name);
    if (action != s.actions.end()) {
        auto run = action->second;
        unlock();
        run();
        relock();
    }
    if (s.sweep.on) sweep(s.sweep, arguments);
    auto rules = s.rules.find(name);
    if (rules == s.rules.end()) return;
    if (const Rule* rule = rule_that_applies(rules->second)) {
        failed = true;
        error = rule->code;
        exception = rule->exception;
    }
}

/* Functions that JNI allows while an exception is pending. */
static bool allowed_with_exception(const std::string& function) {
    static const std::set<std::string> allowed = {
        "ExceptionOccurred", "ExceptionDescribe", "ExceptionClear",  "ExceptionCheck", "PushLocalFrame",
        "PopLocalFrame",     "DeleteLocalRef",    "DeleteGlobalRef", "IsSameObject",   "ReleaseStringUTFChars",
    };
    return allowed.count(function) || fnmatch("Release*ArrayElements", function.c_str(), 0) == 0;
}

void JniCall::enter(JNIEnv* env, const std::string& function) {
    thread = this_native();
    NativeThread* owner = static_cast<Env*>(env)->thread;
    if (!thread)
        the_sim().misuse(name + ": the calling thread is not attached to the VM");
    else if (thread != owner)
        the_sim().misuse(name + ": the JNIEnv of " + owner->java->label + " was used on " + thread->java->label);
    if (!thread) thread = owner;
    if (thread->pending && !allowed_with_exception(function))
        the_sim().misuse(name + ": called with " + thread->pending->label + " pending");
    if (failed && exception) thread->pending = exception;
}

void raise(NativeThread* thread, const std::string& exception_class, const std::string& message) {
    thread->pending = &the_sim().new_exception(exception_class, message);
}

/* ---- The log ---------------------------------------------------------------------------------------------------- */

template <class Wanted> static std::vector<std::string> select(Sim::State& s, Wanted wanted) {
    std::lock_guard<Mutex> guard(s.mutex);
    std::vector<std::string> texts;
    for (const LogEntry& entry : s.log)
        if (wanted(entry)) texts.push_back(entry.text);
    return texts;
}

std::vector<std::string> Sim::calls() {
    return select(*inner, [](const LogEntry&) { return true; });
}
std::vector<std::string> Sim::calls_of(const Globs& wanted) {
    return select(*inner, [&](const LogEntry& entry) { return matches_one(wanted, entry.name); });
}
std::vector<std::string> Sim::calls_without(const Globs& unwanted) {
    return select(*inner, [&](const LogEntry& entry) { return !matches_one(unwanted, entry.name); });
}
std::vector<std::string> Sim::calls_on(const std::string& thread) {
    return select(*inner, [&](const LogEntry& entry) { return entry.thread == thread; });
}
size_t Sim::count_calls(const std::string& glob) { return calls_of({glob}).size(); }

void Sim::clear_calls() {
    auto guard = lock();
    inner->log.clear();
}
void Sim::set_logging(bool on) {
    auto guard = lock();
    inner->logging = on;
}
void Sim::echo_calls_of(const Globs& wanted) {
    auto guard = lock();
    inner->echoed = wanted;
}

/* ---- Failures --------------------------------------------------------------------------------------------------- */

static void add_rule(Sim::State& s, const std::string& name, int n, jint code, Object* exception) {
    std::lock_guard<Mutex> guard(s.mutex);
    Rule rule;
    rule.countdown = n;
    rule.code = code;
    rule.exception = exception;
    s.rules[name].push_back(rule);
}

void Sim::fail(const std::string& name, jint code) { add_rule(*inner, name, 0, code, nullptr); }
void Sim::fail_nth(const std::string& name, int n, jint code) { add_rule(*inner, name, n, code, nullptr); }
void Sim::null_in(const std::string& name, int n) { add_rule(*inner, name, n, -1, nullptr); }
void Sim::throw_in(const std::string& name, Object& exception, int n) { add_rule(*inner, name, n, -1, &exception); }

void Sim::before(const std::string& name, std::function<void()> action) {
    auto guard = lock();
    inner->actions[name] = std::move(action);
}
void Sim::stop_failing(const std::string& name) {
    auto guard = lock();
    inner->rules.erase(name);
    inner->actions.erase(name);
}
std::string Sim::vm_name(const std::string& function) const {
    return (mode == Mode::jvmdi ? "JVMDI." : "JVMTI.") + function;
}

/* ---- Misuse ----------------------------------------------------------------------------------------------------- */

void Sim::misuse(const std::string& text) {
    auto guard = lock();
    inner->misuses.push_back(text);
    if (inner->misuse_listener) inner->misuse_listener(text);
}
std::vector<std::string> Sim::take_misuse() {
    auto guard = lock();
    return std::exchange(inner->misuses, {});
}
void Sim::on_misuse(std::function<void(const std::string&)> listener) {
    auto guard = lock();
    inner->misuse_listener = std::move(listener);
}

} // namespace sim
