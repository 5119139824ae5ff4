/* hook_points.h: the hook points, which a debugger plants its breakpoints on. */
#ifndef QUOR_HOOK_POINTS_H
#define QUOR_HOOK_POINTS_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"

/* The first contact, a hook point with arguments: stores the agent thread's JNIEnv and id, the class path and the VM version
 * in the quor_ globals, and gives the version. `creator` is the id of the thread that created the agent thread. */
AGENT_API const char* jquor_jvmdi_sync_hook(JNIEnv* env, agent_tid_t tid, const char* classpath, agent_tid_t creator,
                                            const char* vmversion);

/* The hook points: empty functions, called on the agent thread with its JNIEnv and the event record. All other Java threads
 * are suspended meanwhile, except at hook_method_entry and hook_thread_stop. hook_class is called by nothing.
 * Until a debugger attaches, hook_thread_start, hook_thread_stop and, on JVMDI, hook_class_unload are called on the raising
 * thread, with its JNIEnv and nobody suspended: the agent's functions are not to be called there. */
AGENT_API void hook_step(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_bpt(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_frame_pop(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_exception_thrown(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_exception_caught(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_thread_start(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_thread_stop(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_class(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_class_prepare(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_class_unload(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_access(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_access_write(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_method_entry(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_invoke_method(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_controlc(JNIEnv* env, JVMDI_Event* event);

#endif
