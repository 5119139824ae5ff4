/* Method invocation: a request is left for a thread that waits in the queue, runs there, and its outcome comes back, inside
 * the debugger's call or as an event. The test's own thread is the agent thread; what runs at hooks::during is the debugger.
 */
#include "invocation_fixture.h"

#include "agent_thread/await_outcome.h"
#include "java_threads/poster.h"
#include "support/err_str.h"

#include <signal.h>
#include <string.h>

using sim::capture_stdout;
using sim::wait_for;

SIM_ALL_MODES(Invocations);

/* ---- The two ways of an outcome ---- */

TEST_P(Invocations, AsynchronousOutcomeComesAsAnEventOfTheThread) {
    sim::Method& number = method_that("number", [](Invocation&) { return jint{42}; });
    jobject handle = nullptr;
    auto running = stop_worker([&](jobject thread) {
        handle = thread;
        EXPECT_EQ(0, invoke(thread, number, ASYNCHRONOUS));
        EXPECT_EQ(0u, sim.count_calls("JNI.CallIntMethodA")) << "it runs in its own thread, later";
    });
    EXPECT_EQ(0, process_next_event());
    running->join();
    ASSERT_EQ((strings{"hook_bpt", "hook_invoke_method"}), hooks::names());
    EXPECT_EQ(INVOKE_STATUS_RETURNED, shown(1).status);
    EXPECT_EQ(nullptr, shown(1).exception);
    EXPECT_EQ(42, shown(1).value.i);
    EXPECT_EQ(handle, shown(1).thread);
    EXPECT_EQ('I', shown(1).return_type);
}

TEST_P(Invocations, SynchronousOutcomeIsHandedToTheWaitingDebuggerAndNotShown) {
    agent_tid_t ran_on = 0;
    sim::Method& number = method_that("number", [&](Invocation&) {
        ran_on = agent_self();
        return jint{42};
    });
    AgentInvokRet result = {};
    jobject handle = nullptr;
    auto running = stop_worker([&](jobject thread) {
        handle = thread;
        EXPECT_EQ(0, invoke(thread, number, SYNCHRONOUS, &result));
    });
    running->join();
    EXPECT_EQ(strings{"hook_bpt"}, hooks::names());
    EXPECT_EQ(INVOKE_STATUS_RETURNED, result.status);
    EXPECT_EQ(42, result.value.i);
    EXPECT_EQ(handle, result.thread);
    EXPECT_EQ((agent_tid_t)running->native_id(), ran_on);
}

TEST_P(Invocations, SynchronousCallLetsAllThreadsRunAndStopsThemAgain) {
    sim::Method& number = method_that("number", [&](Invocation&) {
        EXPECT_EQ(0, worker.suspend_count);
        return jint{42};
    });
    AgentInvokRet result = {};
    auto running = stop_worker([&](jobject thread) {
        EXPECT_EQ(1, worker.suspend_count);
        invoke(thread, number, SYNCHRONOUS, &result);
        EXPECT_EQ(1, worker.suspend_count);
    });
    EXPECT_CALLS(stops_and_goes(), stop_of("[worker]"), go_of("[worker]"), stop_of("[worker]"), go_of("[worker]"));
}

TEST_P(Invocations, ThreadStaysInItsEventWhileTheDebuggerLooksAtASynchronousOutcome) {
    sim::Method& number = method_that("number", [](Invocation&) { return jint{42}; });
    std::atomic<bool> went_on = false;
    AgentInvokRet result = {};
    auto running = stop_worker(
        [&](jobject thread) {
            invoke(thread, number, SYNCHRONOUS, &result);
            EXPECT_TRUE(wait_for([] { return monitors::waiting == 1; }));
            EXPECT_FALSE(went_on);
        },
        [&] { went_on = true; });
    running->join();
    EXPECT_TRUE(went_on);
}

TEST_P(Invocations, SeveralSynchronousCallsFollowEachOtherWithinOneStop) {
    int calls = 0;
    sim::Method& count = method_that("count", [&](Invocation&) { return jint{++calls}; });
    AgentInvokRet first = {}, second = {};
    auto running = stop_worker([&](jobject thread) {
        invoke(thread, count, SYNCHRONOUS, &first);
        invoke(thread, count, SYNCHRONOUS, &second);
    });
    running->join();
    EXPECT_EQ(1, first.value.i);
    EXPECT_EQ(2, second.value.i);
    EXPECT_EQ(strings{"hook_bpt"}, hooks::names());
}

