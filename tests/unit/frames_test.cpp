/* Frames and local variables. */
#include "entry/agent_entry.h"

#include "entry_fixture.h"

struct FrameTest : EntryTest {
    sim::Class& foo = sim.new_class("Foo");
    sim::Class& bar = sim.new_class("Bar");
    sim::Method& run = foo.add_method("run", "()V");
    sim::Method& step = bar.add_method("step", "()V");
    sim::Thread& worker = sim.new_thread("worker");
    jobject handle = know(worker, 4242);
    sim::Frame& bottom = sim.push_frame(worker, run, 3);
    sim::Frame& top = sim.push_frame(worker, step, 7);

    /* The VM's call that concerns a frame, with `arguments` after the frame's name. */
    std::string frame_call(const std::string& function, int depth, const std::string& arguments = "") {
        const std::string at = std::to_string(depth);
        return sim.vm_name(function) + (on_jvmdi() ? "(worker[" + at + "]" : "(worker, " + at) + arguments + ")";
    }
};

/* ---- Walking the stack ---- */

struct Frames : FrameTest {
    jframeID const untouched = (jframeID)(void*)&run; /* no frame */
    jframeID frame = untouched;
    jclass clazz = NULL;
    jmethodID method = NULL;
    jlocation location = -1;

    jint ask_current() { return agent_get_currentframe(sim.env(), handle, &frame, &clazz, &method, &location); }
    jint ask_caller() {
        return agent_get_callerframe(sim.env(), top.id(), &frame, &clazz, &method, &location, handle, 1);
    }
};
SIM_ALL_MODES(Frames);

TEST_P(Frames, CurrentOneIsTheTop) {
    EXPECT_EQ(0, ask_current());
    EXPECT_EQ(on_jvmdi() ? top.id() : untouched, frame) << "a JVMTI frame has no ID";
    EXPECT_EQ(&bar, sim.object(clazz));
    EXPECT_EQ(step.id(), method);
    EXPECT_EQ(7, location);
    EXPECT_EQ(strings(), recorded());
}

TEST_P(Frames, CurrentOneIsAskedForInOrder) {
    sim.clear_calls();
    EXPECT_EQ(0, ask_current());
    if (on_jvmdi())
        EXPECT_CALLS(made_queries(), "JVMDI.GetCurrentFrame(worker)", "JVMDI.GetFrameLocation(worker[0])");
    else
        EXPECT_CALLS(made_queries(), "JVMTI.GetFrameLocation(worker, 0)", "JVMTI.GetMethodDeclaringClass(Bar.step)");
}

TEST_P(Frames, ClassIsTheSameURefEachTime) {
    EXPECT_EQ(0, ask_current());
    const jclass first = clazz;
    EXPECT_EQ(first, URef_find(sim.env(), sim.local(&bar)));
    EXPECT_TRUE(sim.is_global(first));
    EXPECT_EQ(0, ask_current());
    EXPECT_EQ(first, clazz);
}

TEST_P(Frames, CallersOneIsBelow) {
    EXPECT_EQ(0, ask_caller());
    EXPECT_EQ(on_jvmdi() ? bottom.id() : NULL, frame);
    EXPECT_EQ(URef_find(sim.env(), sim.local(&foo)), clazz);
    EXPECT_EQ(&foo, sim.object(clazz));
    EXPECT_EQ(run.id(), method);
    EXPECT_EQ(3, location);
    EXPECT_EQ(strings(), recorded());
}

TEST_P(Frames, CallersOneIsAskedForInOrder) {
    sim.clear_calls();
    EXPECT_EQ(0, ask_caller());
    if (on_jvmdi())
        EXPECT_CALLS(made_queries(), "JVMDI.GetCallerFrame(worker[0])", "JVMDI.GetFrameLocation(worker[1])");
    else
        EXPECT_CALLS(made_queries(), "JVMTI.GetFrameLocation(worker, 1)", "JVMTI.GetMethodDeclaringClass(Foo.run)");
}

