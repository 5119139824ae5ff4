/* internal.h: the simulator's inner state and the frame that every function of every table is written in. */
#ifndef SIM_INTERNAL_H
#define SIM_INTERNAL_H

#include "sim/interleave.h"
#include "sim/sim.h"

#include <set>
#include <sstream>
#include <type_traits>
#include <unordered_map>

namespace sim {

struct NativeThread;

/* The JNIEnv that a thread gets; it stays readable after the thread has ended, so that late use is told, not a crash. */
struct Env : JNIEnv_ {
    NativeThread* thread;
};

struct LocalFrame {
    bool pushed; /* by PushLocalFrame */
    bool event;  /* of an event callback */
    std::vector<jobject> references;
};

/* A native thread that was attached to the VM. */
struct NativeThread {
    Env env{};
    Thread* java = nullptr;
    bool attached = true;
    bool agent = false; /* made by RunAgentThread or RunDebugThread */
    int events = 0;     /* event callbacks under way */
    std::vector<LocalFrame> frames;
    Object* pending = nullptr;
};

struct Reference {
    bool global;
    NativeThread* owner; /* of a local reference */
    Object* object;
    const char* dead = nullptr; /* why it is dead; null while it lives */
};

struct LogEntry {
    std::string name, text, thread;
};

struct Rule {
    int countdown = 0; /* 0: every call; n: the n-th from now, then never */
    bool spent = false;
    jint code = 0;
    Object* exception = nullptr;
};

/* How a call of a function fails in a VM. */
struct Failure {
    const char* name; /* a pattern of function names */
    jint code;        /* what it gives, if that is a number */
    bool throws;      /* leaves an exception */
};

struct Sweep {
    bool on = false;
    size_t fails_at = 0, calls = 0;
    std::function<void(const std::string&)> when_it_fails;
    Object* exception = nullptr;
};
const Failure* failure_of(const std::string& name); /* null: it cannot fail */

/* Characters or elements handed out by Get<Type>ArrayElements and GetStringUTFChars. */
struct Pin {
    Object* object;
    bool copy;
    int count; /* how often the same address was handed out; copies have 1 */
};

struct Sim::State {
    Mutex mutex;
    Sim* sim = nullptr;

    JNIInvokeInterface_ vm_table{};
    JNINativeInterface_ jni_table{};
    jvmtiInterface_1_ jvmti_table{};
    JVMDI_Interface_1 jvmdi_table{};
    JVMPI_Interface jvmpi_table{};
    JavaVM_ vm{};
    _jvmtiEnv jvmti_env{};
    std::map<jint, jint> getenv_results;

    std::deque<std::unique_ptr<Object>> objects;
    std::map<std::string, Class*> classes;
    std::map<std::string, int> serials; /* for labels */
    std::set<const void*> ids;          /* the methods and fields that exist */
    std::set<const void*> frame_ids;    /* frames on stacks */
    jint next_hash = 0x2a00;

    std::unordered_map<jobject, Reference> references;
    std::uintptr_t next_reference = 0x10000000;
    size_t globals = 0, locals = 0;

    std::map<const void*, Block> blocks;
    std::map<const void*, size_t> block_order;
    size_t next_block = 0, bytes = 0, peak = 0;
    std::map<const void*, Pin> pins;

    std::vector<LogEntry> log;
    bool logging = true;
    Globs echoed;
    std::map<std::string, std::vector<Rule>> rules;
    std::map<std::string, std::function<void()>> actions;
    Sweep sweep;
    std::vector<std::string> misuses;
    std::function<void(const std::string&)> misuse_listener;

    std::deque<std::unique_ptr<NativeThread>> threads;
    std::vector<std::unique_ptr<Running>> agent_threads;
    size_t running_agent_threads = 0;

