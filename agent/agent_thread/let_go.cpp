#include "agent_thread/let_go.h"

#include "event/filters.h"
#include "invoke/requests.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "registry/resources.h"
#include "support/agent_self.h"
#include "support/report.h"
#include "vm/vm_env.h"

#include <stdlib.h>

static jint debugger_left; /* 1 from detach until it was let go, or the next attach */

void let_go_later(bool later) { shared_store(debugger_left, later ? 1 : 0); }

bool let_go_is_due() { return shared_load(debugger_left) == 1 && !in_method_invoke(); }

/* The handles of the thread map's threads. */
struct known_threads {
    jobject* handles;
    size_t count;
    size_t room;
};

static jint note_thread(void* threads, tmap_record* record, void*) {
    known_threads* known = (known_threads*)threads;
    if (known->count == known->room) {
        const size_t room = 2 * known->room + 64;
        jobject* more = (jobject*)realloc(known->handles, room * sizeof *more);
        if (!more) agent_fatal("let_go_if_due: out of memory\n");
        known->handles = more;
        known->room = room;
    }
    known->handles[known->count++] = record->handle;
    return 0;
}

static bool is_needed(void* threads, jobject uref) {
    const known_threads* known = (const known_threads*)threads;
    if (uref == java_lang_throwable || uref == shared_load(agent_thread)) return true;
    for (size_t i = 0; i < known->count; i++)
        if (known->handles[i] == uref) return true;
    return event_filter_holds(uref);
}

void let_go_if_due() {
    if (!let_go_is_due()) return;
    agent_activity work(true);
    let_go_later(false);
    JNIEnv* env = getEnv();
    free_resources(env);
    TMap_tid2local(agent_self()); /* the agent thread's own answers */
    PrepList_reset(&prep_list);
    known_threads known = {};
    TMap_iter(&known, note_thread, NULL);
    URef_delete_unneeded(env, is_needed, &known);
    free(known.handles);
}