TEST_P(Frames, BottomOneHasNoCaller) {
    frame = top.id();
    EXPECT_EQ(JVMDI_ERROR_NO_MORE_FRAMES,
              agent_get_callerframe(sim.env(), bottom.id(), &frame, &clazz, &method, &location, handle, 2));
    EXPECT_EQ(on_jvmdi() ? top.id() : NULL, frame);
    EXPECT_EQ(NULL, clazz);
}

TEST_P(Frames, FailedStepEndsTheQuery) {
    const strings steps = on_jvmdi() ? strings{"GetCurrentFrame", "GetFrameLocation"}
                                     : strings{"GetFrameLocation", "GetMethodDeclaringClass"};
    for (size_t i = 0; i < steps.size(); i++) {
        sim.clear_calls();
        std::string printed;
        EXPECT_EQ(SOME_ERROR, result_of_failing(
                                  steps[i], 1, [&] { return ask_current(); }, &printed));
        EXPECT_EQ("", printed);
        EXPECT_EQ(i + 1, made_queries().size()) << steps[i] << " is the last";
        EXPECT_EQ(NULL, clazz);
        EXPECT_FALSE(has_uref(bar));
    }
}

TEST_P(Frames, CallerIsGivenAsSoonAsItIsKnown) {
    const std::string last = on_jvmdi() ? "GetFrameLocation" : "GetMethodDeclaringClass";
    EXPECT_EQ(SOME_ERROR, result_of_failing(last, 1, [&] { return ask_caller(); }));
    EXPECT_EQ(on_jvmdi() ? bottom.id() : NULL, frame);
    EXPECT_EQ(NULL, clazz);

    frame = untouched;
    const std::string first = on_jvmdi() ? "GetCallerFrame" : "GetFrameLocation";
    EXPECT_EQ(SOME_ERROR, result_of_failing(first, 1, [&] { return ask_caller(); }));
    EXPECT_EQ(on_jvmdi() ? untouched : NULL, frame);
    EXPECT_FALSE(has_uref(foo));
}

TEST_P(Frames, AreCountedByTheVm) {
    jint count = -1;
    EXPECT_EQ(SOME_ERROR,
              result_of_failing("GetFrameCount", 1, [&] { return agent_get_framecount(sim.env(), handle, &count); }));
    EXPECT_EQ(-1, count);
    sim.clear_calls();
    EXPECT_EQ(0, agent_get_framecount(sim.env(), handle, &count));
    EXPECT_EQ(2, count);
    EXPECT_CALLS(made_calls(), sim.vm_name("GetFrameCount(worker)"));
}

TEST_P(Frames, ArePoppedByTheVm) {
    EXPECT_EQ(JVMDI_ERROR_THREAD_NOT_SUSPENDED, agent_popframe(sim.env(), handle));
    worker.suspend_count = 1;
    sim.clear_calls();
    EXPECT_EQ(0, agent_popframe(sim.env(), handle));
    EXPECT_EQ(1, worker.pops);
    EXPECT_CALLS(made_calls(), sim.vm_name("PopFrame(worker)"));
}

TEST_P(Frames, AreNamedToTheVmForTheirPop) {
    sim.clear_calls();
    EXPECT_EQ(0, agent_notifyframepop(sim.env(), bottom.id(), handle, 1));
    EXPECT_CALLS(made_calls(), frame_call("NotifyFramePop", 1));
    EXPECT_TRUE(bottom.notify_pop);
    EXPECT_FALSE(top.notify_pop);
    EXPECT_EQ(SOME_ERROR, result_of_failing("NotifyFramePop", 1,
                                            [&] { return agent_notifyframepop(sim.env(), top.id(), handle, 0); }));
    EXPECT_FALSE(top.notify_pop);
}

/* ---- One local variable: each check for each type ---- */

struct Locals : FrameTest {
    template <class V> using Getter = jint (*)(JNIEnv*, jframeID, jint, V*, jthread, jint);
    template <class V> using Setter = jint (*)(JNIEnv*, jframeID, jint, V, jthread, jint);

