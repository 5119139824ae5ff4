/* The event queue: a poster waits until the agent thread, which is the test's own, has finished with its event. */
#include "event_fixture.h"
#include "sanitizer/both_lock_orders.h"
#include "watched_monitor.h"

#include "agent_thread/attach_stop.h"
#include "agent_thread/control_c.h"
#include "java_threads/poster.h"
#include "support/err_str.h"

#include <string.h>

using sim::capture_stdout;
using sim::wait_for;

/* What the agent thread called for events with the handlers below. */
struct Handled {
    JNIEnv* env;
    void* event;
    agent_tid_t tid;
    agent_tid_t on;
    bool operator==(const Handled&) const = default;
};
static std::vector<Handled> handled;

static const event_handler handle = {.jvmdi = [](JNIEnv* env, JVMDI_Event* event, agent_tid_t tid) {
    handled.push_back({env, event, tid, agent_self()});
}};

struct Queue : EventTest {
    Queue() { handled.clear(); }

    /* Starts a thread, not known to the agent, that posts `event`, and returns when it waits in the queue. */
    std::unique_ptr<sim::Running> start_poster(void* event, jint* result = nullptr) {
        const int before = monitors::waits;
        auto running = sim.start(sim.new_thread("poster"), [=, this] {
            const jint err = add_event(sim.env(), event, handle);
            if (result) *result = err;
        });
        EXPECT_TRUE(wait_for([&] { return monitors::waits > before; }));
        return running;
    }

    std::vector<void*> handled_events() {
        std::vector<void*> events;
        for (const Handled& one : handled) events.push_back(one.event);
        return events;
    }

    size_t allocations() { return sim.count_calls("JV*.Allocate"); }

    /* Events without references, to be told apart by their addresses. */
    static void* event_number(size_t number) {
        static JVMDI_Event events[12];
        events[number].kind = JVMDI_EVENT_USER_DEFINED;
        return &events[number];
    }
};
SIM_ALL_MODES(Queue);

static std::string failed(const std::string& who, jint err) { return who + ": failed -- " + err_str(err) + "\n"; }

/* ---- Who may call ---- */

TEST_P(Queue, CannotBeInitialisedOnTheAgentThread) {
    jint result = 0;
    const std::string out = capture_stdout([&] { result = event_queue_init(); });
    EXPECT_EQ(JVMDI_ERROR_INVALID_THREAD, result);
    EXPECT_EQ(failed("event_queue_init", JVMDI_ERROR_INVALID_THREAD), out);
}

TEST_P(Queue, WithoutOneOfItsTwoMonitorsEndsTheProcess) {
    for (int n : {1, 2}) {
        const sim::ChildResult result = run_in_child([&] {
            tid_debug_agent = 0;
            monitors::fail("init", "", n);
            event_queue_init();
        });
        EXPECT_EQ(SIGABRT, result.signal) << n;
    }
    const sim::ChildResult result = run_in_child([&] {
        tid_debug_agent = 0;
        controlc_hit = 1;
        monitors::fail("init", "", 4); /* the third is the control-C entry's, and there is no fourth */
        EXPECT_EQ(0, event_queue_init());
        EXPECT_EQ(0, controlc_hit);
    });
    EXPECT_EQ(0, result.exit_status);
}

TEST_P(Queue, TakesNoEventFromTheAgentThread) {
    jint result = 0;
    const std::string out = capture_stdout([&] { result = add_event(sim.env(), event_number(1), handle); });
    EXPECT_EQ(JVMDI_ERROR_INVALID_THREAD, result);
    EXPECT_EQ(failed("add_event", JVMDI_ERROR_INVALID_THREAD), out);
    EXPECT_EQ(0u, allocations());
}

TEST_P(Queue, IsServedByTheAgentThreadOnly) {
    tid_debug_agent = 1;
    jint result = 0;
    const std::string out = capture_stdout([&] { result = process_next_event(); });
    EXPECT_EQ(JVMDI_ERROR_INVALID_THREAD, result);
    EXPECT_EQ(failed("process_next_event", JVMDI_ERROR_INVALID_THREAD), out);
}

/* ---- Delivery ---- */

