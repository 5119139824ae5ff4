/* resources.h: the resource list: references handed to the debugger during a stop, released when the process resumes. It has
 * no lock: the agent thread works on it while the debugger holds it at a hook, and when it resumes the others. */
#ifndef QUOR_RESOURCES_H
#define QUOR_RESOURCES_H

#include "support/agent_types.h"

typedef void (*release_function)(JNIEnv* env, jobject reference);

/* A reference that waits for its release. In blocks of VM memory that are kept for ever. */
struct resource_record {
    resource_record* next;
    jobject reference;
    release_function release;
    const char* description; /* for diagnosis only */
};

extern resource_record* reslist; /* what waits, newest first */

/* Empties the list; gives 0. Called at load. */
AGENT_API jint reslist_init();

/* Records `reference` for release(env, reference) at the next resume. `description`, a constant text, serves diagnosis.
 * A null reference records nothing. If the VM's Allocate fails, "AgentThread: JVMDI_Allocate() failed -- ..." is printed
 * and the reference is not recorded. */
AGENT_API void add_resource(JNIEnv* env, jobject reference, release_function release, const char* description);

/* Releases everything recorded, newest first. */
AGENT_API void free_resources(JNIEnv* env);

/* The URef of a local result, valid until the process resumes: makes a global reference, registers it for release under
 * `label`, and enters it in the reference table (registered under "keep_alive uref" if the entry is new). Null gives null. */
AGENT_API jobject keep_alive(JNIEnv* env, jobject local, const char* label);

/* Release functions for add_resource: delete a global reference; delete an object's entry in the reference table. */
AGENT_API void freeRef(JNIEnv* env, jobject ref);
AGENT_API void freeURef(JNIEnv* env, jobject ref);

#endif
