/* query_fixture.h: what the tests of the entry points that answer the debugger's questions share: the agent ready,
 * with the test's thread in the thread map, and a few words for expectations.
 */
#ifndef QUOR_TEST_QUERY_FIXTURE_H
#define QUOR_TEST_QUERY_FIXTURE_H

#include "ready_fixture.h"
#include "registry/agent_records.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "registry/resources.h"
#include "sim/sim_test.h"

#include <string>
#include <vector>

typedef std::vector<std::string> strings;

static inline int occurrences(const std::string& wanted, const std::string& text) {
    int count = 0;
    for (size_t at = 0; (at = text.find(wanted, at)) != std::string::npos; at += wanted.size()) count++;
    return count;
}

struct QueryTest : AgentReady {
    QueryTest() {
        jint created;
        TMap_start(URef_from_local(sim.env(), sim.local(sim.main_thread), &created), agent_self());
        sim.clear_calls();
    }

    /* The thread map's record of the test's thread. */
    tmap_record& own_record() { return *TMap_tid2tm(agent_self()); }
    void forget_own_thread() { TMap_end(own_record().handle, agent_self()); }

    /* The calls of the debug interface since the last clear_calls(), and how such calls read in the mode's log. */
    strings made_vm_calls() { return sim.calls_of({"JVMTI.*", "JVMDI.*"}); }
    strings vm_calls(strings calls) {
        for (std::string& call : calls) call = sim.vm_name(call);
        return calls;
    }
};

#endif