    template <class V> void get_gives(V expected, Getter<V> get, const std::string& function) {
        SCOPED_TRACE(function);
        bottom.locals[2] = sim::Value(expected);
        V value = 0;
        sim.clear_calls();
        EXPECT_EQ(0, get(sim.env(), bottom.id(), 2, &value, handle, 1));
        EXPECT_EQ(expected, value);
        EXPECT_CALLS(made_calls(), frame_call(function, 1, ", 2"));
        value = 0;
        EXPECT_EQ(SOME_ERROR,
                  result_of_failing(function, 1, [&] { return get(sim.env(), bottom.id(), 2, &value, handle, 1); }));
        EXPECT_EQ(V(), value);
        EXPECT_EQ(JVMDI_ERROR_INVALID_SLOT, get(sim.env(), bottom.id(), 9, &value, handle, 1));
    }

    template <class V> void set_stores(V value, Setter<V> set, const std::string& function, V jvalue::*member) {
        SCOPED_TRACE(function);
        bottom.locals[2] = sim::Value(V());
        EXPECT_EQ(SOME_ERROR,
                  result_of_failing(function, 1, [&] { return set(sim.env(), bottom.id(), 2, value, handle, 1); }));
        EXPECT_EQ(V(), bottom.locals[2].raw.*member);
        sim.clear_calls();
        EXPECT_EQ(0, set(sim.env(), bottom.id(), 2, value, handle, 1));
        EXPECT_EQ(value, bottom.locals[2].raw.*member);
        EXPECT_EQ(1u, made_calls().size());
        EXPECT_EQ(1u, sim.count_calls(sim.vm_name(function)));
        EXPECT_EQ(JVMDI_ERROR_INVALID_SLOT, set(sim.env(), bottom.id(), 9, value, handle, 1));
    }
};
SIM_ALL_MODES(Locals);

TEST_P(Locals, AreReadInTheirOwnWidth) {
    get_gives<jint>(-0x12345678, agent_get_localint, "GetLocalInt");
    get_gives<jlong>(0x123456789abcdef0, agent_get_locallong, "GetLocalLong");
    get_gives<jfloat>(-1.25f, agent_get_localfloat, "GetLocalFloat");
    get_gives<jdouble>(1e300, agent_get_localdouble, "GetLocalDouble");
}

TEST_P(Locals, AreSetInTheirOwnWidth) {
    set_stores<jint>(-0x12345678, agent_set_localint, "SetLocalInt", &jvalue::i);
    set_stores<jlong>(0x123456789abcdef0, agent_set_locallong, "SetLocalLong", &jvalue::j);
    set_stores<jfloat>(-1.25f, agent_set_localfloat, "SetLocalFloat", &jvalue::f);
    set_stores<jdouble>(1e300, agent_set_localdouble, "SetLocalDouble", &jvalue::d);
}

TEST_P(Locals, OfAnotherTypeGiveTheVmsCode) {
    bottom.locals[2] = sim::Value(jlong(1));
    jint value = 5;
    EXPECT_EQ(JVMDI_ERROR_TYPE_MISMATCH, agent_get_localint(sim.env(), bottom.id(), 2, &value, handle, 1));
    EXPECT_EQ(JVMDI_ERROR_TYPE_MISMATCH, agent_set_localfloat(sim.env(), bottom.id(), 2, 1.0f, handle, 1));
    EXPECT_EQ(5, value);
}

TEST_P(Locals, ThatAreObjectsComeAsOneURefUntilTheProcessResumes) {
    sim::Object& object = sim.new_object();
    bottom.locals[2] = sim::Value(&object);
    jobject first = NULL, second = NULL;
    sim.clear_calls();
    EXPECT_EQ(0, agent_get_localobject(sim.env(), bottom.id(), 2, &first, handle, 1));
    EXPECT_CALLS(made_queries(), frame_call("GetLocalObject", 1, ", 2"));
    EXPECT_EQ(0, agent_get_localobject(sim.env(), bottom.id(), 2, &second, handle, 1));
    EXPECT_EQ(first, second);
    EXPECT_EQ(&object, sim.object(first));
    EXPECT_EQ(first, URef_find(sim.env(), first));
    EXPECT_EQ(
        (strings{"local " + object.label, "keep_alive uref table entry of " + object.label, "local " + object.label}),
        recorded());
    resume();
    EXPECT_FALSE(sim.is_global(first));
    EXPECT_FALSE(has_uref(object));
}

