/* sim_jni.cpp: JNI without the typed families: classes, references, exceptions, strings. */
#include "sim/internal.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace sim {

/* ---- Classes and objects ---------------------------------------------------------------------------------------- */

static jclass JNICALL find_class(JNIEnv* env, const char* name) {
    JniCall call(env, "FindClass", name);
    if (call.failed) return nullptr;
    auto found = state().classes.find(name);
    if (found == state().classes.end()) {
        raise(call.thread, "java/lang/NoClassDefFoundError", name);
        return nullptr;
    }
    return static_cast<jclass>(new_local(found->second));
}

static jclass JNICALL get_superclass(JNIEnv* env, jclass clazz) {
    JniCall call(env, "GetSuperclass", clazz);
    if (call.failed) return nullptr;
    const Class* found = call.get<Class>(clazz);
    return found ? static_cast<jclass>(new_local(found->super)) : nullptr;
}

static jclass JNICALL get_object_class(JNIEnv* env, jobject object) {
    JniCall call(env, "GetObjectClass", object);
    if (call.failed) return nullptr;
    const Object* found = call.get(object);
    return found ? static_cast<jclass>(new_local(found->type)) : nullptr;
}

static jboolean JNICALL is_instance_of(JNIEnv* env, jobject object, jclass clazz) {
    JniCall call(env, "IsInstanceOf", object, clazz);
    if (call.failed) return JNI_FALSE;
    const Object* found = call.get(object);
    const Class* wanted = call.get<Class>(clazz);
    return wanted && (!found || found->type->is_subclass_of(wanted));
}

static jboolean JNICALL is_same_object(JNIEnv* env, jobject one, jobject other) {
    JniCall call(env, "IsSameObject", one, other);
    return !call.failed && call.get(one) == call.get(other);
}

/* ---- References ------------------------------------------------------------------------------------------------- */

static jobject JNICALL new_global_ref(JNIEnv* env, jobject object) {
    JniCall call(env, "NewGlobalRef", object);
    return call.failed ? nullptr : new_global(call.get(object));
}
static void JNICALL delete_global_ref(JNIEnv* env, jobject object) {
    JniCall call(env, "DeleteGlobalRef", object);
    if (!call.failed) delete_global(object);
}
static jobject JNICALL new_local_ref(JNIEnv* env, jobject object) {
    JniCall call(env, "NewLocalRef", object);
    return call.failed ? nullptr : new_local(call.get(object));
}
static void JNICALL delete_local_ref(JNIEnv* env, jobject object) {
    JniCall call(env, "DeleteLocalRef", object);
    if (!call.failed) delete_local(object);
}
static jint JNICALL ensure_local_capacity(JNIEnv* env, jint capacity) {
    JniCall call(env, "EnsureLocalCapacity", capacity);
    return call.failed ? call.code() : JNI_OK; /* frames grow as needed */
}
static jint JNICALL push_local_frame(JNIEnv* env, jint capacity) {
    JniCall call(env, "PushLocalFrame", capacity);
    if (call.failed) return call.code();
    push_frame(call.thread, true, false);
    return JNI_OK;
}
static jobject JNICALL pop_local_frame(JNIEnv* env, jobject result) {
    JniCall call(env, "PopLocalFrame", result);
    if (call.failed) return nullptr;
    Object* kept = call.get(result);
    if (!call.thread->frames.back().pushed) {
        the_sim().misuse("JNI.PopLocalFrame without PushLocalFrame on " + call.thread->java->label);
        return nullptr;
    }
    pop_frame(call.thread, "its local frame was popped");
    return new_local(kept);
}

/* ---- Exceptions ------------------------------------------------------------------------------------------------- */

