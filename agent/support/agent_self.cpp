#include "support/agent_self.h"

jobject agent_thread;
agent_tid_t tid_debug_agent;
JNIEnv* quor_env;
agent_tid_t quor_tid;
const char* quor_classpath;
const char* quor_vmversion;

static jint suspended;   /* 1 while agent_suspend_all holds the Java threads */
static jint suspensions; /* ever made; their number may wrap around           */

bool agent_has_suspended() { return shared_load(suspended) == 1; }

void agent_note_suspended(bool now_suspended) {
    shared_store(suspended, now_suspended ? 1 : 0);
    if (now_suspended) agent_note_suspension();
}

jint agent_suspensions() { return shared_load(suspensions); }

void agent_note_suspension() { __atomic_add_fetch((uint32_t*)&suspensions, 1, __ATOMIC_ACQ_REL); }

static jint at_work;

bool agent_is_at_work() { return shared_load(at_work) == 1; }

agent_activity::agent_activity(bool works) : before(agent_is_at_work()) { shared_store(at_work, works ? 1 : 0); }

agent_activity::~agent_activity() { shared_store(at_work, before ? 1 : 0); }