/* ---- Types ---- */

static const struct ReturnType {
    char type;
    const char* jni; /* the type in JNI's names */
    const char* signature;
} return_types[] = {
    {'B', "Byte", "()B"},    {'C', "Char", "()C"},
    {'D', "Double", "()D"},  {'F', "Float", "()F"},
    {'I', "Int", "()I"},     {'J', "Long", "()J"},
    {'S', "Short", "()S"},   {'V', "Void", "()V"},
    {'Z', "Boolean", "()Z"}, {'L', "Object", "()Ljava/lang/Object;"},
    {'[', "Object", "()[I"},
};

static Value value_of_type(char type, sim::Object* object) {
    switch (type) {
    case 'B': return jbyte{-5};
    case 'C': return jchar{0xfedc};
    case 'D': return jdouble{2.5};
    case 'F': return jfloat{-1.5f};
    case 'I': return jint{-70000};
    case 'J': return jlong{0x123456789abcdef0};
    case 'S': return jshort{-300};
    case 'Z': return true;
    case 'L':
    case '[': return object;
    default: return Value();
    }
}

static void expect_value(char type, const jvalue& value) {
    switch (type) {
    case 'B': EXPECT_EQ(-5, value.b); break;
    case 'C': EXPECT_EQ(0xfedc, value.c); break;
    case 'D': EXPECT_EQ(2.5, value.d); break;
    case 'F': EXPECT_EQ(-1.5f, value.f); break;
    case 'I': EXPECT_EQ(-70000, value.i); break;
    case 'J': EXPECT_EQ(0x123456789abcdef0, value.j); break;
    case 'S': EXPECT_EQ(-300, value.s); break;
    case 'Z': EXPECT_EQ(JNI_TRUE, value.z); break;
    default: break;
    }
}

TEST_P(Invocations, EachReturnTypeIsCalledWithItsOwnFunctionAndGivesItsValue) {
    sim::Array& array = sim.new_array('I', 3);
    sim::Object& object = sim.new_object();
    for (const bool is_static : {false, true})
        for (const ReturnType& row : return_types) {
            sim::Object* given = row.type == '[' ? &array : &object;
            sim::Method& method =
                foo.add_method(std::string("m") + (is_static ? "s" : "i") + row.type, row.signature, is_static ? 9 : 1);
            method.body = [=](Invocation&) { return value_of_type(row.type, given); };
            AgentInvokRet result = {};
            sim::Object* seen = nullptr;
            sim.clear_calls();
            auto running = stop_worker([&](jobject thread) {
                if (is_static)
                    agent_invoke_static_method(sim.env(), thread, (jclass)make_uref(foo), method.id(), row.type, 0,
                                               NULL, SYNCHRONOUS, &result);
                else
                    agent_invoke_method(sim.env(), thread, receiver_uref(), method.id(), row.type, 0, NULL, SYNCHRONOUS,
                                        &result);
                if (row.type == 'L' || row.type == '[') seen = sim.object(result.value.l);
                EXPECT_EQ(seen ? make_uref(*given->type) : nullptr, result.value_class);
            });
            running->join();
            const std::string call = std::string("JNI.Call") + (is_static ? "Static" : "") + row.jni + "MethodA";
            EXPECT_CALLS(sim.calls_of({"JNI.Call*"}),
                         call + (is_static ? "(Foo, " : "(" + receiver.label + ", ") + method.label() + ")");
            EXPECT_EQ(INVOKE_STATUS_RETURNED, result.status) << row.type << is_static;
            EXPECT_EQ(row.type, (char)result.return_type);
            EXPECT_EQ(row.type == 'L' || row.type == '[' ? given : nullptr, seen);
            expect_value(row.type, result.value);
        }
}

TEST_P(Invocations, NullResultHasNoClass) {
    sim::Method& null = foo.add_method("null", "()Ljava/lang/Object;");
    null.body = [](Invocation&) { return nullptr; };
    AgentInvokRet result = {};
    result.value_class = (jobject)0x10;
    stop_worker([&](jobject thread) { invoke(thread, null, SYNCHRONOUS, &result); })->join();
    EXPECT_EQ(INVOKE_STATUS_RETURNED, result.status);
    EXPECT_EQ(nullptr, result.value.l);
    EXPECT_EQ(nullptr, result.value_class);
}

