/* What the agent keeps for a debugger, and that a newer VM gets it back when the debugger has left. */
#include "agent_thread/let_go.h"

#include "agent_thread/consumer.h"
#include "entry/agent_entry.h"
#include "event_fixture.h"
#include "registry/prep_list.h"
#include "registry/resources.h"
#include "sanitizer/both_lock_orders.h"

struct LettingGo : EventTest {
    LettingGo() : worker(sim.new_thread("worker")), env(sim.env()) {
        sim.loaded_classes = {&foo};
        java_lang_throwable = make_uref(sim.new_exception("java/lang/Exception"));
    }
    void detach_and_let_go() {
        EXPECT_EQ(0, agent_detach_jquor(env));
        let_go_if_due();
    }

    sim::Thread& worker;
    JNIEnv* env;
};
SIM_ALL_MODES(LettingGo);

TEST_P(LettingGo, OfPreparedClassesLetsThemBeUnloadedByANewerVm) {
    ASSERT_EQ(0, agent_attach_jquor(env));
    ASSERT_NE(nullptr, uref_of(foo));
    detach_and_let_go();
    EXPECT_EQ(newer(), uref_of(foo) == nullptr);
    EXPECT_EQ(newer() ? 0 : 1, prep_list.count);
    if (!newer()) return;
    for (const std::string& label : sim.global_labels()) EXPECT_NE("Foo", label) << "it could not be unloaded";
}

TEST_P(LettingGo, KeepsTheThreadsItselfAndItsThrowable) {
    const jobject handle = make_uref(worker), own = agent_thread, throwable = java_lang_throwable;
    TMap_start(handle, 5);
    ASSERT_EQ(0, agent_attach_jquor(env));
    detach_and_let_go();
    EXPECT_EQ(handle, uref_of(worker));
    EXPECT_TRUE(sim.is_global(handle));
    EXPECT_EQ(own, uref_of(*sim.main_thread));
    EXPECT_TRUE(sim.is_global(throwable));
}

TEST_P(LettingGo, KeepsTheClassOfAFilter) {
    ASSERT_EQ(0, agent_attach_jquor(env));
    const jobject clazz = uref_of(foo);
    EXPECT_EQ(0, agent_set_uncaughtexception_filter(env, (uintptr_t)clazz, (uintptr_t)bar.id()));
    detach_and_let_go();
    EXPECT_EQ(clazz, uref_of(foo));
    EXPECT_EQ(0, agent_clear_uncaughtexception_filter(env, (uintptr_t)clazz, (uintptr_t)bar.id()));
}

TEST_P(LettingGo, WaitsForTheEndOfTheStopAtWhichTheDebuggerLeaves) {
    ASSERT_EQ(0, agent_attach_jquor(env));
    const jobject clazz = uref_of(foo);
    sim::Object& object = sim.new_object(foo);
    hooks::during = [&](const hooks::Call& call) {
        const jobject kept = keep_alive(env, sim.local(&object), "test");
        EXPECT_EQ(0, agent_detach_jquor(env));
        EXPECT_TRUE(sim.is_global(kept));
        EXPECT_TRUE(sim.is_global(clazz));
        EXPECT_EQ(&worker, sim.object(call.event.u.breakpoint.thread));
    };
    auto running = start_known(worker, [&] { sim.raise_breakpoint(bar, 1, FORCE); });
    process_next_event();
    running->join();
    EXPECT_EQ(newer(), let_go_is_due());
    let_go_if_due();
    EXPECT_EQ(newer(), uref_of(foo) == nullptr);
    EXPECT_FALSE(let_go_is_due());
}

TEST_P(LettingGo, WaitsForTheEndOfAnInvocation) {
    ASSERT_EQ(0, agent_attach_jquor(env));
    EXPECT_EQ(0, agent_detach_jquor(env));
    TMap_start(make_uref(worker), 5);
    ASSERT_EQ(0, post_invoke_request(env, uref_of(worker), sim.global(&sim.new_object(foo)), nullptr, bar.id(), 'V', 0,
                                     nullptr, 0, 0));
    let_go_if_due();
    EXPECT_NE(nullptr, uref_of(foo));
    invoke_method_cleanup(env);
    let_go_if_due();
    EXPECT_EQ(newer(), uref_of(foo) == nullptr);
}

TEST_P(LettingGo, IsOffWhenADebuggerComesBackBefore) {
    ASSERT_EQ(0, agent_attach_jquor(env));
    EXPECT_EQ(0, agent_detach_jquor(env));
    ASSERT_EQ(0, agent_attach_jquor(env));
    let_go_if_due();
    EXPECT_NE(nullptr, uref_of(foo));
}

TEST_P(LettingGo, EndsAWaitForEvents) {
    if (!newer()) return;
    ASSERT_EQ(0, agent_attach_jquor(env));
    EXPECT_EQ(0, agent_detach_jquor(env));
    EXPECT_EQ(0, process_next_event()) << "without an event";
    EXPECT_TRUE(let_go_is_due());
}
