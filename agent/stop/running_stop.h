/* running_stop.h: a stop at which the other Java threads run: at hook_method_entry and hook_thread_stop. */
#ifndef QUOR_RUNNING_STOP_H
#define QUOR_RUNNING_STOP_H

#include "support/agent_types.h"

/* Lives while the agent thread is at the hook. A synchronous invocation that the debugger asks for there ends, as everywhere,
 * with agent_suspend_all; the threads that it stopped are resumed at the end of this stop. With `releases` what was handed out
 * at the hook is released then, unless an invocation is under way. */
class running_stop {
public:
    running_stop(JNIEnv* env, bool releases);
    ~running_stop();
    running_stop(const running_stop&) = delete;
    running_stop& operator=(const running_stop&) = delete;

private:
    JNIEnv* env;
    bool releases;
    bool ran; /* when it began */
};

/* To be called when a synchronous invocation has stopped threads that ran when it was asked for. */
void note_stop_by_call();

#endif