TEST_P(Queue, CallsTheHandlerOnTheAgentThreadWithItsEnvironmentAndThePostersId) {
    jint result = -1;
    auto poster = start_poster(event_number(1), &result);
    EXPECT_EQ(0, process_next_event());
    poster->join();
    EXPECT_EQ(0, result);
    ASSERT_EQ(1u, handled.size());
    EXPECT_EQ((Handled{sim.env(), event_number(1), (agent_tid_t)poster->native_id(), agent_self()}), handled[0]);
}

TEST_P(Queue, NamesThePosterByTheIdInItsThreadRecord) {
    tmap_record record = {};
    record.tid = 4711;
    JVMDI_Event outcome = {};
    auto poster = sim.start(sim.new_thread("poster"), [&] {
        EXPECT_EQ(0, add_event_helper(sim.env(), event_number(1), handle, &outcome, &record));
    });
    process_next_event();
    poster->join();
    EXPECT_EQ(4711, handled.at(0).tid);
    EXPECT_EQ(JVMDI_EVENT_USER_DEFINED, outcome.kind) << "the result buffer was not reset";
}

TEST_P(Queue, TakesAnyThreadIdForTheAgentThreadsByTheRecord) {
    tmap_record record = {};
    record.tid = agent_self();
    sim.run_on(sim.new_thread("poster"), [&] {
        JVMDI_Event outcome = {};
        jint result = 0;
        const std::string out =
            capture_stdout([&] { result = add_event_helper(sim.env(), event_number(1), handle, &outcome, &record); });
        EXPECT_EQ(JVMDI_ERROR_INVALID_THREAD, result);
        EXPECT_EQ(failed("add_event", JVMDI_ERROR_INVALID_THREAD), out);
    });
}

TEST_P(Queue, DeliversInTheOrderOfPostingOverAllThreads) {
    std::vector<std::unique_ptr<sim::Running>> posters;
    std::vector<void*> posted;
    for (size_t i = 1; i <= 5; i++) {
        posted.push_back(event_number(i));
        posters.push_back(start_poster(posted.back()));
    }
    for (int i = 0; i < 3; i++) process_next_event();
    posted.push_back(event_number(6)); /* behind the two that are left */
    posters.push_back(start_poster(posted.back()));
    for (int i = 0; i < 3; i++) process_next_event();
    EXPECT_EQ(posted, handled_events());
}

TEST_P(Queue, ReleasesNobodyElse) {
    auto first = start_poster(event_number(1));
    auto second = start_poster(event_number(2));
    process_next_event();
    first->join();
    EXPECT_EQ(1, monitors::waiting) << "the second poster went on before its turn";
    process_next_event();
}

TEST_P(Queue, WakesTheAgentThreadWhenAnEventArrives) {
    std::unique_ptr<sim::Running> poster;
    auto waker = sim.start_unattached([&] {
        EXPECT_TRUE(wait_for([] { return monitors::timed_waiting == 1; }));
        poster = start_poster(event_number(1));
    });
    EXPECT_EQ(0, process_next_event());
    waker->join();
    EXPECT_EQ(1u, monitors::timed.size()) << "it waited for the time-out";
    EXPECT_EQ(1u, handled.size());
}

TEST_P(Queue, PreparesReferencesForEveryHandlerButThatOfJvmpiEvents) {
    auto poster = start_known(sim.new_thread("poster"), [&] {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_FRAME_POP;
        sim.in_event([&] {
            event.u.frame.thread = sim.local<jthread>(sim.this_thread());
            EXPECT_EQ(0, add_event(sim.env(), &event, handle));
        });
        EXPECT_EQ(uref_of(*sim.this_thread()), event.u.frame.thread);
        JVMPI_Event of_jvmpi = {}; /* whose first word is no kind of JVMDI's, or another event's */
        of_jvmpi.event_type = JVMDI_EVENT_FRAME_POP;
        EXPECT_EQ(0, add_event(sim.env(), &of_jvmpi, {.jvmpi = process_jvmpi_event}));
    });
    EXPECT_EQ(0, process_next_event());
    EXPECT_EQ(1u, handled.size());
    EXPECT_EQ(0, process_next_event()) << "a frame pop of no thread would end the process";
    poster->join();
}

