/* What a VM newer than JVMTI 1.0 asks of the agent, and that no other VM sees any of it. */
#include "agent_thread/processing.h"
#include "vm/vm_newer.h"

#include "event_fixture.h"

#include <algorithm>

/* ---- Which VM is newer ---- */

struct VmVersion : sim::SimTestP {
    VmVersion() { install_globals(); }
};
SIM_ALL_MODES(VmVersion);

TEST_P(VmVersion, IsNewerAboveJvmti1_0WhateverTheMicroVersion) {
    const struct {
        jint version;
        bool newer;
    } cases[] = {{0x30000000, false}, {0x30010000, false}, {0x30010001, false}, {0x300100ff, false}, {0x30010100, true},
                 {0x30010200, true},  {0x30020000, true},  {0x30090000, true},  {0x30110000, true}};
    for (const auto& each : cases) {
        jvmti_version = each.version;
        EXPECT_EQ(on_jvmti() && each.newer, vm_is_newer()) << std::hex << each.version;
    }
}

TEST_P(VmVersion, IsNotNewerBeforeItIsRecorded) {
    jvmti_version = 0x30110000;
    jvmti_version_set = 0;
    EXPECT_FALSE(vm_is_newer());
}

TEST_P(VmVersion, IsNeverNewerOnJvmdi) {
    jvmti_version = 0x30110000;
    jvmti_version_set = 1;
    ::jvmti = nullptr;
    EXPECT_FALSE(vm_is_newer());
}

/* ---- References that outlive a call ---- */

struct NewerVm : EventTest {
    NewerVm() : worker(sim.new_thread("worker")), env(sim.env()) { sim.clear_calls(); }

    sim::Thread& worker;
    JNIEnv* env;
};
SIM_ALL_MODES(NewerVm);

TEST_P(NewerVm, LocalReferenceIsMadeDurable) {
    const jobject local = sim.local(&foo);
    const jobject durable = vm_durable(env, local);
    if (newer()) {
        EXPECT_CALLS(sim.calls(), "JNI.NewGlobalRef(Foo)", "JNI.DeleteLocalRef(Foo)");
        EXPECT_TRUE(sim.is_global(durable));
        EXPECT_FALSE(sim.is_local(local));
    } else {
        EXPECT_CALLS(sim.calls());
        EXPECT_EQ(local, durable);
    }
    EXPECT_EQ(&foo, sim.object(durable));
}

TEST_P(NewerVm, NullStaysNull) {
    EXPECT_EQ(nullptr, vm_durable(env, nullptr));
    {
        vm_shared_references shared(env);
        jobject nothing = nullptr;
        shared.share(&nothing);
        EXPECT_EQ(nullptr, nothing);
    }
    EXPECT_CALLS(sim.calls());
}

/* ---- Frames of local references ---- */

TEST_P(NewerVm, IsToldOfLocalReferencesToCome) {
    vm_expect_local_references(env, 440);
    if (newer())
        EXPECT_CALLS(sim.calls(), "JNI.EnsureLocalCapacity(1464)");
    else
        EXPECT_CALLS(sim.calls());
}

TEST_P(NewerVm, WorkGoesOnWithoutTheCapacityThatThereIsNoMemoryFor) {
    sim.throw_in("JNI.EnsureLocalCapacity", sim.new_exception("java/lang/Error"));
    vm_expect_local_references(env, 440);
    EXPECT_EQ(nullptr, sim.pending());
}

TEST_P(NewerVm, FrameEndsTheLocalReferencesThatWereMadeInIt) {
    jobject inside;
    {
        vm_local_frame frame(env);
        inside = sim.local(&foo);
    }
    EXPECT_EQ(!newer(), sim.is_local(inside));
    if (newer())
        EXPECT_CALLS(sim.calls(), "JNI.PushLocalFrame(1024)", "JNI.PopLocalFrame(null)");
    else
        EXPECT_CALLS(sim.calls());
}

TEST_P(NewerVm, WorkGoesOnWithoutAFrameThatThereIsNoMemoryFor) {
    sim.throw_in("JNI.PushLocalFrame", sim.new_exception("java/lang/Error"));
    jobject inside;
    {
        vm_local_frame frame(env);
        EXPECT_EQ(nullptr, sim.pending());
        inside = sim.local(&foo);
    }
    EXPECT_TRUE(sim.is_local(inside));
    EXPECT_EQ(0u, sim.count_calls("JNI.PopLocalFrame"));
}