TEST_P(Invocations, UnknownReturnTypeIsReportedAndNothingIsCalled) {
    AgentInvokRet result = {};
    const std::string out = capture_stdout([&] {
        stop_worker([&](jobject thread) {
            agent_invoke_method(sim.env(), thread, receiver_uref(), bar.id(), 'Q', 0, NULL, SYNCHRONOUS, &result);
        })->join();
    });
    EXPECT_EQ("service_invoke_request: unknown return type\n", out);
    EXPECT_EQ(0u, sim.count_calls("JNI.Call*"));
    EXPECT_EQ(INVOKE_STATUS_RETURNED, result.status);
}

TEST_P(Invocations, ArgumentsAreACopyOfTheDebuggers) {
    for (const int count : {0, 1, 20}) {
        std::vector<jint> received;
        sim::Method& method = foo.add_method("take" + std::to_string(count), "(" + std::string(count, 'I') + ")V");
        method.body = [&](Invocation& call) {
            for (const Value& arg : call.args) received.push_back(arg.raw.i);
            return Value();
        };
        std::vector<jint> sent;
        auto running = stop_worker([&](jobject thread) {
            std::vector<jvalue> arguments((size_t)count);
            for (int i = 0; i < count; i++) {
                sent.push_back(100 + i);
                arguments[(size_t)i].i = 100 + i;
            }
            sim.clear_calls();
            EXPECT_EQ(0, invoke(thread, method, ASYNCHRONOUS, nullptr, count, arguments.data()));
            const strings allocated = sim.calls_of({"JV*.Allocate"});
            const std::string of_arguments = sim.vm_name("Allocate(" + std::to_string(8 * count) + ")");
            EXPECT_EQ(count > 0, !allocated.empty() && allocated.back() == of_arguments);
            for (jvalue& argument : arguments) argument.i = -1; /* the debugger's memory is used for something else */
        });
        process_next_event();
        running->join();
        EXPECT_EQ(sent, received);
    }
}

/* ---- Exceptions ---- */

TEST_P(Invocations, ExceptionIsDescribedAndPassedOn) {
    sim::Object& error = sim.new_exception("java/lang/Error", "thrown on purpose");
    sim::Method& failing = method_that("failing", [&](Invocation& call) {
        call.throws(&error);
        return jint{1};
    });
    AgentInvokRet result = {};
    sim::Object* seen = nullptr;
    stop_worker([&](jobject thread) {
        invoke(thread, failing, SYNCHRONOUS, &result);
        seen = sim.object(result.exception);
        EXPECT_EQ(newer(), sim.is_global(result.exception));
    })->join();
    EXPECT_EQ(INVOKE_STATUS_THREW, result.status);
    EXPECT_EQ(&error, seen);
    EXPECT_EQ(1u, sim.count_calls("JNI.ExceptionDescribe"));
    EXPECT_EQ(0u, sim.count_calls("JNI.ExceptionClear")) << "that is for an aborted invocation";
}

/* Describing it runs Java code, whose events may be answered with the abort exception. */
TEST_P(Invocations, CallThatIsAbortedWhileItsExceptionIsDescribedLeavesNoneBehind) {
    sim::Object& error = sim.new_exception("java/lang/Error");
    sim::Method& failing = method_that("failing", [&](Invocation& call) {
        call.throws(&error);
        return jint{1};
    });
    sim.before("JNI.ExceptionDescribe",
               [] { shared_store(TMap_tid2tm(agent_self())->invocation_state, INVOKE_ABORTED); });
    AgentInvokRet result = {};
    stop_worker([&](jobject thread) { invoke(thread, failing, SYNCHRONOUS, &result); })->join();
    EXPECT_EQ(INVOKE_STATUS_THREW, result.status);
    EXPECT_EQ(1u, sim.count_calls("JNI.ExceptionClear"));
}

/* An event that a handler of the debugger's own is to be called for has an outcome that its thread posts with that handler. */
static void own_handler(JNIEnv*, JVMDI_Event*, agent_tid_t) {}

