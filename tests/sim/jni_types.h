/* jni_types.h: the primitive types of JNI, for the families of functions that exist once per type. */
#ifndef SIM_JNI_TYPES_H
#define SIM_JNI_TYPES_H

#include "sim/internal.h"

/* T(name in JNI functions, C type, type character, member of jvalue) */
#define SIM_PRIMITIVES(T)        \
    T(Boolean, jboolean, 'Z', z) \
    T(Byte, jbyte, 'B', b)       \
    T(Char, jchar, 'C', c)       \
    T(Short, jshort, 'S', s)     \
    T(Int, jint, 'I', i)         \
    T(Long, jlong, 'J', j)       \
    T(Float, jfloat, 'F', f)     \
    T(Double, jdouble, 'D', d)

namespace sim {

/* A JNI type: its name in function names, its character, and how a Value and a jvalue hold it. */
template <class V> struct JniType;

#define T(type_name, V, type_character, member)                       \
    template <> struct JniType<V> {                                   \
        static constexpr const char* name = #type_name;               \
        static constexpr char character = type_character;             \
        static V out(const Value& value) { return value.raw.member; } \
        static Value in(V v) { return Value(v); }                     \
    };
SIM_PRIMITIVES(T)
#undef T

template <> struct JniType<jobject> {
    static constexpr const char* name = "Object";
    static constexpr char character = 'L';
    static jobject out(const Value& value) { return new_local(value.object); }
    static Value in(jobject) = delete; /* a reference is resolved by the call that got it */
};

} // namespace sim

#endif
