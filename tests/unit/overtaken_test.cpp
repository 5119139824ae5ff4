/* Invocations that something overtakes: another thread's event, a control-C, the end of the stop or of the thread. */
#include "invocation_fixture.h"

#include "agent_thread/attach_stop.h"
#include "agent_thread/control_c.h"
#include "registry/resources.h"
#include "sim/interleave.h"
#include "stop/suspend.h"

#include <string.h>

using sim::Interleaving;
using sim::wait_for;

struct Overtaken : Invocations {
    Overtaken() {
        java_lang_throwable = make_uref(sim.new_exception("java/lang/Exception"));
        number = &method_that("number", [this](Invocation&) {
            runs++;
            return jint{42};
        });
    }
    ~Overtaken() override { open = true; }

    /* Starts a thread that raises a step event, and returns when it waits in the queue. */
    std::unique_ptr<sim::Running> queue_step(const char* name) {
        EXPECT_TRUE(wait_for([] { return monitors::waits >= 1; })) << "the worker, whose event is taken";
        const int before = monitors::waits;
        auto running = start_known(sim.new_thread(name), [this] { sim.raise_single_step(bar, 9, FORCE); });
        EXPECT_TRUE(wait_for([&] { return monitors::waits > before; }));
        return running;
    }

    /* The same when the worker has come to where it is to be held. */
    std::unique_ptr<sim::Running> step_when_held(Interleaving& order) {
        return start_known(sim.new_thread("other"), [&] {
            order.await("worker");
            sim.raise_single_step(bar, 9, FORCE);
        });
    }

    /* A method that runs until the test lets it. */
    sim::Method& slow_method(std::function<void()> at_the_end = [] {}) {
        return method_that("slow", [=, this](Invocation&) {
            inside = true;
            EXPECT_TRUE(wait_for([&] { return open.load(); }));
            at_the_end();
            return jint{43};
        });
    }

    jint state_of(jobject thread) { return TMap_handle2tm(thread)->invocation_state; }

    void expect_given_up() {
        EXPECT_EQ(INVOKE_STATUS_THREW, result.status);
        EXPECT_EQ(nullptr, result.exception);
    }

    /* The other thread's event and the worker's next one are shown; the method that was taken back never ran. */
    void expect_both_events_and_no_call(sim::Running& running) {
        process_next_event();
        process_next_event();
        running.join();
        EXPECT_EQ((strings{"hook_bpt", "hook_step", "hook_frame_pop"}), hooks::names());
        EXPECT_EQ(0, runs);
        EXPECT_EQ(0u, sim.count_calls("JNI.Throw"));
    }

    sim::Method* number;
    std::atomic<int> runs = 0;
    std::atomic<bool> inside = false, open = false;
    std::unique_ptr<sim::Running> other;
    AgentInvokRet result = {(jobject)0x10, 0, {}, nullptr, nullptr, 0};
};

struct OnNewerVms : Overtaken {};
SIM_MODES(OnNewerVms, sim::Mode::jvmti_newer);
struct OnOldVms : Overtaken {};
SIM_MODES(OnOldVms, sim::Mode::jvmti10, sim::Mode::jvmdi);
struct OnAllVms : Overtaken {};
SIM_ALL_MODES(OnAllVms);

/* ---- Another thread's event comes first ---- */

TEST_P(OnNewerVms, CallAskedForBehindAnotherThreadsEventIsTakenBackAndItsThreadStaysInItsEvent) {
    Interleaving order;
    auto running = stop_worker(
        [&](jobject thread) {
            other = queue_step("other");
            EXPECT_EQ(0, invoke(thread, *number, SYNCHRONOUS, &result));
            EXPECT_EQ(2, monitors::waiting) << "the worker was let go";
            EXPECT_EQ(INVOKE_NONE, state_of(thread));
            EXPECT_EQ(0, in_method_invoke());
        },
        [&] { sim.raise_frame_pop(bar, FORCE); });
    expect_given_up();
    expect_both_events_and_no_call(*running);
}

