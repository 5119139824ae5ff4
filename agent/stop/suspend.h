/* suspend.h: stopping the Java threads and letting them go. */
#ifndef QUOR_SUSPEND_H
#define QUOR_SUSPEND_H

#include "registry/agent_records.h"

/* Suspends every Java thread of the thread map but the agent thread and the caller; does nothing while they are suspended
 * already. Gives 0, whatever became of single threads: their failures are printed. VM SuspendThreadList or SuspendThread. */
AGENT_API jint agent_suspend_all(JNIEnv* env);

/* Resumes them; does nothing unless they are suspended. 0, or the last failure of ResumeThreadList; failures are printed. */
AGENT_API jint agent_resume_all(JNIEnv* env);

/* Thread-map callbacks of suspending and resuming; results are ignored by the walks. */
AGENT_API jint cb_suspend(void* env, tmap_record* record, void* cookie);
AGENT_API jint cb_resume(void* env, tmap_record* record, void* cookie);
AGENT_API jint cb_suspend_resume_list_create(void* env, tmap_record* record, void* cookie);
/* The list forms: suspend or resume the threads collected by cb_suspend_resume_list_create, and print each failure. */
AGENT_API jint cb_suspend_list();
AGENT_API jint cb_resume_list();

#endif