TEST_P(Queue, ReleasingClearsTheEntry) {
    queue_entry entry = {};
    monitor_init(&entry.done);
    entry.event = event_number(1);
    entry.tid = 5;
    entry.handler = handle;
    EXPECT_EQ(0, notify_event_processing_done(&entry));
    EXPECT_EQ(nullptr, entry.event);
    EXPECT_EQ(0, entry.tid);
    EXPECT_EQ(nullptr, entry.handler.jvmdi);
    EXPECT_EQ(0, monitors::held);
}

/* ---- Entries ---- */

TEST_P(Queue, AllocatesTenEntriesAtOnce) {
    auto poster = start_poster(event_number(1));
    EXPECT_CALLS(sim.calls_of({"JV*.Allocate"}),
                 sim.vm_name("Allocate(" + std::to_string(10 * sizeof(queue_entry)) + ")"));
    process_next_event();
}

TEST_P(Queue, TenBlockedPostersShareABlockAndTheEleventhMakesASecond) {
    std::vector<std::unique_ptr<sim::Running>> posters;
    for (size_t i = 1; i <= 10; i++) posters.push_back(start_poster(event_number(i)));
    EXPECT_EQ(1u, allocations());
    posters.push_back(start_poster(event_number(11)));
    EXPECT_EQ(2u, allocations());
    for (int i = 0; i < 11; i++) process_next_event();
    for (auto& poster : posters) poster->join();
    EXPECT_EQ(11u, handled.size());
    EXPECT_EQ(0u, sim.count_calls("JV*.Deallocate")) << "entries are never given back";
}

TEST_P(Queue, EntriesOfABlockAreUsedInTheOrderOfTheirAddresses) {
    std::vector<std::unique_ptr<sim::Running>> posters;
    for (size_t i = 1; i <= 10; i++) posters.push_back(start_poster(event_number(i)));
    ASSERT_EQ(10u, monitors::waited.size());
    for (size_t i = 1; i < 10; i++)
        EXPECT_EQ((const char*)monitors::waited[i - 1] + sizeof(queue_entry), (const char*)monitors::waited[i]);
    for (int i = 0; i < 10; i++) process_next_event();
}

TEST_P(Queue, ReusesTheEntryThatWasFreedLast) {
    auto first = start_poster(event_number(1));
    auto second = start_poster(event_number(2));
    process_next_event();
    first->join();
    process_next_event();
    second->join();
    auto third = start_poster(event_number(3));
    auto fourth = start_poster(event_number(4));
    ASSERT_EQ(4u, monitors::waited.size());
    EXPECT_EQ(monitors::waited[1], monitors::waited[2]) << "the second poster's entry was freed last";
    EXPECT_EQ(monitors::waited[0], monitors::waited[3]);
    process_next_event();
    process_next_event();
}

TEST_P(Queue, PassesTheCodeOfAFailedAllocationOnAndWorksAgainLater) {
    sim.fail_nth(sim.vm_name("Allocate"), 1, JVMDI_ERROR_OUT_OF_MEMORY);
    jint result = 0;
    const std::string out = capture_stdout(
        [&] { sim.run_on(sim.new_thread("poster"), [&] { result = add_event(sim.env(), event_number(1), handle); }); });
    EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, result);
    EXPECT_EQ(std::string("AgentThread: JVMDI_Allocate() failed -- ") + err_str(JVMDI_ERROR_OUT_OF_MEMORY) + "\n", out);
    auto poster = start_poster(event_number(2));
    process_next_event();
    EXPECT_EQ(std::vector<void*>{event_number(2)}, handled_events());
}

/* ---- Polling ---- */

TEST_P(Queue, PollsTheDebuggersFlagsEveryTwoSeconds) {
    int polls = 0;
    monitors::in_timed_wait = [&] {
        if (++polls == 3) controlc_hit = 1;
    };
    EXPECT_EQ(0, process_next_event());
    const std::pair<jint, std::string> poll(2000, "process_next_event");
    EXPECT_EQ((std::vector<std::pair<jint, std::string>>{poll, poll, poll}), monitors::timed);
    EXPECT_EQ(strings{"hook_controlc"}, hooks::names());
}

