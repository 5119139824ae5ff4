#include "entry/agent_entry.h"

/* Frames and local variables. Each entry point that takes a frame takes both names for it: JVMDI's frame ID, and the
 * thread and depth that JVMTI wants. */
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/resources.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_memory.h"

/* The header lists every member of the local-variable family by name: the compiler is to object to one that stands
 * only here. */
#pragma GCC diagnostic error "-Wmissing-declarations"

/* ---- Walking the stack ---- */

/* Where a frame is, with the class's URef. */
static jint locate(JNIEnv* env, jvmtiEnv* vm, jthread thread, jint depth, jclass* clazz, jmethodID* method,
                   jlocation* location) {
    if (jint err = vm->GetFrameLocation(thread, depth, method, location)) return err;
    if (jint err = vm->GetMethodDeclaringClass(*method, clazz)) return err;
    *clazz = intern(env, *clazz);
    return 0;
}
static jint locate(JNIEnv* env, JVMDI_Interface_1* vm, jframeID frame, jclass* clazz, jmethodID* method,
                   jlocation* location) {
    if (jint err = vm->GetFrameLocation(frame, clazz, method, location)) return err;
    jint created;
    *clazz = (jclass)URef_from_global(env, *clazz, &created);
    return 0;
}

jint agent_get_currentframe(JNIEnv* env, jthread thread, jframeID* frame, jclass* clazz, jmethodID* method,
                            jlocation* location) {
    env = current_env(env);
    return vm_call_either(
        env, [=](jvmtiEnv* vm) { return locate(env, vm, thread, 0, clazz, method, location); },
        [=](JVMDI_Interface_1* vm) {
            if (jint err = vm->GetCurrentFrame(thread, frame)) return err;
            return locate(env, vm, *frame, clazz, method, location);
        });
}

jint agent_get_callerframe(JNIEnv* env, jframeID frame, jframeID* caller, jclass* clazz, jmethodID* method,
                           jlocation* location, jthread thread, jint depth) {
    env = current_env(env);
    return vm_call_either(
        env,
        [=](jvmtiEnv* vm) {
            *caller = NULL;
            return locate(env, vm, thread, depth, clazz, method, location);
        },
        [=](JVMDI_Interface_1* vm) {
            jframeID found;
            if (jint err = vm->GetCallerFrame(frame, &found)) return err;
            *caller = found;
            return locate(env, vm, found, clazz, method, location);
        });
}

jint agent_get_framecount(JNIEnv* env, jthread thread, jint* count) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->GetFrameCount(thread, count); });
}

jint agent_popframe(JNIEnv* env, jthread thread) {
    return vm_call(current_env(env), [=](auto* vm) { return vm->PopFrame(thread); });
}

jint agent_notifyframepop(JNIEnv* env, jframeID frame, jthread thread, jint depth) {
    return vm_call_either(
        current_env(env), [=](jvmtiEnv* vm) { return vm->NotifyFramePop(thread, depth); },
        [=](JVMDI_Interface_1* vm) { return vm->NotifyFramePop(frame); });
}

/* ---- One local variable ---- */

/* The function of one type in each interface: TiLocal and DiLocal are pointers to members of the two tables, and V
 * is the last argument, a value or its address. */
template <class V, class TiLocal, class DiLocal>
static jint access_local(JNIEnv* env, jframeID frame, jint slot, V value, jthread thread, jint depth, TiLocal ti_local,
                         DiLocal di_local) {
    return vm_call_either(
        current_env(env), [=](jvmtiEnv* vm) { return (vm->*ti_local)(thread, depth, slot, value); },
        [=](JVMDI_Interface_1* vm) { return (vm->*di_local)(frame, slot, value); });
}

#define LOCAL_GETTER(name, Name)                                                                                 \
    AGENT_API jint agent_get_local##name(JNIEnv* env, jframeID frame, jint slot, j##name* value, jthread thread, \
                                         jint depth) {                                                           \
        return access_local(env, frame, slot, value, thread, depth, &jvmtiEnv::GetLocal##Name,                   \
                            &JVMDI_Interface_1::GetLocal##Name);                                                 \
    }
#define LOCAL_SETTER(name, Name)                                                                                \
    AGENT_API jint agent_set_local##name(JNIEnv* env, jframeID frame, jint slot, j##name value, jthread thread, \
                                         jint depth) {                                                          \
        return access_local(env, frame, slot, value, thread, depth, &jvmtiEnv::SetLocal##Name,                  \
                            &JVMDI_Interface_1::SetLocal##Name);                                                \
    }
#define LOCAL_NUMBERS(MEMBER) MEMBER(int, Int) MEMBER(long, Long) MEMBER(float, Float) MEMBER(double, Double)

LOCAL_NUMBERS(LOCAL_GETTER)
LOCAL_NUMBERS(LOCAL_SETTER)
LOCAL_SETTER(object, Object)

jint agent_get_localobject(JNIEnv* env, jframeID frame, jint slot, jobject* value, jthread thread, jint depth) {
    env = current_env(env);
    if (jint err = access_local(env, frame, slot, value, thread, depth, &jvmtiEnv::GetLocalObject,
                                &JVMDI_Interface_1::GetLocalObject))
        return err;
    *value = keep_alive(env, *value, "local");
    return 0;
}

/* ---- All local variables of a frame, in an array that the calling thread's record keeps ---- */

static jint get_max_locals(JNIEnv* env, jframeID frame, jthread thread, jint depth, jint* size) {
    jclass clazz = NULL; /* JVMDI's only */
    jmethodID method;
    jlocation location;
    if (jint err = vm_call_either(
            env, [&](jvmtiEnv* vm) { return vm->GetFrameLocation(thread, depth, &method, &location); },
            [&](JVMDI_Interface_1* vm) { return vm->GetFrameLocation(frame, &clazz, &method, &location); }))
        return err;
    return vm_get_max_locals(env, clazz, method, size);
}

/* Makes room for `count` values: a larger array stays. */
static jint reserve_locals(tmap_record* record, jint count) {
    if (record->locals_count >= count) return 0;
    if (record->locals)
        if (jint err = deallocate_or_report(record->locals)) return err;
    record->locals = NULL;
    record->locals_count = 0;
    if (jint err = allocate_or_report((size_t)count * sizeof *record->locals, &record->locals)) return err;
    record->locals_count = count;
    return 0;
}

/* One value that is no int, or not live, spoils them all. */
static jint read_locals(JNIEnv* env, jframeID frame, jthread thread, jint depth, jint count, jint* values) {
    for (jint slot = 0; slot < count; slot++)
        if (jint err = agent_get_localint(env, frame, slot, &values[slot], thread, depth)) return err;
    return 0;
}

jint agent_get_locals(JNIEnv* env, jframeID frame, jint* count, jint** values, jthread thread, jint depth) {
    env = current_env(env);
    tmap_record* record = TMap_tid2local(agent_self());
    if (!record) return JVMDI_ERROR_NULL_POINTER;

    jint max_locals = 0;
    jint err = get_max_locals(env, frame, thread, depth, &max_locals);
    if (!err) {
        if (jint no_room = reserve_locals(record, max_locals)) return no_room;
        *count = max_locals;
        *values = record->locals;
        err = read_locals(env, frame, thread, depth, max_locals, record->locals);
    }
    if (err) {
        *count = 0;
        *values = NULL;
    }
    return err;
}
