/* sim.h: a simulated Java VM, small enough to be fully scripted.
 *
 * It offers the tables that an agent sees (invocation interface, JNI, JVMTI, JVMDI, JVMPI) over a scripted heap (heap.h),
 * keeps a log of every call, checks references, can make any call fail, and tracks every allocation. There is one Sim at
 * a time; SimTest (sim_test.h) makes it.
 *
 *     #include "sim/sim_test.h"
 *
 *     struct Breakpoints : sim::SimTestP {};   // runs in each mode: JVMTI 1.0, a newer JVMTI, JVMDI
 *     SIM_ALL_MODES(Breakpoints);
 *
 *     TEST_P(Breakpoints, AreSetInTheVmUnchanged) {
 *         install_globals();                   // javavm, jvmti, jvmdi = the simulator's
 *         sim::Class& foo = sim.new_class("Foo");
 *         sim::Method& bar = foo.add_method("bar", "()V");
 *         jclass clazz = sim.local<jclass>(&foo);
 *         sim.clear_calls();
 *         EXPECT_EQ(0, agent_set_breakpoint(sim.env(), clazz, bar.id(), 12));
 *         EXPECT_CALLS(sim.calls_of({"JV*.SetBreakpoint"}),
 *                      on_jvmdi() ? "JVMDI.SetBreakpoint(Foo, Foo.bar, 12)" : "JVMTI.SetBreakpoint(Foo.bar, 12)");
 *     }
 *
 * The test's own thread is attached as the Java thread "main". Java threads of their own:
 *
 *     sim::Thread& worker = sim.new_thread("worker");
 *     auto running = sim.start(worker, [&] { sim.raise_breakpoint(bar, 12); });  // a real thread, attached as worker
 *     ...
 *     running->join();
 *
 * References. JVMTI functions and JNI give local references, JVMDI functions global ones. Every reference is a value of
 * its own that is never reused. These are misuse, which fails the test: a value that is no reference, a deleted reference,
 * a local one whose frame was popped or whose thread ended, a local one on another thread (unless its owner is inside an
 * event callback and so holds it), DeleteLocalRef of a global one, DeleteGlobalRef of a local one (let pass by
 * JVMTI 1.0 and JVMDI: logged, nothing is deleted), a JNIEnv on another thread, a JNI call with an exception pending, a
 * foreign or repeated Deallocate, a call of a function that is not provided here ("JVMTI.ForceGarbageCollection is not
 * provided"; the call gives 0 or error 99).
 * A test of misuse itself takes what was recorded with take_misuse().
 *
 * The call log. "JVMTI.SetBreakpoint(Foo.bar, 12)": objects by Object::label (a class's name, a thread's name,
 * "java/lang/Exception#1"), methods and fields by class and name, strings quoted, output pointers left out. Selections
 * are glob patterns over the interface and name, "JNI.Get*Field".
 *
 * Threads. One recursive lock guards everything; it is not held while callbacks, method bodies and thread bodies run.
 * interleave.h holds a chosen thread at a chosen call while others go on.
 */
#ifndef SIM_SIM_H
#define SIM_SIM_H

#include "sim/heap.h"
#include "sim/sim_mutex.h"
#include "vm/jvmpi.h"

#include <initializer_list>
#include <mutex>
#include <pthread.h>

namespace sim {

enum class Mode { jvmti10, jvmti_newer, jvmdi }; /* JVMTI 1.0; JVMTI of a current VM (0x30110000); JVMDI only */

const char* name_of(Mode mode); /* "Jvmti10", "JvmtiNewer", "Jvmdi" */

enum class Raise { if_enabled, force }; /* force: even when the event is not enabled */

/* A thread that the test started. Its destructor joins. */
class Running {
public:
    ~Running();
    void join();
    pthread_t native_id() const { return native; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

private:
    friend class Sim;
    Running() = default;
    static void* run(void* self);
    std::function<void()> body;
    pthread_t native{};
    bool joined = false;
};

/* A block of the VM's allocator that was not given back. */
struct Block {
    void* address;
    size_t size;
    std::string origin; /* the call that made it: "JVMTI.Allocate", "JVMDI.GetClassMethods" */
};

using Globs = std::vector<std::string>;

class Sim {
public:
    explicit Sim(Mode mode);
    ~Sim();
    static Sim* current(); /* the one Sim, or null */

