#include "entry/agent_entry.h"

#include "registry/agent_tmap.h"
#include "support/text.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_interface.h"
#include "vm/vm_memory.h"

/* ---- Answers that stay the VM's own, handed to the caller ---- */

jint agent_get_sourcefilename(JNIEnv* env, jclass clazz, char** name) {
    return vm_get_source_file_name(current_env(env), clazz, name);
}

jint agent_get_classfields(JNIEnv* env, jclass clazz, jint* count, jfieldID** fields) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->GetClassFields(clazz, count, fields); });
}

jint agent_get_fieldname(JNIEnv* env, jclass clazz, jfieldID field, char** name, char** signature, jint* modifiers) {
    env = current_env(env);
    jint err = vm_call_either(
        env, [=](jvmtiEnv* vm) { return vm->GetFieldName(clazz, field, name, signature, NULL); },
        [=](JVMDI_Interface_1* vm) { return vm->GetFieldName(clazz, field, name, signature); });
    if (err) return err;
    return vm_call(env, [=](auto* vm) { return vm->GetFieldModifiers(clazz, field, modifiers); });
}

jint agent_get_implementedinterfaces(JNIEnv* env, jclass clazz, jint* count, jclass** interfaces) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->GetImplementedInterfaces(clazz, count, interfaces); });
}

jint agent_get_versionnumber(JNIEnv* env, jint* version) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->GetVersionNumber(version); });
}

/* ---- Queries that only JVMDI has ---- */

template <class Call> static jint jvmdi_only(JNIEnv* env, Call call) {
    return vm_call_either(
        current_env(env), [](jvmtiEnv*) { return JVMDI_ERROR_NOT_IMPLEMENTED; }, call);
}

jint agent_get_exceptionhandlertable(JNIEnv* env, jclass clazz, jmethodID method, jint* count,
                                     JVMDI_exception_handler_entry** table) {
    return jvmdi_only(env,
                      [=](JVMDI_Interface_1* vm) { return vm->GetExceptionHandlerTable(clazz, method, count, table); });
}

jint agent_get_thrownexceptions(JNIEnv* env, jclass clazz, jmethodID method, jint* count, jclass** classes) {
    return jvmdi_only(env,
                      [=](JVMDI_Interface_1* vm) { return vm->GetThrownExceptions(clazz, method, count, classes); });
}

jint agent_get_maxstack(JNIEnv* env, jclass clazz, jmethodID method, jint* size) {
    return jvmdi_only(env, [=](JVMDI_Interface_1* vm) { return vm->GetMaxStack(clazz, method, size); });
}

/* ---- Answers parked in the calling thread's record ---- */

/* Makes `query`, whose answer arrives in *answer, and parks the answer in `slot` of the calling thread's record, whose
 * earlier answers are released first. */
template <class T, class Query> static jint parked(T* tmap_record::*slot, T** answer, Query query) {
    tmap_record* record = TMap_tid2local(agent_self());
    if (!record) return JVMDI_ERROR_NULL_POINTER;
    if (jint err = query(record)) return err;
    record->*slot = *answer;
    return 0;
}

jint agent_get_linenumbertable(JNIEnv* env, jclass clazz, jmethodID method, jint* count,
                               JVMDI_line_number_entry** table) {
    env = current_env(env);
    return parked(&tmap_record::line_number_table, table,
                  [=](tmap_record*) { return vm_get_line_number_table(env, clazz, method, count, table); });
}

/* Gives back what is left of JVMTI's table: the generic signatures, which JVMDI's entries have no room for, and the
 * table itself; with `texts` the names and signatures too. A release that fails costs memory, not the answer. */
static void release_jvmti_variables(jvmtiLocalVariableEntry* table, jint count, bool texts) {
    for (jint i = 0; i < count; i++) {
        if (texts) {
            vm_deallocate(table[i].name);
            vm_deallocate(table[i].signature);
        }
        if (table[i].generic_signature) vm_deallocate(table[i].generic_signature);
    }
    vm_deallocate(table);
}

/* JVMTI's local variable table in JVMDI's layout, in VM memory. */
static jint converted_variables(jmethodID method, jint* count, JVMDI_local_variable_entry** table) {
    jint found;
    jvmtiLocalVariableEntry* variables;
    if (jint err = jvmti->GetLocalVariableTable(method, &found, &variables)) return err;

    JVMDI_local_variable_entry* converted;
    jint err = vm_allocate((size_t)found * sizeof *converted, &converted);
    for (jint i = 0; !err && i < found; i++) {
        const jvmtiLocalVariableEntry& from = variables[i];
        converted[i] = {from.start_location, from.length, from.name, from.signature, from.slot};
    }
    release_jvmti_variables(variables, found, err != 0);
    if (err) return err;
    *count = found;
    *table = converted;
    return 0;
}