/* ---- References that another thread uses ---- */

TEST_P(NewerVm, SharedReferencesAreGlobalUntilTheyAreReleased) {
    sim::Object* const objects[] = {&foo, &worker, sim.main_thread, &sim.new_object()};
    jobject references[4];
    const size_t globals = sim.live_globals();
    {
        vm_shared_references shared(env);
        for (size_t i = 0; i < 4; i++) {
            const jobject local = references[i] = sim.local(objects[i]);
            shared.share(&references[i]);
            EXPECT_EQ(!newer(), references[i] == local);
            EXPECT_EQ(newer(), sim.is_global(references[i]));
            EXPECT_EQ(objects[i], sim.object(references[i]));
            EXPECT_TRUE(sim.is_local(local)) << "the thread's own reference stays";
        }
    }
    EXPECT_EQ(globals, sim.live_globals());
    EXPECT_EQ(newer() ? 8u : 0u, sim.calls().size());
}

TEST_P(NewerVm, ReferenceThatNobodyNeedsAnyMoreIsTakenWhole) {
    const jobject local = sim.local(&foo);
    jobject reference = local;
    jobject nothing = nullptr;
    const size_t globals = sim.live_globals();
    {
        vm_shared_references shared(env);
        shared.take(&reference);
        shared.take(&nothing);
        EXPECT_EQ(newer(), sim.is_global(reference));
        EXPECT_EQ(!newer(), sim.is_local(local));
        EXPECT_EQ(&foo, sim.object(reference));
        EXPECT_EQ(nullptr, nothing);
    }
    EXPECT_EQ(globals, sim.live_globals());
    if (newer())
        EXPECT_CALLS(sim.calls(), "JNI.NewGlobalRef(Foo)", "JNI.DeleteLocalRef(Foo)", "JNI.DeleteGlobalRef(Foo)");
    else
        EXPECT_CALLS(sim.calls());
}

TEST_P(NewerVm, SharedReferencesMayBeReleasedAndSharedAnew) {
    vm_shared_references shared(env);
    const size_t globals = sim.live_globals();
    for (int round = 0; round < 3; round++) {
        for (int i = 0; i < 4; i++) {
            jobject reference = sim.local(&foo);
            shared.share(&reference);
        }
        EXPECT_EQ(globals + (newer() ? 4 : 0), sim.live_globals());
        shared.release();
        EXPECT_EQ(globals, sim.live_globals());
    }
    sim.clear_calls();
    shared.release();
    EXPECT_CALLS(sim.calls());
}

TEST_P(NewerVm, ReferenceThatCannotBeSharedIsNull) {
    sim.null_in("JNI.NewGlobalRef");
    jobject reference = sim.local(&foo);
    {
        vm_shared_references shared(env);
        shared.share(&reference);
    }
    EXPECT_EQ(newer(), reference == nullptr);
    EXPECT_EQ(0u, sim.count_calls("JNI.DeleteGlobalRef"));
}