    std::set<std::pair<jint, Thread*>> enabled;              /* event, thread; null thread: all */
    std::set<std::pair<const void*, jlocation>> breakpoints; /* method, location */
    std::set<std::pair<const void*, jlocation>> watches;     /* field, 0 access or 1 modification */
};

/* The simulator and its state, for the functions of the tables. */
inline Sim& the_sim() { return *Sim::current(); }
inline Sim::State& state() { return Sim::current()->state(); }

NativeThread* this_native(); /* the calling thread's record, or null when it is not attached */
NativeThread* attach_native(Sim& sim, Thread& thread);
void detach_native(NativeThread* native);
jint run_agent_thread(Thread* thread, const std::function<void(JNIEnv*)>& body); /* as Sim::agent_threads tells */

/* ---- References (sim_refs.cpp) ---------------------------------------------------------------------------------- */

jobject new_local(Object* object); /* in the calling thread's top frame; null for null */
jobject new_global(Object* object);
/* The object of a reference that the agent passed in. Misuse is recorded and gives null. */
Object* resolve(jobject reference, const std::string& use);
void delete_local(jobject reference);
void delete_global(jobject reference);
void push_frame(NativeThread* thread, bool pushed, bool event);
void pop_frame(NativeThread* thread, const char* why);

/* ---- Identifiers ------------------------------------------------------------------------------------------------ */

Method* method_of(jmethodID id, const std::string& use); /* null, with misuse recorded, for an unknown one */
Field* field_of(jfieldID id, const std::string& use);

/* ---- How arguments look in the log (sim_log.cpp) ---------------------------------------------------------------- */

struct Raw { /* text that is put in the log as it is */
    std::string text;
};
Raw hex(jint number);
std::string show(jobject reference);
std::string show(jmethodID method);
std::string show(jfieldID field);
std::string show(const char* text);
std::string show(const Value& value);
inline std::string show(const Raw& raw) { return raw.text; }
template <class N>
requires std::is_arithmetic_v<N> std::string show(N number) {
    std::ostringstream out;
    if constexpr (sizeof(N) == 1)
        out << static_cast<int>(number);
    else
        out << number;
    return out.str();
}

/* ---- One call of the agent --------------------------------------------------------------------------------------- */

/* Locks, logs, and finds out whether the call is to fail. Every function of every table begins with one. */
class Call {
public:
    template <class... A>
    explicit Call(std::string call_name, const A&... args) : name(std::move(call_name)), guard(state().mutex) {
        std::string text;
        ((text += (text.empty() ? "" : ", ") + show(args)), ...);
        begin(text);
    }
    ~Call() {
        if (guard.owns_lock()) guard.unlock();
        pass("after ", name.c_str());
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    const std::string name;
    bool failed = false; /* the call is to fail: return code(), or null */
    jint code() const { return error; }
    void unlock() { guard.unlock(); }
    void relock() { guard.lock(); }

protected:
    void begin(const std::string& arguments);
    void sweep(Sweep& sweep, const std::string& arguments);
    Object* exception = nullptr; /* the exception that the failing call is to leave pending */
    jint error = 0;
    std::unique_lock<Mutex> guard;
};

/* A call through a JNIEnv: also checks the environment and the pending exception. */
class JniCall : public Call {
public:
    template <class... A>
    JniCall(JNIEnv* env, const std::string& function, const A&... args) : Call("JNI." + function, args...) {
        enter(env, function);
    }
    NativeThread* thread = nullptr;                         /* the calling thread */
    template <class T = Object> T* get(jobject reference) { /* misuse unless it is a live T */
        Object* object = resolve(reference, name);
        T* cast = dynamic_cast<T*>(object);
        if (object && !cast) the_sim().misuse(name + ": " + show(reference) + " is of the wrong type");
        return cast;
    }

private:
    void enter(JNIEnv* env, const std::string& function);
};

/* Makes `exception_class` pending on the calling thread. */
void raise(NativeThread* thread, const std::string& exception_class, const std::string& message);

/* ---- Memory (sim_memory.cpp) ------------------------------------------------------------------------------------- */

void* new_block(size_t size, const std::string& origin);
jint give_back(const void* block, const std::string& use);
char* copy_text(const std::string& text, const std::string& origin);
template <class T> T* copy_array(const std::vector<T>& items, const std::string& origin) {
    if (items.empty()) return nullptr;
    T* block = static_cast<T*>(new_block(items.size() * sizeof(T), origin));
    std::copy(items.begin(), items.end(), block);
    return block;
}

/* ---- Filling the tables ------------------------------------------------------------------------------------------ */

void fill_traps(Sim::State& state); /* every slot, before the others overwrite theirs */
void fill_invocation(Sim::State& state);
void fill_jni(JNINativeInterface_& table);
void fill_jni_members(JNINativeInterface_& table);
void fill_jni_arrays(JNINativeInterface_& table);
void fill_jni_calls(JNINativeInterface_& table);
void fill_control(jvmtiInterface_1_& ti, JVMDI_Interface_1& di);
void fill_threads(jvmtiInterface_1_& ti, JVMDI_Interface_1& di);
void fill_frames(jvmtiInterface_1_& ti, JVMDI_Interface_1& di);
void fill_classes(jvmtiInterface_1_& ti, JVMDI_Interface_1& di);
void fill_methods(jvmtiInterface_1_& ti, JVMDI_Interface_1& di);
void add_platform_classes(Sim& sim);

} // namespace sim

#endif
