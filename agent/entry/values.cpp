#include "entry/agent_entry.h"

/* Fields and arrays: sixty-three entry points in six families. What a family does stands in one template; its macro
 * names the members, one for each type of jni_types.h; members that differ from their family are written out below
 * it. */
#include "entry/jni_types.h"
#include "registry/resources.h"
#include "vm/vm_env.h"
#include "vm/vm_newer.h"

#include <stdio.h>

/* The header lists every member by name: the compiler is to object to one that stands only here. */
#pragma GCC diagnostic error "-Wmissing-declarations"

/* The setters' result. */
static jint exception_result(JNIEnv* env) { return clear_exception(env) ? JVMDI_ERROR_INTERNAL : 0; }

/* A reference that JNI was asked for, made durable; null if there is none or an exception was raised. */
static jobject checked_and_kept(JNIEnv* env, jobject made, const char* label) {
    if (clear_exception(env)) made = NULL;
    return keep_alive(env, made, label);
}

/* ---- Getters of instance fields ---- */

template <class V> static V field(JNIEnv* env, jobject object, jfieldID id, V (JNIEnv::*get)(jobject, jfieldID)) {
    return (current_env(env)->*get)(object, id);
}

#define FIELD_GETTER(name, Name)                                                         \
    AGENT_API j##name agent_get_field_##name(JNIEnv* env, jobject object, jfieldID id) { \
        return field(env, object, id, &JNIEnv::Get##Name##Field);                        \
    }
JNI_NUMBERS(FIELD_GETTER)

jboolean agent_get_field_boolean(JNIEnv* env, jobject object, jfieldID id) {
    const jboolean value = field(env, object, id, &JNIEnv::GetBooleanField);
    if (value > 1) printf("get_field_boolean() -> %d\n", value);
    return value;
}

jobject agent_get_field_object(JNIEnv* env, jobject object, jfieldID id) {
    env = current_env(env);
    return keep_alive(env, field(env, object, id, &JNIEnv::GetObjectField), "field");
}

/* ---- Getters of static fields ---- */

template <class V> static V static_field(JNIEnv* env, jclass clazz, jfieldID id, V (JNIEnv::*get)(jclass, jfieldID)) {
    return (current_env(env)->*get)(clazz, id);
}

#define STATIC_FIELD_GETTER(name, Name)                                                       \
    AGENT_API j##name agent_get_static_field_##name(JNIEnv* env, jclass clazz, jfieldID id) { \
        return static_field(env, clazz, id, &JNIEnv::GetStatic##Name##Field);                 \
    }
JNI_PRIMITIVES(STATIC_FIELD_GETTER)

jobject agent_get_static_field_object(JNIEnv* env, jclass clazz, jfieldID id) {
    env = current_env(env);
    return keep_alive(env, static_field(env, clazz, id, &JNIEnv::GetStaticObjectField), "static field");
}

/* ---- Setters of instance and static fields ---- */

template <class Owner, class V>
static jint set_field(JNIEnv* env, Owner owner, jfieldID id, V value, void (JNIEnv::*set)(Owner, jfieldID, V)) {
    env = current_env(env);
    (env->*set)(owner, id, value);
    return exception_result(env);
}

#define FIELD_SETTERS(name, Name)                                                                         \
    AGENT_API jint agent_set_field_##name(JNIEnv* env, jobject object, jfieldID id, j##name value) {      \
        return set_field(env, object, id, value, &JNIEnv::Set##Name##Field);                              \
    }                                                                                                     \
    AGENT_API jint agent_set_static_field_##name(JNIEnv* env, jclass clazz, jfieldID id, j##name value) { \
        return set_field(env, clazz, id, value, &JNIEnv::SetStatic##Name##Field);                         \
    }
JNI_TYPES(FIELD_SETTERS)

/* ---- Array elements ---- */

/* The calls that JNI has for the elements of one type of array. */
template <class Array, class E> struct element_calls {
    E* (JNIEnv::*get)(Array, jboolean*);
    void (JNIEnv::*release)(Array, E*, jint);
    void (JNIEnv::*get_region)(Array, jsize, jsize, E*);
};

