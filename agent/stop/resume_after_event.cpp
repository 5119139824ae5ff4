#include "stop/resume_after_event.h"

#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "registry/resources.h"
#include "stop/suspend.h"

#include <stdio.h>

jint resume_after_event(JNIEnv* env) {
    /* an invocation goes on with the same stop: what was handed out must outlive it */
    if (!in_method_invoke()) {
        free_resources(env);
        TMap_freelocal();
    }
    const jint err = agent_resume_all(env);
    if (err) printf("resume_after_event(): agent_resume_all() failed");
    return err;
}