TEST_P(Locals, ThatHoldNullComeAsNull) {
    bottom.locals[2] = sim::Value(nullptr);
    jobject value = handle;
    EXPECT_EQ(0, agent_get_localobject(sim.env(), bottom.id(), 2, &value, handle, 1));
    EXPECT_EQ(NULL, value);
    EXPECT_EQ(strings(), recorded());
}

TEST_P(Locals, ThatAreObjectsAndFailKeepNothing) {
    jobject value = handle;
    EXPECT_EQ(JVMDI_ERROR_INVALID_SLOT, agent_get_localobject(sim.env(), bottom.id(), 2, &value, handle, 1));
    EXPECT_EQ(handle, value);
    EXPECT_EQ(strings(), recorded());
}

TEST_P(Locals, ThatAreObjectsAreSetToTheReferenceGiven) {
    sim::Object& object = sim.new_object();
    const jobject handed_out = keep_alive(sim.env(), sim.local(&object), "local");
    bottom.locals[2] = sim::Value(nullptr);
    sim.clear_calls();
    EXPECT_EQ(0, agent_set_localobject(sim.env(), bottom.id(), 2, handed_out, handle, 1));
    EXPECT_CALLS(made_calls(), frame_call("SetLocalObject", 1, ", 2, " + object.label));
    EXPECT_EQ(&object, bottom.locals[2].object);
    EXPECT_EQ(0, agent_set_localobject(sim.env(), bottom.id(), 2, NULL, handle, 1));
    EXPECT_EQ(NULL, bottom.locals[2].object);
}

/* ---- All local variables of a frame ---- */

struct AllLocals : FrameTest {
    jint count = -1;
    jint* values = NULL;

    jint ask() { return agent_get_locals(sim.env(), bottom.id(), &count, &values, handle, 1); }
    /* Gives the frame `how_many` int variables, 100, 101 and so on. */
    void fill(jint how_many) {
        run.max_locals = how_many;
        bottom.locals.clear();
        for (jint slot = 0; slot < how_many; slot++) bottom.locals[slot] = sim::Value(100 + slot);
    }
    std::vector<jint> given() { return {values, values + count}; }
    std::string allocation_of(jint how_many) {
        return sim.vm_name("Allocate(") + std::to_string((size_t)how_many * sizeof(jint)) + ")";
    }
};
SIM_ALL_MODES(AllLocals);

TEST_P(AllLocals, AreReadAsIntsSlotBySlot) {
    fill(3);
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_EQ((std::vector<jint>{100, 101, 102}), given());
    EXPECT_CALLS(made_calls(), frame_call("GetFrameLocation", 1),
                 sim.vm_name("GetMaxLocals(") + (on_jvmdi() ? "Foo, Foo.run)" : "Foo.run)"), allocation_of(3),
                 frame_call("GetLocalInt", 1, ", 0"), frame_call("GetLocalInt", 1, ", 1"),
                 frame_call("GetLocalInt", 1, ", 2"));
    EXPECT_EQ(strings(), recorded());
}

TEST_P(AllLocals, AreParkedInTheCallersRecordAndStayThere) {
    fill(3);
    EXPECT_EQ(0, ask());
    EXPECT_EQ(values, own_record().locals);
    EXPECT_EQ(3, own_record().locals_count);
    resume();
    EXPECT_EQ(values, own_record().locals);
    EXPECT_TRUE(sim.is_live_block(values));
}

TEST_P(AllLocals, ReuseALargerArray) {
    fill(5);
    EXPECT_EQ(0, ask());
    jint* const first = values;
    fill(2);
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_EQ(first, values);
    EXPECT_EQ((std::vector<jint>{100, 101}), given());
    EXPECT_EQ(5, own_record().locals_count);
    EXPECT_EQ(0u, sim.count_calls("JV*.*llocate"));
}

TEST_P(AllLocals, ReuseAnArrayOfTheSameSize) {
    fill(3);
    EXPECT_EQ(0, ask());
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_EQ(3, count);
    EXPECT_EQ(0u, sim.count_calls("JV*.*llocate"));
}