TEST_P(Invocations, OutcomeIsKnownByKindAndThreadWhateverItsHandler) {
    sim::Method& number = method_that("number", [](Invocation&) { return jint{42}; });
    jobject handle = nullptr;
    std::atomic<bool> known = false;
    std::atomic<bool> asked = false;
    auto running = sim.start(worker, [&] {
        handle = announce();
        known = true;
        EXPECT_TRUE(wait_for([&] { return asked.load(); }));
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_USER_DEFINED;
        EXPECT_EQ(0, add_event(sim.env(), &event, {own_handler}));
        TMap_end(handle, agent_self());
    });
    ASSERT_TRUE(wait_for([&] { return known.load(); }));
    AgentInvokRet result = {};
    ASSERT_EQ(0, post_invoke_request(sim.env(), handle, receiver_uref(), NULL, number.id(), 'I', 0, NULL, 1, 0));
    asked = true;
    ASSERT_EQ(0, process_next_event()); /* the event; its thread then runs the method, and posts the outcome */
    ASSERT_TRUE(wait_for([] { return monitors::waits == 2; }));
    EXPECT_EQ(0, process_invokemethod_event(handle, &result));
    EXPECT_EQ(INVOKE_STATUS_RETURNED, result.status);
    EXPECT_EQ(42, result.value.i);
    EXPECT_EQ(0, release_pending_entry());
    running->join();
}

/* ---- Other events during a synchronous call ---- */

TEST_P(Invocations, EventsOfTheThreadVanishDuringItsSynchronousCall) {
    sim::Method& noisy = method_that("noisy", [&](Invocation&) {
        sim.raise_breakpoint(bar, 2, FORCE);
        sim.raise_single_step(bar, 3, FORCE);
        return jint{42};
    });
    AgentInvokRet result = {};
    stop_worker([&](jobject thread) { invoke(thread, noisy, SYNCHRONOUS, &result); })->join();
    EXPECT_EQ(strings{"hook_bpt"}, hooks::names());
    EXPECT_EQ(42, result.value.i);
}

TEST_P(Invocations, EventsOfTheThreadAreShownDuringItsAsynchronousCall) {
    sim::Method& noisy = method_that("noisy", [&](Invocation&) {
        sim.raise_single_step(bar, 3, FORCE);
        return jint{42};
    });
    auto running = stop_worker([&](jobject thread) { invoke(thread, noisy, ASYNCHRONOUS); });
    process_next_event();
    process_next_event();
    running->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_step", "hook_invoke_method"}), hooks::names());
}

/* A synchronous call that another thread's event makes the debugger give up; the method waits meanwhile. */
struct AbandonedInvocations : Invocations {
    /* Abandons a call of `method`, whose body is to wait for `open`. */
    std::unique_ptr<sim::Running> abandon(
        sim::Method& method, std::function<void()> afterwards = [] {}) {
        return stop_worker(
            [&](jobject thread) {
                disturber = start_known(sim.new_thread("disturber"), [&] {
                    wait_for([&] { return inside.load(); });
                    sim.raise_single_step(bar, 9, FORCE);
                });
                result.exception = (jobject)0x10;
                EXPECT_EQ(0, invoke(thread, method, SYNCHRONOUS, &result));
                EXPECT_EQ(INVOKE_ABANDONED, TMap_handle2tm(thread)->invocation_state);
            },
            afterwards);
    }

    void wait_inside() {
        inside = true;
        EXPECT_TRUE(wait_for([&] { return open.load(); }));
    }

    std::atomic<bool> inside = false, open = false;
    std::unique_ptr<sim::Running> disturber;
    AgentInvokRet result = {};
};
SIM_ALL_MODES(AbandonedInvocations);

TEST_P(AbandonedInvocations, GiveStatusTwoWithoutAnExceptionAndLeaveTheOtherEventQueued) {
    sim::Method& slow = method_that("slow", [&](Invocation&) {
        wait_inside();
        return jint{42};
    });
    auto running = abandon(slow);
    EXPECT_EQ(INVOKE_STATUS_THREW, result.status);
    EXPECT_EQ(nullptr, result.exception);
    EXPECT_EQ(strings{"hook_bpt"}, hooks::names());
    process_next_event();
    EXPECT_EQ((strings{"hook_bpt", "hook_step"}), hooks::names());
    open = true;
}

TEST_P(AbandonedInvocations, DeliverNoOutcomeWhenNothingWasThrownIntoThem) {
    jint state = -1;
    sim::Method& slow = method_that("slow", [&](Invocation&) {
        wait_inside();
        return jint{42};
    });
    auto running = abandon(slow, [&] { state = TMap_tid2tm(agent_self())->invocation_state; });
    process_next_event();
    open = true;
    running->join();
    EXPECT_EQ(INVOKE_NONE, state);
    EXPECT_EQ(0, in_method_invoke());
    EXPECT_EQ((strings{"hook_bpt", "hook_step"}), hooks::names());
    EXPECT_EQ(0u, sim.count_calls("JNI.ExceptionOccurred"));
}

