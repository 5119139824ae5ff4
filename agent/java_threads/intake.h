/* intake.h: the full event hooks, installed by agent_attach_jquor; they run on the raising Java thread. */
#ifndef QUOR_INTAKE_H
#define QUOR_INTAKE_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"
#include "vm/jvmpi.h"

AGENT_API void JNICALL jvmdi_event_hook(JNIEnv* env, JVMDI_Event* event);
AGENT_API void jvmti_event_hook(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid);
/* For JVMPI notification, when somebody has connected it. */
AGENT_API void jvmpi_event_hook(JVMPI_Event* event);

/* 1 if the debugger is to see the event, 0 to drop it. Runs on the raising thread. */
AGENT_API jint filter_jvmdi_event(JNIEnv* env, JVMDI_Event* event);

#endif
