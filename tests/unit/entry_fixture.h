/* entry_fixture.h: what the tests of threads, monitors, frames and results kept alive share: the agent ready for
 * queries (query_fixture.h), with the monitor capabilities and an agent thread, and a view of what is recorded for
 * release.
 */
#ifndef QUOR_TEST_ENTRY_FIXTURE_H
#define QUOR_TEST_ENTRY_FIXTURE_H

#include "registry/resources.h"
#include "support/agent_self.h"

#include "query_fixture.h"

#include <algorithm>

/* An error that no rule of the agent's looks for, and its name in messages. */
enum { SOME_ERROR = JVMDI_ERROR_OPAQUE_FRAME };
#define SOME_ERROR_NAME "OPAQUE_FRAME"

struct EntryTest : QueryTest {
    enum : agent_tid_t { AGENT_TID = 77 };

    EntryTest() {
        jvmti_features.can_get_owned_monitor_info = 1;
        jvmti_features.can_get_current_contended_monitor = 1;
        jvmti_features.can_get_monitor_info = 1;
        jvmdi_features.can_get_owned_monitor_info = 1;
        jvmdi_features.can_get_current_contended_monitor = 1;
        jvmdi_features.can_get_monitor_info = 1;
        tid_debug_agent = AGENT_TID;
        agent_thread = know(sim.new_thread("agent"), AGENT_TID);
        make_room_for_resources();
        sim.clear_calls();
    }

    /* Puts a thread into the thread map; its handle. */
    jobject know(sim::Thread& thread, agent_tid_t tid) {
        jint created;
        const jobject handle = URef_from_local(sim.env(), sim.local(&thread), &created);
        TMap_start(handle, tid);
        return handle;
    }

    /* So that recording a resource makes no VM call. */
    void make_room_for_resources() {
        add_resource(
            sim.env(), agent_thread, [](JNIEnv*, jobject) {}, "nothing");
        free_resources(sim.env());
    }

    /* What waits for release, newest first: "label object", or "label table entry of object" for the entry of an object
     * in the reference table. */
    strings recorded() {
        strings found;
        for (const resource_record* record = reslist; record; record = record->next) {
            EXPECT_TRUE(record->release == freeRef || record->release == freeURef);
            found.push_back(std::string(record->description) +
                            (record->release == freeURef ? " table entry of " : " ") +
                            sim.object(record->reference)->label);
        }
        return found;
    }

    /* What happens when the process goes on. */
    void resume() {
        free_resources(sim.env());
        TMap_freelocal();
    }

    bool has_uref(sim::Object& object) { return URef_find(sim.env(), sim.local(&object)) != NULL; }

    /* The calls since the last clear_calls(), without the fetching of the JVMDI table. */
    strings made_calls() { return sim.calls_without({"JNI.GetJavaVM", "JavaVM.GetEnv"}); }

    /* The same, of the debug interface, without looking for objects in the reference table and without memory. */
    strings made_queries() {
        strings queries = made_vm_calls();
        std::erase_if(queries, [](const std::string& call) {
            return call.find(".GetObjectHashCode(") != call.npos || call.find("llocate(") != call.npos;
        });
        return queries;
    }

    /* How many blocks of memory a VM function gave that nobody has given back. */
    size_t blocks_from(const std::string& function) {
        const std::vector<sim::Block> blocks = sim.live_blocks();
        return (size_t)std::count_if(blocks.begin(), blocks.end(),
                                     [&](const sim::Block& block) { return block.origin == sim.vm_name(function); });
    }

    /* Makes the n-th call of a VM function fail and gives what `query` returns then; what it printed goes to
     * `printed`. */
    template <class Query>
    jint result_of_failing(const std::string& function, int n, Query query, std::string* printed = nullptr) {
        jint result = -1;
        sim.fail_nth(sim.vm_name(function), n, SOME_ERROR);
        const std::string text = sim::capture_stdout([&] { result = query(); });
        sim.stop_failing(sim.vm_name(function));
        if (printed) *printed = text;
        return result;
    }
};

/* The message of a failed call, as the agent prints it. */
#define FAILURE_OF(function) "AgentThread: JVMDI_" function "() failed -- " SOME_ERROR_NAME "\n"

#endif