TEST_P(Queue, NoticesAControlCThatNobodySignalled) {
    auto debugger = sim.start_unattached([&] {
        EXPECT_TRUE(wait_for([] { return monitors::timed_waiting == 1; }));
        shared_store(controlc_hit, 1);
    });
    EXPECT_EQ(0, process_next_event());
    debugger->join();
    EXPECT_EQ(strings{"hook_controlc"}, hooks::names());
    EXPECT_LE(monitors::timed.size(), 2u);
}

TEST_P(Queue, AnswersAnAttachedDebuggerOnceAndGoesOnWaiting) {
    hooks::contacts.clear();
    int polls = 0;
    monitors::in_timed_wait = [&] {
        polls++;
        if (polls == 1) {
            EXPECT_EQ(0u, hooks::contacts.size());
            jquor_attached = 1;
        }
        if (polls == 2) {
            EXPECT_EQ(1u, hooks::contacts.size());
            EXPECT_EQ(0, jquor_attached);
        }
        if (polls == 4) controlc_hit = 1;
    };
    EXPECT_EQ(0, process_next_event());
    EXPECT_EQ(4, polls);
    EXPECT_EQ(1u, hooks::contacts.size());
}

TEST_P(Queue, AnswersNoOtherValueThanOneInTheAttachFlag) {
    hooks::contacts.clear();
    jquor_attached = 2;
    monitors::in_timed_wait = [&] { controlc_hit = 1; };
    process_next_event();
    EXPECT_EQ(0u, hooks::contacts.size());
    EXPECT_EQ(2, jquor_attached);
}

TEST_P(Queue, TakesAWaitingEventBeforeItLooksAtTheAttachFlag) {
    jquor_attached = 1;
    auto poster = start_poster(event_number(1));
    process_next_event();
    EXPECT_EQ(1u, handled.size());
    EXPECT_EQ(1, jquor_attached);
}

TEST_P(Queue, ShowsAControlCBeforeEveryQueuedEvent) {
    auto poster = start_poster(event_number(1));
    controlc_hit = 1;
    EXPECT_EQ(0, process_next_event());
    EXPECT_EQ(strings{"hook_controlc"}, hooks::names());
    EXPECT_EQ(0u, handled.size());
    EXPECT_EQ(0, process_next_event());
    EXPECT_EQ(1u, handled.size());
}

/* ---- Threads inside an invocation ---- */

/* Posts on a known thread whose record has this invocation state; gives the state afterwards. */
static jint state_after_posting(sim::Sim& sim, jint state) {
    tmap_record* record = TMap_tid2tm(agent_self());
    record->invocation_state = state;
    EXPECT_EQ(0, add_event(sim.env(), Queue::event_number(1), handle));
    return record->invocation_state;
}

TEST_P(Queue, EventsOfAThreadInASynchronousInvocationVanish) {
    sim.run_on(sim.new_thread("poster"), [&] {
        announce();
        EXPECT_EQ(INVOKE_RUNNING, state_after_posting(sim, INVOKE_RUNNING));
        EXPECT_EQ(nullptr, sim.pending());
    });
    EXPECT_EQ(0u, sim.count_calls("JNI.Throw"));
}

TEST_P(Queue, FirstEventOfAnAbandonedInvocationThrowsIntoIt) {
    java_lang_throwable = make_uref(sim.new_exception("java/lang/Exception"));
    sim::Object* throwable = sim.object(java_lang_throwable);
    sim.run_on(sim.new_thread("poster"), [&] {
        announce();
        EXPECT_EQ(INVOKE_ABORTED, state_after_posting(sim, INVOKE_ABANDONED));
        EXPECT_EQ(throwable, sim.pending());
        EXPECT_EQ(INVOKE_ABORTED, state_after_posting(sim, INVOKE_ABORTED));
    });
    EXPECT_EQ(1u, sim.count_calls("JNI.Throw")) << "the second event throws nothing";
}

/* ---- Failing monitors ---- */

