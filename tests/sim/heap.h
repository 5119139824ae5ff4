/* heap.h: what lives in the simulated VM: values, objects, classes, methods, fields, arrays, threads and groups.
 *
 * These are plain records: a test makes them through Sim (sim.h) and then scripts them by writing their members. A test
 * that writes members while other threads run takes Sim::lock() for it.
 */
#ifndef SIM_HEAP_H
#define SIM_HEAP_H

#include "vm/jvmdi.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

struct Object;
struct Class;
struct Thread;
struct Invocation;

/* A Java value with its JNI type character: Z B C S I J F D, L (objects and arrays), V (none). */
struct Value {
    char type = 'V';
    jvalue raw{};
    Object* object = nullptr;

    Value() = default;
    Value(bool v) : type('Z') { raw.z = v; }
    Value(jboolean v) : type('Z') { raw.z = v; }
    Value(jbyte v) : type('B') { raw.b = v; }
    Value(jchar v) : type('C') { raw.c = v; }
    Value(jshort v) : type('S') { raw.s = v; }
    Value(jint v) : type('I') { raw.i = v; }
    Value(jlong v) : type('J') { raw.j = v; }
    Value(jfloat v) : type('F') { raw.f = v; }
    Value(jdouble v) : type('D') { raw.d = v; }
    Value(Object* v) : type('L'), object(v) {}
    Value(std::nullptr_t) : type('L') {}
};

/* The monitor of an object. Sim::own() sets owner and entry_count together with Thread::owned. */
struct Monitor {
    Thread* owner = nullptr;
    jint entry_count = 0;
    std::vector<Thread*> waiters;        /* threads that wait to own or re-own it */
    std::vector<Thread*> notify_waiters; /* threads that wait to be notified; JVMTI only */
};

struct Field {
    Class* owner;
    std::string name, signature;
    std::string generic; /* empty: no generic signature */
    jint modifiers;      /* 0x8: static */
    Value static_value;

    bool is_static() const { return (modifiers & 0x8) != 0; }
    jfieldID id() { return reinterpret_cast<jfieldID>(this); }
};

struct LineEntry {
    jlocation start;
    jint line;
};
struct LocalVariable {
    jlocation start;
    jint length;
    std::string name, signature, generic;
    jint slot;
};
struct Handler {
    jlocation start, end, handler;
    Class* exception; /* null: catches everything */
};

struct Method {
    Class* owner;
    std::string name, signature;
    std::string generic; /* empty: no generic signature */
    jint modifiers;      /* 0x8 static, 0x100 native, 0x400 abstract */
    bool synthetic = false;
    jlocation start = 0, end = 10;
    jint max_locals = 1, max_stack = 2;
    std::optional<std::vector<LineEntry>> lines;      /* absent: error 101 */
    std::optional<std::vector<LocalVariable>> locals; /* absent: error 101 */
    std::vector<jbyte> bytecodes;
    std::vector<Handler> handlers;
    std::vector<Class*> thrown;
    std::function<Value(Invocation&)> body; /* what a JNI call of the method runs; absent: gives a zero value */

    bool is_static() const { return (modifiers & 0x8) != 0; }
    bool is_native() const { return (modifiers & 0x100) != 0; }
    char return_type() const {
        return signature[signature.find(')') + 1] == '[' ? 'L' : signature[signature.find(')') + 1];
    }
    jmethodID id() { return reinterpret_cast<jmethodID>(this); }
    std::string label() const; /* "Foo.bar" */
};

/* What a method body sees. It may raise events, block and make JNI calls: the VM's lock is not held. */
struct Invocation {
    Method* method;
    Object* receiver;               /* null: static */
    std::vector<Value> args;        /* typed by the method's signature */
    std::string call;               /* the JNI function used, "CallIntMethodA" say */
    Thread* thread;                 /* the thread that runs it */
    void throws(Object* exception); /* leave `exception` pending when the body returns */
};

struct Object {
    Class* type = nullptr;
    jint hash = 0;     /* identity hash code; settable, may be negative or collide */
    std::string label; /* how the call log names it; settable */
    std::string text;  /* of a throwable: the message that ExceptionDescribe prints */
    std::map<const Field*, Value> fields;
    Monitor monitor;

    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;
    Value& operator[](std::string_view field); /* an instance field's value, by name */
};

struct String : Object {
    std::string utf;
    bool is_copy = true; /* what GetStringUTFChars answers; without a copy it gives the string's own characters */
};

struct Array : Object {
    char element_type = 'I'; /* Z B C S I J F D L */
    jsize length = 0;
    std::vector<unsigned char> storage; /* primitive elements; read them with at<T>() */
    std::vector<Object*> objects;       /* elements of type L */
    bool is_copy = true; /* what Get<Type>ArrayElements answers; without a copy it gives the array's own elements */

    template <class T> T& at(jsize index) { return reinterpret_cast<T*>(storage.data())[index]; }
};

struct Class : Object {
    std::string name;      /* JNI form: java/lang/Object, [I */
    std::string signature; /* Ljava/lang/Object;, [I */
    std::string generic;   /* empty: no generic signature */
    Class* super = nullptr;
    std::vector<Class*> interfaces;
    bool is_interface = false;
    jint status = 7; /* bits: 1 verified, 2 prepared, 4 initialised, 8 error */
    jint modifiers = 1;
    std::optional<std::string> source_file; /* absent: error 101 */
    Object* loader = nullptr;
    std::deque<Method> methods; /* in the VM's order */
    std::deque<Field> all_fields;

    Method& add_method(std::string name, std::string signature, jint modifiers = 1);
    Field& add_field(std::string name, std::string signature, jint modifiers = 1);
    Method* find_method(std::string_view name, std::string_view signature) const; /* here or in a superclass */
    Field* find_field(std::string_view name) const;                               /* here or in a superclass */
    bool is_subclass_of(const Class* other) const;                                /* interfaces count */
};

struct ThreadGroup : Object {
    std::string name;
    jint max_priority = 10;
    bool daemon = false;
    ThreadGroup* parent = nullptr; /* null: a top group */
};

/* One activation on a thread's stack. Its address serves as the JVMDI frame ID. */
struct Frame {
    Thread* thread;
    Method* method;
    jlocation location;
    std::map<jint, Value> locals; /* by slot; a slot without a value gives error 35 */
    bool notify_pop = false;      /* NotifyFramePop was called */

    jframeID id() { return reinterpret_cast<jframeID>(this); }
};

struct Thread : Object {
    enum class Life { fresh, alive, ended };
    std::string name;
    jint priority = 5;
    bool daemon = false;
    ThreadGroup* group = nullptr;
    Object* context_loader = nullptr;
    Life life = Life::fresh;
    jint suspend_count = 0;          /* bookkeeping only: nothing is stopped */
    std::optional<jint> jvmti_state; /* GetThreadState; absent: made from life, suspend_count, interrupted */
    jint jvmdi_status = JVMDI_THREAD_STATUS_RUNNING; /* first word of GetThreadStatus; the second tells suspend_count */
    std::deque<std::unique_ptr<Frame>> frames;       /* top first; Sim::push_frame() adds one */
    std::vector<Object*> owned;                      /* owned monitors */
    Object* contended = nullptr;                     /* current contended monitor */
    Object* pending_async = nullptr;                 /* exception of the last StopThread */
    bool interrupted = false;                        /* InterruptThread was called */
    jint pops = 0;                                   /* frames popped by PopFrame */
};

} // namespace sim

#endif