TEST_P(OnNewerVms, CallThatItsThreadHasNotTakenIsTakenBack) {
    Interleaving order;
    order.hold("worker", "lock find_invoke_method");
    auto running = stop_worker(
        [&](jobject thread) {
            other = step_when_held(order);
            EXPECT_EQ(0, invoke(thread, *number, SYNCHRONOUS, &result));
            EXPECT_EQ(INVOKE_NONE, state_of(thread));
            EXPECT_EQ(0, in_method_invoke());
        },
        [&] { sim.raise_frame_pop(bar, FORCE); });
    expect_given_up();
    order.go("worker");
    expect_both_events_and_no_call(*running);
}

TEST_P(OnNewerVms, TakingACallBackLeavesOlderRequestsOfTheThread) {
    Interleaving order;
    jobject handle = nullptr;
    sim::Method& older = method_that("older", [](Invocation&) { return jint{1}; });
    auto running = stop_worker([&](jobject thread) {
        handle = thread;
        other = queue_step("other");
        EXPECT_EQ(0, invoke(thread, older, ASYNCHRONOUS));
        EXPECT_EQ(0, invoke(thread, *number, SYNCHRONOUS, &result));
    });
    expect_given_up();
    process_next_event();
    process_next_event();
    running->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_step", "hook_invoke_method"}), hooks::names());
    EXPECT_EQ(1, shown(2).value.i);
    EXPECT_EQ(0, runs);
}

TEST_P(OnNewerVms, CallThatItsThreadHasTakenIsAbandonedThoughItHasNotBegun) {
    Interleaving order;
    order.hold("worker", "JNI.CallIntMethodA");
    number->body = [&](Invocation&) {
        sim.raise_breakpoint(bar, 2, FORCE);
        EXPECT_EQ(sim.object(java_lang_throwable), sim.pending());
        return jint{42};
    };
    auto running = stop_worker(
        [&](jobject thread) {
            other = step_when_held(order);
            EXPECT_EQ(0, invoke(thread, *number, SYNCHRONOUS, &result));
            EXPECT_EQ(INVOKE_ABANDONED, state_of(thread));
        },
        [&] {
            EXPECT_EQ(nullptr, sim.pending()) << "that was the call's";
            sim.raise_frame_pop(bar, FORCE);
        });
    expect_given_up();
    order.go("worker");
    for (int i = 0; i < 3; i++) process_next_event();
    running->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_step", "hook_invoke_method", "hook_frame_pop"}), hooks::names());
}

TEST_P(OnNewerVms, AbandoningLetsTheHandlesOfTheStopGo) {
    Interleaving order;
    sim::Method& slow = slow_method();
    auto running = stop_worker([&](jobject thread) {
        other = start_known(sim.new_thread("other"), [&] {
            wait_for([&] { return inside.load(); });
            sim.raise_single_step(bar, 9, FORCE);
        });
        EXPECT_EQ(0, invoke(thread, slow, SYNCHRONOUS, &result));
        EXPECT_EQ(INVOKE_ABANDONED, state_of(thread));
        EXPECT_EQ(0, in_method_invoke()) << "the method may never end";
    });
    process_next_event();
    open = true;
    running->join();
}

TEST_P(OnNewerVms, WhatAnAbandonedMethodThrowsGoesNoFurther) {
    Interleaving order;
    sim::Object& error = sim.new_exception("java/lang/Error");
    sim::Method& slow = slow_method([&] { sim.set_pending(&error); });
    auto running = stop_worker(
        [&](jobject thread) {
            other = start_known(sim.new_thread("other"), [&] {
                wait_for([&] { return inside.load(); });
                sim.raise_single_step(bar, 9, FORCE);
            });
            EXPECT_EQ(0, invoke(thread, slow, SYNCHRONOUS, &result));
        },
        [&] { EXPECT_EQ(nullptr, sim.pending()); });
    process_next_event();
    open = true;
    running->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_step"}), hooks::names());
}

