/* agent_uref.h: the universal reference table. One stable handle, a URef, for each Java object that the agent hands out.
 *
 * A URef is a JNI global reference, and the same object always yields the same one, so that a debugger may compare handles
 * by value. An entry lives until it is deleted explicitly; nothing is counted. Objects are told apart by JNI IsSameObject
 * within the bucket of their identity hash code. Every function takes the calling thread's JNIEnv first.
 */
#ifndef QUOR_AGENT_UREF_H
#define QUOR_AGENT_UREF_H

#include "registry/agent_records.h"
#include "support/agent_monitor.h"

/* The buckets. Read by the debugger; written under URef_monitor. */
AGENT_API uref_record* refmap[UREF_BUCKETS];

/* Guards refmap. A leaf lock, except in the agent's global lock step and while the prepared-class list is seeded
 * (agent_monitor.h). */
AGENT_API monitor_t URef_monitor;

/* Look-ups ever made, for diagnosis. Written under URef_monitor. */
extern jint nfinds;

/* Initialises URef_monitor; gives 1. Called once, at load, before any other function here. */
AGENT_API jint URef_init();

/* The bucket, 0 to 1023, of the object that `ref` stands for: the absolute value of its identity hash code (VM
 * GetObjectHashCode) modulo 1024. A failing VM call prints "AgentThread: JVMDI_GetObjectHashCode() failed -- ..." and ends
 * the process with exit status 1. Takes no lock; any thread. */
AGENT_API jint hashf(jobject ref);

/* The URef of the object, made from `ref` with NewGlobalRef if the object has none yet; *created is then 1, else 0. Null for
 * a null `ref` (*created is not written) and when the lock fails. Any thread. */
AGENT_API jobject URef_from_local(JNIEnv* env, jobject ref, jint* created);

/* The same where it does not matter whether the object had one: the road by which references become handles. */
template <class T> static inline T intern(JNIEnv* env, T reference) {
    jint created;
    return (T)URef_from_local(env, reference, &created);
}

/* The same from a global reference, which becomes the URef if the object has none yet. The table never deletes an adopted
 * reference. If the object has a URef already, `ref` stays the caller's. Any thread. */
AGENT_API jobject URef_from_global(JNIEnv* env, jobject ref, jint* created);

/* The same two for a caller that holds URef_monitor and knows the bucket. */
AGENT_API jobject URef_from_local_nolock(JNIEnv* env, jobject ref, jint bucket, jint* created);
AGENT_API jobject URef_from_global_nolock(JNIEnv* env, jobject ref, jint bucket, jint* created);

/* The URef of the object, or null if it has none. Any thread. */
AGENT_API jobject URef_find(JNIEnv* env, jobject ref);

/* Deletes the object's entry, and its reference if the table made it; an object without an entry is left alone. `ref` may be
 * any reference to the object but null. 1, or 0 when the lock or unlock failed. Any thread. */
AGENT_API jint URef_delete(JNIEnv* env, jobject ref);

/* The same for a caller that holds URef_monitor, or has the VM's threads stopped, and knows the bucket. */
AGENT_API void URef_delete_nolock(JNIEnv* env, jobject ref, jint bucket);

/* Deletes every entry whose URef is not needed, and its reference, whoever made it. A newer VM, agent thread, when what was
 * handed out is released: then the table alone keeps these references. `needed` is called with the lock held. */
void URef_delete_unneeded(JNIEnv* env, bool (*needed)(void* cookie, jobject uref), void* cookie);

#endif