TEST_P(NewerVm, RaisingThreadSharesTheReferencesThatItsEventHas) {
    sim::Object& error = sim.new_exception("java/lang/Error");
    sim::Object& holder = sim.new_object(foo);
    sim::Object& value = sim.new_object();
    sim::Field& field = foo.add_field("field", "Ljava/lang/Object;");
    event_setfilter_br(env, FILTER_THROWN, nullptr, nullptr, nullptr);
    event_setfilter_br(env, FILTER_CAUGHT, nullptr, nullptr, nullptr);
    const struct {
        const char* kind;
        std::function<void()> raise;
        strings shared;
    } cases[] = {
        {"step", [&] { sim.raise_single_step(bar, 1, FORCE); }, {"worker"}},
        {"frame pop", [&] { sim.raise_frame_pop(bar, FORCE); }, {"worker"}},
        {"method entry", [&] { sim.raise_method_entry(bar, FORCE); }, {"worker"}},
        {"throw", [&] { sim.raise_exception(bar, 1, &error, nullptr, 0, FORCE); }, {error.label, "worker"}},
        {"catch", [&] { sim.raise_exception_catch(bar, 1, &error, FORCE); }, {error.label, "worker"}},
        {"prepare", [&] { sim.raise_class_prepare(foo, FORCE); }, {"Foo", "worker"}},
        {"access", [&] { sim.raise_field_access(bar, 1, field, &holder, FORCE); }, {"Foo", holder.label, "worker"}},
        {"access to a static", [&] { sim.raise_field_access(bar, 1, field, nullptr, FORCE); }, {"Foo", "worker"}},
        {"modification",
         [&] { sim.raise_field_modification(bar, 1, field, &holder, &value, FORCE); },
         {value.label, "Foo", holder.label, "worker"}},
        {"death", [&] { sim.raise_vm_death(FORCE); }, {}},
    };
    for (const auto& each : cases) {
        auto running = start_known(worker, [&] {
            sim.clear_calls();
            each.raise();
        });
        strings made, deleted;
        process_next_event();
        running->join();
        for (const std::string& call : sim.calls_on("worker")) {
            const size_t open = call.find('(');
            const std::string name = call.substr(0, open), label = call.substr(open + 1, call.size() - open - 2);
            if (name == "JNI.NewGlobalRef") made.push_back(label);
            if (name == "JNI.DeleteGlobalRef") deleted.insert(deleted.begin(), label);
        }
        EXPECT_EQ(newer() ? each.shared : strings{}, made) << each.kind;
        EXPECT_EQ(made, deleted) << each.kind;
    }
}

/* ---- Threads that were never announced ---- */

struct Adoption : NewerVm {
    enum : agent_tid_t { TID = 1234 };

    JVMDI_Event event_of(jint kind, sim::Object* thread) {
        JVMDI_Event event = {};
        event.kind = kind;
        event.u.breakpoint.thread = sim.local(thread);
        return event;
    }
    void adopt(jint kind, sim::Object* thread) {
        JVMDI_Event event = event_of(kind, thread);
        EXPECT_EQ(nullptr, adopt_unannounced_thread(env, &event, TID));
    }
};
SIM_ALL_MODES(Adoption);

TEST_P(Adoption, EntersAnUnknownThreadUnderItsURefAndId) {
    adopt(JVMDI_EVENT_BREAKPOINT, &worker);
    EXPECT_EQ(newer(), TMap_tid2tm(TID) != nullptr);
    EXPECT_EQ(newer(), uref_of(worker) != nullptr);
    EXPECT_EQ(uref_of(worker), TMap_tid2handle(TID));
}

TEST_P(Adoption, IsForTheKindsThatNeedAKnownThread) {
    const jint kinds[] = {JVMDI_EVENT_SINGLE_STEP,  JVMDI_EVENT_BREAKPOINT,         JVMDI_EVENT_FRAME_POP,
                          JVMDI_EVENT_EXCEPTION,    JVMDI_EVENT_USER_DEFINED,       JVMDI_EVENT_THREAD_START,
                          JVMDI_EVENT_THREAD_END,   JVMDI_EVENT_CLASS_PREPARE,      JVMDI_EVENT_CLASS_UNLOAD,
                          JVMDI_EVENT_FIELD_ACCESS, JVMDI_EVENT_FIELD_MODIFICATION, JVMDI_EVENT_EXCEPTION_CATCH,
                          JVMDI_EVENT_METHOD_ENTRY, JVMDI_EVENT_VM_DEATH,           12345};
    const std::vector<jint> others = {JVMDI_EVENT_USER_DEFINED, JVMDI_EVENT_THREAD_START, JVMDI_EVENT_VM_DEATH, 12345};
    for (const jint kind : kinds) {
        adopt(kind, &worker);
        const bool is_other = std::count(others.begin(), others.end(), kind) != 0;
        EXPECT_EQ(newer() && !is_other, TMap_tid2tm(TID) != nullptr) << kind;
        if (const jobject handle = TMap_tid2handle(TID)) TMap_end(handle, TID);
    }
}

