#include "registry/prep_list.h"

#include "registry/agent_uref.h"
#include "registry/class_info.h"
#include "support/report.h"
#include "vm/vm_call.h"
#include "vm/vm_interface.h"
#include "vm/vm_newer.h"

#include <stdlib.h>
#include <string.h>

enum { ADDED_RECORDS = 100, CLASS_PREPARED = JVMDI_CLASS_STATUS_PREPARED };

prepared_classes prep_list;

static void forget(prepared_classes* list) {
    list->array = NULL;
    list->capacity = 0;
    list->count = 0;
}

void PrepList_init(prepared_classes* list) {
    monitor_init(&list->monitor);
    forget(list);
}

jint PrepList_reset(prepared_classes* list) {
    if (!monitor_lock(&list->monitor, "PrepList_reset")) return 0;
    if (list->array) vm_deallocate(list->array);
    forget(list);
    return (jint)monitor_unlock(&list->monitor, "PrepList_reset");
}

jint PrepList_expand(prepared_classes* list, jint more) {
    const size_t wanted = (size_t)list->capacity + (size_t)more;
    class_info* larger;
    if (jint err = vm_allocate(wanted * sizeof *larger, &larger)) return err;
    if (list->array) {
        memcpy(larger, list->array, (size_t)list->capacity * sizeof *larger);
        vm_deallocate(list->array);
    }
    list->array = larger;
    list->capacity += more;
    return 0;
}

static bool is_prepared(JNIEnv* env, jclass clazz) {
    jint status = 0;
    if (jint err = vm_get_class_status(env, clazz, &status)) {
        report_failure("add_class_to_class_list: GetClassStatus failed -- %s\n", err);
        return false;
    }
    return (status & CLASS_PREPARED) != 0;
}

/* Makes room for one record more; false, after its message, without memory for it. */
static bool has_room(prepared_classes* list) {
    if (list->count < list->capacity) return true;
    const jint err = PrepList_expand(list, ADDED_RECORDS);
    if (err) report_failure("PrepList_add_unlocked: expand failed -- %s\n", err);
    return !err;
}

static bool describe(JNIEnv* env, jclass clazz, class_info* info) {
    const jint err = agent_get_classinfo(env, clazz, info);
    if (err) report_failure("add_class_to_class_list: agent_get_classinfo failed -- %s\n", err);
    return !err;
}

void PrepList_add_unlocked(prepared_classes* list, JNIEnv* env, jclass clazz, jint check) {
    if (!clazz || (check && !is_prepared(env, clazz)) || !has_room(list)) return;
    if (describe(env, clazz, &list->array[list->count])) list->count++;
}

void PrepList_add_unasked(prepared_classes* list, JNIEnv* env, jclass clazz) {
    jint created;
    class_info info;
    const jclass uref = (jclass)URef_from_local(env, clazz, &created);
    if (!uref || !describe(env, uref, &info)) return;
    if (!monitor_lock(&list->monitor, "PrepList_add_unasked")) return;
    if (has_room(list)) list->array[list->count++] = info;
    monitor_unlock(&list->monitor, "PrepList_add_unasked");
}

jint PrepList_add_locked(prepared_classes* list, JNIEnv* env, jclass clazz, jint check) {
    if (!monitor_lock(&list->monitor, "PrepList_add_locked")) return 0;
    PrepList_add_unlocked(&prep_list, env, clazz, check);
    return (jint)monitor_unlock(&list->monitor, "PrepList_add_locked");
}

jint PrepList_get(prepared_classes* list, JNIEnv*, jint* count, class_info** array) {
    if (!monitor_lock(&list->monitor, "PrepList_get")) return JVMDI_ERROR_INTERNAL;
    *count = list->count;
    *array = list->array;
    forget(list);
    monitor_unlock(&list->monitor, "PrepList_get");
    return 0;
}

/* Enters one loaded class in the reference table, and in the list if it is prepared. */
static void seed_class(prepared_classes* list, JNIEnv* env, jclass loaded, jint bucket) {
    const jobject global = jvmti ? env->NewGlobalRef(loaded) : loaded;
    jint created = 0;
    const jclass uref = (jclass)URef_from_global_nolock(env, global, bucket, &created);
    PrepList_add_unlocked(list, env, uref, 1);
    if (!vm_is_newer()) return;
    if (!created && global) env->DeleteGlobalRef(global);
    env->DeleteLocalRef(loaded);
}

jint PrepList_seed(prepared_classes* list, JNIEnv* env) {
    jint count = 0;
    jclass* classes = NULL;
    if (jint err = vm_get_loaded_classes(env, &count, &classes)) return err;
    vm_expect_local_references(env, count);
    if (!monitor_lock(&list->monitor, "PrepList_seed")) return 0;
    if (jint err = PrepList_expand(list, count)) return err; /* the list stays locked, as its users know it */
    jint* buckets = (jint*)malloc((size_t)count * sizeof *buckets + 1);
    if (!buckets) agent_fatal("PrepList_seed: out of memory\n");
    for (jint i = 0; i < count; i++) buckets[i] = hashf(classes[i]);
    /* against the order of the agent's global lock step, see agent_monitor.h */
    monitor_lock(&URef_monitor, "PrepList_seed");
    for (jint i = 0; i < count; i++) seed_class(list, env, classes[i], buckets[i]);
    monitor_unlock(&URef_monitor, "PrepList_seed");
    free(buckets);
    if (vm_is_newer()) vm_deallocate(classes);
    return (jint)monitor_unlock(&list->monitor, "PrepList_seed");
}
