/* Attaching and breakpoints, for programs that measure the agent from inside (Agent.java). */
#include "entry/agent_entry.h"
#include "inside.h"

/* On the calling thread, which may do this like the agent's own: no stop, no wait for the agent's next look at its flags. */
extern "C" JNIEXPORT void JNICALL Java_Agent_attach(JNIEnv* env, jclass) {
    must(entry_point<decltype(agent_attach_jquor)>("agent_attach_jquor")(env), "agent_attach_jquor");
}

extern "C" JNIEXPORT void JNICALL Java_Agent_setBreakpoint(JNIEnv* env, jclass, jclass clazz, jstring method) {
    const char* name = env->GetStringUTFChars(method, nullptr);
    const jmethodID id = env->GetStaticMethodID(clazz, name, "()V");
    env->ReleaseStringUTFChars(method, name);
    must(entry_point<decltype(agent_set_breakpoint)>("agent_set_breakpoint")(env, clazz, id, 0),
         "agent_set_breakpoint");
}
