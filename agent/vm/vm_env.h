/* vm_env.h: the way to a JNIEnv, and to a thread without a pending Java exception. */
#ifndef QUOR_VM_ENV_H
#define QUOR_VM_ENV_H

#include "support/agent_types.h"

/* `env`, or the calling thread's own when it is null; aborts when the VM does not know the thread. */
JNIEnv* current_env(JNIEnv* env);

/* Prints (ExceptionDescribe) and clears a pending Java exception; true if there was one. */
bool clear_exception(JNIEnv* env);

/* The calling thread's JNIEnv (GetEnv of `javavm` for JNI 1.2), null on a thread that the VM does not know. */
AGENT_API JNIEnv* getEnv();

/* The agent thread's JNIEnv, which it cannot do without; aborts, after a message, when it cannot be had. */
JNIEnv* agent_thread_env();

#endif
