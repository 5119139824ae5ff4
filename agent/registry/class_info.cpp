#include "registry/class_info.h"

#include "support/report.h"
#include "support/text.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"
#include "vm/vm_memory.h"

#include <string.h>

/* Copies a text of the VM's into a record's field and gives it back to the VM. */
static jint take_text(char (&field)[TEXT_FIELD_SIZE], char* text) {
    copy_text(field, text);
    return deallocate_or_report(text);
}

jint agent_get_classinfo(JNIEnv* env, jclass clazz, class_info* info) {
    env = current_env(env);
    memset(info, 0, sizeof *info);
    info->clazz = clazz;

    char* text;
    if (jint err = vm_get_class_signature(env, clazz, &text))
        return report_failure("AgentThread: JVMDI_GetClassSignature() failed -- %s\n", err);
    if (jint err = take_text(info->signature, text)) return err;

    if (jint err = vm_get_source_file_name(env, clazz, &text)) {
        if (err == JVMDI_ERROR_ABSENT_INFORMATION) return 0;
        return report_failure("AgentThread: JVMDI_GetSourceFileName() failed -- %s\n", err);
    }
    info->has_source = 1;
    if (jint err = take_text(info->source_file, text)) return err;

    /* a one-byte answer, into the word that is zero */
    if (jint err = vm_is_interface(env, clazz, (jboolean*)&info->is_interface))
        return report_failure("AgentThread: JVMDI_IsInterface() failed -- %s\n", err);
    return 0;
}

static bool begins_with(const char* text, const char* prefix) { return strncmp(text, prefix, strlen(prefix)) == 0; }

jint is_system_class(JNIEnv* env, jclass clazz) {
    static const char* const platform[] = {"Ljava/", "[Ljava/", "Ljavax/", "[Ljavax/", "Loro/", "[Loro/"};
    char* signature;
    if (vm_get_class_signature(env, clazz, &signature)) return 0;
    jint answer = 0;
    for (const char* prefix : platform)
        if (begins_with(signature, prefix)) answer = 1;
    if (jint err = deallocate_or_report(signature)) return err;
    return answer;
}
