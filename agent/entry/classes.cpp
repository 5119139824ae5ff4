#include "entry/agent_entry.h"

#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/class_info.h"
#include "registry/prep_list.h"
#include "support/report.h"
#include "vm/vm_env.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

#include <string.h>

/* The characters that the last agent_get_stringvalue handed out as a copy, and a reference to their string. */
static const char* held_characters;
static jstring held_string;

/* The URef of a class that JNI was asked for. Without one: 0 with a null URef, 113 if an exception says why. */
static jint uref_of_class(JNIEnv* env, jclass found, jclass* uref) {
    if (found) {
        *uref = intern(env, found);
        return 0;
    }
    *uref = NULL;
    return clear_exception(env) ? JVMDI_ERROR_INTERNAL : 0;
}

static jint describe_found_class(JNIEnv* env, jclass found, class_info* info) {
    jint err = uref_of_class(env, found, &info->clazz);
    return found ? agent_get_classinfo(env, info->clazz, info) : err;
}

/* Whether the class has this name, as FindClass would take it. */
static bool is_named(JNIEnv* env, jclass clazz, const char* name) {
    char* signature;
    if (vm_get_class_signature(env, clazz, &signature)) return false;
    const size_t length = strlen(name);
    const bool same = *name == '[' ? strcmp(signature, name) == 0
                                   : *signature == 'L' && strncmp(signature + 1, name, length) == 0 &&
                                         strcmp(signature + 1 + length, ";") == 0;
    vm_deallocate(signature);
    return same;
}

/* The class of that name among those that the loader (null: the bootstrap loader) has given out; null if there is none. */
static jclass given_out(JNIEnv* env, jobject loader, const char* name) {
    jint count = 0;
    jclass* classes = NULL;
    if (jvmti->GetClassLoaderClasses(loader, &count, &classes)) return NULL;
    vm_expect_local_references(env, count);
    jclass found = NULL;
    for (jint i = 0; i < count; i++) {
        if (!found && is_named(env, classes[i], name))
            found = classes[i];
        else
            env->DeleteLocalRef(classes[i]);
    }
    vm_deallocate(classes);
    return found;
}

/* The agent thread's context class loader, which is the one that FindClass asks there; null when it cannot be had. */
static jobject own_loader(JNIEnv* env) {
    JVMDI_thread_info info = {};
    if (vm_get_thread_info(env, NULL, &info)) return NULL;
    vm_deallocate(info.name);
    env->DeleteLocalRef(info.thread_group);
    return info.context_class_loader;
}

/* A class that FindClass need not look for. FindClass runs the program: it asks class loaders that are Java code, and it
 * initialises the class, or waits until a thread that is in the middle of that, and stopped, has done it. */
static jclass find_loaded_class(JNIEnv* env, const char* name) {
    const jobject loader = own_loader(env);
    jclass found = loader ? given_out(env, loader, name) : NULL;
    if (loader) env->DeleteLocalRef(loader);
    return found ? found : given_out(env, NULL, name);
}

jint agent_get_class(JNIEnv* env, const char* name, class_info* info) {
    if (!info) return JVMDI_ERROR_INTERNAL;
    env = current_env(env);
    info->clazz = NULL;
    jclass found = vm_is_newer() ? find_loaded_class(env, name) : NULL;
    if (!found) found = env->FindClass(name);
    return describe_found_class(env, found, info);
}

jint agent_get_superclass(JNIEnv* env, jclass clazz, class_info* info) {
    if (!info) return JVMDI_ERROR_INTERNAL;
    env = current_env(env);
    info->clazz = NULL;
    return describe_found_class(env, env->GetSuperclass(clazz), info);
}

jint agent_get_objectclass(JNIEnv* env, jobject object, jclass* clazz) {
    if (!clazz) return JVMDI_ERROR_INTERNAL;
    env = current_env(env);
    return uref_of_class(env, env->GetObjectClass(object), clazz);
}

jint agent_get_classes(JNIEnv* env, jint* count, class_info** classes) {
    env = current_env(env);
    tmap_record* record = TMap_tid2tm(agent_self());
    if (!record) return JVMDI_ERROR_NULL_POINTER;
    if (jint err = PrepList_get(&prep_list, env, count, classes))
        return report_failure("AgentThread: JVMDI_GetLinkedClasses() failed -- %s\n", err);

    class_info* previous = record->classes;
    if (previous)
        if (jint err = deallocate_or_report(previous)) return err;
    record->classes = *classes;
    return 0;
}

static void release_held_string(JNIEnv* env) {
    if (!held_characters) return;
    env->ReleaseStringUTFChars(held_string, held_characters);
    env->DeleteGlobalRef(held_string);
    held_characters = NULL;
    held_string = NULL;
}

/* Keeps copied characters for the next call to release; without a reference to their string nobody can release them. */
static void hold_string(JNIEnv* env, jstring string, const char* characters) {
    jstring durable = (jstring)env->NewGlobalRef(string);
    if (!durable) return;
    held_string = durable;
    held_characters = characters;
}

jint agent_get_stringvalue(JNIEnv* env, jstring string, jint* length, const char** characters) {
    env = current_env(env);
    release_held_string(env);

    jboolean is_copy = JNI_FALSE;
    *characters = env->GetStringUTFChars(string, &is_copy);
    *length = *characters ? (jint)strlen(*characters) : 0;
    if (!*characters) clear_exception(env); /* the VM had no memory, and said so */
    if (*characters && is_copy) hold_string(env, string, *characters);
    return 0;
}

jboolean agent_is_instanceof(JNIEnv* env, jobject object, jclass clazz) {
    return current_env(env)->IsInstanceOf(object, clazz);
}

jint agent_get_arraylength(JNIEnv* env, jarray array) { return current_env(env)->GetArrayLength(array); }
