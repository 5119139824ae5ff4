/* prep_list.h: the list of prepared classes since the debugger last collected it. */
#ifndef QUOR_PREP_LIST_H
#define QUOR_PREP_LIST_H

#include "registry/agent_records.h"

AGENT_API prepared_classes prep_list;

/* Initialises the monitor (aborts if that fails) and empties the list. At load. */
AGENT_API void PrepList_init(prepared_classes* list);

/* Deallocates the array and empties the list. The result of the final unlock, 0 when the lock failed. */
AGENT_API jint PrepList_reset(prepared_classes* list);

/* Makes room for `more` further records; 0, or Allocate's code with the list unchanged. The caller holds the monitor. */
AGENT_API jint PrepList_expand(prepared_classes* list, jint more);

/* Describes the class with agent_get_classinfo in a new record. With `check`, only a prepared class is added. A failure
 * prints its message and adds nothing; no duplicate is looked for. The first is for a caller that holds the monitor; the
 * second takes it, always adds to prep_list itself, and gives the result of its unlock, 0 when its lock failed. */
AGENT_API void PrepList_add_unlocked(prepared_classes* list, JNIEnv* env, jclass clazz, jint check);
AGENT_API jint PrepList_add_locked(prepared_classes* list, JNIEnv* env, jclass clazz, jint check);

/* Lists a class that no queued event tells of, under its URef. Any thread: the class is described first, so that nothing but
 * memory is asked of the VM while the list is locked. */
void PrepList_add_unasked(prepared_classes* list, JNIEnv* env, jclass clazz);

/* Hands over the array, which becomes the caller's to vm_deallocate, and leaves the list empty. 0, or 113 when the lock
 * failed. */
AGENT_API jint PrepList_get(prepared_classes* list, JNIEnv* env, jint* count, class_info** array);

/* Adds every prepared class that the VM has loaded. The result of the final unlock (1), 0 when the lock failed; or the error
 * code of a step before the lock, or of the expansion, which leaves the list locked except on a newer VM. VM GetLoadedClasses,
 * GetObjectHashCode, JNI NewGlobalRef. */
AGENT_API jint PrepList_seed(prepared_classes* list, JNIEnv* env);

/* Brings a list that was seeded a moment ago up to date: afterwards it is what a reset and a seeding would make of it, but for the
 * order, at the cost of one IsSameObject for each class that it has. On a newer VM; on the agent thread. Results as above. VM
 * GetLoadedClasses, GetClassStatus, and for new classes those of seeding. */
jint PrepList_refresh(prepared_classes* list, JNIEnv* env);

#endif
