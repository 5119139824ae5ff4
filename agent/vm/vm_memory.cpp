#include "vm/vm_memory.h"

#include <string.h>

jint grown_copy(const void* old, jint capacity, size_t element, void** grown) {
    char* block;
    const size_t used = (size_t)capacity * element;
    if (jint err = allocate_or_report(used + GROWTH * element, &block)) return err;
    if (old) memcpy(block, old, used);
    *grown = block;
    return 0;
}