TEST_P(AbandonedInvocations, AreUnwoundByTheirNextEventAndTheirOutcomeIsShownAsAnEvent) {
    java_lang_throwable = make_uref(sim.new_exception("java/lang/Exception"));
    sim::Object* throwable = sim.object(java_lang_throwable);
    sim::Method& slow = method_that("slow", [&](Invocation&) {
        wait_inside();
        sim.raise_breakpoint(bar, 5, FORCE);
        EXPECT_EQ(INVOKE_ABORTED, TMap_tid2tm(agent_self())->invocation_state);
        EXPECT_EQ(throwable, sim.pending());
        return jint{42};
    });
    jint state = -1;
    sim::Object* left_pending = throwable;
    auto running = abandon(slow, [&] {
        state = TMap_tid2tm(agent_self())->invocation_state;
        left_pending = sim.pending();
    });
    process_next_event(); /* the disturber's */
    sim::Object* seen = nullptr;
    hooks::during = [&](const hooks::Call& call) {
        JVMDI_Event event = call.event;
        seen = sim.object(outcome_of(&event)->exception);
    };
    open = true;
    process_next_event();
    running->join();
    ASSERT_EQ((strings{"hook_bpt", "hook_step", "hook_invoke_method"}), hooks::names());
    EXPECT_EQ(INVOKE_STATUS_THREW, shown(2).status);
    EXPECT_EQ(throwable, seen);
    EXPECT_EQ(nullptr, left_pending);
    EXPECT_EQ(1u, sim.count_calls("JNI.ExceptionClear"));
    EXPECT_EQ(INVOKE_NONE, state);
}

/* ---- Requests ---- */

TEST_P(Invocations, RequestsOfOneThreadAreServedNewestFirstOneAnEvent) {
    std::vector<std::string> order;
    const auto note = [&](const char* name) -> sim::Method& {
        return method_that(name, [&order](Invocation& call) {
            order.push_back(call.method->name);
            return jint{1};
        });
    };
    sim::Method &first = note("first"), &second = note("second");
    auto running = stop_worker([&](jobject thread) {
        invoke(thread, first, ASYNCHRONOUS);
        invoke(thread, second, ASYNCHRONOUS);
    });
    ASSERT_TRUE(wait_for([] { return monitors::waits == 2; })) << "the first outcome is posted";
    EXPECT_EQ(strings{"second"}, order);
    process_next_event();
    process_next_event();
    running->join();
    EXPECT_EQ((strings{"second", "first"}), order);
    EXPECT_EQ((strings{"hook_bpt", "hook_invoke_method", "hook_invoke_method"}), hooks::names());
}

TEST_P(Invocations, RequestForAThreadThatRunsWaitsForItsNextEvent) {
    sim::Method& number = method_that("number", [](Invocation&) { return jint{42}; });
    std::atomic<bool> posted = false;
    std::atomic<jobject> handle = nullptr;
    auto running = sim.start(worker, [&] {
        handle = announce();
        wait_for([&] { return posted.load(); });
        EXPECT_EQ(0u, sim.count_calls("JNI.CallIntMethodA"));
        sim.raise_single_step(bar, 1, FORCE);
    });
    ASSERT_TRUE(wait_for([&] { return handle != nullptr; }));
    EXPECT_EQ(0, invoke(handle, number, ASYNCHRONOUS));
    posted = true;
    process_next_event();
    process_next_event();
    running->join();
    EXPECT_EQ((strings{"hook_step", "hook_invoke_method"}), hooks::names());
}

TEST_P(Invocations, ThreadLeavesRequestsForOthersAlone) {
    sim::Method& number = method_that("number", [](Invocation&) { return jint{42}; });
    stop_worker([&](jobject) { invoke((jobject)0x7777, number, ASYNCHRONOUS); })->join();
    EXPECT_EQ(0u, sim.count_calls("JNI.CallIntMethodA"));
    invoke_request* left = find_invoke_method((jobject)0x7777);
    ASSERT_NE(nullptr, left);
    EXPECT_EQ(nullptr, find_invoke_method((jobject)0x7777)) << "it was not unlinked";
    free_invoke_method(sim.env(), left);
}

