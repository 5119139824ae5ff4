/* ready_fixture.h: the agent is ready: its modules are as loading and VM initialisation leave them, and know of nothing yet. */
#ifndef QUOR_TEST_READY_FIXTURE_H
#define QUOR_TEST_READY_FIXTURE_H

#include "agent_thread/consumer.h"
#include "agent_thread/processing.h"
#include "invoke/requests.h"
#include "load/boot_hooks.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "registry/resources.h"
#include "sim/sim_test.h"

struct AgentReady : sim::SimTestP {
    AgentReady() {
        install_globals();
        have_capabilities();
        jvmdi_features.can_suspend_resume_thread_lists = on_jvmdi();
        URef_init();
        TMap_init();
        PrepList_init(&prep_list);
        event_queue_init();
        reslist_init();
        invoke_method_init();
        put_back_boot_hooks = reinstall_boot_hooks;
        sim.clear_calls();
    }

    /* Those that tests need; others give the agent more of them where a test is about that. */
    void have_capabilities() {
        jvmti_features.can_suspend = jvmti_features.can_generate_exception_events = on_jvmti();
        jvmti_features.can_generate_frame_pop_events = jvmti_features.can_generate_method_exit_events = on_jvmti();
        sim.capabilities = jvmti_features;
    }
};

#endif
