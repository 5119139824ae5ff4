/* err_str.h: the names of the VM interface's error codes. JVMDI and JVMTI share their numbers and so this table. */
#ifndef QUOR_ERR_STR_H
#define QUOR_ERR_STR_H

#include "support/agent_types.h"

/* The name of `code` without its JVMDI_ERROR_ or JVMTI_ERROR_ prefix ("NONE" for 0), a constant. An unknown code gives
 * "UNKNOWN %d" with the code in one static buffer, overwritten by the next unknown code of any thread. Any thread. */
AGENT_API const char* err_str(jint code);

/* 1 if `code` says that the VM is in the wrong phase (112), else 0. Any thread. */
AGENT_API jint err_is_wrongphase(jint code);

#endif