TEST_P(Invocations, RequestHoldsWhatTheDebuggerAskedFor) {
    jvalue argument;
    argument.j = 99;
    ASSERT_EQ(0, invoke((jobject)0x70, bar, ASYNCHRONOUS, nullptr, 1, &argument));
    invoke_request* instance = find_invoke_method((jobject)0x70);
    ASSERT_NE(nullptr, instance);
    EXPECT_EQ(0, instance->is_static);
    EXPECT_EQ(0, instance->sync);
    EXPECT_EQ((jclass)uref_of(foo), instance->clazz);
    if (newer())
        EXPECT_EQ(&receiver, sim.object(instance->object)) << "under a reference of the request's own";
    else
        EXPECT_EQ(receiver_uref(), instance->object);
    EXPECT_EQ(bar.id(), instance->method);
    EXPECT_EQ('V', instance->return_type);
    EXPECT_EQ(1, instance->argument_count);
    EXPECT_EQ(99, instance->arguments[0].j);
    free_invoke_method(sim.env(), instance);
    const jclass clazz = sim.local<jclass>(&foo);
    ASSERT_EQ(0, post_invoke_request(sim.env(), (jobject)0x71, NULL, clazz, bar.id(), 'I', 0, NULL, 1, 1));
    invoke_request* of_class = find_invoke_method((jobject)0x71);
    ASSERT_NE(nullptr, of_class);
    EXPECT_EQ(1, of_class->is_static);
    EXPECT_EQ(1, of_class->sync);
    if (newer())
        EXPECT_EQ(&foo, sim.object(of_class->clazz));
    else
        EXPECT_EQ(clazz, of_class->clazz) << "the class is passed on unchanged";
    EXPECT_EQ(nullptr, of_class->object);
    EXPECT_EQ(nullptr, of_class->arguments);
    free_invoke_method(sim.env(), of_class);
}

TEST_P(Invocations, InvocationIsOnFromThePostingUntilAnyRequestIsFreed) {
    EXPECT_EQ(0, in_method_invoke());
    invoke((jobject)0x70, bar, ASYNCHRONOUS);
    invoke((jobject)0x71, bar, ASYNCHRONOUS);
    EXPECT_EQ(1, in_method_invoke());
    free_invoke_method(sim.env(), find_invoke_method((jobject)0x70));
    EXPECT_EQ(0, in_method_invoke()) << "it is a flag, not a count";
    free_invoke_method(sim.env(), find_invoke_method((jobject)0x71));
}

TEST_P(Invocations, CleanupFreesEveryRequestThatIsLeft) {
    make_uref(foo), receiver_uref();
    const size_t before = sim.live_bytes();
    jvalue arguments[2] = {};
    invoke((jobject)0x70, bar, ASYNCHRONOUS, nullptr, 2, arguments);
    invoke((jobject)0x71, bar, ASYNCHRONOUS);
    EXPECT_LT(before, sim.live_bytes());
    invoke_method_cleanup(sim.env());
    EXPECT_EQ(before, sim.live_bytes());
    EXPECT_EQ(nullptr, find_invoke_method((jobject)0x70));
    EXPECT_EQ(0, in_method_invoke());
    EXPECT_EQ(0, monitors::held);
}

TEST_P(Invocations, ServedRequestsGiveTheirMemoryBack) {
    sim::Method& number = method_that("number", [](Invocation&) { return jint{42}; });
    AgentInvokRet result = {};
    jvalue argument = {};
    size_t before = 0, after = 1;
    stop_worker([&](jobject thread) {
        make_uref(foo), receiver_uref();
        before = sim.live_bytes();
        invoke(thread, number, SYNCHRONOUS, &result, 1, &argument);
        after = sim.live_bytes();
    })->join();
    EXPECT_EQ(before, after);
}

TEST_P(Invocations, ObjectOfAnOutcomeMayBeUsedOnTheAgentThreadAndIsReleasedAfterwards) {
    sim::Method& object = foo.add_method("object", "()Ljava/lang/Object;");
    sim::Object& value = sim.new_object();
    object.body = [&](Invocation&) { return &value; };
    AgentInvokRet result = {};
    stop_worker([&](jobject thread) {
        invoke(thread, object, SYNCHRONOUS, &result);
        EXPECT_EQ(&value, sim.object(result.value.l));
        EXPECT_EQ(newer(), sim.is_global(result.value.l));
    })->join();
    EXPECT_EQ(nullptr, sim.object(result.value.l));
}

/* ---- Failures ---- */