TEST_P(Adoption, LeavesAKnownThreadAlone) {
    TMap_start(make_uref(worker), TID);
    const tmap_record* record = TMap_tid2tm(TID);
    sim.clear_calls();
    adopt(JVMDI_EVENT_BREAKPOINT, &worker);
    EXPECT_EQ(record, TMap_tid2tm(TID));
    EXPECT_EQ(nullptr, record->next);
    if (newer())
        EXPECT_CALLS(sim.calls(), "JNI.IsSameObject(worker, worker)");
    else
        EXPECT_CALLS(sim.calls());
}

TEST_P(Adoption, EntersNothingForAnEventWithoutAThread) {
    adopt(JVMDI_EVENT_BREAKPOINT, nullptr);
    EXPECT_EQ(nullptr, TMap_tid2tm(TID));
}

struct AdoptionByANewerVm : Adoption {};
SIM_MODES(AdoptionByANewerVm, sim::Mode::jvmti_newer);

TEST_P(AdoptionByANewerVm, LastsFromTheThreadsFirstEventToItsEnd) {
    strings shown;
    hooks::during = [&](const hooks::Call& call) {
        shown.push_back(call.hook + " of " + sim.object(call.event.u.breakpoint.thread)->label);
    };
    auto running = sim.start(worker, [&] {
        sim.raise_breakpoint(bar, 1, FORCE);
        EXPECT_EQ(uref_of(worker), TMap_tid2handle(agent_self()));
        sim.raise_thread_end(FORCE);
        EXPECT_EQ(nullptr, TMap_tid2tm(agent_self()));
    });
    process_next_event();
    process_next_event();
    running->join();
    EXPECT_EQ((strings{"hook_bpt of worker", "hook_thread_stop of worker"}), shown);
    EXPECT_EQ(nullptr, uref_of(worker));
}

TEST_P(AdoptionByANewerVm, OfAThreadWhoseFirstEventIsItsEndLeavesNothing) {
    const size_t globals = sim.live_globals();
    auto running = sim.start(worker, [&] { sim.raise_thread_end(FORCE); });
    process_next_event();
    running->join();
    EXPECT_EQ(strings{"hook_thread_stop"}, hooks::names());
    EXPECT_EQ(nullptr, uref_of(worker));
    EXPECT_EQ(globals, sim.live_globals());
}

/* A virtual thread raises its events on the native thread of its carrier. */
TEST_P(AdoptionByANewerVm, OfAVirtualThreadLastsForOneEvent) {
    sim::Thread& carried = sim.new_thread("virtual");
    strings shown;
    hooks::during = [&](const hooks::Call& call) {
        EXPECT_EQ(uref_of(carried), call.event.u.breakpoint.thread);
        shown.push_back(call.hook + " of " + sim.object(call.event.u.breakpoint.thread)->label);
    };
    auto running = start_known(worker, [&] {
        const jobject carrier = TMap_tid2handle(agent_self());
        sim.in_event([&] {
            JVMDI_Event event = event_of(JVMDI_EVENT_BREAKPOINT, &carried);
            event.u.breakpoint.method = bar.id();
            jvmti_event_hook(sim.env(), &event, agent_self());
        });
        EXPECT_EQ(carrier, TMap_tid2handle(agent_self()));
    });
    process_next_event();
    running->join();
    EXPECT_EQ(strings{"hook_bpt of virtual"}, shown);
    EXPECT_EQ(nullptr, uref_of(carried));
    EXPECT_EQ(nullptr, TMap_handle2tm(uref_of(worker)));
}

TEST_P(AdoptionByANewerVm, GivesAVirtualThreadsHandleBackOnceOnly) {
    TMap_start(make_uref(worker), TID);
    sim::Thread& carried = sim.new_thread("virtual");
    JVMDI_Event event = event_of(JVMDI_EVENT_BREAKPOINT, &carried);
    const jthread handle = adopt_unannounced_thread(env, &event, TID);
    EXPECT_NE(nullptr, handle);
    EXPECT_EQ(uref_of(carried), handle);
    EXPECT_EQ(nullptr, adopt_unannounced_thread(env, &event, TID)) << "it is somebody else's";
    URef_delete(env, handle);
    event = event_of(JVMDI_EVENT_THREAD_END, &carried);
    EXPECT_EQ(nullptr, adopt_unannounced_thread(env, &event, TID)) << "the end of a thread deletes its handle";
    EXPECT_NE(nullptr, uref_of(carried));
}
