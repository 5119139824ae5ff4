#include "event/filters.h"

#include "registry/agent_uref.h"
#include "support/report.h"
#include "vm/vm_call.h"
#include "vm/vm_interface.h"
#include "vm/vm_newer.h"

#include <stdlib.h>
#include <string.h>

enum { METHOD_ACC_ABSTRACT = 0x400 };

/* One filter: strings of its own in kinds 1 to 4, raw values in kinds 5 and 6. In VM memory. */
struct filter {
    uint32_t kind; /* enum filter_kind; 5 turns into 6 on the thread that raises the exception */
    filter* next;
    uintptr_t first;  /* class name, or class                              */
    uintptr_t second; /* method name, or method                            */
    uintptr_t third;  /* method signature, or URef of the arming exception */
};

static filter* filter_list; /* newest first */

/* A filter that was removed. A walk that stands on it still needs its link into the list, so the retired have links of
 * their own. */
struct retirement {
    filter* of;
    retirement* next;
};

/* The list has no lock, and a thread that walks it may be suspended in the VM in the middle of the walk, while the debugger
 * clears a filter. So what is removed while somebody walks is given back only when nobody does. */
static jint filter_walkers;
static retirement* retired_filters;

static char* text_of(uintptr_t field) { return (char*)field; }

static bool is_empty(uintptr_t text) { return !text || !*text_of(text); }

static uintptr_t copy_of(const char* text) { return text ? (uintptr_t)strdup(text) : 0; }

static void free_strings(const filter* of) {
    free(text_of(of->first));
    free(text_of(of->second));
    free(text_of(of->third));
}

static jint add_filter(const filter& wanted) {
    filter* added;
    if (jint err = vm_allocate(sizeof *added, &added))
        return report_failure("event_setfilter: Allocate failed -- %s\n", err);
    *added = wanted;
    added->next = filter_list;
    shared_store(filter_list, added);
    return 0;
}

jint event_setfilter_br(JNIEnv*, uint32_t kind, const char* class_name, const char* method_name,
                        const char* signature) {
    filter wanted = {kind, NULL, copy_of(class_name), copy_of(method_name), copy_of(signature)};
    const jint err = add_filter(wanted);
    if (err) free_strings(&wanted);
    return err;
}

jint event_setfilter_ex(JNIEnv*, uint32_t kind, uintptr_t first, uintptr_t second) {
    return add_filter({kind, NULL, first, second, 0});
}

static void release_filter(JNIEnv* env, filter* removed) {
    if (removed->kind <= FILTER_CAUGHT)
        free_strings(removed);
    else if (removed->third)
        URef_delete(env, (jobject)removed->third);
    vm_deallocate(removed);
}

/* Whether a thread is in the middle of a walk. Written as an addition, which takes its turn with those of the walkers:
 * one that comes later sees the list without what was removed before this call. */
static bool is_being_walked() { return __atomic_add_fetch(&filter_walkers, 0, __ATOMIC_SEQ_CST) != 0; }

static void put_back(retirement* first, retirement* last) {
    last->next = shared_load(retired_filters);
    while (!__atomic_compare_exchange_n(&retired_filters, &last->next, first, false, __ATOMIC_SEQ_CST,
                                        __ATOMIC_SEQ_CST)) {}
}

/* Gives back the filters that were removed, unless somebody walks: who walks last does it then. The list is taken before the
 * look at the walkers, so that none of them can stand on what is in it; otherwise it is put back, and looked at again, for
 * they may have gone meanwhile. */
static void release_retired(JNIEnv* env) {
    while (__atomic_load_n(&retired_filters, __ATOMIC_SEQ_CST) && !is_being_walked()) {
        retirement* taken = __atomic_exchange_n(&retired_filters, (retirement*)NULL, __ATOMIC_SEQ_CST);
        if (!taken) return;
        if (is_being_walked()) {
            retirement* last = taken;
            while (last->next) last = last->next;
            put_back(taken, last);
            continue;
        }
        while (retirement* next = taken) {
            taken = next->next;
            release_filter(env, next->of);
            free(next);
        }
    }
}

