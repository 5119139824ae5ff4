/* vm_newer.h: whether the VM is newer than the JVMTI version that the agent was laid down for. */
#ifndef QUOR_VM_NEWER_H
#define QUOR_VM_NEWER_H

#include "support/agent_types.h"

/* True when the JVMTI version recorded at load is above 1.0. Such a VM polices references and has threads that never
 * announce themselves; for it, and only for it, the agent makes a few calls more. False on JVMDI. Any thread. */
bool vm_is_newer();

/* On a newer VM replaces a local reference that JVMTI returned by a global one and deletes the local one, so that it may be
 * handed out past the VM call and released with DeleteGlobalRef. Elsewhere, and for null, gives the reference back. */
jobject vm_durable(JNIEnv* env, jobject returned);

/* Tells a newer VM that `count` local references more will live in the current frame, as a JVMTI function that returns a list
 * makes them: under -Xcheck:jni it would remark on them in the program's output. Asks for those of a stop besides, since that
 * check takes note of a promise only if it is greater than the frame's last one (HotSpot 17.0.15). Does nothing elsewhere. */
void vm_expect_local_references(JNIEnv* env, jint count);

/* Runs one piece of the agent thread's work in a frame of local references of its own on a newer VM: the agent thread never
 * returns to Java, so that without it every local reference would live until the VM ends. */
class vm_local_frame {
public:
    explicit vm_local_frame(JNIEnv* env);
    ~vm_local_frame();
    vm_local_frame(const vm_local_frame&) = delete;
    vm_local_frame& operator=(const vm_local_frame&) = delete;

private:
    JNIEnv* framed; /* null when no frame was pushed */
};

/* On a newer VM makes references of the current thread's usable on the agent thread, for as long as this thread waits for the
 * agent thread: such a VM checks that a local reference is used on no other thread (-Xcheck:jni ends the process). Elsewhere
 * it leaves them as they are. */
class vm_shared_references {
public:
    explicit vm_shared_references(JNIEnv* own_env) : env(own_env), count(0) {}
    ~vm_shared_references() { release(); }
    vm_shared_references(const vm_shared_references&) = delete;
    vm_shared_references& operator=(const vm_shared_references&) = delete;

    /* Replaces a reference that its maker still needs (at most MAXIMUM times between two releases, with those of take). */
    template <class T> void share(T* reference) {
        if (*reference && vm_is_newer()) keep(reference, env->NewGlobalRef(*reference));
    }

    /* Replaces a local reference that nobody needs any more, and deletes it. */
    template <class T> void take(T* reference) {
        if (*reference && vm_is_newer()) keep(reference, vm_durable(env, *reference));
    }

    /* Deletes the replacements. */
    void release() {
        while (count > 0) env->DeleteGlobalRef(globals[--count]);
    }

private:
    enum { MAXIMUM = 4 };

    template <class T> void keep(T* reference, jobject global) {
        *reference = (T)global;
        if (global) globals[count++] = global;
    }

    JNIEnv* env;
    jobject globals[MAXIMUM];
    int count;
};

#endif
