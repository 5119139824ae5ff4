/* resume_after_event.h: the end of a stop. */
#ifndef QUOR_RESUME_AFTER_EVENT_H
#define QUOR_RESUME_AFTER_EVENT_H

#include "support/agent_types.h"

/* Releases what was handed out (not during an invocation) and resumes the Java threads; the result of agent_resume_all. */
AGENT_API jint resume_after_event(JNIEnv* env);

#endif