static void retire_filter(JNIEnv* env, filter* removed) {
    retirement* added = (retirement*)malloc(sizeof *added);
    if (!added) return; /* rather lost than used after it is freed */
    added->of = removed;
    put_back(added, added);
    release_retired(env);
}

/* Unlinks the first filter that `matches`; null when there is none. */
template <class Matches> static filter* unlink_filter(Matches matches) {
    for (filter** link = &filter_list; *link; link = &(*link)->next) {
        filter* candidate = *link;
        if (!matches(candidate)) continue;
        shared_store(*link, candidate->next);
        return candidate;
    }
    return NULL;
}

bool event_filter_holds(jobject uref) {
    for (const filter* held = filter_list; held; held = held->next) {
        const uint32_t kind = shared_load(held->kind);
        if (kind != FILTER_UNCAUGHT && kind != FILTER_UNCAUGHT_ARMED) continue;
        if (held->first == (uintptr_t)uref || shared_load(held->third) == (uintptr_t)uref) return true;
    }
    return false;
}

static bool same_text(uintptr_t field, const char* text) {
    return field && text ? strcmp(text_of(field), text) == 0 : !field && !text;
}

jint event_clearfilter_br(JNIEnv* env, uint32_t kind, const char* class_name, const char* method_name,
                          const char* signature) {
    filter* removed = unlink_filter([=](const filter* candidate) {
        if (shared_load(candidate->kind) != kind) return false;
        if (kind == FILTER_METHOD)
            return same_text(candidate->second, method_name) && same_text(candidate->third, signature);
        return (kind == FILTER_CLASSLOAD || kind == FILTER_THROWN) && same_text(candidate->first, class_name);
    });
    if (removed) retire_filter(env, removed);
    return 0;
}

jint event_clearfilter_ex(JNIEnv* env, uint32_t kind, uintptr_t first, uintptr_t second) {
    filter* removed = unlink_filter([=](const filter* candidate) {
        return shared_load(candidate->kind) == kind && candidate->first == first && candidate->second == second;
    });
    if (removed) retire_filter(env, removed);
    return 0;
}

jint same_classname(JNIEnv* env, const char* class_name, jclass clazz) {
    char* signature;
    if (jint err = vm_get_class_signature(env, clazz, &signature)) {
        report_failure("same_classname:GetClassSignature failed -- %s\n", err);
        return 0;
    }
    char* name = signature;
    if (*name == 'L') {
        name++;
        name[strcspn(name, ";")] = '\0';
    }
    const jint same = strcmp(name, class_name) == 0;
    if (jint err = vm_deallocate(signature)) report_failure("same_classname: Deallocate failed -- %s\n", err);
    return same;
}

static void release_method_answer(const void* answer) {
    if (jint err = vm_deallocate(answer)) report_failure("method_exists: Deallocate failed -- %s\n", err);
}

static bool method_matches(JNIEnv* env, jclass clazz, jmethodID method, const char* name, const char* signature) {
    char* its_name;
    char* its_signature;
    if (vm_get_method_name(env, clazz, method, &its_name, &its_signature)) return false;
    const bool matches =
        strcmp(its_name, name) == 0 && (!signature || strncmp(its_signature, signature, strlen(signature)) == 0);
    release_method_answer(its_name);
    release_method_answer(its_signature);
    return matches;
}

/* The first of the methods that matches, if it is one that can be entered. */
static jmethodID find_method(JNIEnv* env, jclass clazz, const jmethodID* methods, jint count, const char* name,
                             const char* signature) {
    for (jint i = 0; i < count; i++) {
        if (!method_matches(env, clazz, methods[i], name, signature)) continue;
        jint modifiers = 0;
        const bool usable = !vm_get_method_modifiers(env, clazz, methods[i], &modifiers);
        return usable && !(modifiers & METHOD_ACC_ABSTRACT) ? methods[i] : NULL;
    }
    return NULL;
}