    /* ---- The interfaces --------------------------------------------------------------------------------------- */

    const Mode mode;
    JavaVM* vm();               /* the invocation interface */
    jvmtiEnv* jvmti();          /* the JVMTI environment, in every mode */
    JVMDI_Interface_1* jvmdi(); /* the JVMDI table, in every mode */
    JVMPI_Interface* jvmpi();   /* Enable-, Disable- and RequestEvent are logged; fail() sets their results */
    JNIEnv* env();              /* the calling thread's JNIEnv; null on a thread that is not attached */

    /* Result of JavaVM::GetEnv for an interface version. Set by the mode: JNI 0, the mode's debug interface 0, the other
     * one JNI_EVERSION (-3). A thread that is not attached always gets JNI_EDETACHED for JNI. */
    void set_getenv(jint version, jint result);

    jint version;                             /* GetVersionNumber; 0x30010000, 0x30110000 or 0x20010003 by the mode */
    jvmtiPhase phase = JVMTI_PHASE_LIVE;      /* GetPhase */
    jvmtiCapabilities potential_capabilities; /* GetPotentialCapabilities; all 33 of JVMTI 1.0 at first */
    jvmtiCapabilities capabilities;        /* GetCapabilities; AddCapabilities adds to it, or gives 98; none at first */
    JVMDI_capabilities jvmdi_capabilities; /* 0 to 6, 10, 12 and 15 at first */
    std::map<std::string, std::string> properties; /* System.getProperty; java.class.path, java.vm.version at first */

    /* ---- Making the heap --------------------------------------------------------------------------------------- */

    /* There from the start: java/lang/Object, Class, String, ClassLoader, ThreadGroup, Thread (<init>, isDaemon,
     * setDaemon), System (getProperty), Throwable, Exception, Error, ThreadDeath (all with <init>), the exceptions
     * that JNI raises, array classes as needed. A new class is prepared, has the source "Foo.java" and is in loaded_classes. */
    Class& new_class(const std::string& name, Class* super = nullptr /* java/lang/Object */);
    Class& new_interface(const std::string& name);
    Class& class_named(const std::string& name); /* an existing class, or an array class made now; throws if unknown */
    Object& new_object(Class& type);             /* of Thread and its subclasses: a fresh Thread */
    Object& new_object(const std::string& class_name = "java/lang/Object", jint hash = -1 /* a new one */);
    Object& new_exception(const std::string& class_name, const std::string& message = "");
    String& new_string(const std::string& utf);
    Array& new_array(char element_type, jsize length); /* primitive elements, zero */
    Array& new_object_array(Class& element, jsize length);
    ThreadGroup& new_group(const std::string& name, ThreadGroup* parent = nullptr);
    Thread& new_thread(const std::string& name, ThreadGroup* group = nullptr /* "main" */); /* alive, not attached */
    Frame& push_frame(Thread& thread, Method& method, jlocation at);                        /* the new top frame */
    void own(Thread& thread, Object& monitor, jint entries = 1); /* makes `thread` the owner of `monitor` */

    std::vector<Class*> loaded_classes; /* GetLoadedClasses, in this order; replace it for a known answer */
    Thread* main_thread;                /* attached to the thread that made the Sim */
    ThreadGroup *system_group, *main_group;
    Object* system_loader; /* context class loader of new threads */

    /* ---- References -------------------------------------------------------------------------------------------- */