static jint JNICALL throw_object(JNIEnv* env, jthrowable exception) {
    JniCall call(env, "Throw", exception);
    if (call.failed) return call.code();
    call.thread->pending = call.get(exception);
    return JNI_OK;
}
static jthrowable JNICALL exception_occurred(JNIEnv* env) {
    JniCall call(env, "ExceptionOccurred");
    return call.failed ? nullptr : static_cast<jthrowable>(new_local(call.thread->pending));
}
static jboolean JNICALL exception_check(JNIEnv* env) {
    JniCall call(env, "ExceptionCheck");
    return !call.failed && call.thread->pending;
}
static void JNICALL exception_describe(JNIEnv* env) {
    JniCall call(env, "ExceptionDescribe");
    Object* exception = call.thread->pending;
    if (call.failed || !exception) return;
    std::fprintf(stderr, "%s: %s\n", exception->type->name.c_str(), exception->text.c_str());
    if (the_sim().describe_clears) call.thread->pending = nullptr;
}
static void JNICALL exception_clear(JNIEnv* env) {
    JniCall call(env, "ExceptionClear");
    if (!call.failed) call.thread->pending = nullptr;
}

/* ---- Strings ---------------------------------------------------------------------------------------------------- */

static jstring JNICALL new_string_utf(JNIEnv* env, const char* utf) {
    JniCall call(env, "NewStringUTF", utf);
    return call.failed || !utf ? nullptr : static_cast<jstring>(new_local(&the_sim().new_string(utf)));
}
static jsize JNICALL get_string_utf_length(JNIEnv* env, jstring string) {
    JniCall call(env, "GetStringUTFLength", string);
    const String* found = call.failed ? nullptr : call.get<String>(string);
    return found ? static_cast<jsize>(found->utf.size()) : 0;
}
static const char* JNICALL get_string_utf_chars(JNIEnv* env, jstring string, jboolean* is_copy) {
    JniCall call(env, "GetStringUTFChars", string);
    String* found = call.failed ? nullptr : call.get<String>(string);
    if (!found) return nullptr;
    if (is_copy) *is_copy = found->is_copy;
    char* chars = found->is_copy ? strdup(found->utf.c_str()) : found->utf.data();
    Pin& pin = state().pins[chars];
    pin.object = found;
    pin.copy = found->is_copy;
    ++pin.count;
    return chars;
}
static void JNICALL release_string_utf_chars(JNIEnv* env, jstring string, const char* chars) {
    JniCall call(env, "ReleaseStringUTFChars", string);
    const String* found = call.get<String>(string);
    auto pin = state().pins.find(chars);
    if (pin == state().pins.end() || pin->second.object != found) {
        the_sim().misuse("JNI.ReleaseStringUTFChars: not characters of " + show(string));
        return;
    }
    if (--pin->second.count > 0) return;
    if (pin->second.copy) std::free(const_cast<char*>(chars));
    state().pins.erase(pin);
}

/* ---- The VM ----------------------------------------------------------------------------------------------------- */

static jint JNICALL get_java_vm(JNIEnv* env, JavaVM** vm) {
    JniCall call(env, "GetJavaVM");
    if (call.failed) return call.code();
    *vm = the_sim().vm();
    return JNI_OK;
}

void fill_jni(JNINativeInterface_& table) {
    table.FindClass = find_class;
    table.GetSuperclass = get_superclass;
    table.GetObjectClass = get_object_class;
    table.IsInstanceOf = is_instance_of;
    table.IsSameObject = is_same_object;
    table.NewGlobalRef = new_global_ref;
    table.DeleteGlobalRef = delete_global_ref;
    table.NewLocalRef = new_local_ref;
    table.DeleteLocalRef = delete_local_ref;
    table.EnsureLocalCapacity = ensure_local_capacity;
    table.PushLocalFrame = push_local_frame;
    table.PopLocalFrame = pop_local_frame;
    table.Throw = throw_object;
    table.ExceptionOccurred = exception_occurred;
    table.ExceptionCheck = exception_check;
    table.ExceptionDescribe = exception_describe;
    table.ExceptionClear = exception_clear;
    table.NewStringUTF = new_string_utf;
    table.GetStringUTFLength = get_string_utf_length;
    table.GetStringUTFChars = get_string_utf_chars;
    table.ReleaseStringUTFChars = release_string_utf_chars;
    table.GetJavaVM = get_java_vm;
}

} // namespace sim