TEST_P(Invocations, PostingGivesTheCodeOfAFailedAllocation) {
    make_uref(foo), receiver_uref();
    const size_t before = sim.live_bytes();
    const std::string message =
        std::string("AgentThread: JVMDI_Allocate() failed -- ") + err_str(JVMDI_ERROR_OUT_OF_MEMORY) + "\n";
    for (const int n : {1, 2}) { /* the request's, its arguments' */
        jvalue argument = {};
        jint result = 0;
        sim.fail_nth(sim.vm_name("Allocate"), n, JVMDI_ERROR_OUT_OF_MEMORY);
        const std::string out =
            capture_stdout([&] { result = invoke((jobject)0x70, bar, ASYNCHRONOUS, nullptr, 1, &argument); });
        EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, result) << n;
        EXPECT_EQ(message, out) << n;
        EXPECT_EQ(before, sim.live_bytes()) << n;
        EXPECT_EQ(nullptr, find_invoke_method((jobject)0x70)) << n;
        EXPECT_EQ(0, in_method_invoke()) << n;
    }
}

TEST_P(Invocations, PostingGives113WhenTheReceiversClassCannotBeHad) {
    const jobject object = receiver_uref();
    sim.throw_in("JNI.GetObjectClass", sim.new_exception("java/lang/Error"), 1);
    EXPECT_EQ(JVMDI_ERROR_INTERNAL,
              agent_invoke_method(sim.env(), (jobject)0x70, object, bar.id(), 'V', 0, NULL, 0, NULL));
    EXPECT_CALLS(sim.calls_of({"JNI.Exception*"}), "JNI.ExceptionOccurred()", "JNI.ExceptionDescribe()",
                 "JNI.ExceptionClear()");
    EXPECT_EQ(nullptr, sim.pending());
}

TEST_P(Invocations, PostingGives113WhenTheListsMonitorFails) {
    for (const char* operation : {"lock", "unlock"}) {
        monitors::fail(operation, "process_invoke_request");
        EXPECT_EQ(JVMDI_ERROR_INTERNAL, invoke((jobject)0x70, bar, ASYNCHRONOUS)) << operation;
        EXPECT_EQ(0, monitors::held);
    }
}

TEST_P(Invocations, RequestThatCannotBeSearchedForIsNotFound) {
    for (const std::string operation : {"lock", "unlock"}) {
        invoke((jobject)0x70, bar, ASYNCHRONOUS);
        monitors::fail(operation, "find_invoke_method");
        invoke_request* found = (invoke_request*)0x10;
        const std::string out = capture_stdout([&] { found = find_invoke_method((jobject)0x70); });
        EXPECT_EQ(nullptr, found);
        EXPECT_EQ("find_invoke_method: monitor_" + operation + " failed\n", out);
    }
}

TEST_P(Invocations, FailedDeallocationsAreReportedOneByOne) {
    jvalue argument = {};
    invoke((jobject)0x70, bar, ASYNCHRONOUS, nullptr, 1, &argument);
    invoke_request* request = find_invoke_method((jobject)0x70);
    sim.fail(sim.vm_name("Deallocate"), JVMDI_ERROR_INTERNAL);
    const std::string out = capture_stdout([&] { free_invoke_method(sim.env(), request); });
    const std::string line =
        std::string("free_invoke_method: Deallocate() failed ") + err_str(JVMDI_ERROR_INTERNAL) + "\n";
    EXPECT_EQ(line + line, out);
    EXPECT_EQ(0, in_method_invoke());
}

TEST_P(Invocations, CannotBeInitialisedOnTheAgentThread) {
    jint result = 0;
    const std::string out = capture_stdout([&] { result = invoke_method_init(); });
    EXPECT_EQ(JVMDI_ERROR_INVALID_THREAD, result);
    EXPECT_EQ(std::string("invoke_method_init: failed -- ") + err_str(JVMDI_ERROR_INVALID_THREAD) + "\n", out);
}

TEST_P(Invocations, CannotBeInitialisedWithoutAMonitor) {
    tid_debug_agent = 1;
    monitors::fail("init", "");
    jint result = 0;
    const std::string out = capture_stdout([&] { result = invoke_method_init(); });
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, result);
    EXPECT_EQ("invoke_method_init: monitor_init() failed\n", out);
}

TEST_P(Invocations, InitialisingForgetsTheAbortException) {
    tid_debug_agent = 1;
    java_lang_throwable = (jobject)0x10;
    EXPECT_EQ(0, invoke_method_init());
    EXPECT_EQ(nullptr, java_lang_throwable);
}

TEST_P(Invocations, InstanceMethodsCanBeAskedForOnTheAgentThreadOnly) {
    tid_debug_agent = 1;
    jint result = 0;
    const std::string out = capture_stdout([&] { result = invoke((jobject)0x70, bar, ASYNCHRONOUS); });
    EXPECT_EQ(JVMDI_ERROR_NOT_IMPLEMENTED, result);
    EXPECT_EQ("invoke_method(): call can run only on the agent\n", out);
}