jint agent_get_localvariabletable(JNIEnv* env, jclass clazz, jmethodID method, jint* count,
                                  JVMDI_local_variable_entry** table) {
    env = current_env(env);
    return parked(&tmap_record::local_variable_table, table, [=](tmap_record* record) {
        jint err = vm_call_either(
            env, [=](jvmtiEnv*) { return converted_variables(method, count, table); },
            [=](JVMDI_Interface_1* vm) { return vm->GetLocalVariableTable(clazz, method, count, table); });
        if (!err) record->local_variable_count = *count;
        return err;
    });
}

static bool can_get_bytecodes() {
    if (jvmti && !jvmti_features.can_get_bytecodes) return false;
    return !jvmdi || jvmdi_features.can_get_bytecodes;
}

jint agent_get_bytecodes(JNIEnv* env, jclass clazz, jmethodID method, jint* count, unsigned char** bytes) {
    env = current_env(env);
    if (!can_get_bytecodes()) {
        *count = 0;
        *bytes = NULL;
        return JVMDI_ERROR_NOT_IMPLEMENTED;
    }
    return parked(&tmap_record::bytecodes, bytes,
                  [=](tmap_record*) { return vm_get_bytecodes(env, clazz, method, count, bytes); });
}

/* ---- The methods of a class, described in an array that the calling thread's record keeps ---- */

/* Makes room for `count` methods: a larger array stays, so that `method_count` is its room, not an answer's length. */
static jint reserve_methods(tmap_record* record, jint count) {
    if (record->methods && record->method_count >= count) return 0;
    if (record->methods)
        if (jint err = deallocate_or_report(record->methods)) return err;
    record->methods = NULL;
    record->method_count = 0;
    if (jint err = allocate_or_report((size_t)count * sizeof *record->methods, &record->methods)) return err;
    record->method_count = count;
    return 0;
}

/* `refused` tells a VM that does not answer, which ends the list, from a failure of memory, which ends the query. */
static jint describe_method(JNIEnv* env, jclass clazz, jmethodID method, method_entry* entry, bool* refused) {
    char* name;
    char* signature;
    entry->method = method;
    jint err = vm_get_method_modifiers(env, clazz, method, &entry->modifiers);
    if (!err) err = vm_get_method_name(env, clazz, method, &name, &signature);
    *refused = err != 0;
    if (err) return err;
    copy_text(entry->name, name);
    copy_text(entry->signature, signature);
    if ((err = deallocate_or_report(name))) return err;
    return deallocate_or_report(signature);
}

static jint describe_methods(JNIEnv* env, jclass clazz, const jmethodID* methods, jint count, tmap_record* record,
                             bool* refused) {
    if (jint err = reserve_methods(record, count)) return err;
    for (jint i = 0; i < count; i++)
        if (jint err = describe_method(env, clazz, methods[i], &record->methods[i], refused)) return err;
    return 0;
}

static jint describe_class_methods(JNIEnv* env, jclass clazz, jint* count, tmap_record* record, bool* refused) {
    jmethodID* methods;
    jint err = vm_get_class_methods(env, clazz, count, &methods);
    *refused = err != 0;
    if (err) return err;
    err = describe_methods(env, clazz, methods, *count, record, refused);
    vm_deallocate(methods);
    return err;
}

jint agent_get_classmethods(JNIEnv* env, jclass clazz, jmethodID method, jint* count, method_entry** methods) {
    env = current_env(env);
    tmap_record* record = TMap_tid2local(agent_self());
    if (!record) return JVMDI_ERROR_NULL_POINTER;
    jint found = 1;
    bool refused = false;
    const jint err = method ? describe_methods(env, clazz, &method, 1, record, &refused)
                            : describe_class_methods(env, clazz, &found, record, &refused);
    if (err && !refused) return err;
    *count = err ? 0 : found;
    *methods = record->methods;
    return err;
}

/* ---- Capabilities ---- */

/* JVMDI's capabilities word in JVMTI's terms. What has no counterpart, or may not be used through the agent, is off. */
static JVMDI_capabilities jvmdi_terms(const jvmtiCapabilities& from) {
    JVMDI_capabilities to = {};
    to.can_watch_field_modification = from.can_generate_field_modification_events;
    to.can_watch_field_access = from.can_generate_field_access_events;
    to.can_get_bytecodes = from.can_get_bytecodes;
    to.can_get_synthetic_attribute = from.can_get_synthetic_attribute;
    to.can_get_owned_monitor_info = from.can_get_owned_monitor_info;
    to.can_get_current_contended_monitor = from.can_get_current_contended_monitor;
    to.can_get_monitor_info = from.can_get_monitor_info;
    to.can_pop_frame = from.can_pop_frame;
    to.can_redefine_classes = from.can_redefine_classes;
    return to;
}

jint agent_get_capabilities(JNIEnv* env, JVMDI_capabilities* capabilities) {
    return vm_call_either(
        current_env(env),
        [=](jvmtiEnv* vm) -> jint {
            jvmtiCapabilities possessed = {};
            if (jint err = vm->GetCapabilities(&possessed)) return err;
            *capabilities = jvmdi_terms(possessed);
            return 0;
        },
        [=](JVMDI_Interface_1* vm) {
            if (jint err = vm->GetCapabilities(capabilities)) return err;
            patch_capabilities(capabilities);
            return 0;
        });
}