/* The outcome that stands first in the queue may be that of an older request, whose thread cannot serve the new one yet. */
TEST_P(OnNewerVms, OutcomeOfAnOlderRequestIsNotTakenForTheNewOnes) {
    Interleaving order;
    jobject handle = nullptr;
    auto running = stop_worker([&](jobject thread) {
        handle = thread;
        EXPECT_EQ(0, invoke(thread, *number, ASYNCHRONOUS));
    });
    hooks::during = nullptr;
    ASSERT_TRUE(wait_for([] { return monitors::waits == 2; })) << "the outcome is queued";
    sim::Method& newer = method_that("newer", [](Invocation&) { return jint{1}; });
    EXPECT_EQ(0, invoke(handle, newer, SYNCHRONOUS, &result));
    expect_given_up();
    process_next_event();
    running->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_invoke_method"}), hooks::names());
    EXPECT_EQ(42, shown(1).value.i);
    EXPECT_EQ(nullptr, find_invoke_method(handle));
}

TEST_P(OnNewerVms, CallThatIsOverLeavesItsOutcomeInTheQueueAndItsThreadAlone) {
    Interleaving order;
    order.hold("main", "lock process_invokemethod_event", 2); /* the first is the look before the thread is let go */
    order.hold("worker", "JNI.CallIntMethodA");
    auto helper = sim.start_unattached([&] {
        order.await("main");
        order.await("worker");
        other = queue_step("other");
        order.go("worker");
        order.await_that([] { return monitors::waits == 3; }, "the outcome behind the other thread's event");
        order.go("main");
    });
    auto running = stop_worker(
        [&](jobject thread) {
            EXPECT_EQ(0, invoke(thread, *number, SYNCHRONOUS, &result));
            EXPECT_EQ(INVOKE_NONE, state_of(thread));
        },
        [&] {
            sim.raise_frame_pop(bar, FORCE);
            EXPECT_EQ(nullptr, sim.pending());
        });
    expect_given_up();
    for (int i = 0; i < 3; i++) process_next_event();
    helper->join();
    running->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_step", "hook_invoke_method", "hook_frame_pop"}), hooks::names());
    EXPECT_EQ(42, shown(2).value.i);
    EXPECT_EQ(0u, sim.count_calls("JNI.Throw"));
}

TEST_P(OnOldVms, CallThatHadNotBegunIsAbandonedAndServedAllTheSame) {
    Interleaving order;
    order.hold("worker", "lock find_invoke_method");
    auto running = stop_worker([&](jobject thread) {
        other = step_when_held(order);
        EXPECT_EQ(0, invoke(thread, *number, SYNCHRONOUS, &result));
        EXPECT_EQ(INVOKE_ABANDONED, state_of(thread));
    });
    expect_given_up();
    order.go("worker");
    process_next_event();
    process_next_event();
    running->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_step", "hook_invoke_method"}), hooks::names());
    EXPECT_EQ(42, shown(2).value.i);
}

TEST_P(OnOldVms, CallThatIsOverWhenItIsAbandonedHasTheThreadsNextEventAnswered) {
    Interleaving order;
    order.hold("main", "lock process_invokemethod_event");
    auto helper = sim.start_unattached([&] {
        order.await("main");
        order.await_that([] { return monitors::waits == 3; }, "the outcome behind the other thread's event");
        order.go("main");
    });
    auto running = stop_worker(
        [&](jobject thread) {
            other = queue_step("other");
            EXPECT_EQ(0, invoke(thread, *number, SYNCHRONOUS, &result));
            EXPECT_EQ(INVOKE_ABANDONED, state_of(thread));
        },
        [&] {
            sim.raise_frame_pop(bar, FORCE);
            EXPECT_EQ(sim.object(java_lang_throwable), sim.pending());
            sim.set_pending(nullptr);
        });
    process_next_event();
    process_next_event();
    running->join();
    helper->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_step", "hook_invoke_method"}), hooks::names());
}