struct Step {
    const char* operation;
    int n;
    int held_after; /* monitors that the poster still holds */
};

TEST_P(Queue, PosterGives113AtTheFirstMonitorOperationThatFails) {
    const Step before_the_wait[] = {
        {"lock", 1, 0},   /* the free list's */
        {"unlock", 1, 0}, /* the free list's */
        {"lock", 2, 0},   /* the entry's     */
        {"lock", 3, 1},   /* the queue's: the entry's monitor stays as it is */
        {"signal", 1, 0}, /* the queue's     */
        {"unlock", 2, 0}, /* the queue's     */
        {"wait", 1, 1},   /* the entry's: nothing else is held then, and it is given up at once */
    };
    for (const Step& step : before_the_wait) {
        const sim::ChildResult result = run_in_child([&] {
            sim.run_on(sim.new_thread("poster"), [&] {
                monitors::fail(step.operation, "add_event", step.n);
                EXPECT_EQ(JVMDI_ERROR_INTERNAL, add_event(sim.env(), event_number(1), handle));
                EXPECT_EQ(step.held_after, monitors::held);
            });
        });
        EXPECT_EQ(0, result.exit_status) << step.operation << " " << step.n;
    }
}

TEST_P(Queue, PosterGives113WhenAMonitorFailsAfterItsRelease) {
    const Step after_the_wait[] = {
        {"unlock", 3, 0}, /* the entry's     */
        {"lock", 4, 0},   /* the free list's */
        {"unlock", 4, 0}, /* the free list's */
    };
    for (const Step& step : after_the_wait) {
        const sim::ChildResult result = run_in_child([&] {
            jint err = 0;
            monitors::fail(step.operation, "add_event", step.n);
            auto poster = start_poster(event_number(1), &err);
            EXPECT_EQ(0, process_next_event());
            poster->join();
            EXPECT_EQ(JVMDI_ERROR_INTERNAL, err);
        });
        EXPECT_EQ(0, result.exit_status) << step.operation << " " << step.n;
    }
}

TEST_P(Queue, FailedUnlockAfterAFailedAllocationGives113) {
    sim.fail(sim.vm_name("Allocate"), JVMDI_ERROR_OUT_OF_MEMORY);
    monitors::fail("unlock", "add_event");
    capture_stdout([&] {
        sim.run_on(sim.new_thread("poster"),
                   [&] { EXPECT_EQ(JVMDI_ERROR_INTERNAL, add_event(sim.env(), event_number(1), handle)); });
    });
}

TEST_P(Queue, AgentThreadGives113WhenAMonitorFailsBeforeItHasAnEvent) {
    for (const char* operation : {"lock", "timed wait"}) {
        monitors::fail(operation, "process_next_event");
        EXPECT_EQ(JVMDI_ERROR_INTERNAL, process_next_event()) << operation;
        EXPECT_EQ(0, monitors::held) << operation;
    }
    controlc_hit = 1;
    monitors::fail("unlock", "process_next_event");
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, process_next_event());
    EXPECT_EQ(strings{}, hooks::names());
}

TEST_P(Queue, WhoIsWokenFindsTheMonitorFreeOnANewerVm) {
    queue_entry entry = {};
    monitor_init(&entry.done);
    monitor_lock(&entry.done, "test");
    EXPECT_EQ(0, event_queue_append(&entry));
    EXPECT_EQ(newer() ? 1 : 2, monitors::held_at_signal) << "the entry's, and the queue's";
    monitor_unlock(&entry.done, "test");
    EXPECT_EQ(0, notify_event_processing_done(&entry));
    EXPECT_EQ(newer() ? 0 : 1, monitors::held_at_signal);
}

TEST_P(Queue, ReleasingGives113WhenAMonitorFails) {
    for (const char* operation : {"lock", "signal", "unlock"}) {
        queue_entry entry = {};
        monitor_init(&entry.done);
        monitors::fail(operation, "notify_event_processing_done");
        EXPECT_EQ(JVMDI_ERROR_INTERNAL, notify_event_processing_done(&entry)) << operation;
        EXPECT_EQ(0, monitors::held) << operation;
    }
}
