#include "debugger.h"

#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"

#include <algorithm>
#include <cstring>

/* Nothing calls hook_class: the functions that are called return to it. */
static const char RETURN_PLACE[] = "hook_class";
static const char FIRST_CONTACT[] = "jquor_jvmdi_sync_hook";
static const char* const HOOKS[] = {
    "hook_step",         "hook_bpt",          "hook_frame_pop",    "hook_exception_thrown", "hook_exception_caught",
    "hook_thread_start", "hook_thread_stop",  "hook_class",        "hook_class_prepare",    "hook_class_unload",
    "hook_access",       "hook_access_write", "hook_method_entry", "hook_invoke_method",    "hook_controlc",
    FIRST_CONTACT,
};

enum { SCRATCH_BYTES = 32 * 1024 };

debugger::debugger(pid_t pid, tracee::on_our_death fate) : target(pid, fate), names(pid) {
    for (const char* hook : HOOKS) target.insert_breakpoint(names[hook]);
}

/* Reads what the hook was called with. */
bool debugger::note_stop() {
    const registers now = target.get_registers();
    at = target.stopped_at();
    scratch_end = (now.sp() - registers::RED_ZONE) & ~(word)63;
    scratch_next = scratch_end - SCRATCH_BYTES;
#ifdef __x86_64__
    env = now.argument(0);
    const word record = now.argument(1);
#else
    env = target.read<word>(now.sp() + sizeof(word));
    const word record = target.read<word>(now.sp() + 2 * sizeof(word));
#endif
    if (at != names[FIRST_CONTACT]) event = target.read<JVMDI_Event>(record);
    return true;
}

bool debugger::next_stop(double seconds) {
    target.go_on();
    return target.wait(seconds, "the next stop") == met::breakpoint && note_stop();
}

bool debugger::next_stop_or(const std::function<bool()>& condition, double seconds) {
    target.go_on();
    const met what = target.wait(seconds, "the next stop", condition);
    return what == met::breakpoint ? note_stop() : what == met::condition;
}

void debugger::run_to_end(const std::function<void()>& on_stop, double seconds) {
    while (next_stop(seconds))
        if (on_stop) on_stop();
}

bool debugger::meet(const std::function<bool()>& is_over) {
    while (!is_at(FIRST_CONTACT)) {
        if (!next_stop_or(is_over)) throw failure("the process ends before the agent's first contact");
        if (!is_stopped()) return false;
    }
    ask("agent_attach_jquor", {env});
    return true;
}

void debugger::attach() {
    target.write<jint>(names["jquor_attached"], 1);
    do {
        if (!next_stop()) throw failure("the process ends while the debugger attaches");
    } while (!is_at(FIRST_CONTACT));
    ask("agent_attach_jquor", {env});
}

void debugger::detach_java() {
    ask("agent_detach_jquor", {env});
    target.detach();
}

/* The agent clears the flag when a control-C stop is over, so a request that was made at one is made again. */
void debugger::control_c(const std::function<void()>& on_other) {
    const double deadline = seconds_now() + STOP_SECONDS;
    const auto request = [&] {
        if (target.read<jint>(names["controlc_hit"]) == 0) request_control_c();
        return false;
    };
    request_control_c();
    for (;;) {
        if (!next_stop_or(request)) throw failure("the process ends before the control-C stop");
        if (is_at("hook_controlc")) return;
        if (seconds_now() > deadline) throw hang("the control-C stop");
        if (on_other) on_other();
    }
}

word debugger::call(const char* name, const std::vector<word>& arguments, double seconds) {
    const registers before = target.get_registers();
    const word stood_at = at;
    registers now = before;
    const size_t in_registers = std::min(arguments.size(), (size_t)registers::IN_REGISTERS);
    for (size_t i = 0; i < in_registers; i++) now.set_argument(i, arguments[i]);
    std::vector<word> stack = {names[RETURN_PLACE]};
    stack.insert(stack.end(), arguments.begin() + (ptrdiff_t)in_registers, arguments.end());
    const word beyond = (scratch_end - SCRATCH_BYTES - (stack.size() - 1) * sizeof(word)) & ~(word)15;
    target.write(beyond - sizeof(word), stack.data(), stack.size() * sizeof(word));
    now.set_sp(beyond - sizeof(word));
    now.forget_system_call();
    now.set_pc(names[name]);
    target.set_registers(now);
    for (;;) {
        target.go_on();
        if (target.wait(seconds, std::string("call of ") + name) != met::breakpoint)
            throw failure(std::string("the process ends in a call of ") + name);
        if (target.stopped_at() == names[RETURN_PLACE]) break;
        nested_stops++;
    }
    const word result = target.get_registers().result();
    target.set_registers(before);
    at = stood_at;
    return result;
}

jint debugger::ask(const char* name, const std::vector<word>& arguments, std::initializer_list<jint> allowed) {
    const jint code = (jint)call(name, arguments);
    if (std::find(allowed.begin(), allowed.end(), code) == allowed.end())
        throw failure(std::string(name) + " at " + hook() + " gives " + std::to_string(code));
    return code;
}

word debugger::out(size_t size) {
    const word address = scratch_next;
    scratch_next += (size + 15) & ~(size_t)15;
    if (scratch_next > scratch_end) throw failure("a stop uses too much scratch memory");
    const std::vector<char> zeros(size);
    target.write(address, zeros.data(), size);
    return address;
}

word debugger::text(const char* characters) {
    const word address = out(strlen(characters) + 1);
    target.write(address, characters, strlen(characters) + 1);
    return address;
}

jclass debugger::find_class(const char* name) {
    const word info = out(sizeof(class_info));
    ask("agent_get_class", {env, text(name), info});
    const jclass found = get<jclass>(info + offsetof(class_info, clazz));
    if (!found) throw failure(std::string("no class ") + name);
    return found;
}

jmethodID debugger::method(jclass clazz, const char* name) {
    const word count = out(sizeof(jint)), table = out(sizeof(word));
    ask("agent_get_classmethods", {env, arg(clazz), 0, count, table});
    const word first = get<word>(table);
    for (jint i = 0; i < get<jint>(count); i++) {
        const auto entry = get<method_entry>(first + (word)i * sizeof(method_entry));
        if (strcmp(entry.name, name) == 0) return entry.method;
    }
    throw failure(std::string("no method ") + name);
}

void debugger::set_breakpoint(const char* class_name, const char* method_name) {
    const jclass clazz = find_class(class_name);
    ask("agent_set_breakpoint", {env, arg(clazz), arg(method(clazz, method_name)), 0, 0}, {0, JVMDI_ERROR_DUPLICATE});
}

void debugger::enable(jint kind, jint mode, jthread thread) {
    ask("agent_set_eventnotification", {env, arg(mode), arg(kind), arg(thread)});
}

std::vector<jthread> debugger::threads() {
    const word count = out(sizeof(jint)), table = out(sizeof(word));
    ask("agent_get_threads", {env, count, table});
    std::vector<jthread> found((size_t)get<jint>(count));
    if (!found.empty()) target.read(get<word>(table), found.data(), found.size() * sizeof(jthread));
    return found;
}

size_t debugger::handles() const {
    std::vector<word> buckets(UREF_BUCKETS);
    target.read(names["refmap"], buckets.data(), buckets.size() * sizeof(word));
    size_t found = 0;
    for (word record : buckets)
        for (; record; record = target.read<word>(record + offsetof(uref_record, next))) found++;
    return found;
}