TEST_P(OnAllVms, RequestForAnUnknownThreadIsTakenBackOnNewerVmsOnly) {
    EXPECT_EQ(JVMDI_ERROR_INVALID_THREAD, invoke((jobject)0x7777, bar, SYNCHRONOUS, &result));
    EXPECT_EQ(newer() ? 0 : 1, in_method_invoke());
    invoke_request* left = find_invoke_method((jobject)0x7777);
    EXPECT_EQ(newer(), left == nullptr);
    if (left) free_invoke_method(sim.env(), left);
}

/* ---- The debugger ends its wait ---- */

TEST_P(OnNewerVms, WaitForAMethodThatBlocksIsEndedByAControlC) {
    Interleaving order;
    sim::Method& slow = slow_method();
    auto running = stop_worker([&](jobject thread) {
        monitors::timed.clear();
        monitors::in_timed_wait = [&] {
            EXPECT_TRUE(wait_for([&] { return inside.load(); }));
            shared_store(controlc_hit, 1);
        };
        EXPECT_EQ(0, invoke(thread, slow, SYNCHRONOUS, &result));
        monitors::in_timed_wait = nullptr;
        EXPECT_EQ(INVOKE_ABANDONED, state_of(thread));
        EXPECT_EQ(1, controlc_hit) << "it is the main loop's to answer";
    });
    expect_given_up();
    EXPECT_EQ((std::vector<std::pair<jint, std::string>>{{2000, "process_invokemethod_event"}}), monitors::timed);
    EXPECT_EQ(0, process_next_event());
    EXPECT_EQ((strings{"hook_bpt", "hook_controlc"}), hooks::names());
    open = true;
    running->join();
    EXPECT_EQ(0u, sim.count_calls("JNI.Throw"));
}

TEST_P(OnNewerVms, CallAtAControlCStopIsTakenBackWhenItsThreadRaisesAnEvent) {
    Interleaving order;
    jobject handle = nullptr;
    std::atomic<bool> asked = false;
    auto running = start_known(worker, [&] {
        handle = announce();
        asked = true;
        EXPECT_TRUE(wait_for([&] { return !asked; }));
        sim.raise_breakpoint(bar, 1, FORCE);
        TMap_end(handle, agent_self());
    });
    ASSERT_TRUE(wait_for([&] { return asked.load(); }));
    hooks::during = [&](const hooks::Call& call) {
        if (call.hook != "hook_controlc") return;
        asked = false;
        EXPECT_EQ(0, invoke(handle, *number, SYNCHRONOUS, &result));
    };
    controlc_hit = 1;
    process_next_event();
    expect_given_up();
    process_next_event();
    running->join();
    EXPECT_EQ((strings{"hook_controlc", "hook_bpt"}), hooks::names());
    EXPECT_EQ(0, runs);
}

/* ---- The handles of the stop, and the thread, end before the request is served ---- */

/* Asks a thread that runs for `number` of an object that the debugger holds for this stop, with such an object as argument. */
struct LateRequests : Overtaken {
    LateRequests() {
        taker.body = [this](Invocation& call) {
            EXPECT_EQ(&argument, call.args[1].object);
            EXPECT_EQ(7, call.args[0].raw.i);
            runs++;
            return jint{42};
        };
    }
    void ask_late(jobject thread) {
        jvalue arguments[3] = {};
        arguments[0].i = 7;
        arguments[1].l = keep_alive(sim.env(), sim.local(&argument), "argument");
        EXPECT_EQ(0, agent_invoke_method(sim.env(), thread, keep_alive(sim.env(), sim.local(&receiver), "receiver"),
                                         taker.id(), 'I', 3, arguments, ASYNCHRONOUS, NULL));
    }
    sim::Method& taker = foo.add_method("taker", "(ILjava/lang/Object;[[J)I");
    sim::Object& argument = sim.new_object();
};
SIM_MODES(LateRequests, sim::Mode::jvmti_newer);

