/* class_info.h: one class, asked of the VM. */
#ifndef QUOR_CLASS_INFO_H
#define QUOR_CLASS_INFO_H

#include "registry/agent_records.h"

/* Describes a class in `info`, the debugger's memory. 0; the code of a failed VM call, after its message. A class
 * without a source file has is_interface 0 whatever it is. VM GetClassSignature, GetSourceFileName, IsInterface,
 * Deallocate. */
AGENT_API jint agent_get_classinfo(JNIEnv* env, jclass clazz, class_info* info);

/* 1 if the class is one of the platform's own (java, javax, oro packages; arrays of one dimension too), 0 if not or if its
 * signature cannot be had; the code of a failing Deallocate. VM GetClassSignature, Deallocate. */
AGENT_API jint is_system_class(JNIEnv* env, jclass clazz);

#endif
