/* agent_self.h: who the agent thread is, what it shows of itself to the debugger, and whether it has stopped the others. */
#ifndef QUOR_AGENT_SELF_H
#define QUOR_AGENT_SELF_H

#include "support/agent_types.h"

AGENT_API jobject agent_thread;        /* URef of the agent's java.lang.Thread; 0 once the thread has finished  */
AGENT_API agent_tid_t tid_debug_agent; /* the agent thread's id; written once, by itself                        */
AGENT_API JNIEnv* quor_env;            /* the agent thread's JNIEnv, stored by jquor_jvmdi_sync_hook            */
AGENT_API agent_tid_t quor_tid;        /* the agent thread's id, stored there                                   */
AGENT_API const char* quor_classpath;  /* the combined class path, stored there; may be null                    */
AGENT_API const char* quor_vmversion;  /* the VM's version text, stored there; may be null                      */

/* Whether a thread is the agent thread, and whether the calling one is. False for all until the agent thread has started. */
static inline bool is_agent_thread(agent_tid_t tid) { return tid == shared_load(tid_debug_agent); }
static inline bool on_agent_thread() { return is_agent_thread(agent_self()); }

/* Whether the agent thread is at work: neither at a hook nor waiting in the queue. It may then hold locks and be inside the VM, and
 * a debugger that has stopped it there, with all threads or alone, must not call the agent. The agent thread's own. */
bool agent_is_at_work();

/* A piece of the agent thread's work, and its rest at a hook in the middle of that: each lasts as long as the object. */
class agent_activity {
public:
    explicit agent_activity(bool works);
    ~agent_activity();
    agent_activity(const agent_activity&) = delete;
    agent_activity& operator=(const agent_activity&) = delete;

private:
    bool before;
};

/* True from agent_suspend_all to agent_resume_all, which note it. */
bool agent_has_suspended();
void agent_note_suspended(bool now_suspended);

/* How often threads were suspended so far. Whoever suspends notes it (agent_suspend_all does so by the call above) when the
 * threads are suspended and before it gives back the reference table's lock, which it holds meanwhile. */
jint agent_suspensions();
void agent_note_suspension();

#endif
