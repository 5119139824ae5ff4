/* Every call into the VM fails once: scenarios that together go through all of the agent are run again and again, each time in
 * a process of its own, with the next call failing. What came of it is one row of a table, scenario x call x outcome
 * (fault_sweep-<mode>.txt in the folder of the test's program), and each row must be explained by fault_sweep_rules.h: by a
 * result code, a message, or a message and the end of the process, as the agent's manual has them. Whatever failed, no monitor
 * stays locked, no exception pending, nothing is given back twice, and the next event is shown.
 */
#include "event_fixture.h"
#include "fault_sweep_rules.h"
#include "load_fixture.h"
#include "watched_monitor.h"

#include "agent_thread/attach_stop.h"
#include "agent_thread/control_c.h"
#include "agent_thread/let_go.h"
#include "entry/agent_entry.h"
#include "entry/jni_types.h"
#include "event/event_log.h"
#include "load/load.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <thread>

using sim::Value;

/* Both lock orders are taken, never by two threads at once (agent_monitor.h). A signal is an outcome as any other. And a
 * thousand processes end in a sweep, none of which may sleep for a second first, or look up a stack that nobody reads. */
extern "C" const char* __tsan_default_options() {
    return "halt_on_error=1:detect_deadlocks=0:handle_segv=0:atexit_sleep_ms=0";
}
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0:detect_stack_use_after_return=1:strict_string_checks=1:handle_segv=0:symbolize=0";
}
extern "C" const char* __ubsan_default_options() { return "halt_on_error=1:print_stacktrace=0"; }

namespace {

/* What a step gave: a result code, a reference or nothing. */
struct Answer {
    Answer() : text("done") {}
    Answer(jint code) : text(std::to_string(code)) {}
    Answer(const void* given) : text(given ? "something" : "null") {}
    Answer(std::string given) : text(std::move(given)) {}
    std::string text;
};

struct Step {
    std::string name;
    std::function<Answer()> run;
};

/* How far the process has come when the steps begin. */
enum class From { start, loaded, initialised, attached, stopped };

/* A program, a debugger and the agent between them. */
struct Bench {
    explicit Bench(sim::Sim& the_sim) : sim(the_sim) {
        foo.super = &base;
        foo.interfaces = {&listener};
        bar.lines = {{0, 10}, {4, 12}};
        bar.locals = {{0, 9, "this", "LFoo;", "", 0}, {2, 7, "list", "Ljava/util/List;", "", 1}};
        bar.bytecodes = {1, -79};
        bar.handlers = {{0, 4, 8, &foo}};
        bar.thrown = {&foo};
        bar.generic = foo.generic = "<T:>";
        bar.max_locals = 2;
        bar.body = [](sim::Invocation&) { return jint{7}; };
        make.body = [this](sim::Invocation&) { return Value(&object); };
        fail.body = [this](sim::Invocation& call) {
            call.throws(&error);
            return Value();
        };
        sim.push_frame(*sim.main_thread, run, 3);
        sim::Frame& top = sim.push_frame(*sim.main_thread, bar, 7);
        top.locals = {{0, jint{1}}, {1, jint{2}}, {2, Value(&object)}, {3, jlong{3}}, {4, jfloat{4}}, {5, jdouble{5}}};
        sim.own(*sim.main_thread, lock);
        sim.own(*sim.main_thread, gate);
        lock.monitor.waiters = {&other, &stranger};
        gate.monitor.waiters = {&other};
        sim.main_thread->contended = &gate;
        sim.main_thread->context_loader = sim.system_loader;
        sim.loaded_classes = {&foo, &listener, &unprepared};
        unprepared.status = 1;
        monitors::longest_timed_wait = 2;
    }

    /* ---- The stages ---- */

    void reach(From stage) {
        if (stage >= From::loaded) load(nullptr);
        if (stage >= From::initialised) initialise();
        if (stage >= From::attached) attach();
        if (stage >= From::initialised) /* handles that the debugger has already */
            for (sim::Object* known_to_debugger : {(sim::Object*)&object, (sim::Object*)&foo, (sim::Object*)&other})
                uref_of(*known_to_debugger);
    }
    Answer load(const char* options, decltype(JVM_OnLoad)* entry = JVM_OnLoad) {
        sim.phase = JVMTI_PHASE_ONLOAD;
        std::string text = options ? options : "";
        const jint result = entry(sim.vm(), options ? text.data() : nullptr, nullptr);
        sim.phase = JVMTI_PHASE_LIVE;
        return result;
    }
    Answer initialise() {
        sim.raise_vm_init(FORCE);
        sim.raise_thread_start(FORCE);
        known = sim.start(other, [this] {
            sim.raise_thread_start(FORCE);
            started = true;
            sim::wait_for([this] { return over.load(); });
            sim.raise_thread_end(FORCE);
        });
        sim::wait_for([this] { return started.load(); });
        return {};
    }
    Answer attach() {
        const jint result = agent_attach_jquor(sim.env());
        const size_t met = hooks::contacts.size();
        shared_store(jquor_attached, 1);
        sim::wait_for([=] { return shared_load(jquor_attached) == 0 && hooks::contacts.size() > met; });
        return result;
    }
    /* The end of the program. */
    void finish() {
        over = true;
        if (known) known->join();
        sim.raise_vm_death(FORCE);
        sim.join_agent_threads();
    }

