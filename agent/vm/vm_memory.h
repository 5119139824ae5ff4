/* vm_memory.h: the VM's allocator with the agent's failure messages, which name JVMDI on both interfaces. */
#ifndef QUOR_VM_MEMORY_H
#define QUOR_VM_MEMORY_H

#include "support/report.h"
#include "vm/vm_call.h"

/* vm_allocate; a failure prints "AgentThread: JVMDI_Allocate() failed -- ..." and its code is returned. */
template <class T> static inline jint allocate_or_report(size_t size, T** block) {
    jint err = vm_allocate(size, block);
    return err ? report_failure("AgentThread: JVMDI_Allocate() failed -- %s\n", err) : 0;
}

/* vm_deallocate; a failure prints "AgentThread: JVMDI_Deallocate() failed -- ..." and its code is returned. */
static inline jint deallocate_or_report(const void* block) {
    jint err = vm_deallocate(block);
    return err ? report_failure("AgentThread: JVMDI_Deallocate() failed -- %s\n", err) : 0;
}

/* The growth of the entry points' arrays, 512 elements a time: gives a block of VM memory with room for `capacity` + 512
 * elements of `element` bytes that begins with the old contents. The caller deallocates the old block. 0, or Allocate's
 * code after its message. */
enum { GROWTH = 512 };
jint grown_copy(const void* old, jint capacity, size_t element, void** grown);

#endif