jmethodID method_exists(JNIEnv* env, jclass clazz, const char* name, const char* signature) {
    jboolean is_interface = JNI_FALSE;
    if (vm_is_interface(env, clazz, &is_interface) || is_interface) return NULL;
    jint count = 0;
    jmethodID* methods = NULL;
    if (jint err = vm_get_class_methods(env, clazz, &count, &methods)) {
        report_failure("method_exists: GetClassMethods failed -- %s\n", err);
        count = 0;
    }
    const jmethodID found = find_method(env, clazz, methods, count, name, signature);
    if (methods && vm_is_newer()) release_method_answer(methods);
    return found;
}

/* True when a filter's class name is empty or names the class of `object`. */
static bool names_class_of(JNIEnv* env, const filter* candidate, jobject object) {
    if (is_empty(candidate->first)) return true;
    return object && same_classname(env, text_of(candidate->first), env->GetObjectClass(object));
}

/* Walks the list from its head until `delivers` says so. */
template <class Delivers> static jint walk_filters(JNIEnv* env, Delivers delivers) {
    __atomic_add_fetch(&filter_walkers, 1, __ATOMIC_SEQ_CST);
    filter* candidate = shared_load(filter_list);
    while (candidate && !delivers(candidate)) candidate = shared_load(candidate->next);
    if (__atomic_sub_fetch(&filter_walkers, 1, __ATOMIC_SEQ_CST) == 0) release_retired(env);
    return candidate ? 1 : 0;
}

/* JVMTI's exception events name methods only; JVMDI's come with their classes. An old VM is asked nothing more, so that there
 * JVMTI's events leave no watched method. */
static jclass class_of_method(jclass known, jmethodID method) {
    if (!vm_is_newer() || known || !method) return known;
    jclass declaring = NULL;
    return jvmti->GetMethodDeclaringClass(method, &declaring) ? NULL : declaring;
}

/* True when the exception leaves the method that the filter watches. */
static bool leaves_method(JNIEnv* env, const filter* watch, const JVMDI_Event* event) {
    const auto& thrown = event->u.exception;
    if (watch->second != (uintptr_t)thrown.method || thrown.catch_method == thrown.method) return false;
    jclass thrown_in = class_of_method(thrown.clazz, thrown.method);
    if (!env->IsSameObject((jobject)watch->first, thrown_in)) return false;
    return !env->IsSameObject(class_of_method(thrown.catch_clazz, thrown.catch_method), thrown_in);
}

static void arm(JNIEnv* env, filter* watch, jobject exception) {
    jint created;
    shared_store(watch->third, (uintptr_t)URef_from_local(env, exception, &created));
    shared_store(watch->kind, (uint32_t)FILTER_UNCAUGHT_ARMED);
}

jint filter_jvmdi_event_throw(JNIEnv* env, JVMDI_Event* event) {
    return walk_filters(env, [=](filter* candidate) {
        const uint32_t kind = shared_load(candidate->kind);
        if (kind == FILTER_THROWN) return names_class_of(env, candidate, event->u.exception.exception);
        if (kind == FILTER_UNCAUGHT && leaves_method(env, candidate, event))
            arm(env, candidate, event->u.exception.exception);
        return false;
    });
}

jint filter_jvmdi_event_catch(JNIEnv* env, JVMDI_Event* event) {
    const jobject caught = event->u.exception_catch.exception;
    return walk_filters(env, [=](filter* candidate) {
        const uint32_t kind = shared_load(candidate->kind);
        if (kind == FILTER_CAUGHT) return names_class_of(env, candidate, caught);
        return kind == FILTER_UNCAUGHT_ARMED && env->IsSameObject((jobject)candidate->third, caught);
    });
}

jint filter_jvmdi_event_br(JNIEnv* env, JVMDI_Event* event) {
    const jclass clazz = event->u.class_event.clazz;
    return walk_filters(env, [=](filter* candidate) {
        if (shared_load(candidate->kind) == FILTER_CLASSLOAD)
            return is_empty(candidate->first) || same_classname(env, text_of(candidate->first), clazz);
        if (shared_load(candidate->kind) == FILTER_METHOD)
            return is_empty(candidate->second) ||
                   method_exists(env, clazz, text_of(candidate->second), text_of(candidate->third)) != NULL;
        return false;
    });
}