TEST_P(LateRequests, KeepTheirObjectsWhenAnotherRequestEndsFirst) {
    Interleaving order;
    std::atomic<jobject> late = nullptr;
    std::atomic<bool> asked = false;
    auto second = sim.start(sim.new_thread("second"), [&] {
        late = announce();
        EXPECT_TRUE(wait_for([&] { return asked.load(); }));
        sim.raise_single_step(bar, 3, FORCE);
    });
    ASSERT_TRUE(wait_for([&] { return late != nullptr; }));
    auto running = stop_worker([&](jobject thread) {
        invoke(thread, *number, ASYNCHRONOUS);
        ask_late(late);
    });
    process_next_event(); /* the outcome of the worker's: its end releases what this stop handed out */
    asked = true;
    process_next_event();
    process_next_event();
    running->join();
    second->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_invoke_method", "hook_step", "hook_invoke_method"}), hooks::names());
    EXPECT_EQ(2, runs);
}

TEST_P(LateRequests, KeepTheirObjectsWhenTheFirstRequestOfTheirThreadWasAbandoned) {
    Interleaving order;
    sim::Method& slow = slow_method();
    auto running = stop_worker(
        [&](jobject thread) {
            other = start_known(sim.new_thread("other"), [&] {
                wait_for([&] { return inside.load(); });
                sim.raise_single_step(bar, 9, FORCE);
            });
            EXPECT_EQ(0, invoke(thread, slow, SYNCHRONOUS, &result));
            ask_late(thread);
        },
        [&] { sim.raise_frame_pop(bar, FORCE); });
    process_next_event();
    open = true;
    process_next_event(); /* the frame pop */
    process_next_event();
    running->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_step", "hook_frame_pop", "hook_invoke_method"}), hooks::names());
    EXPECT_EQ(1, runs);
}

TEST_P(LateRequests, GiveTheirReferencesBackServedOrNot) {
    const jobject handle = announce();
    make_uref(foo), make_uref(receiver);
    const size_t globals = sim.live_globals(), bytes = sim.live_bytes();
    jvalue arguments[3] = {};
    arguments[1].l = make_uref(argument);
    EXPECT_EQ(
        0, agent_invoke_method(sim.env(), handle, receiver_uref(), taker.id(), 'I', 3, arguments, ASYNCHRONOUS, NULL));
    EXPECT_EQ(0, agent_invoke_static_method(sim.env(), handle, (jclass)make_uref(foo), bar.id(), 'V', 0, NULL,
                                            ASYNCHRONOUS, NULL));
    EXPECT_EQ(globals + 1 + 2 + 1, sim.live_globals()) << "a URef; receiver and argument; class";
    invoke_method_cleanup(sim.env());
    URef_delete(sim.env(), arguments[1].l);
    EXPECT_EQ(globals, sim.live_globals());
    EXPECT_EQ(bytes, sim.live_bytes());
}

TEST_P(LateRequests, OfAMethodThatTheVmDoesNotKnowAreRefused) {
    make_uref(foo), receiver_uref();
    const size_t globals = sim.live_globals(), bytes = sim.live_bytes();
    sim.fail("JVMTI.GetMethodName", JVMDI_ERROR_INVALID_METHODID);
    EXPECT_EQ(JVMDI_ERROR_INVALID_METHODID, invoke((jobject)0x70, *number, ASYNCHRONOUS));
    EXPECT_EQ(0, in_method_invoke());
    EXPECT_EQ(globals, sim.live_globals());
    EXPECT_EQ(bytes, sim.live_bytes());
}

TEST_P(LateRequests, AreRefusedWithoutMemoryForTheirReferences) {
    make_uref(foo), receiver_uref();
    const size_t globals = sim.live_globals(), bytes = sim.live_bytes();
    jvalue arguments[3] = {};
    arguments[1].l = make_uref(foo);
    for (int n = 1; n <= 2; n++) {
        sim.null_in("JNI.NewGlobalRef", n);
        EXPECT_EQ(JVMDI_ERROR_INTERNAL, invoke((jobject)0x70, taker, ASYNCHRONOUS, nullptr, 3, arguments)) << n;
    }
    EXPECT_EQ(0, in_method_invoke());
    EXPECT_EQ(globals, sim.live_globals());
    EXPECT_EQ(bytes, sim.live_bytes());
}