TEST_P(Invocations, StaticMethodAskedForOnAnotherThreadEndsTheProcess) {
    const sim::ChildResult result = run_in_child([&] {
        tid_debug_agent = 1;
        agent_invoke_static_method(sim.env(), (jobject)0x70, (jclass)make_uref(foo), bar.id(), 'V', 0, NULL, 0, NULL);
    });
    EXPECT_EQ(SIGABRT, result.signal);
    EXPECT_EQ("invoke_static_method(): call can run only on the agent\n", result.out);
}

TEST_P(Invocations, WithoutAnEnvironmentTheThreadsOwnIsFetchedOrTheProcessEnds) {
    const jobject object = receiver_uref();
    EXPECT_EQ(0, agent_invoke_method(NULL, (jobject)0x70, object, bar.id(), 'V', 0, NULL, 0, NULL));
    EXPECT_EQ(0,
              agent_invoke_static_method(NULL, (jobject)0x70, (jclass)make_uref(foo), bar.id(), 'V', 0, NULL, 0, NULL));
    EXPECT_EQ((strings{"JavaVM.GetEnv(0x10002)", "JavaVM.GetEnv(0x10002)"}), sim.calls_of({"JavaVM.GetEnv"}));
    sim.set_getenv(JNI_VERSION_1_2, JNI_EVERSION);
    for (const bool is_static : {false, true}) {
        const sim::ChildResult result = run_in_child([&] {
            if (is_static)
                agent_invoke_static_method(NULL, (jobject)0x70, NULL, bar.id(), 'V', 0, NULL, 0, NULL);
            else
                agent_invoke_method(NULL, (jobject)0x70, object, bar.id(), 'V', 0, NULL, 0, NULL);
        });
        EXPECT_EQ(SIGABRT, result.signal) << is_static;
    }
}

TEST_P(Invocations, OutcomeIsAwaitedByTheAgentThreadOnly) {
    const jobject handle = announce();
    tid_debug_agent = 1;
    AgentInvokRet outcome = {};
    jint result = 0;
    const std::string out = capture_stdout([&] { result = process_invokemethod_event(handle, &outcome); });
    EXPECT_EQ(JVMDI_ERROR_INVALID_THREAD, result);
    EXPECT_EQ(std::string("process_next_event: failed -- ") + err_str(JVMDI_ERROR_INVALID_THREAD) + "\n", out);
}

TEST_P(Invocations, AwaitingGives113WhenAMonitorFails) {
    const jobject handle = announce();
    for (const char* operation : {"lock", newer() ? "timed wait" : "wait"}) {
        AgentInvokRet outcome = {};
        /* on a newer VM the first lock is for a look at the queue, without which the wait is begun all the same */
        monitors::fail(operation, "process_invokemethod_event", newer() && *operation == 'l' ? 2 : 1);
        EXPECT_EQ(JVMDI_ERROR_INTERNAL, process_invokemethod_event(handle, &outcome)) << operation;
        EXPECT_EQ(0, monitors::held) << operation;
    }
}

TEST_P(Invocations, AwaitingGives113WhenThePendingEventCannotBeReleased) {
    jint code = 0;
    AgentInvokRet outcome = {};
    auto running = stop_worker([&](jobject thread) {
        monitors::fail("unlock", "notify_event_processing_done");
        code = process_invokemethod_event(thread, &outcome);
    });
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, code);
    EXPECT_EQ(0, monitors::held);
    running->join();
}

TEST(InvocationOutcome, IsSevenWordsOverTheDataOfAUserEvent) {
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_USER_DEFINED;
    AgentInvokRet* outcome = outcome_of(&event);
    outcome->exception = (jobject)0x11;
    outcome->status = 0x22;
    outcome->value.j = 0x4444444433333333;
    outcome->thread = (jobject)0x55;
    outcome->value_class = (jobject)0x66;
    outcome->return_type = 'L';
    EXPECT_EQ((jobject)0x11, event.u.user.object);
    EXPECT_EQ(0x22, event.u.user.key);
    if (sizeof(void*) != 4) return; /* wider words have the same order */
    const uint32_t expected[] = {5, 0x11, 0x22, 0x33333333, 0x44444444, 0x55, 0x66, 'L', 0, 0, 0, 0};
    EXPECT_EQ(0, memcmp(expected, &event, sizeof event));
}