/* Elements that were copied go back to the array as they were when they were copied. */
template <class Array, class E>
static void copy_element(JNIEnv* env, Array array, jint index, E* value, const element_calls<Array, E>& calls) {
    jboolean is_copy = JNI_FALSE;
    E* elements = (env->*calls.get)(array, &is_copy);
    *value = elements ? elements[index] : E();
    if (elements && is_copy) (env->*calls.release)(array, elements, 0);
}

template <class Array, class E>
static jint get_element(JNIEnv* env, Array array, jint index, E* value, const element_calls<Array, E>& calls) {
    env = current_env(env);
    if (!vm_is_newer()) {
        copy_element(env, array, index, value, calls);
        return 0;
    }
    /* the program may run on and store into the array itself */
    *value = E();
    (env->*calls.get_region)(array, index, 1, value);
    return exception_result(env);
}

template <class Array, class E>
static jint set_element(JNIEnv* env, Array array, jint index, E value,
                        void (JNIEnv::*set)(Array, jsize, jsize, const E*)) {
    env = current_env(env);
    (env->*set)(array, index, 1, &value);
    return exception_result(env);
}

#define ARRAY_ELEMENT(name, Name)                                                                                   \
    AGENT_API jint agent_get_##name##array_element(JNIEnv* env, j##name##Array array, jint index, j##name* value) { \
        return get_element(env, array, index, value,                                                                \
                           {&JNIEnv::Get##Name##ArrayElements, &JNIEnv::Release##Name##ArrayElements,               \
                            &JNIEnv::Get##Name##ArrayRegion});                                                      \
    }                                                                                                               \
    AGENT_API jint agent_set_##name##array_element(JNIEnv* env, j##name##Array array, jint index, j##name value) {  \
        return set_element(env, array, index, value, &JNIEnv::Set##Name##ArrayRegion);                              \
    }
JNI_PRIMITIVES(ARRAY_ELEMENT)

jobject agent_get_objarray_element(JNIEnv* env, jobjectArray array, jint index) {
    env = current_env(env);
    return checked_and_kept(env, env->GetObjectArrayElement(array, index), "objarray[]");
}

jint agent_set_objarray_element(JNIEnv* env, jobjectArray array, jint index, jobject value) {
    env = current_env(env);
    env->SetObjectArrayElement(array, index, value);
    return exception_result(env);
}

/* ---- New arrays ---- */

template <class Array>
static Array new_array(JNIEnv* env, jint length, Array* array, Array (JNIEnv::*make)(jsize), const char* label) {
    env = current_env(env);
    return *array = (Array)checked_and_kept(env, (env->*make)(length), label);
}

#define NEW_ARRAY(name, Name, label)                                                                    \
    AGENT_API j##name##Array agent_new_##name##array(JNIEnv* env, jint length, j##name##Array* array) { \
        return new_array(env, length, array, &JNIEnv::New##Name##Array, label);                         \
    }
NEW_ARRAY(byte, Byte, "bytearray")
NEW_ARRAY(char, Char, "chararray")
NEW_ARRAY(short, Short, "shortarray")
NEW_ARRAY(int, Int, "intarray")
NEW_ARRAY(long, Long, "longarray")
NEW_ARRAY(float, Float, "floatarray")
NEW_ARRAY(double, Double, "doublearray")

jbooleanArray agent_new_booleanarray(JNIEnv* env, jint length, jbooleanArray* array) {
    env = current_env(env);
    jbooleanArray local = env->NewBooleanArray(length);
    if (clear_exception(env)) local = NULL;
    *array = (jbooleanArray)keep_alive(env, local, "booleanarray");
    return local;
}

jobjectArray agent_new_objectarray(JNIEnv* env, jint length, jclass element, jobject initial) {
    env = current_env(env);
    return (jobjectArray)checked_and_kept(env, env->NewObjectArray(length, element, initial), "objarray");
}
