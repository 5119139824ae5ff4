/* entry_support.h: what the entry points share; not part of the interface. */
#ifndef QUOR_ENTRY_SUPPORT_H
#define QUOR_ENTRY_SUPPORT_H

#include "core/agent_main.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "support/agent_types.h"

#include <stddef.h>

/* `env`, or the calling thread's own when it is null; aborts when the VM does not know the thread. */
JNIEnv* current_env(JNIEnv* env);

/* Prints (ExceptionDescribe) and clears a pending Java exception; true if there was one. */
bool clear_exception(JNIEnv* env);

/* Copies a text into one of the records' fixed fields: at most 1023 bytes and a NUL. */
void copy_text(char (&field)[TEXT_FIELD_SIZE], const char* text);

/* The growth of the entry points' arrays, 512 elements a time: gives a block of VM memory with room for `capacity` + 512
 * elements of `element` bytes that begins with the old contents. The caller deallocates the old block. 0, or Allocate's
 * code after its message. */
enum { GROWTH = 512 };
jint grown_copy(const void* old, jint capacity, size_t element, void** grown);

/* The URef of a local result, valid until the process resumes: makes a global reference, registers it for release under
 * `label`, and enters it in the reference table (registered under "keep_alive uref" if the entry is new). Null gives null. */
AGENT_API jobject keep_alive(JNIEnv* env, jobject local, const char* label);

/* Release functions for add_resource: delete a global reference; delete an object's entry in the reference table. */
AGENT_API void freeRef(JNIEnv* env, jobject ref);
AGENT_API void freeURef(JNIEnv* env, jobject ref);

#endif
