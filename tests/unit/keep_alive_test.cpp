/* Results kept alive until the process resumes. */
#include "entry_fixture.h"

struct KeepAlive : EntryTest {
    sim::Object& object = sim.new_object("java/lang/Object", 5);
    jobject local = sim.local(&object);
};
SIM_ALL_MODES(KeepAlive);

TEST_P(KeepAlive, OfNullIsNullAndAsksNothing) {
    EXPECT_EQ(NULL, keep_alive(sim.env(), NULL, "field"));
    EXPECT_CALLS(sim.calls(), );
    EXPECT_EQ(strings(), recorded());
}

TEST_P(KeepAlive, MakesAGlobalReferenceTheURefOfANewObject) {
    sim.clear_calls();
    const jobject uref = keep_alive(sim.env(), local, "field");
    const std::string record = std::to_string(sizeof(uref_record));
    EXPECT_CALLS(sim.calls(), "JNI.NewGlobalRef(" + object.label + ")",
                 sim.vm_name("GetObjectHashCode(") + object.label + ")", sim.vm_name("Allocate(") + record + ")");
    EXPECT_NE(local, uref);
    EXPECT_TRUE(sim.is_global(uref));
    EXPECT_EQ(&object, sim.object(uref));
    EXPECT_EQ(uref, refmap[5]->ref);
    EXPECT_EQ(0, refmap[5]->owned);
}

TEST_P(KeepAlive, RecordsTheReferenceUnderTheLabelAndThenTheTableEntry) {
    keep_alive(sim.env(), local, "some label");
    EXPECT_EQ((strings{"keep_alive uref table entry of " + object.label, "some label " + object.label}), recorded());
}

TEST_P(KeepAlive, GivesOneURefForTheSameObjectAndRecordsItsEntryOnce) {
    const jobject first = keep_alive(sim.env(), local, "field");
    const jobject second = keep_alive(sim.env(), sim.local(&object), "local");
    EXPECT_EQ(first, second);
    EXPECT_EQ(
        (strings{"local " + object.label, "keep_alive uref table entry of " + object.label, "field " + object.label}),
        recorded());
}

TEST_P(KeepAlive, ReleasesTheTableEntryBeforeTheReference) {
    const jobject uref = keep_alive(sim.env(), local, "field");
    sim.clear_calls();
    free_resources(sim.env());
    EXPECT_CALLS(sim.calls_of({"*.Deallocate", "JNI.*Global*"}), sim.vm_name("Deallocate()"),
                 "JNI.DeleteGlobalRef(" + object.label + ")");
    EXPECT_EQ(NULL, refmap[5]);
    EXPECT_FALSE(sim.is_global(uref));
}

TEST_P(KeepAlive, LeavesTheURefThatAnObjectHadBefore) {
    jint created;
    const jobject known = URef_from_local(sim.env(), local, &created);
    const size_t globals = sim.live_globals();
    EXPECT_EQ(known, keep_alive(sim.env(), local, "field"));
    EXPECT_EQ(strings{"field " + object.label}, recorded());
    EXPECT_EQ(globals + 1, sim.live_globals());

    free_resources(sim.env());
    EXPECT_EQ(globals, sim.live_globals());
    EXPECT_TRUE(sim.is_global(known));
    EXPECT_EQ(known, URef_find(sim.env(), local));
}

TEST_P(KeepAlive, GivesNullAndRecordsNothingWhenThereIsNoGlobalReference) {
    sim.null_in("JNI.NewGlobalRef");
    EXPECT_EQ(NULL, keep_alive(sim.env(), local, "field"));
    EXPECT_EQ(strings(), recorded());
    EXPECT_EQ(NULL, refmap[5]);
}

TEST_P(KeepAlive, LeavesNothingBehindAfterManyResults) {
    const size_t globals = sim.live_globals();
    const size_t bytes = sim.live_bytes();
    for (int round = 0; round < 3; round++) {
        for (int i = 0; i < 25; i++) keep_alive(sim.env(), sim.local(&sim.new_object()), "field");
        resume();
    }
    EXPECT_EQ(globals, sim.live_globals());
    EXPECT_EQ(bytes + 20 * sizeof(resource_record) * 2, sim.live_bytes()) << "only room for more records stays";
}

TEST_P(KeepAlive, FreeRefDeletesAGlobalReference) {
    const jobject global = sim.global(&object);
    sim.clear_calls();
    freeRef(sim.env(), global);
    EXPECT_CALLS(sim.calls(), "JNI.DeleteGlobalRef(" + object.label + ")");
    EXPECT_FALSE(sim.is_global(global));
}

TEST_P(KeepAlive, FreeURefRemovesAnEntryAndTakesNoLockOnAnOldVm) {
    jint created;
    const jobject uref = URef_from_local(sim.env(), local, &created);
    if (!newer()) monitor_lock(&URef_monitor, "test"); /* a second lock would block for ever */
    freeURef(sim.env(), uref);
    if (!newer()) monitor_unlock(&URef_monitor, "test");
    EXPECT_EQ(NULL, refmap[5]);
    EXPECT_FALSE(sim.is_global(uref)) << "the table had made it, and deletes it";
}
