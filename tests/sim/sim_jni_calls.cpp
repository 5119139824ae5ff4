/* sim_jni_calls.cpp: JNI's calls of methods, in their three forms: "...", va_list and jvalue array. */
#include "sim/jni_types.h"

#include <cstdarg>

namespace sim {

/* ---- Arguments -------------------------------------------------------------------------------------------------- */

/* The type characters of a method's parameters: "(I[JLjava/lang/String;)V" gives "ILL". */
static std::string parameter_types(const std::string& signature) {
    std::string types;
    for (size_t at = 1; at < signature.size() && signature[at] != ')'; ++at) {
        char type = signature[at];
        while (signature[at] == '[') type = 'L', ++at;
        if (signature[at] == 'L') at = signature.find(';', at);
        types += type;
    }
    return types;
}

static std::vector<jvalue> collect(jmethodID id, va_list list) {
    std::vector<jvalue> args;
    Sim& sim = the_sim();
    auto guard = sim.lock();
    if (!state().ids.count(id)) return args;
    for (char type : parameter_types(reinterpret_cast<Method*>(id)->signature)) {
        jvalue arg{};
        switch (type) { /* small types arrive as int, float as double */
        case 'Z': arg.z = va_arg(list, int) != 0; break;
        case 'B': arg.b = static_cast<jbyte>(va_arg(list, int)); break;
        case 'C': arg.c = static_cast<jchar>(va_arg(list, int)); break;
        case 'S': arg.s = static_cast<jshort>(va_arg(list, int)); break;
        case 'I': arg.i = va_arg(list, jint); break;
        case 'J': arg.j = va_arg(list, jlong); break;
        case 'F': arg.f = static_cast<jfloat>(va_arg(list, jdouble)); break;
        case 'D': arg.d = va_arg(list, jdouble); break;
        default: arg.l = va_arg(list, jobject);
        }
        args.push_back(arg);
    }
    return args;
}

static Value typed(char type, const jvalue& raw, const std::string& use) {
    Value value;
    value.type = type;
    value.raw = raw;
    if (type == 'L') value.object = resolve(raw.l, use);
    return value;
}

/* The arguments as Values, and as text for the log. */
static std::vector<Value> arguments_of(jmethodID id, const jvalue* raw, const std::string& use) {
    std::vector<Value> args;
    if (!state().ids.count(id)) return args;
    size_t index = 0;
    for (char type : parameter_types(reinterpret_cast<Method*>(id)->signature))
        args.push_back(typed(type, raw[index++], use));
    return args;
}

static Raw text_of(jmethodID id, const std::vector<Value>& args) {
    std::string text = show(id);
    for (const Value& arg : args) text += ", " + show(arg);
    return {text};
}

/* ---- The call --------------------------------------------------------------------------------------------------- */

/* What the object's class makes of the method that was named. */
static Method* selected(Method* method, const Object* receiver) {
    Method* own = receiver ? receiver->type->find_method(method->name, method->signature) : nullptr;
    return own ? own : method;
}

/* Runs a method's body, without the lock, and gives its value; a pending exception makes it a zero. */
static Value run(JniCall& call, Method* method, Object* receiver, std::vector<Value> args,
                 const std::string& function) {
    auto body = method->body;
    if (!body) return Value();
    Invocation invocation{method, receiver, std::move(args), function, call.thread->java};
    call.unlock();
    Value value = body(invocation);
    call.relock();
    return call.thread->pending ? Value() : value;
}

static void check_receiver(JniCall& call, const Method* method, const Object* receiver, char type) {
    if (method->is_static() == (receiver != nullptr))
        the_sim().misuse(call.name + ": " + method->label() + (receiver ? " is static" : " needs an object"));
    else if (receiver && !receiver->type->is_subclass_of(method->owner))
        the_sim().misuse(call.name + ": " + receiver->label + " has no method " + method->label());
    if (type && method->return_type() != type)
        the_sim().misuse(call.name + ": " + method->label() + method->signature + " gives another type");
}

static Value call_method(JNIEnv* env, const std::string& function, jobject holder, jmethodID id, const jvalue* raw,
                         bool is_static, char type) {
    std::vector<Value> args;
    {
        auto guard = the_sim().lock();
        args = arguments_of(id, raw, "JNI." + function);
    }
    JniCall call(env, function, holder, text_of(id, args));
    if (call.failed) return Value();
    Method* method = method_of(id, call.name);
    Object* receiver = is_static ? nullptr : call.get(holder);
    if (is_static) call.get<Class>(holder);
    if (!method) return Value();
    check_receiver(call, method, receiver, type);
    Value value = run(call, selected(method, receiver), receiver, std::move(args), function);
    if (type == 'L') value.raw.l = new_local(value.object);
    return value;
}

/* One type's calls: instance and static, each in three forms. */
template <class V> struct Calls {
    static std::string name(const char* verb, const char* form) {
        return verb + std::string(JniType<V>::name) + "Method" + form;
    }
    static V out(const Value& value) {
        if constexpr (std::is_same_v<V, jobject>)
            return value.raw.l;
        else
            return JniType<V>::out(value);
    }
    template <class Holder, bool is_static> struct Of {
        static constexpr const char* verb = is_static ? "CallStatic" : "Call";
        static V JNICALL array(JNIEnv* env, Holder holder, jmethodID id, const jvalue* args) {
            return out(call_method(env, name(verb, "A"), holder, id, args, is_static, JniType<V>::character));
        }
        static V JNICALL list(JNIEnv* env, Holder holder, jmethodID id, va_list args) {
            return out(call_method(env, name(verb, ""), holder, id, collect(id, args).data(), is_static,
                                   JniType<V>::character));
        }
        static V JNICALL plain(JNIEnv* env, Holder holder, jmethodID id, ...) {
            va_list args;
            va_start(args, id);
            V value = list(env, holder, id, args);
            va_end(args);
            return value;
        }
    };
};

template <class Holder, bool is_static> struct VoidCalls {
    static constexpr const char* verb = is_static ? "CallStaticVoidMethod" : "CallVoidMethod";
    static void JNICALL array(JNIEnv* env, Holder holder, jmethodID id, const jvalue* args) {
        call_method(env, verb + std::string("A"), holder, id, args, is_static, 'V');
    }
    static void JNICALL list(JNIEnv* env, Holder holder, jmethodID id, va_list args) {
        call_method(env, verb, holder, id, collect(id, args).data(), is_static, 'V');
    }
    static void JNICALL plain(JNIEnv* env, Holder holder, jmethodID id, ...) {
        va_list args;
        va_start(args, id);
        list(env, holder, id, args);
        va_end(args);
    }
};

/* ---- Constructors ----------------------------------------------------------------------------------------------- */

static jobject construct(JNIEnv* env, const std::string& function, jclass clazz, jmethodID id, const jvalue* raw) {
    std::vector<Value> args;
    {
        auto guard = the_sim().lock();
        args = arguments_of(id, raw, "JNI." + function);
    }
    JniCall call(env, function, clazz, text_of(id, args));
    if (call.failed) return nullptr;
    Class* type = call.get<Class>(clazz);
    Method* constructor = method_of(id, call.name);
    if (!type || !constructor) return nullptr;
    if (constructor->name != "<init>") the_sim().misuse(call.name + ": " + show(id) + " is no constructor");
    Object& object = the_sim().new_object(*type);
    run(call, constructor, &object, std::move(args), function);
    return call.thread->pending ? nullptr : new_local(&object);
}

static jobject JNICALL new_object_array_form(JNIEnv* env, jclass clazz, jmethodID id, const jvalue* args) {
    return construct(env, "NewObjectA", clazz, id, args);
}
static jobject JNICALL new_object_list(JNIEnv* env, jclass clazz, jmethodID id, va_list args) {
    return construct(env, "NewObject", clazz, id, collect(id, args).data());
}
static jobject JNICALL new_object_plain(JNIEnv* env, jclass clazz, jmethodID id, ...) {
    va_list args;
    va_start(args, id);
    jobject object = new_object_list(env, clazz, id, args);
    va_end(args);
    return object;
}

void fill_jni_calls(JNINativeInterface_& table) {
    table.NewObject = new_object_plain;
    table.NewObjectV = new_object_list;
    table.NewObjectA = new_object_array_form;
#define FORMS(name, instance_calls, static_calls)         \
    table.Call##name##Method = instance_calls::plain;     \
    table.Call##name##MethodV = instance_calls::list;     \
    table.Call##name##MethodA = instance_calls::array;    \
    table.CallStatic##name##Method = static_calls::plain; \
    table.CallStatic##name##MethodV = static_calls::list; \
    table.CallStatic##name##MethodA = static_calls::array;
    using VoidInstance = VoidCalls<jobject, false>;
    using VoidStatic = VoidCalls<jclass, true>;
    FORMS(Void, VoidInstance, VoidStatic)
#define T(name, V, character, member)                  \
    {                                                  \
        using Instance = Calls<V>::Of<jobject, false>; \
        using Static = Calls<V>::Of<jclass, true>;     \
        FORMS(name, Instance, Static)                  \
    }
    SIM_PRIMITIVES(T)
    T(Object, jobject, 'L', l)
#undef T
#undef FORMS
}

} // namespace sim
