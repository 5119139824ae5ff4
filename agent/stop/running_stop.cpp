#include "stop/running_stop.h"

#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "registry/resources.h"
#include "stop/suspend.h"
#include "support/agent_self.h"

static bool stopped_by_call; /* the agent thread's */

void note_stop_by_call() { stopped_by_call = true; }

static void release_handed_out(JNIEnv* env) {
    if (in_method_invoke()) return;
    free_resources(env);
    const auto free_record = [](void*, tmap_record* record, void*) {
        freeLocal(record);
        return (jint)0;
    };
    TMap_iter(NULL, free_record, NULL); /* not TMap_freelocal, which takes no lock */
}

running_stop::running_stop(JNIEnv* stop_env, bool releases_at_end)
    : env(stop_env), releases(releases_at_end), ran(!agent_has_suspended()) {
    if (ran) stopped_by_call = false;
}

running_stop::~running_stop() {
    if (releases) release_handed_out(env);
    if (ran && stopped_by_call) agent_resume_all(env);
}
