/* sim_jni_arrays.cpp: JNI's arrays. */
#include "sim/jni_types.h"

#include <cstdlib>
#include <cstring>

namespace sim {

static bool refuse_length(JniCall& call, jsize length) {
    if (length >= 0) return false;
    raise(call.thread, "java/lang/NegativeArraySizeException", std::to_string(length));
    return true;
}

static bool refuse_range(JniCall& call, const Array& array, jsize start, jsize count) {
    if (start >= 0 && count >= 0 && start <= array.length - count) return false;
    raise(call.thread, "java/lang/ArrayIndexOutOfBoundsException", std::to_string(start));
    return true;
}

static jsize JNICALL get_array_length(JNIEnv* env, jarray array) {
    JniCall call(env, "GetArrayLength", array);
    const Array* found = call.failed ? nullptr : call.get<Array>(array);
    return found ? found->length : 0;
}

/* ---- Object arrays ---------------------------------------------------------------------------------------------- */

static jobjectArray JNICALL new_object_array(JNIEnv* env, jsize length, jclass element, jobject initial) {
    JniCall call(env, "NewObjectArray", length, element, initial);
    if (call.failed || refuse_length(call, length)) return nullptr;
    Class* element_class = call.get<Class>(element);
    Object* first = call.get(initial);
    if (!element_class) return nullptr;
    Array& array = the_sim().new_object_array(*element_class, length);
    std::fill(array.objects.begin(), array.objects.end(), first);
    return static_cast<jobjectArray>(new_local(&array));
}

static jobject JNICALL get_object_element(JNIEnv* env, jobjectArray array, jsize index) {
    JniCall call(env, "GetObjectArrayElement", array, index);
    const Array* found = call.failed ? nullptr : call.get<Array>(array);
    if (!found || refuse_range(call, *found, index, 1)) return nullptr;
    return new_local(found->objects[static_cast<size_t>(index)]);
}

static void JNICALL set_object_element(JNIEnv* env, jobjectArray array, jsize index, jobject value) {
    JniCall call(env, "SetObjectArrayElement", array, index, value);
    Array* found = call.failed ? nullptr : call.get<Array>(array);
    Object* element = call.get(value);
    if (!found || refuse_range(call, *found, index, 1)) return;
    const std::string& type = found->type->signature; /* [Lname; or [[... */
    std::string element_type = type[1] == 'L' ? type.substr(2, type.size() - 3) : type.substr(1);
    if (element && !element->type->is_subclass_of(&the_sim().class_named(element_type)))
        raise(call.thread, "java/lang/ArrayStoreException", element->type->name);
    else
        found->objects[static_cast<size_t>(index)] = element;
}

/* ---- Primitive arrays: A is the JNI array type ------------------------------------------------------------------ */

template <class V> static std::string array_name(const char* verb, const char* what) {
    return std::string(verb) + JniType<V>::name + "Array" + what;
}

/* The array behind an argument, of V's type. */
template <class V> static Array* array_of(JniCall& call, jarray array) {
    Array* found = call.get<Array>(array);
    if (found && found->element_type != JniType<V>::character) {
        the_sim().misuse(call.name + ": " + found->label + " is of another type");
        return nullptr;
    }
    return found;
}

template <class V, class A> static A JNICALL new_array(JNIEnv* env, jsize length) {
    JniCall call(env, array_name<V>("New", ""), length);
    if (call.failed || refuse_length(call, length)) return nullptr;
    return static_cast<A>(new_local(&the_sim().new_array(JniType<V>::character, length)));
}

template <class V, class A> static V* JNICALL get_elements(JNIEnv* env, A array, jboolean* is_copy) {
    JniCall call(env, array_name<V>("Get", "Elements"), array);
    Array* found = call.failed ? nullptr : array_of<V>(call, array);
    if (!found) return nullptr;
    if (is_copy) *is_copy = found->is_copy;
    size_t size = found->storage.size();
    void* elements = found->storage.data();
    if (found->is_copy) {
        elements = std::malloc(size ? size : 1);
        if (size) std::memcpy(elements, found->storage.data(), size);
    }
    Pin& pin = state().pins[elements];
    pin.object = found;
    pin.copy = found->is_copy;
    ++pin.count;
    return static_cast<V*>(elements);
}

template <class V, class A> static void JNICALL release_elements(JNIEnv* env, A array, V* elements, jint how) {
    JniCall call(env, array_name<V>("Release", "Elements"), array, how);
    Array* found = call.failed ? nullptr : array_of<V>(call, array);
    if (!found) return;
    auto pin = state().pins.find(elements);
    if (pin == state().pins.end() || pin->second.object != found) {
        the_sim().misuse(call.name + ": not elements of " + found->label);
        return;
    }
    if (pin->second.copy && how != JNI_ABORT && !found->storage.empty())
        std::memcpy(found->storage.data(), elements, found->storage.size());
    if (how == JNI_COMMIT || --pin->second.count > 0) return;
    if (pin->second.copy) std::free(elements);
    state().pins.erase(pin);
}

template <class V, class A>
static void JNICALL set_region(JNIEnv* env, A array, jsize start, jsize count, const V* values) {
    JniCall call(env, array_name<V>("Set", "Region"), array, start, count, *values);
    Array* found = call.failed ? nullptr : array_of<V>(call, array);
    if (!found || refuse_range(call, *found, start, count)) return;
    std::copy_n(values, count, &found->template at<V>(start));
}

template <class V, class A> static void JNICALL get_region(JNIEnv* env, A array, jsize start, jsize count, V* values) {
    JniCall call(env, array_name<V>("Get", "Region"), array, start, count);
    Array* found = call.failed ? nullptr : array_of<V>(call, array);
    if (!found || refuse_range(call, *found, start, count)) return;
    std::copy_n(&found->template at<V>(start), count, values);
}

void fill_jni_arrays(JNINativeInterface_& table) {
    table.GetArrayLength = get_array_length;
    table.NewObjectArray = new_object_array;
    table.GetObjectArrayElement = get_object_element;
    table.SetObjectArrayElement = set_object_element;
#define T(name, V, character, member)                                   \
    table.New##name##Array = new_array<V, V##Array>;                    \
    table.Get##name##ArrayElements = get_elements<V, V##Array>;         \
    table.Release##name##ArrayElements = release_elements<V, V##Array>; \
    table.Get##name##ArrayRegion = get_region<V, V##Array>;             \
    table.Set##name##ArrayRegion = set_region<V, V##Array>;
    SIM_PRIMITIVES(T)
#undef T
}

} // namespace sim