    /* Raises a breakpoint on the test's thread, at which the debugger does `work` on the agent thread. */
    Answer stop(std::function<void(JVMDI_Event*)> work) {
        hooks::during = [work = std::move(work)](const hooks::Call& call) {
            if (call.hook == "hook_bpt") work(call.record);
        };
        sim.raise_breakpoint(bar, 7, FORCE);
        hooks::during = nullptr;
        return {};
    }

    jobject uref_of(sim::Object& of) {
        jint created;
        return URef_from_local(sim.env(), sim.local(&of), &created);
    }

    sim::Sim& sim;
    sim::Class& listener = sim.new_interface("Listener");
    sim::Class& base = sim.new_class("Base");
    sim::Class& foo = sim.new_class("Foo");
    sim::Class& unprepared = sim.new_class("Unprepared");
    sim::Method& run = foo.add_method("run", "()V");
    sim::Method& bar = foo.add_method("bar", "(I)I");
    sim::Method& make = foo.add_method("make", "()LFoo;", 0x9);
    sim::Method& fail = foo.add_method("fail", "()V", 0x9);
    sim::Method& native = foo.add_method("native", "()V", 0x101);
    sim::Field& number = foo.add_field("number", "I");
    sim::Field& link = foo.add_field("link", "LFoo;");
    sim::Field& shared = foo.add_field("shared", "I", 0x9);
    sim::Field& shared_link = foo.add_field("sharedlink", "LFoo;", 0x9);
    sim::Object& object = sim.new_object(foo);
    sim::Object& error = sim.new_exception("java/lang/Error", "thrown");
    sim::Object& lock = sim.new_object();
    sim::Object& gate = sim.new_object();
    sim::Thread& other = sim.new_thread("other");
    sim::Thread& stranger = sim.new_thread("stranger");
    std::unique_ptr<sim::Running> known;
    std::atomic<bool> started{false}, over{false};
};

using Steps = std::vector<Step>;

struct Scenario {
    const char* name;
    From from;
    std::function<Steps(Bench&)> steps;
};

/* ---- The scenarios ---- */

Steps loading(Bench& b) {
    Steps steps = {{"JVM_OnLoad", [&b] { return b.load("fifo=none"); }}};
    if (b.sim.mode != sim::Mode::jvmdi) steps = {{"JVM_OnLoad", [&b] { return b.load(nullptr); }}};
    return steps;
}
Steps loading_as_agent(Bench& b) {
    if (b.sim.mode == sim::Mode::jvmdi) return {};
    return {{"Agent_OnLoad", [&b] { return b.load("verbose", Agent_OnLoad); }}};
}
Steps starting(Bench& b) {
    return {{"VM_INIT and the first threads", [&b] { return b.initialise(); }}};
}

void live_and_die(Bench& b, const char* name) {
    b.sim.run_on(b.sim.new_thread(name), [&b] {
        b.sim.raise_thread_start(FORCE);
        b.sim.raise_thread_end(FORCE);
    });
}
Steps boot_events(Bench& b) {
    return {{"a thread", [&b] { return live_and_die(b, "early"), Answer(); }},
            {"CLASS_PREPARE", [&b] { return b.sim.raise_class_prepare(b.foo, FORCE), Answer(); }},
            {"CLASS_UNLOAD", [&b] { return b.sim.raise_class_unload(b.foo, FORCE), Answer(); }}};
}
Steps attaching(Bench& b) {
    return {{"attach", [&b] { return b.attach(); }}};
}
Steps detaching(Bench& b) {
    return {{"agent_detach_jquor", [&b] { return agent_detach_jquor(b.sim.env()); }}};
}
Steps dying(Bench& b) {
    return {{"VM_DEATH", [&b] { return b.finish(), Answer(); }}};
}

Steps events(Bench& b) {
    sim::Sim& s = b.sim;
    auto raised = [](auto raise) { return [raise] { return raise(), Answer(); }; };
    return {
        {"SINGLE_STEP", raised([&] { s.raise_single_step(b.bar, 1, FORCE); })},
        {"BREAKPOINT", raised([&] { s.raise_breakpoint(b.bar, 1, FORCE); })},
        {"FRAME_POP", raised([&] { s.raise_frame_pop(b.bar, FORCE); })},
        {"METHOD_ENTRY", raised([&] { s.raise_method_entry(b.bar, FORCE); })},
        {"METHOD_EXIT", raised([&] { s.raise_method_exit(b.bar, FORCE); })},
        {"FIELD_ACCESS", raised([&] { s.raise_field_access(b.bar, 1, b.number, &b.object, FORCE); })},
        {"FIELD_MODIFICATION",
         raised([&] { s.raise_field_modification(b.bar, 1, b.link, &b.object, Value(&b.object), FORCE); })},
        {"CLASS_PREPARE", raised([&] { s.raise_class_prepare(b.foo, FORCE); })},
        {"CLASS_LOAD", raised([&] { s.raise_class_load(b.foo, FORCE); })},
        {"CLASS_UNLOAD", raised([&] { s.raise_class_unload(b.base, FORCE); })},
        {"a thread", raised([&] { live_and_die(b, "short"); })},
    };
}

Steps exceptions(Bench& b) {
    sim::Sim& s = b.sim;
    auto throw_it = [&b, &s] {
        s.raise_exception(b.bar, 2, &b.error, &b.native, 5, FORCE);
        s.raise_exception_catch(b.native, 5, &b.error, FORCE);
        return Answer();
    };
    const auto foo = reinterpret_cast<uintptr_t>(s.global(&b.foo)), bar = reinterpret_cast<uintptr_t>(b.bar.id());
    return {
        {"set filters",
         [&b, foo, bar] {
             JNIEnv* env = b.sim.env();
             jint result = agent_set_thrownexception_filter(env, "java/lang/Error");
             result = result ? result : event_setfilter_br(env, 4, "java/lang/Error", nullptr, nullptr);
             return result ? result : agent_set_uncaughtexception_filter(env, foo, bar);
         }},
        {"EXCEPTION and EXCEPTION_CATCH", throw_it},
        {"clear filters",
         [&b, foo, bar] {
             JNIEnv* env = b.sim.env();
             agent_clear_thrownexception_filter(env, "java/lang/Error");
             event_clearfilter_br(env, 4, "java/lang/Error", nullptr, nullptr);
             return agent_clear_uncaughtexception_filter(env, foo, bar);
         }},
    };
}

Steps controlc(Bench& b) {
    return {{"control-C", [&b] {
                 const size_t before = hooks::names().size();
                 shared_store(controlc_hit, 1);
                 sim::wait_for([&] { return hooks::names().size() > before && shared_load(controlc_hit) == 0; });
                 b.sim.raise_breakpoint(b.bar, 1, FORCE); /* is shown when the control-C is over */
                 return Answer();
             }}};
}

Steps dumps(Bench& b) {
    Steps steps = events(b);
    steps.insert(steps.begin(),
                 {"the log", [] {
                      for (const char* category : {"LogJVMDI", "LogJVMDIthread", "LogJVMDI_VM_thread", "LogJVMDIclass",
                                                   "LogJVMDImethod", "LogJVMDIlocation"})
                          log_enable(category, 0, 0);
                      return Answer();
                  }});
    steps.push_back({"EXCEPTION", [&b] {
                         JVMDI_Event event = {};
                         event.kind = JVMDI_EVENT_EXCEPTION;
                         event.u.exception.exception = b.sim.local(&b.error);
                         dump_jvmdi_event(b.sim.env(), &event);
                         return Answer();
                     }});
    return steps;
}

/* An invocation asked for at a stop; the answer is the call's result and the outcome's status. */
struct Invoke {
    sim::Method* method;
    bool is_static;
    jint flags;
};
Answer invoke(Bench& b, const Invoke& what) {
    std::string answer;
    return b.stop([&](JVMDI_Event* event) {
        JNIEnv* env = b.sim.env();
        AgentInvokRet result = {};
        jvalue argument = {};
        const jobject thread = event->u.breakpoint.thread;
        const jint count = what.is_static ? 0 : 1, type = what.method->return_type();
        const jint code = what.is_static
                              ? agent_invoke_static_method(env, thread, static_cast<jclass>(b.uref_of(b.foo)),
                                                           what.method->id(), type, count, nullptr, what.flags, &result)
                              : agent_invoke_method(env, thread, b.uref_of(b.object), what.method->id(), type, count,
                                                    &argument, what.flags, &result);
        answer = std::to_string(code) + (what.flags ? " status " + std::to_string(result.status) : "");
    }),
           Answer(answer);
}
Steps invocations(Bench& b) {
    Steps steps;
    const std::pair<const char*, Invoke> all[] = {
        {"a method, waited for", {&b.bar, false, 1}},
        {"a static method, waited for", {&b.make, true, 1}},
        {"a method that throws, waited for", {&b.fail, true, 1}},
        {"a method", {&b.bar, false, 0}},
        {"a static method", {&b.make, true, 0}},
        {"a method that throws", {&b.fail, true, 0}},
    };
    for (const auto& [name, what] : all) steps.push_back({name, [&b, what = what] { return invoke(b, what); }});
    steps.push_back({"a request that detach frees", [&b] {
                         const jobject thread = b.uref_of(b.other);
                         jvalue argument = {};
                         const jint code = post_invoke_request_async(b.sim.env(), thread, b.uref_of(b.object),
                                                                     b.bar.id(), 'I', 1, &argument);
                         invoke_method_cleanup(b.sim.env());
                         return code;
                     }});
    return steps;
}

Steps suspensions(Bench& b) {
    JNIEnv* env = b.sim.env();
    const jthread handle = b.sim.global<jthread>(&b.other);
    return {
        {"agent_suspend_all", [=] { return agent_suspend_all(env); }},
        {"agent_resume_all", [=] { return agent_resume_all(env); }},
        {"agent_suspendthread", [=] { return agent_suspendthread(env, handle); }},
        {"agent_resumethread", [=] { return agent_resumethread(env, handle); }},
        {"agent_stopthread", [=, &b] { return agent_stopthread(env, handle, b.sim.local(&b.error)); }},
        {"agent_interruptthread", [=] { return agent_interruptthread(env, handle); }},
    };
}
Steps suspensions_one_by_one(Bench& b) {
    jvmti_features.can_suspend = 0;
    jvmdi_features.can_suspend_resume_thread_lists = 0;
    Steps steps = suspensions(b);
    steps.resize(2);
    return steps;
}
/* Enough threads for the lists of threads to grow twice. */
Steps many_threads(Bench& b) {
    for (int i = 0; i < 600; i++) TMap_start(b.sim.global(&b.other), 1000 + i);
    return {
        {"agent_get_threads",
         [&b] {
             jint count;
             jthread* threads;
             const jint result = agent_get_threads(b.sim.env(), &count, &threads);
             return Answer(std::to_string(result) + " count " + std::to_string(count));
         }},
    };
}

/* ---- The debugger's questions at a stop ---- */

Steps threads(Bench& b) {
    JNIEnv* env = b.sim.env();
    static jint number, more;
    static agent_tid_t tid;
    static JVMDI_thread_info info;
    static JVMDI_thread_group_info group_info;
    static jthreadGroup* groups;
    static jthread* members;
    const auto thread = static_cast<jthread>(b.uref_of(*b.sim.main_thread));
    const auto group = static_cast<jthreadGroup>(b.uref_of(*b.sim.main_group));
    return {
        {"agent_get_threads", [=] { return agent_get_threads(env, &number, &members); }},
        {"agent_get_threadinfo", [=] { return agent_get_threadinfo(env, thread, &info, &tid, &number, &more); }},
        {"agent_get_topthreadgroups", [=] { return agent_get_topthreadgroups(env, &number, &groups); }},
        {"agent_get_threadgroupinfo", [=] { return agent_get_threadgroupinfo(env, group, &group_info); }},
        {"agent_get_threadgroupchildren",
         [=] { return agent_get_threadgroupchildren(env, group, &number, &members, &more, &groups); }},
    };
}

Steps monitor_queries(Bench& b) {
    JNIEnv* env = b.sim.env();
    static jint count;
    static JVMDI_owned_monitor_info owned;
    static JVMDI_monitor_info info;
    static monitor_entry* list;
    static jobject monitor;
    const auto thread = static_cast<jthread>(b.uref_of(*b.sim.main_thread));
    const jobject lock = b.uref_of(b.lock);
    const auto listed = [=] { return agent_get_monitorlist(env, &count, &list); };
    return {
        {"agent_get_owned_monitorinfo", [=] { return agent_get_owned_monitorinfo(env, thread, &owned); }},
        {"agent_get_current_contendedmonitor",
         [=] { return agent_get_current_contendedmonitor(env, thread, &monitor); }},
        {"agent_get_contended_monitor", [=] { return agent_get_contended_monitor(env, thread, &monitor); }},
        {"agent_get_monitorlist", listed},
        {"agent_get_monitorlist again",
         [=, &b] {
             b.sim.own(*b.sim.main_thread, b.object); /* one more: the array is made anew */
             return listed();
         }},
        {"agent_get_monitorinfo", [=] { return agent_get_monitorinfo(env, lock, &info); }},
    };
}

Steps classes(Bench& b) {
    JNIEnv* env = b.sim.env();
    static class_info info, *all;
    static jint number;
    static jclass clazz;
    static const char* text;
    const auto foo = static_cast<jclass>(b.uref_of(b.foo));
    const auto string = static_cast<jstring>(b.sim.global(&b.sim.new_string("text")));
    return {
        {"agent_get_classinfo", [=] { return agent_get_classinfo(env, foo, &info); }},
        {"agent_get_class", [=] { return agent_get_class(env, "Base", &info); }},
        {"agent_get_superclass", [=] { return agent_get_superclass(env, foo, &info); }},
        {"agent_get_objectclass", [=, &b] { return agent_get_objectclass(env, b.sim.local(&b.object), &clazz); }},
        {"agent_get_classes", [=] { return agent_get_classes(env, &number, &all); }},
        {"agent_get_classes again", [=] { return agent_get_classes(env, &number, &all); }},
        {"agent_get_stringvalue", [=] { return agent_get_stringvalue(env, string, &number, &text), Answer(text); }},
        {"agent_get_stringvalue again",
         [=] { return agent_get_stringvalue(env, string, &number, &text), Answer(text); }},
        {"agent_is_instanceof", [=, &b] { return jint(agent_is_instanceof(env, b.sim.local(&b.object), foo)); }},
        {"agent_get_arraylength",
         [=, &b] { return agent_get_arraylength(env, b.sim.local<jarray>(&b.sim.new_array('I', 3))); }},
    };
}

Steps values(Bench& b) {
    JNIEnv* env = b.sim.env();
    Steps steps;
    const auto foo = static_cast<jclass>(b.uref_of(b.foo));
    const jobject object = b.uref_of(b.object);
    b.object["link"] = Value(&b.object);
    b.shared_link.static_value = Value(&b.object);
#define MEMBER(name, Name)                                                                                             \
    {                                                                                                                  \
        static j##name value;                                                                                          \
        static j##name##Array made;                                                                                    \
        const char type[] = {Value(value).type, 0};                                                                    \
        const jfieldID field = b.foo.add_field("f_" #name, type).id(),                                                 \
                       fixed = b.foo.add_field("s_" #name, type, 0x9).id();                                            \
        const auto array = b.sim.global<j##name##Array>(&b.sim.new_array(type[0], 3));                                 \
        steps.push_back(                                                                                               \
            {"agent_get_field_" #name, [=] { return agent_get_field_##name(env, object, field), Answer(); }});         \
        steps.push_back({"agent_set_field_" #name, [=] { return agent_set_field_##name(env, object, field, 1); }});    \
        steps.push_back({"agent_get_static_field_" #name,                                                              \
                         [=] { return agent_get_static_field_##name(env, foo, fixed), Answer(); }});                   \
        steps.push_back(                                                                                               \
            {"agent_set_static_field_" #name, [=] { return agent_set_static_field_##name(env, foo, fixed, 1); }});     \
        steps.push_back({"agent_get_" #name "array_element",                                                           \
                         [=] { return agent_get_##name##array_element(env, array, 1, &value); }});                     \
        steps.push_back(                                                                                               \
            {"agent_set_" #name "array_element", [=] { return agent_set_##name##array_element(env, array, 1, 1); }});  \
        steps.push_back({"agent_new_" #name "array", [=] { return Answer(agent_new_##name##array(env, 3, &made)); }}); \
    }
    JNI_PRIMITIVES(MEMBER)
#undef MEMBER
    const auto array = b.sim.global<jobjectArray>(&b.sim.new_object_array(b.foo, 2));
    b.sim.object_as<sim::Array>(array)->objects[1] = &b.object;
    const jfieldID link = b.link.id(), shared_link = b.shared_link.id();
    steps.push_back({"agent_get_field_object", [=] { return Answer(agent_get_field_object(env, object, link)); }});
    steps.push_back({"agent_set_field_object", [=] { return agent_set_field_object(env, object, link, object); }});
    steps.push_back({"agent_get_static_field_object",
                     [=] { return Answer(agent_get_static_field_object(env, foo, shared_link)); }});
    steps.push_back({"agent_set_static_field_object",
                     [=] { return agent_set_static_field_object(env, foo, shared_link, object); }});
    steps.push_back({"agent_get_objarray_element", [=] { return Answer(agent_get_objarray_element(env, array, 1)); }});
    steps.push_back({"agent_set_objarray_element", [=] { return agent_set_objarray_element(env, array, 0, object); }});
    steps.push_back({"agent_new_objectarray", [=] { return Answer(agent_new_objectarray(env, 2, foo, object)); }});
    return steps;
}

Steps frames(Bench& b) {
    JNIEnv* env = b.sim.env();
    static jframeID found;
    static jclass clazz;
    static jmethodID method;
    static jlocation location;
    static jint count, number, *values;
    static jobject object;
    static jlong wide;
    static jfloat fraction;
    static jdouble precise;
    const auto thread = static_cast<jthread>(b.uref_of(*b.sim.main_thread));
    const jframeID top = b.sim.main_thread->frames.front()->id();
    const jobject value = b.uref_of(b.object);
    return {
        {"agent_get_currentframe",
         [=] { return agent_get_currentframe(env, thread, &found, &clazz, &method, &location); }},
        {"agent_get_callerframe",
         [=] { return agent_get_callerframe(env, top, &found, &clazz, &method, &location, thread, 1); }},
        {"agent_get_framecount", [=] { return agent_get_framecount(env, thread, &count); }},
        {"agent_get_locals", [=] { return agent_get_locals(env, top, &count, &values, thread, 0); }},
        {"agent_get_locals of a larger frame",
         [=, &b] {
             b.bar.max_locals = 3;
             b.sim.main_thread->frames.front()->locals[2] = jint{3};
             const jint result = agent_get_locals(env, top, &count, &values, thread, 0);
             b.sim.main_thread->frames.front()->locals[2] = Value(&b.object);
             return result;
         }},
        {"agent_get_localobject", [=] { return agent_get_localobject(env, top, 2, &object, thread, 0); }},
        {"agent_get_localint", [=] { return agent_get_localint(env, top, 0, &number, thread, 0); }},
        {"agent_get_locallong", [=] { return agent_get_locallong(env, top, 3, &wide, thread, 0); }},
        {"agent_get_localfloat", [=] { return agent_get_localfloat(env, top, 4, &fraction, thread, 0); }},
        {"agent_get_localdouble", [=] { return agent_get_localdouble(env, top, 5, &precise, thread, 0); }},
        {"agent_set_localobject", [=] { return agent_set_localobject(env, top, 2, value, thread, 0); }},
        {"agent_set_localint", [=] { return agent_set_localint(env, top, 0, 1, thread, 0); }},
        {"agent_set_locallong", [=] { return agent_set_locallong(env, top, 3, 1, thread, 0); }},
        {"agent_set_localfloat", [=] { return agent_set_localfloat(env, top, 4, 1, thread, 0); }},
        {"agent_set_localdouble", [=] { return agent_set_localdouble(env, top, 5, 1, thread, 0); }},
        {"agent_notifyframepop", [=] { return agent_notifyframepop(env, top, thread, 0); }},
        {"agent_popframe", [=] { return agent_popframe(env, thread); }},
    };
}

Steps control(Bench& b) {
    JNIEnv* env = b.sim.env();
    const auto foo = static_cast<jclass>(b.uref_of(b.foo));
    const jmethodID method = b.bar.id();
    const jfieldID field = b.number.id();
    const auto thread = static_cast<jthread>(b.uref_of(*b.sim.main_thread));
    Steps steps = {
        {"agent_set_breakpoint", [=] { return agent_set_breakpoint(env, foo, method, 3); }},
        {"agent_clear_breakpoint", [=] { return agent_clear_breakpoint(env, foo, method, 3); }},
        {"agent_clear_allbreakpoints", [=] { return agent_clear_allbreakpoints(env); }},
        {"agent_set_fieldaccesswatch", [=] { return agent_set_fieldaccesswatch(env, foo, field); }},
        {"agent_clear_fieldaccesswatch", [=] { return agent_clear_fieldaccesswatch(env, foo, field); }},
        {"agent_set_fieldmodificationwatch", [=] { return agent_set_fieldmodificationwatch(env, foo, field); }},
        {"agent_clear_fieldmodificationwatch", [=] { return agent_clear_fieldmodificationwatch(env, foo, field); }},
        {"agent_set_classload_filter", [=] { return agent_set_classload_filter(env, "Foo"); }},
        {"agent_set_methodbpt", [=] { return agent_set_methodbpt(env, "bar", "(I)"); }},
        {"filter_jvmdi_event_br",
         [=] {
             JVMDI_Event event = {};
             event.kind = JVMDI_EVENT_CLASS_PREPARE;
             event.u.class_event.clazz = foo;
             return filter_jvmdi_event_br(env, &event);
         }},
        {"method_exists", [=] { return Answer(method_exists(env, foo, "bar", "(I)")); }},
        {"agent_clr_methodbpt", [=] { return agent_clr_methodbpt(env, "bar", "(I)"); }},
        {"agent_clear_classload_filter", [=] { return agent_clear_classload_filter(env, "Foo"); }},
        {"agent_set_eventnotification",
         [=] { return agent_set_eventnotification(env, 1, JVMDI_EVENT_SINGLE_STEP, thread); }},
    };
    return steps;
}

Steps metadata(Bench& b) {
    JNIEnv* env = b.sim.env();
    jvmti_features.can_get_bytecodes = jvmdi_features.can_get_bytecodes = 1;
    const auto foo = static_cast<jclass>(b.uref_of(b.foo));
    const jmethodID method = b.bar.id();
    const jfieldID field = b.number.id();
    static char *name, *signature;
    static jint count, number;
    static jfieldID* fields;
    static jclass* found;
    static method_entry* methods;
    static JVMDI_line_number_entry* lines;
    static JVMDI_local_variable_entry* locals;
    static JVMDI_exception_handler_entry* handlers;
    static unsigned char* bytes;
    static JVMDI_capabilities capabilities;
    return {
        {"agent_get_sourcefilename", [=] { return agent_get_sourcefilename(env, foo, &name); }},
        {"agent_get_classmethods of one", [=] { return agent_get_classmethods(env, foo, method, &count, &methods); }},
        {"agent_get_classmethods", [=] { return agent_get_classmethods(env, foo, nullptr, &count, &methods); }},
        {"agent_get_classfields", [=] { return agent_get_classfields(env, foo, &count, &fields); }},
        {"agent_get_fieldname", [=] { return agent_get_fieldname(env, foo, field, &name, &signature, &number); }},
        {"agent_get_implementedinterfaces", [=] { return agent_get_implementedinterfaces(env, foo, &count, &found); }},
        {"agent_get_linenumbertable", [=] { return agent_get_linenumbertable(env, foo, method, &count, &lines); }},
        {"agent_get_localvariabletable",
         [=] { return agent_get_localvariabletable(env, foo, method, &count, &locals); }},
        {"agent_get_localvariabletable again",
         [=] { return agent_get_localvariabletable(env, foo, method, &count, &locals); }},
        {"agent_get_exceptionhandlertable",
         [=] { return agent_get_exceptionhandlertable(env, foo, method, &count, &handlers); }},
        {"agent_get_thrownexceptions", [=] { return agent_get_thrownexceptions(env, foo, method, &count, &found); }},
        {"agent_get_bytecodes", [=] { return agent_get_bytecodes(env, foo, method, &count, &bytes); }},
        {"agent_get_bytecodes again", [=] { return agent_get_bytecodes(env, foo, method, &count, &bytes); }},
        {"agent_get_maxstack", [=] { return agent_get_maxstack(env, foo, method, &count); }},
        {"agent_get_versionnumber", [=] { return agent_get_versionnumber(env, &count); }},
        {"agent_get_capabilities", [=] { return agent_get_capabilities(env, &capabilities); }},
    };
}

const Scenario scenarios[] = {
    {"load with -Xrun", From::start, loading},
    {"load with -agentlib", From::start, loading_as_agent},
    {"start", From::loaded, starting},
    {"events before the attach", From::initialised, boot_events},
    {"attach", From::initialised, attaching},
    {"events", From::attached, events},
    {"exceptions", From::attached, exceptions},
    {"control-C", From::attached, controlc},
    {"log", From::attached, dumps},
    {"invocation", From::attached, invocations},
    {"stop and go", From::stopped, suspensions},
    {"stop and go one by one", From::stopped, suspensions_one_by_one},
    {"many threads", From::stopped, many_threads},
    {"threads", From::stopped, threads},
    {"monitors", From::stopped, monitor_queries},
    {"classes", From::stopped, classes},
    {"values", From::stopped, values},
    {"frames", From::stopped, frames},
    {"control", From::stopped, control},
    {"metadata", From::stopped, metadata},
    {"detach", From::attached, detaching},
    {"end", From::attached, dying},
};

/* ---- One run ---- */

/* What a process that ran a scenario told. */
struct Told {
    std::string failed_step, failed_call; /* empty: every call went well */
    std::map<std::string, std::string> answers;
    std::vector<std::string> step_order, out, ends; /* `ends`: what is wrong in any case */
    std::string shown, death;
};

/* The lines of a text, without what differs from run to run; each once. */
strings lines_of(std::string text) {
    const std::string without_end = "agent_resume_all() failed";
    for (size_t at = 0; (at = text.find(without_end, at)) != text.npos;) text.insert(at += without_end.size(), "\n");
    text = std::regex_replace(text, compiled("[0-9a-f]{6,}|-?[0-9]{6,}"), "N");
    text = std::regex_replace(text, compiled("ACCESS_DENIED|OUT_OF_MEMORY"), "<its name>");
    strings lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && std::find(lines.begin(), lines.end(), line) == lines.end()) lines.push_back(line);
    return lines;
}

struct Child {
    sim::Sim& sim;
    const sim::Report& report;
    std::string step;

    void run_step(const Step& each) {
        step = each.name;
        report("step " + each.name);
        sim.sweeping(true);
        const Answer answer = each.run();
        sim.sweeping(false);
        report("answer " + answer.text);
        if (sim.pending()) report("end an exception is pending after " + each.name);
    }
    void run_steps(Bench& bench, const Scenario& scenario) {
        if (scenario.from == From::stopped) {
            bench.stop([&](JVMDI_Event*) {
                for (const Step& each : scenario.steps(bench)) run_step(each);
            });
            return;
        }
        for (const Step& each : scenario.steps(bench)) run_step(each);
    }
    void run(const Scenario& scenario, size_t n) {
        OwnFolder folder;
        folder.log_at_load("");
        Bench bench(sim);
        bench.reach(scenario.from == From::stopped ? From::attached : scenario.from);
        sim.sweep(n, [this](const std::string& call) { report("fails " + step + "|" + name_of_call(call)); });
        monitors::when_stuck = [this](const char* name) {
            report(std::string("end is stuck in ") + name);
            _exit(0);
        };
        run_steps(bench, scenario);
        if (!bench.known && scenario.from != From::start) return;
        report("shown " + shown());
        if (shared_load(agent_thread)) end(bench, scenario);
    }
    void end(Bench& bench, const Scenario& scenario) {
        const size_t before = hooks::names().size();
        bench.sim.raise_breakpoint(bench.bar, 9, FORCE);
        const bool expected = scenario.from >= From::attached && std::string(scenario.name) != "detach";
        if (expected && hooks::names().size() != before + 1) report("end the next event is not shown");
        until_agent_waits();
        agent_attach_jquor(bench.sim.env()); /* only then the end of the program is heard of */
        bench.finish();
        if (monitors::locked) report("end monitors are locked: " + std::to_string(monitors::locked));
        if (sim.pending()) report("end an exception is pending at the end");
    }
    /* Attaching is for an agent thread that waits: behind a detach it lets go first, beside this one. */
    static void until_agent_waits() {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while ((let_go_is_due() || agent_is_at_work()) && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    /* A call without its arguments; but those are told that make a record of the reference table. */
    static std::string name_of_call(const std::string& call) {
        const std::string name = call.substr(0, call.find('(')), record = std::to_string(3 * sizeof(void*));
        const bool is_record = call.ends_with(".Allocate(" + record + ")");
        return name + (is_record ? "(record of the reference table)" : "");
    }
    static std::string shown() {
        std::string all;
        for (const std::string& name : hooks::names()) all += " " + name;
        return all;
    }
};

/* A null pointer that is followed ends the process by SIGSEGV; the sanitizer of undefined behaviour tells it first. */
bool followed_null(const sim::ChildResult& result) {
    return result.signal == SIGSEGV || result.err.find("null pointer") != std::string::npos;
}

Told told(const sim::ChildResult& result) {
    Told run;
    std::string step;
    for (const std::string& line : result.reports) {
        const std::string word = line.substr(0, line.find(' ')), rest = line.substr(line.find(' ') + 1);
        if (word == "step") run.step_order.push_back(step = rest);
        if (word == "answer") run.answers[step] = rest;
        if (word == "shown") run.shown = rest;
        if (word == "end") run.ends.push_back(rest);
        if (word == "fails") {
            run.failed_step = rest.substr(0, rest.find('|'));
            run.failed_call = rest.substr(rest.find('|') + 1);
        }
    }
    run.out = lines_of(result.out);
    if (result.timed_out)
        run.death = "hangs";
    else if (followed_null(result))
        run.death = "dies of signal " + std::to_string(SIGSEGV);
    else if (result.signal == SIGABRT)
        run.death = "aborts";
    else if (result.signal)
        run.death = "dies of signal " + std::to_string(result.signal);
    else if (result.exit_status) {
        run.death = "exits";
        std::erase_if(run.ends, [](const std::string& end) { return end.ends_with("ended inside PushLocalFrame"); });
    }
    return run;
}

/* ---- Outcomes ---- */

std::string plain(std::string text) {
    for (const auto& [number, name] : {std::pair{"111", "the VM's code"}, std::pair{"110", "the VM's code"}})
        if (text == number || text.starts_with(std::string(number) + " ")) return name + text.substr(3);
    return text;
}

/* What `run` has that `good` has not, and how much of the other is missing. */
std::string difference_of(const strings& good, strings now) {
    strings missing = good;
    for (const std::string& line : good)
        if (auto same = std::find(now.begin(), now.end(), line); same != now.end()) {
            now.erase(same);
            missing.erase(std::find(missing.begin(), missing.end(), line));
        }
    std::string text;
    for (const std::string& line : now) text += "prints \"" + line + "\"; ";
    if (!missing.empty()) text += "prints less; ";
    return text;
}

std::string outcome_of(const Told& good, const Told& run) {
    std::string text = difference_of(good.out, run.out);
    for (const std::string& step : run.step_order) {
        const auto answer = run.answers.find(step);
        if (answer == run.answers.end() || answer->second == good.answers.at(step)) continue;
        text += (step == run.failed_step ? "" : "later " + step + " ") + "gives " + plain(answer->second) + "; ";
    }
    if (run.death.empty() && run.shown != good.shown) {
        strings before, now;
        std::istringstream in(good.shown), out(run.shown);
        for (std::string name; in >> name;) before.push_back(name);
        for (std::string name; out >> name;) now.push_back(name);
        for (const std::string& name : now) {
            auto same = std::find(before.begin(), before.end(), name);
            if (same != before.end())
                before.erase(same);
            else
                text += "shows " + name + "; ";
        }
        for (const std::string& name : before) text += "does not show " + name + "; ";
    }
    if (!run.death.empty()) text += run.death + "; ";
    for (const std::string& end : run.ends) text += (end.starts_with("is stuck") ? "" : "BAD: ") + end + "; ";
    return text.empty() ? "goes on" : text.substr(0, text.size() - 2);
}

} // namespace

/* ---- The sweep ---- */

struct FaultSweep : sim::SimTestP {
    Told run(const Scenario& scenario, size_t n) {
        const sim::ChildResult result = sim::run_child(
            [&](const sim::Report& report) {
                sim.on_misuse([&](const std::string& text) { report("end misuse: " + text); });
                Child{sim, report, ""}.run(scenario, n);
            },
            20);
        return told(result);
    }

    /* Rows with the same scenario, step, call and outcome are one. */
    std::map<std::string, int> table;
    int runs = 0, unexplained = 0;

    void sweep(const Scenario& scenario) {
        const Told good = run(scenario, 0);
        EXPECT_EQ("", good.death) << scenario.name;
        EXPECT_EQ(strings(), good.ends) << scenario.name;
        for (size_t n = 1;; n++) {
            const Told faulty = run(scenario, n);
            if (faulty.failed_call.empty()) {
                EXPECT_EQ("goes on", outcome_of(good, faulty)) << scenario.name;
                EXPECT_TRUE(n > 1 || good.step_order.empty()) << scenario.name << " has no calls";
                break;
            }
            runs++;
            note(scenario, faulty, outcome_of(good, faulty));
        }
    }
    void note(const Scenario& scenario, const Told& faulty, const std::string& outcome) {
        const char* why =
            explanation(faulty.failed_call, std::string(scenario.name) + "/" + faulty.failed_step, outcome);
        if (!why) unexplained++;
        table[std::string(scenario.name) + " | " + faulty.failed_step + " | " + faulty.failed_call + " | " + outcome +
              " | " + (why ? why : "UNEXPLAINED")]++;
    }
    void print() {
        std::ofstream file(std::string(QUOR_TEST_HELPERS "/../fault_sweep-") + sim::name_of(sim.mode) + ".txt");
        file << "scenario | step | failing call | outcome | why | how often\n";
        for (const auto& [row, count] : table) {
            file << row << " | " << count << '\n';
            if (row.ends_with("UNEXPLAINED")) ADD_FAILURE() << row;
        }
        printf("%s: %d runs, %zu rows, unexplained: %d\n", sim::name_of(sim.mode), runs, table.size(), unexplained);
    }
};
SIM_ALL_MODES(FaultSweep);

TEST_P(FaultSweep, EachFailureOfTheVmHasAnOutcomeThatIsLaidDown) {
    for (const Scenario& scenario : scenarios) sweep(scenario);
    print();
    EXPECT_LT(500, runs);
    EXPECT_EQ(0, unexplained);
}