    /* A new reference of the calling thread, or a global one; null gives null. */
    template <class R = jobject> R local(Object* object) { return static_cast<R>(make_local(object)); }
    template <class R = jobject> R global(Object* object) { return static_cast<R>(make_global(object)); }
    Object* object(jobject reference); /* the object of a live reference (any thread); null for null or a dead one */
    template <class T> T* object_as(jobject reference) { return dynamic_cast<T*>(object(reference)); }
    bool is_global(jobject reference);        /* a live global reference */
    bool is_local(jobject reference);         /* a live local reference */
    size_t live_globals();                    /* those made with global() included */
    size_t live_locals();                     /* over all threads, those made with local() included */
    std::vector<std::string> global_labels(); /* labels of the objects that live global references name, sorted */
    std::vector<std::string> local_labels();
    bool delete_global_of_local_passes; /* true by mode for JVMTI 1.0 and JVMDI */
    bool foreign_locals_pass = false;   /* let local references be used on any thread */

    /* ---- Memory ------------------------------------------------------------------------------------------------ */

    /* Allocate(0) gives null and success; new memory is filled with 0xa5. */
    std::vector<Block> live_blocks(); /* not yet deallocated, oldest first */
    bool is_live_block(const void* block);
    size_t block_size(const void* block); /* 0 if it is no live block */
    size_t live_bytes();
    size_t peak_bytes();
    size_t live_elements(); /* copies given by Get<Type>ArrayElements and GetStringUTFChars that were not released */
    size_t live_pins();     /* the same for those given without a copy */
    void* allocate(size_t size, const std::string& origin = "test"); /* a block of the VM's allocator, not logged */

    /* ---- The call log ------------------------------------------------------------------------------------------ */

    std::vector<std::string> calls(); /* every call since clear_calls(), in order */
    std::vector<std::string> calls_of(const Globs& wanted);
    std::vector<std::string> calls_without(const Globs& unwanted); /* {"JNI.Exception*", "JavaVM.GetEnv"} */
    std::vector<std::string> calls_on(const std::string& thread);  /* those of one Java thread, by its label */
    size_t count_calls(const std::string& glob);
    void clear_calls();
    void set_logging(bool on);               /* off for long runs */
    void echo_calls_of(const Globs& wanted); /* to standard error, each as it is made: for a child that aborts */

    /* ---- Failures ---------------------------------------------------------------------------------------------- */

    /* Names as in the log: "JVMTI.Allocate", "JVMDI.Allocate", "JNI.FindClass"; vm_name("Allocate") is the mode's.
     * A failing function does nothing else: outputs stay untouched. n counts calls from now, 1 is the next. */
    void fail(const std::string& name, jint code);            /* every call gives the code */
    void fail_nth(const std::string& name, int n, jint code); /* the n-th call from now */
    void null_in(const std::string& name, int n = 0);         /* JNI: gives null or 0, no exception; 0: every call */
    void throw_in(const std::string& name, Object& exception, int n = 0); /* JNI: the same, exception pending */
    void before(const std::string& name, std::function<void()> action); /* runs at the start of every call, unlocked */
    void stop_failing(const std::string& name);

    /* Sweeps: calls are counted while sweeping(true) is in force, on every thread, if they can fail in a VM at all; the n-th
     * does, whatever it is: error 111 (Allocate: 110) from JVMTI and JVMDI, -2 from JavaVM.GetEnv, from JNI what its
     * functions give without memory, with a java/lang/Error pending where JNI says so. n = 0: all go well. */
    void sweep(size_t n, std::function<void(const std::string& call)> when_it_fails); /* the call as in the log */
    void sweeping(bool on);
    size_t swept_calls();                                   /* how many were counted */
    std::string vm_name(const std::string& function) const; /* "JVMTI.<function>" or "JVMDI.<function>" */

    /* ---- Misuse ------------------------------------------------------------------------------------------------ */

    void misuse(const std::string& text);   /* record one; the fixture fails the test if any is left at its end */
    std::vector<std::string> take_misuse(); /* what was recorded, and forget it */
    void on_misuse(std::function<void(const std::string&)> listener); /* called as each is recorded */

    /* ---- Threads ----------------------------------------------------------------------------------------------- */

