#include "vm/vm_properties.h"

#include "support/agent_self.h"
#include "support/report.h"
#include "vm/vm_call.h"
#include "vm/vm_env.h"

#include <stdio.h>
#include <string.h>

static const char* cached_classpath;
static const char* cached_vmversion;

/* The VM's system properties, once found how to ask for them. */
struct property_source {
    JNIEnv* env;
    jclass system;
    jmethodID get_property;
};

/* The value of a property as a Java string; null when there is none. */
static jstring get_property(const property_source& source, const char* name) {
    const jstring key = source.env->NewStringUTF(name);
    clear_exception(source.env);
    const jobject value = source.env->CallStaticObjectMethod(source.system, source.get_property, key);
    return clear_exception(source.env) ? NULL : (jstring)value;
}

static size_t utf_length(JNIEnv* env, jstring text) {
    if (!text) return 0;
    const jsize length = env->GetStringUTFLength(text);
    clear_exception(env);
    return (size_t)length;
}

/* Appends a string's text at `end`, not beyond `last`, where its NUL may stand; gives the new end. A VM that could not tell
 * the length of a text gave it no room. */
static char* append_text(JNIEnv* env, jstring text, char* end, const char* last) {
    const char* chars = env->GetStringUTFChars(text, NULL);
    clear_exception(env);
    if (!chars) return end;
    const size_t length = end < last ? strnlen(chars, (size_t)(last - end)) : 0;
    memcpy(end, chars, length);
    end[length] = '\0';
    env->ReleaseStringUTFChars(text, chars);
    clear_exception(env);
    return end + length;
}

static const char* fetch_vmversion(const property_source& source) {
    const jstring version = get_property(source, "java.vm.version");
    if (!version) return NULL;
    const size_t length = utf_length(source.env, version);
    char* text;
    if (jint err = vm_allocate(length + 1, &text)) {
        report_failure("get_vmversion: Allocate failed -- %s\n", err);
        return NULL;
    }
    *text = '\0';
    append_text(source.env, version, text, text + length);
    return text;
}

static const char* fetch_classpath(const property_source& source) {
    enum { SPARE = 10 };
    JNIEnv* env = source.env;
    const jstring classes = get_property(source, "java.class.path");
    const jstring boot = get_property(source, "oro.boot.class.path");
    if (!classes && !boot) return NULL;
    const size_t room = utf_length(env, classes) + utf_length(env, boot) + SPARE;
    char* text;
    if (jint err = vm_allocate(room, &text)) {
        report_failure("get_classpath: Allocate failed -- %s\n", err);
        return NULL;
    }
    const char* last = text + room - 2; /* a ':' and a NUL may follow */
    char* end = text;
    *end = '\0';
    if (classes) end = append_text(env, classes, end, last);
    if (classes && boot) {
        *end++ = ':';
        *end = '\0';
    }
    if (boot) append_text(env, boot, end, last);
    return text;
}

/* The rules that both cached properties share; the messages name the function that was called. */
static const char* cached_property(JNIEnv* env, const char** cache, const char* invalid_env, const char* wrong_thread,
                                   const char* (*fetch)(const property_source&)) {
    if (const char* text = shared_load(*cache)) return text;
    if (!env || !on_agent_thread()) {
        fputs(env ? wrong_thread : invalid_env, stdout);
        return NULL;
    }
    const jclass system = env->FindClass("java/lang/System");
    clear_exception(env); /* also one that was pending before: that is no failure */
    if (!system) {
        printf("AgentThread(): FindClass System Failed\n");
        return NULL;
    }
    const jmethodID get = env->GetStaticMethodID(system, "getProperty", "(Ljava/lang/String;)Ljava/lang/String;");
    clear_exception(env);
    if (!get) {
        printf("AgentThread(): GetMethodID of getProperty Failed\n");
        return NULL;
    }
    const char* text = fetch({env, system, get});
    shared_store(*cache, text);
    return text;
}

const char* get_classpath(JNIEnv* env) {
    return cached_property(env, &cached_classpath, "AgentThread(): Invalid JNIEnv in get_classpath\n",
                           "AgentThread(): Only the agent thread can call get_classpath\n", fetch_classpath);
}

const char* get_vmversion(JNIEnv* env) {
    return cached_property(env, &cached_vmversion, "AgentThread(): Invalid JNIEnv in get_vmversion\n",
                           "AgentThread(): Only the agent thread can call get_vmversion\n", fetch_vmversion);
}