TEST_P(OnAllVms, RequestsLeftForAThreadThatEndsAreFreedWithIt) {
    Interleaving order;
    jobject handle = nullptr;
    size_t before = 0;
    make_uref(foo), receiver_uref();
    hooks::during = [&](const hooks::Call& call) {
        handle = call.event.u.thread_change.thread;
        before = sim.live_bytes();
        invoke(handle, *number, ASYNCHRONOUS);
        invoke(handle, *number, ASYNCHRONOUS);
    };
    size_t after = 0;
    auto running = start_known(worker, [&] { sim.raise_thread_end(FORCE); });
    process_next_event();
    running->join();
    after = sim.live_bytes();
    ASSERT_EQ(strings{"hook_thread_stop"}, hooks::names());
    EXPECT_GT(before, after) << "the requests and the thread's table entry";
    EXPECT_EQ(nullptr, find_invoke_method(handle));
    EXPECT_EQ(0, in_method_invoke());
    EXPECT_EQ(0, runs);
}

/* ---- Where the other threads run ---- */

TEST_P(OnAllVms, AfterACallAtAMethodsEntryTheThreadsRunOn) {
    Interleaving order;
    sim::Thread& bystander = sim.new_thread("bystander");
    std::atomic<bool> over = false;
    auto standing = start_known(bystander, [&] { wait_for([&] { return over.load(); }); });
    ASSERT_TRUE(wait_for([&] { return uref_of(bystander) && TMap_handle2tid(uref_of(bystander)); }));
    hooks::during = [&](const hooks::Call& call) {
        EXPECT_EQ(0, invoke(call.event.u.frame.thread, *number, SYNCHRONOUS, &result));
        EXPECT_EQ(1, bystander.suspend_count);
    };
    auto running = start_known(worker, [&] { sim.raise_method_entry(bar, FORCE); });
    process_next_event();
    EXPECT_EQ(0, bystander.suspend_count);
    EXPECT_EQ(0, worker.suspend_count);
    running->join();
    over = true;
    EXPECT_EQ(42, result.value.i);
}

TEST_P(OnAllVms, AfterACallAtAThreadsEndTheThreadsRunOn) {
    Interleaving order;
    hooks::during = [&](const hooks::Call& call) {
        EXPECT_EQ(0, invoke(call.event.u.thread_change.thread, *number, SYNCHRONOUS, &result));
        EXPECT_EQ(1, worker.suspend_count);
    };
    auto running = start_known(worker, [&] { sim.raise_thread_end(FORCE); });
    process_next_event();
    EXPECT_EQ(0, worker.suspend_count) << "the thread left the map before it was resumed";
    running->join();
    EXPECT_EQ(42, result.value.i);
    EXPECT_FALSE(agent_has_suspended());
}

TEST_P(OnAllVms, ThreadsThatTheDebuggerStopsAtAMethodsEntryStayStopped) {
    Interleaving order;
    hooks::during = [&](const hooks::Call& call) {
        agent_suspend_all(call.env);
        EXPECT_EQ(0, invoke(call.event.u.frame.thread, *number, SYNCHRONOUS, &result));
    };
    auto running = start_known(worker, [&] { sim.raise_method_entry(bar, FORCE); });
    process_next_event();
    EXPECT_TRUE(agent_has_suspended());
    agent_resume_all(sim.env());
    running->join();
}

/* ---- The attach stop ---- */