    std::unique_ptr<Running> start(Thread& thread, std::function<void()> body); /* a real thread attached as `thread` */
    void run_on(Thread& thread, std::function<void()> body);                    /* start and join */
    std::unique_ptr<Running> start_unattached(std::function<void()> body); /* a native thread that the VM ignores */
    void attach(Thread& thread); /* the calling native thread becomes `thread`; ends what it was before */
    void detach();               /* the calling native thread leaves the VM: its local references die */
    Thread* this_thread();       /* the calling thread's Java thread, or null */

    /* What RunAgentThread and RunDebugThread do. real: a native thread, attached, that raises THREAD_START and
     * THREAD_END if enabled. inlined: runs the body on the caller's native thread (green threads). recorded: logs only. */
    enum class AgentThreads { real, inlined, recorded };
    AgentThreads agent_threads = AgentThreads::real;
    bool agent_threads_announced = true; /* whether they raise THREAD_START and THREAD_END */
    void join_agent_threads();           /* waits for those that ended or are about to; blocks while one runs */
    size_t running_agent_threads();

    /* ---- Exceptions -------------------------------------------------------------------------------------------- */

    Object* pending();                   /* exception pending on the calling thread, or null */
    void set_pending(Object* exception); /* null clears it */
    bool describe_clears = true;         /* ExceptionDescribe clears the exception, as VMs do */

    /* ---- Events: raised on the calling thread, through what the agent registered ------------------------------- */

    /* Each gives true if a callback or hook was called. References are local ones of the event; they die when it
     * returns. The thread is the calling Java thread. JVMDI and JVMTI alike; unload exists on JVMDI only. */
    bool raise_vm_init(Raise how = Raise::if_enabled);
    bool raise_vm_death(Raise how = Raise::if_enabled);
    bool raise_thread_start(Raise how = Raise::if_enabled);
    bool raise_thread_end(Raise how = Raise::if_enabled);
    bool raise_single_step(Method& method, jlocation at, Raise how = Raise::if_enabled);
    bool raise_breakpoint(Method& method, jlocation at, Raise how = Raise::if_enabled);
    bool raise_frame_pop(Method& method, Raise how = Raise::if_enabled);
    bool raise_method_entry(Method& method, Raise how = Raise::if_enabled);
    bool raise_method_exit(Method& method, Raise how = Raise::if_enabled);
    bool raise_exception(Method& method, jlocation at, Object* exception, Method* catch_method = nullptr,
                         jlocation catch_at = 0, Raise how = Raise::if_enabled);
    bool raise_exception_catch(Method& method, jlocation at, Object* exception, Raise how = Raise::if_enabled);
    bool raise_class_load(Class& clazz, Raise how = Raise::if_enabled);
    bool raise_class_prepare(Class& clazz, Raise how = Raise::if_enabled);
    bool raise_class_unload(Class& clazz, Raise how = Raise::if_enabled);
    bool raise_field_access(Method& method, jlocation at, Field& field, Object* object, Raise how = Raise::if_enabled);
    bool raise_field_modification(Method& method, jlocation at, Field& field, Object* object, Value value,
                                  Raise how = Raise::if_enabled);
    /* Runs `body` as an event callback runs: in a local frame of its own, whose references other threads may use while
     * it lasts. For calling a callback or hook directly, with arguments of the test's choice. */
    void in_event(const std::function<void()>& body);

    jvmtiEventCallbacks callbacks{};          /* as SetEventCallbacks left it */
    jint callbacks_size = 0;                  /* the size that was passed */
    JVMDI_EventHook hook = nullptr;           /* as SetEventHook left it */
    bool enabled(jint event);                 /* by the number of the mode's interface, for all threads */
    bool enabled(jint event, Thread& thread); /* for all or for this one */

    /* ---- Locking ----------------------------------------------------------------------------------------------- */

    std::unique_lock<Mutex> lock(); /* for scripting while other threads run */

    struct State; /* the inner state (internal.h) */
    State& state() { return *inner; }

private:
    friend jint run_agent_thread(Thread*, const std::function<void(JNIEnv*)>&);
    static std::unique_ptr<Running> launch(std::function<void()> body);
    jobject make_local(Object* object);
    jobject make_global(Object* object);
    std::unique_ptr<State> inner;
};

} // namespace sim

#endif
