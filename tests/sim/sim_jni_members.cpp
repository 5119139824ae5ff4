/* sim_jni_members.cpp: JNI's field and method IDs and the access to fields. */
#include "sim/jni_types.h"

namespace sim {

/* ---- IDs -------------------------------------------------------------------------------------------------------- */

static jmethodID find_method(JNIEnv* env, const char* function, jclass clazz, const char* name, const char* signature,
                             bool is_static) {
    JniCall call(env, function, clazz, name, signature);
    if (call.failed) return nullptr;
    const Class* found = call.get<Class>(clazz);
    Method* method = found ? found->find_method(name, signature) : nullptr;
    if (method && method->is_static() == is_static) return method->id();
    raise(call.thread, "java/lang/NoSuchMethodError", name);
    return nullptr;
}
static jmethodID JNICALL get_method_id(JNIEnv* env, jclass clazz, const char* name, const char* signature) {
    return find_method(env, "GetMethodID", clazz, name, signature, false);
}
static jmethodID JNICALL get_static_method_id(JNIEnv* env, jclass clazz, const char* name, const char* signature) {
    return find_method(env, "GetStaticMethodID", clazz, name, signature, true);
}

/* ---- Fields ----------------------------------------------------------------------------------------------------- */

static bool holds(const Field& field, char type) {
    return field.signature[0] == type || (type == 'L' && field.signature[0] == '[');
}

/* The place of a field's value; null, with misuse recorded, when the field does not fit the access. */
static Value* place_of(JniCall& call, jobject holder, jfieldID id, char type, bool is_static) {
    Field* field = field_of(id, call.name);
    if (!field || !holds(*field, type) || field->is_static() != is_static) {
        the_sim().misuse(call.name + ": " + show(id) + " is no such field");
        return nullptr;
    }
    Object* object = is_static ? call.get<Class>(holder) : call.get(holder);
    if (!object) {
        the_sim().misuse(call.name + ": no object");
        return nullptr;
    }
    if (is_static) return &field->static_value;
    if (!object->type->is_subclass_of(field->owner)) {
        the_sim().misuse(call.name + ": " + object->label + " has no field " + show(id));
        return nullptr;
    }
    auto found = object->fields.find(field);
    if (found == object->fields.end()) {
        Value zero = field->static_value; /* of an instance field: the zero of its type */
        found = object->fields.emplace(field, zero).first;
    }
    return &found->second;
}

template <class V> static std::string access_name(const char* verb, bool is_static) {
    return std::string(verb) + (is_static ? "Static" : "") + JniType<V>::name + "Field";
}

template <class V, bool is_static, class Holder> static V JNICALL get_field(JNIEnv* env, Holder holder, jfieldID id) {
    JniCall call(env, access_name<V>("Get", is_static), holder, id);
    if (call.failed) return V{};
    const Value* place = place_of(call, holder, id, JniType<V>::character, is_static);
    return place ? JniType<V>::out(*place) : V{};
}

template <class V, bool is_static, class Holder>
static void JNICALL set_field(JNIEnv* env, Holder holder, jfieldID id, V value) {
    JniCall call(env, access_name<V>("Set", is_static), holder, id, value);
    if (call.failed) return;
    Value* place = place_of(call, holder, id, JniType<V>::character, is_static);
    if (!place) return;
    if constexpr (std::is_same_v<V, jobject>)
        *place = Value(call.get(value));
    else
        *place = JniType<V>::in(value);
}

void fill_jni_members(JNINativeInterface_& table) {
    table.GetMethodID = get_method_id;
    table.GetStaticMethodID = get_static_method_id;
#define T(name, V, character, member)                          \
    table.Get##name##Field = get_field<V, false, jobject>;     \
    table.GetStatic##name##Field = get_field<V, true, jclass>; \
    table.Set##name##Field = set_field<V, false, jobject>;     \
    table.SetStatic##name##Field = set_field<V, true, jclass>;
    SIM_PRIMITIVES(T)
    T(Object, jobject, 'L', l)
#undef T
}

} // namespace sim
