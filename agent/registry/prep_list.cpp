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

static jint seeded_records; /* how many records the list had after its last seeding; under its monitor */

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

/* The URef of a loaded class, for the holder of URef_monitor. */
static jclass own_class(JNIEnv* env, jclass loaded, jint bucket) {
    const jobject global = jvmti ? env->NewGlobalRef(loaded) : loaded;
    jint created = 0;
    const jclass uref = (jclass)URef_from_global_nolock(env, global, bucket, &created);
    if (vm_is_newer() && !created && global) env->DeleteGlobalRef(global);
    return uref;
}

/* Enters loaded classes in the reference table, and in the list if they are prepared. */
static void seed_classes(prepared_classes* list, JNIEnv* env, const jclass* classes, jint count) {
    jint* buckets = (jint*)malloc((size_t)count * sizeof *buckets + 1);
    if (!buckets) agent_fatal("PrepList_seed: out of memory\n");
    for (jint i = 0; i < count; i++) buckets[i] = hashf(classes[i]);
    /* against the order of the agent's global lock step, see agent_monitor.h */
    monitor_lock(&URef_monitor, "PrepList_seed");
    for (jint i = 0; i < count; i++) PrepList_add_unlocked(list, env, own_class(env, classes[i], buckets[i]), 1);
    monitor_unlock(&URef_monitor, "PrepList_seed");
    free(buckets);
}

/* The same of one class on a newer VM. The table's lock is held for no longer than the table needs: the program runs, and its
 * threads that start or end wait for it. */
static void seed_class(prepared_classes* list, JNIEnv* env, jclass loaded, bool check) {
    const jint bucket = hashf(loaded);
    monitor_lock(&URef_monitor, "seed_class");
    const jclass uref = own_class(env, loaded, bucket);
    monitor_unlock(&URef_monitor, "seed_class");
    PrepList_add_unlocked(list, env, uref, check ? 1 : 0);
    env->DeleteLocalRef(loaded);
}

/* The same on a newer VM, to the end of the classes or of the VM. */
static void seed_classes_running(prepared_classes* list, JNIEnv* env, const jclass* classes, jint count) {
    const jint alive = shared_load(vm_init_done);
    for (jint i = 0; i < count && shared_load(vm_init_done) == alive; i++) seed_class(list, env, classes[i], true);
}

jint PrepList_seed(prepared_classes* list, JNIEnv* env) {
    jint count = 0;
    jclass* classes = NULL;
    if (jint err = vm_get_loaded_classes(env, &count, &classes)) return err;
    vm_expect_local_references(env, count);
    if (!monitor_lock(&list->monitor, "PrepList_seed")) return 0;
    const jint err = PrepList_expand(list, count);
    if (err && !vm_is_newer()) return err; /* the list stays locked, as its users know it */
    if (!err) (vm_is_newer() ? seed_classes_running : seed_classes)(list, env, classes, count);
    seeded_records = list->count;
    if (vm_is_newer()) vm_deallocate(classes);
    const jint unlocked = (jint)monitor_unlock(&list->monitor, "PrepList_seed");
    return err ? err : unlocked;
}

/* Whether the class is the one of the record at *next, which then is the record after it. */
static bool is_next(const prepared_classes* list, JNIEnv* env, jint* next, jint end, jclass clazz) {
    if (*next >= end || !env->IsSameObject(list->array[*next].clazz, clazz)) return false;
    ++*next;
    return true;
}

/* Leaves at the front of `classes` those prepared ones that the list does not have, and gives their number.
 *
 * The VM gives its classes in the order in which it gave them before, new ones in between. So the records of the last seeding, and
 * those that were added since, are met in their order. *is_certain tells whether all were: otherwise the list has a class that the
 * VM no longer gives, or has it elsewhere, and what is left may be in the list. */
static jint sort_out_new(const prepared_classes* list, JNIEnv* env, jclass* classes, jint count, bool* is_certain) {
    const jint seeded_end = seeded_records < list->count ? seeded_records : list->count;
    jint seeded = 0, added = seeded_end, others = 0;
    for (jint i = 0; i < count; i++) {
        const bool listed =
            is_next(list, env, &seeded, seeded_end, classes[i]) || is_next(list, env, &added, list->count, classes[i]);
        if (!listed && is_prepared(env, classes[i]))
            classes[others++] = classes[i];
        else
            env->DeleteLocalRef(classes[i]);
    }
    *is_certain = seeded == seeded_end && added == list->count;
    return others;
}

/* Room for all of them at once: each expansion copies the list. A failure is met again, and reported, where they are added. */
static void add_new(prepared_classes* list, JNIEnv* env, const jclass* classes, jint count) {
    const jint room = list->capacity - list->count;
    if (count > room) PrepList_expand(list, count - room);
    for (jint i = 0; i < count; i++) seed_class(list, env, classes[i], false);
}

jint PrepList_refresh(prepared_classes* list, JNIEnv* env) {
    jint count = 0;
    jclass* classes = NULL;
    if (jint err = vm_get_loaded_classes(env, &count, &classes)) return err;
    vm_expect_local_references(env, count);
    if (!monitor_lock(&list->monitor, "PrepList_refresh")) return 0;
    bool is_certain;
    const jint others = sort_out_new(list, env, classes, count, &is_certain);
    if (is_certain)
        add_new(list, env, classes, others);
    else
        for (jint i = 0; i < others; i++) env->DeleteLocalRef(classes[i]);
    vm_deallocate(classes);
    const jint unlocked = (jint)monitor_unlock(&list->monitor, "PrepList_refresh");
    if (is_certain) return unlocked;
    PrepList_reset(list);
    return PrepList_seed(list, env);
}
