/* text_argument.h: the characters of a Java string, for as long as the object lives. */
#ifndef QUOR_BENCH_TEXT_ARGUMENT_H
#define QUOR_BENCH_TEXT_ARGUMENT_H

#include <jni.h>

struct text_argument {
    text_argument(JNIEnv* of, jstring from) : env(of), string(from), characters(of->GetStringUTFChars(from, nullptr)) {}
    ~text_argument() { env->ReleaseStringUTFChars(string, characters); }
    text_argument(const text_argument&) = delete;
    text_argument& operator=(const text_argument&) = delete;

    JNIEnv* const env;
    const jstring string;
    const char* const characters;
};

#endif
