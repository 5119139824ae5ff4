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

#endif
