#include "support/agent_self.h"

jobject agent_thread;
agent_tid_t tid_debug_agent;
JNIEnv* quor_env;
agent_tid_t quor_tid;
const char* quor_classpath;
const char* quor_vmversion;

static jint suspended; /* 1 while agent_suspend_all holds the Java threads */

bool agent_has_suspended() { return shared_load(suspended) == 1; }

void agent_note_suspended(bool now_suspended) { shared_store(suspended, now_suspended ? 1 : 0); }