TEST_P(OnAllVms, CallAtTheAttachStopEndsLikeAnyOther) {
    Interleaving order;
    jobject handle = nullptr;
    std::atomic<bool> known = false, asked = false;
    auto running = sim.start(worker, [&] {
        handle = announce();
        known = true;
        EXPECT_TRUE(wait_for([&] { return asked.load(); }));
        sim.raise_breakpoint(bar, 1, FORCE);
        TMap_end(handle, agent_self());
    });
    ASSERT_TRUE(wait_for([&] { return known.load(); }));
    hooks::during_contact = [&] {
        asked = true;
        EXPECT_EQ(0, invoke(handle, *number, SYNCHRONOUS, &result));
    };
    jquor_attached = 1;
    EXPECT_EQ(0, process_next_event()) << "the attach, then the event that came meanwhile";
    EXPECT_EQ(0, jquor_attached);
    expect_given_up();
    hooks::during_contact = nullptr;
    if (!newer()) process_next_event(); /* there the request stayed, and its outcome is an event */
    running->join();
    EXPECT_EQ(newer() ? (strings{"hook_bpt"}) : (strings{"hook_bpt", "hook_invoke_method"}), hooks::names());
}

/* ---- Classes that are prepared meanwhile ---- */

struct PreparedMeanwhile : Overtaken {
    PreparedMeanwhile() {
        number->body = [this](Invocation&) {
            sim.raise_class_prepare(loaded, FORCE);
            return jint{42};
        };
    }
    strings listed() {
        strings names;
        for (jint i = 0; i < prep_list.count; i++) names.push_back(prep_list.array[i].signature);
        return names;
    }
    sim::Class& loaded = sim.new_class("Loaded");
};
SIM_ALL_MODES(PreparedMeanwhile);

TEST_P(PreparedMeanwhile, ByAnInvokedMethodAreListedOnNewerVms) {
    Interleaving order;
    auto running = stop_worker([&](jobject thread) { invoke(thread, *number, SYNCHRONOUS, &result); });
    running->join();
    EXPECT_EQ(42, result.value.i);
    EXPECT_EQ(newer() ? strings{"LLoaded;"} : strings{}, listed());
    for (jint i = 0; i < prep_list.count; i++) EXPECT_EQ(uref_of(loaded), prep_list.array[i].clazz);
    EXPECT_EQ(strings{"hook_bpt"}, hooks::names());
}

TEST_P(PreparedMeanwhile, ByTheAgentThreadAreListedOnNewerVms) {
    sim.raise_class_prepare(loaded, FORCE);
    EXPECT_EQ(newer() ? strings{"LLoaded;"} : strings{}, listed());
    EXPECT_EQ(strings{"hook_class_prepare"}, hooks::names());
}

TEST_P(PreparedMeanwhile, ByAnAbandonedMethodAreListedBeforeItIsUnwound) {
    if (!newer()) GTEST_SKIP() << "there nothing is listed";
    Interleaving order;
    sim::Method& slow = slow_method([&] { sim.raise_class_prepare(loaded, FORCE); });
    auto running = stop_worker([&](jobject thread) {
        other = start_known(sim.new_thread("other"), [&] {
            wait_for([&] { return inside.load(); });
            sim.raise_single_step(bar, 9, FORCE);
        });
        invoke(thread, slow, SYNCHRONOUS, &result);
    });
    process_next_event();
    open = true;
    process_next_event();
    running->join();
    EXPECT_EQ(strings{"LLoaded;"}, listed());
    EXPECT_EQ((strings{"hook_bpt", "hook_step", "hook_invoke_method"}), hooks::names());
}

/* A thread may be suspended in a VM call; the agent thread would then wait for ever for the list. */
TEST_P(PreparedMeanwhile, AreListedWithoutAVmCallUnderTheListsLockButForMemory) {
    if (!newer()) GTEST_SKIP() << "there nothing is listed";
    Interleaving order;
    order.hold("worker", "after lock PrepList_add*");
    auto helper = sim.start_unattached([&] {
        order.await("worker");
        const size_t before = sim.calls_on("worker").size();
        order.go_on_to("worker", "unlock PrepList_add*");
        const strings calls = sim.calls_on("worker");
        for (size_t i = before; i < calls.size(); i++) EXPECT_EQ(0u, calls[i].find("JVMTI.Allocate(")) << calls[i];
        order.go("worker");
    });
    auto running = stop_worker([&](jobject thread) { invoke(thread, *number, SYNCHRONOUS, &result); });
    running->join();
    helper->join();
    EXPECT_EQ(strings{"LLoaded;"}, listed());
}
