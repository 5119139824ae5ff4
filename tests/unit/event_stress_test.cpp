/* Many Java threads post, start and end at once, for a few seconds at most, while a debugger invokes methods, stops the program
 * and sets filters. Meant above all for the sanitizers; what is checked is that no event is lost and nothing is left behind.
 */
#include "event_fixture.h"

#include "agent_thread/agent_thread.h"
#include "agent_thread/control_c.h"
#include "entry/agent_entry.h"

#include <atomic>
#include <map>

enum { POSTERS = 12, ROUNDS = 25, CONTROLC_STOPS = 10 };

struct EventStress : ReadyTest {
    EventStress() {
        install_full_hooks();
        sim.set_logging(false);
        java_lang_throwable = make_uref(sim.new_exception("java/lang/Exception"));
        number.body = [this](sim::Invocation&) {
            invoked++;
            return jint{42};
        };
    }

    /* The agent's own thread, as the VM would run it, until a VM_DEATH. */
    std::unique_ptr<sim::Running> start_agent() {
        auto running = sim.start(sim.new_thread("agent"), [this] {
            const jobject own = make_uref(*sim.this_thread());
            foo_uref = (jclass)make_uref(foo);
            shared_store(tid_debug_agent, agent_self());
            shared_store(agent_thread, own);
            agent_bar();
        });
        EXPECT_TRUE(sim::wait_for([] { return shared_load(agent_thread) != nullptr; }));
        return running;
    }

    /* The life of one poster, from its announced start to its announced end. */
    void live() {
        sim.raise_thread_start(FORCE);
        for (int i = 0; i < ROUNDS; i++) {
            sim.raise_breakpoint(bar, i, FORCE);
            sim.raise_class_prepare(prepared, FORCE);
            sim.raise_exception(bar, i, &error, nullptr, 0, FORCE);
            sim.raise_method_exit(bar, FORCE); /* never queued */
        }
        sim.raise_thread_end(FORCE);
    }

    /* Does at a hook what debuggers do: every fifth breakpoint asks for a method, in turn with and without waiting. Waiting
     * costs events on an old VM, where a call that had not begun, or was over already, is abandoned like one that runs. */
    void debug(const hooks::Call& call) {
        if (call.hook == "hook_controlc") stops++;
        if (call.hook != "hook_bpt" || ++breakpoints % 5 != 0) return;
        AgentInvokRet result = {};
        const jint flags = newer() && breakpoints % 10 ? 1 : 0;
        EXPECT_EQ(0, agent_invoke_static_method(call.env, call.event.u.breakpoint.thread, foo_uref, number.id(), 'I', 0,
                                                NULL, flags, &result));
        asked++;
        if (flags && result.status == INVOKE_STATUS_RETURNED) {
            answered++;
            EXPECT_EQ(42, result.value.i);
        }
        if (flags && result.status == INVOKE_STATUS_THREW) abandoned++;
    }

    static std::map<std::string, int> counts() {
        std::map<std::string, int> count;
        for (const std::string& name : hooks::names()) count[name]++;
        return count;
    }

    sim::Method& number = foo.add_method("number", "()I", 9);
    sim::Class& prepared = sim.new_class("Prepared");
    sim::Object& error = sim.new_exception("java/lang/Error");
    jclass foo_uref = nullptr;
    std::atomic<int> invoked{0}, stops{0};
    int breakpoints = 0, asked = 0, answered = 0, abandoned = 0; /* the agent thread's */
};
SIM_ALL_MODES(EventStress);

TEST_P(EventStress, NoEventOfManyThreadsIsLostOrShownTwice) {
    hooks::during = [this](const hooks::Call& call) { debug(call); };
    set_filter(FILTER_THROWN, "");
    auto agent = start_agent();
    std::vector<std::unique_ptr<sim::Running>> posters;
    for (int i = 0; i < POSTERS; i++) posters.push_back(sim.start(sim.new_thread("poster"), [this] { live(); }));
    for (int i = 0; i < CONTROLC_STOPS; i++) {
        const int before = stops;
        /* asked for until it is seen: the agent takes the flag back after a stop too, and with it a request made just then */
        EXPECT_TRUE(sim::wait_for([&] {
            if (stops == before) shared_store(controlc_hit, 1);
            return stops > before;
        }));
    }
    for (auto& poster : posters) poster->join();
    sim.raise_vm_death(FORCE); /* on this thread */
    agent->join();

    std::map<std::string, int> count = counts();
    EXPECT_EQ(POSTERS, count["hook_thread_start"]);
    EXPECT_EQ(POSTERS, count["hook_thread_stop"]);
    EXPECT_EQ(POSTERS * ROUNDS, count["hook_bpt"]);
    EXPECT_EQ(POSTERS * ROUNDS, count["hook_class_prepare"]);
    EXPECT_EQ(POSTERS * ROUNDS, count["hook_exception_thrown"]);
    EXPECT_LE(CONTROLC_STOPS, count["hook_controlc"]);
    EXPECT_LE(asked - abandoned, invoked) << "a request was not served";
    EXPECT_GE(asked, invoked) << "a request was served twice";
    /* a call that was given up when it was over already is shown all the same */
    EXPECT_GE(count["hook_invoke_method"], asked - answered - abandoned);
    EXPECT_LE(count["hook_invoke_method"], asked - answered);
    EXPECT_EQ(POSTERS * ROUNDS / 5, asked);
    for (const tmap_record* bucket : tmap) EXPECT_EQ(nullptr, bucket) << "a thread was left in the map";
    EXPECT_EQ(0, in_method_invoke());
}
