/* debug_classes.cpp: JVMTI and JVMDI: classes, fields and objects. */
#include "sim/debug_call.h"

namespace sim {

/* ---- Classes ---------------------------------------------------------------------------------------------------- */

static jint ti_get_class_signature(Api api, jclass clazz, char** signature, char** generic) {
    DebugCall call(api, "GetClassSignature", clazz);
    const Class* found = call.failed ? nullptr : call.get_class(clazz);
    if (!found) return call.code();
    if (signature) *signature = call.give_text(found->signature);
    if (generic) *generic = found->generic.empty() ? nullptr : call.give_text(found->generic);
    return JVMTI_ERROR_NONE;
}
static jint di_get_class_signature(Api api, jclass clazz, char** signature) {
    DebugCall call(api, "GetClassSignature", clazz);
    const Class* found = call.failed || !call.outputs(signature) ? nullptr : call.get_class(clazz);
    if (found) *signature = call.give_text(found->signature);
    return call.code();
}

static jint get_class_status(Api api, jclass clazz, jint* status) {
    DebugCall call(api, "GetClassStatus", clazz);
    const Class* found = call.failed || !call.outputs(status) ? nullptr : call.get_class(clazz);
    if (found) *status = found->status;
    return call.code();
}

static jint get_source_file_name(Api api, jclass clazz, char** name) {
    DebugCall call(api, "GetSourceFileName", clazz);
    const Class* found = call.failed || !call.outputs(name) ? nullptr : call.get_class(clazz);
    if (!found) return call.code();
    if (!found->source_file) return call.refuse(JVMTI_ERROR_ABSENT_INFORMATION);
    *name = call.give_text(*found->source_file);
    return JVMTI_ERROR_NONE;
}

static jint is_interface(Api api, jclass clazz, jboolean* answer) {
    DebugCall call(api, "IsInterface", clazz);
    const Class* found = call.failed || !call.outputs(answer) ? nullptr : call.get_class(clazz);
    if (found) *answer = found->is_interface;
    return call.code();
}

/* Members and interfaces can be had of a prepared class only. */
static Class* prepared_class(DebugCall& call, jclass clazz) {
    Class* found = call.get_class(clazz);
    if (found && !(found->status & JVMTI_CLASS_STATUS_PREPARED)) {
        call.refuse(JVMTI_ERROR_CLASS_NOT_PREPARED);
        return nullptr;
    }
    return found;
}

template <class Id, class Member>
static jint give_ids(DebugCall& call, std::deque<Member>& members, jint* count, Id** ids) {
    std::vector<Id> all;
    for (Member& member : members) all.push_back(member.id());
    *count = static_cast<jint>(all.size());
    *ids = copy_array(all, call.name);
    return JVMTI_ERROR_NONE;
}
static jint get_class_methods(Api api, jclass clazz, jint* count, jmethodID** methods) {
    DebugCall call(api, "GetClassMethods", clazz);
    Class* found = call.failed || !call.outputs(count, methods) ? nullptr : prepared_class(call, clazz);
    return found ? give_ids(call, found->methods, count, methods) : call.code();
}
static jint get_class_fields(Api api, jclass clazz, jint* count, jfieldID** fields) {
    DebugCall call(api, "GetClassFields", clazz);
    Class* found = call.failed || !call.outputs(count, fields) ? nullptr : prepared_class(call, clazz);
    return found ? give_ids(call, found->all_fields, count, fields) : call.code();
}

static jint get_implemented_interfaces(Api api, jclass clazz, jint* count, jclass** interfaces) {
    DebugCall call(api, "GetImplementedInterfaces", clazz);
    const Class* found = call.failed || !call.outputs(count, interfaces) ? nullptr : prepared_class(call, clazz);
    if (!found) return call.code();
    *count = static_cast<jint>(found->interfaces.size());
    *interfaces = call.give_all<jclass>(found->interfaces);
    return JVMTI_ERROR_NONE;
}

static jint get_loaded_classes(Api api, jint* count, jclass** classes) {
    DebugCall call(api, "GetLoadedClasses");
    if (call.failed || !call.outputs(count, classes)) return call.code();
    *count = static_cast<jint>(the_sim().loaded_classes.size());
    *classes = call.give_all<jclass>(the_sim().loaded_classes);
    return JVMTI_ERROR_NONE;
}

/* JVMTI only: the agent has no use for it elsewhere. A null loader stands for the bootstrap loader. */
static jint get_class_loader_classes(Api api, jobject loader, jint* count, jclass** classes) {
    DebugCall call(api, "GetClassLoaderClasses", loader);
    if (call.failed || !call.outputs(count, classes)) return call.code();
    const Object* wanted = loader ? call.get<Object>(loader, JVMTI_ERROR_ILLEGAL_ARGUMENT) : nullptr;
    if (loader && !wanted) return call.code();
    std::vector<Class*> found;
    for (Class* candidate : the_sim().loaded_classes)
        if (candidate->loader == wanted) found.push_back(candidate);
    *count = static_cast<jint>(found.size());
    *classes = call.give_all<jclass>(found);
    return JVMTI_ERROR_NONE;
}

/* ---- Fields ----------------------------------------------------------------------------------------------------- */

static const Field* field_in(DebugCall& call, jclass clazz, jfieldID id) {
    if (call.failed || !call.get_class(clazz)) return nullptr;
    const Field* field = field_of(id, call.name);
    if (!field) call.refuse(JVMTI_ERROR_INVALID_FIELDID);
    return field;
}

static jint give_field_name(DebugCall& call, const Field* field, char** name, char** signature, char** generic) {
    if (!field) return call.code();
    if (name) *name = call.give_text(field->name);
    if (signature) *signature = call.give_text(field->signature);
    if (generic) *generic = field->generic.empty() ? nullptr : call.give_text(field->generic);
    return JVMTI_ERROR_NONE;
}
static jint ti_get_field_name(Api api, jclass clazz, jfieldID id, char** name, char** signature, char** generic) {
    DebugCall call(api, "GetFieldName", clazz, id);
    return give_field_name(call, field_in(call, clazz, id), name, signature, generic);
}
static jint di_get_field_name(Api api, jclass clazz, jfieldID id, char** name, char** signature) {
    DebugCall call(api, "GetFieldName", clazz, id);
    return give_field_name(call, field_in(call, clazz, id), name, signature, nullptr);
}
static jint get_field_modifiers(Api api, jclass clazz, jfieldID id, jint* modifiers) {
    DebugCall call(api, "GetFieldModifiers", clazz, id);
    const Field* field = call.failed || !call.outputs(modifiers) ? nullptr : field_in(call, clazz, id);
    if (field) *modifiers = field->modifiers;
    return call.code();
}

/* ---- Objects ---------------------------------------------------------------------------------------------------- */

static jint get_object_hash_code(Api api, jobject object, jint* hash) {
    DebugCall call(api, "GetObjectHashCode", object);
    if (call.failed || !call.outputs(hash)) return call.code();
    const Object* found = call.get<Object>(object, JVMTI_ERROR_INVALID_OBJECT);
    if (found) *hash = found->hash;
    return call.code();
}

/* ----------------------------------------------------------------------------------------------------------------- */

void fill_classes(jvmtiInterface_1_& ti, JVMDI_Interface_1& di) {
    ti.GetClassSignature = Ti<ti_get_class_signature>::call;
    di.GetClassSignature = Di<di_get_class_signature>::call;
    ti.GetClassStatus = Ti<get_class_status>::call;
    di.GetClassStatus = Di<get_class_status>::call;
    ti.GetSourceFileName = Ti<get_source_file_name>::call;
    di.GetSourceFileName = Di<get_source_file_name>::call;
    ti.IsInterface = Ti<is_interface>::call;
    di.IsInterface = Di<is_interface>::call;
    ti.GetClassMethods = Ti<get_class_methods>::call;
    di.GetClassMethods = Di<get_class_methods>::call;
    ti.GetClassFields = Ti<get_class_fields>::call;
    di.GetClassFields = Di<get_class_fields>::call;
    ti.GetImplementedInterfaces = Ti<get_implemented_interfaces>::call;
    di.GetImplementedInterfaces = Di<get_implemented_interfaces>::call;
    ti.GetLoadedClasses = Ti<get_loaded_classes>::call;
    di.GetLoadedClasses = Di<get_loaded_classes>::call;
    ti.GetClassLoaderClasses = Ti<get_class_loader_classes>::call;
    ti.GetFieldName = Ti<ti_get_field_name>::call;
    di.GetFieldName = Di<di_get_field_name>::call;
    ti.GetFieldModifiers = Ti<get_field_modifiers>::call;
    di.GetFieldModifiers = Di<get_field_modifiers>::call;
    ti.GetObjectHashCode = Ti<get_object_hash_code>::call;
    di.GetObjectHashCode = Di<get_object_hash_code>::call;
}

} // namespace sim