TEST_P(AllLocals, ReplaceASmallerArray) {
    fill(2);
    EXPECT_EQ(0, ask());
    fill(5);
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_EQ((std::vector<jint>{100, 101, 102, 103, 104}), given());
    EXPECT_EQ(5, own_record().locals_count);
    EXPECT_CALLS(sim.calls_of({"JV*.*llocate"}), sim.vm_name("Deallocate()"), allocation_of(5));
}

TEST_P(AllLocals, OfAMethodWithoutAnyAreNone) {
    fill(0);
    values = &count;
    EXPECT_EQ(0, ask());
    EXPECT_EQ(0, count);
    EXPECT_EQ(NULL, values) << "there is no old array";

    fill(2);
    EXPECT_EQ(0, ask());
    jint* const old = values;
    fill(0);
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_EQ(0, count);
    EXPECT_EQ(old, values);
    EXPECT_EQ(0u, sim.count_calls("JV*.GetLocalInt"));
}

TEST_P(AllLocals, AreDroppedForOneThatIsNoInt) {
    fill(3);
    bottom.locals[0] = sim::Value(&sim.new_object());
    sim.clear_calls();
    EXPECT_EQ(JVMDI_ERROR_TYPE_MISMATCH, ask());
    EXPECT_EQ(0, count);
    EXPECT_EQ(NULL, values);
    EXPECT_EQ(1u, sim.count_calls("JV*.GetLocalInt")) << "the first failure ends it";
    EXPECT_TRUE(sim.is_live_block(own_record().locals)) << "the array stays for the next call";
    EXPECT_EQ(3, own_record().locals_count);

    fill(3);
    bottom.locals.erase(2);
    EXPECT_EQ(JVMDI_ERROR_INVALID_SLOT, ask());
    EXPECT_EQ(0, count);
    EXPECT_EQ(NULL, values);
}

TEST_P(AllLocals, AreNoneAfterAFailedQuery) {
    fill(3);
    for (const char* function : {"GetFrameLocation", "GetMaxLocals", "GetLocalInt"}) {
        count = 9;
        values = &count;
        std::string printed;
        EXPECT_EQ(SOME_ERROR, result_of_failing(
                                  function, 1, [&] { return ask(); }, &printed))
            << function;
        EXPECT_EQ("", printed);
        EXPECT_EQ(0, count) << function;
        EXPECT_EQ(NULL, values) << function;
    }
    EXPECT_EQ(0, ask());
    EXPECT_EQ(3, count);
}

TEST_P(AllLocals, WithoutMemoryLeaveARecordThatTheNextCallCanUse) {
    fill(2);
    EXPECT_EQ(0, ask());
    fill(4);
    std::string printed;
    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              "Deallocate", 1, [&] { return ask(); }, &printed));
    EXPECT_EQ(FAILURE_OF("Deallocate"), printed);
    EXPECT_TRUE(sim.is_live_block(own_record().locals));
    EXPECT_EQ(2, own_record().locals_count);

    EXPECT_EQ(SOME_ERROR, result_of_failing(
                              "Allocate", 1, [&] { return ask(); }, &printed));
    EXPECT_EQ(FAILURE_OF("Allocate"), printed);
    EXPECT_EQ(NULL, own_record().locals);
    EXPECT_EQ(0, own_record().locals_count);

    EXPECT_EQ(0, ask());
    EXPECT_EQ((std::vector<jint>{100, 101, 102, 103}), given());
}

TEST_P(AllLocals, AreRefusedToACallerThatTheMapDoesNotHold) {
    forget_own_thread();
    sim.clear_calls();
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, ask());
    EXPECT_CALLS(made_calls(), );
    EXPECT_EQ(-1, count);
}

TEST_P(AllLocals, ReleaseTheCallersEarlierAnswers) {
    fill(1);
    JVMDI_thread_info info{};
    agent_tid_t tid;
    jint status, suspend_status;
    agent_get_threadinfo(sim.env(), handle, &info, &tid, &status, &suspend_status);
    EXPECT_EQ(0, ask());
    EXPECT_EQ(NULL, own_record().thread_name);
    EXPECT_EQ(0u, blocks_from("GetThreadInfo"));
}
