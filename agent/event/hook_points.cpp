#include "event/hook_points.h"

#include "support/agent_self.h"

/* Each hook is a function of its own at an address of its own: a debugger tells events apart by where it stopped. The
 * arguments have names for its user. */
#define DEFINE_HOOK(name) \
    AGENT_HOOK void name([[maybe_unused]] JNIEnv* env, [[maybe_unused]] JVMDI_Event* event) { AGENT_HOOK_BODY; }

DEFINE_HOOK(hook_step)
DEFINE_HOOK(hook_bpt)
DEFINE_HOOK(hook_frame_pop)
DEFINE_HOOK(hook_exception_thrown)
DEFINE_HOOK(hook_exception_caught)
DEFINE_HOOK(hook_thread_start)
DEFINE_HOOK(hook_thread_stop)
DEFINE_HOOK(hook_class)
DEFINE_HOOK(hook_class_prepare)
DEFINE_HOOK(hook_class_unload)
DEFINE_HOOK(hook_access)
DEFINE_HOOK(hook_access_write)
DEFINE_HOOK(hook_method_entry)
DEFINE_HOOK(hook_invoke_method)
DEFINE_HOOK(hook_controlc)

#undef DEFINE_HOOK

AGENT_HOOK const char* jquor_jvmdi_sync_hook(JNIEnv* env, agent_tid_t tid, const char* classpath,
                                             [[maybe_unused]] agent_tid_t creator, const char* vmversion) {
    quor_tid = tid;
    quor_classpath = classpath;
    quor_env = env;
    quor_vmversion = vmversion;
    AGENT_HOOK_BODY;
    return vmversion;
}
