#include "entry/entry_support.h"

#include "vm/vm_memory.h"

#include <string.h>

JNIEnv* current_env(JNIEnv* env) {
    if (env) return env;
    void* own = NULL;
    if (javavm->GetEnv(&own, JNI_VERSION_1_2) != JNI_OK) agent_abort();
    return (JNIEnv*)own;
}

bool clear_exception(JNIEnv* env) {
    if (!env->ExceptionOccurred()) return false;
    env->ExceptionDescribe();
    env->ExceptionClear();
    return true;
}

void copy_text(char (&field)[TEXT_FIELD_SIZE], const char* text) {
    size_t length = strnlen(text, sizeof field - 1);
    memcpy(field, text, length);
    field[length] = '\0';
}

jint grown_copy(const void* old, jint capacity, size_t element, void** grown) {
    char* block;
    const size_t used = (size_t)capacity * element;
    if (jint err = allocate_or_report(used + GROWTH * element, &block)) return err;
    if (old) memcpy(block, old, used);
    *grown = block;
    return 0;
}
