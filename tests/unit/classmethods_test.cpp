/* The methods of a class, described in the array that the calling thread's record keeps. */
#include "entry/agent_entry.h"

#include "query_fixture.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

struct ClassMethods : QueryTest {
    ClassMethods() { bar.generic = "<T:>(TT;)V"; }
    jint ask(jmethodID only = NULL) { return agent_get_classmethods(NULL, clazz, only, &count, &methods); }
    std::string query(const std::string& function, const std::string& method) {
        return function + (on_jvmdi() ? "(Foo, Foo." : "(Foo.") + method + ")";
    }

    sim::Class& foo = sim.new_class("Foo");
    sim::Class& one = sim.new_class("One");
    sim::Method& bar = foo.add_method("bar", "(I)V", 0x9);
    sim::Method& baz = foo.add_method("baz", "()J", 0x401);
    sim::Method& single = one.add_method("single", "()V");
    jclass clazz = sim.local<jclass>(&foo);
    jint count = -1;
    method_entry* methods = NULL;
    const size_t earlier_blocks = sim.live_blocks().size();
};
SIM_ALL_MODES(ClassMethods);

TEST_P(ClassMethods, AreDescribedInTheVmsOrder) {
    const std::string room = std::to_string(2 * sizeof(method_entry));
    sim.clear_calls();

    EXPECT_EQ(0, ask());

    EXPECT_EQ(
        vm_calls({"GetClassMethods(Foo)", "Allocate(" + room + ")", query("GetMethodModifiers", "bar"),
                  query("GetMethodName", "bar"), "Deallocate()", "Deallocate()", query("GetMethodModifiers", "baz"),
                  query("GetMethodName", "baz"), "Deallocate()", "Deallocate()", "Deallocate()"}),
        made_vm_calls());
    EXPECT_EQ(2, count);
    EXPECT_EQ(bar.id(), methods[0].method);
    EXPECT_EQ(0x9, methods[0].modifiers);
    EXPECT_STREQ("bar", methods[0].name);
    EXPECT_STREQ("(I)V", methods[0].signature);
    EXPECT_EQ(baz.id(), methods[1].method);
    EXPECT_EQ(0x401, methods[1].modifiers);
    EXPECT_STREQ("baz", methods[1].name);
    EXPECT_STREQ("()J", methods[1].signature);
    EXPECT_EQ(methods, own_record().methods);
    EXPECT_EQ(2, own_record().method_count);
    EXPECT_EQ(earlier_blocks + 1, sim.live_blocks().size());
}

TEST_P(ClassMethods, MayBeOneMethodAlone) {
    sim.clear_calls();

    EXPECT_EQ(0, ask(baz.id()));

    EXPECT_EQ(vm_calls({"Allocate(" + std::to_string(sizeof(method_entry)) + ")", query("GetMethodModifiers", "baz"),
                        query("GetMethodName", "baz"), "Deallocate()", "Deallocate()"}),
              made_vm_calls());
    EXPECT_EQ(1, count);
    EXPECT_STREQ("baz", methods[0].name);
    EXPECT_EQ(1, own_record().method_count);
}

TEST_P(ClassMethods, ReuseALargerArray) {
    EXPECT_EQ(0, ask());
    method_entry* larger = methods;
    clazz = sim.local<jclass>(&one);

    EXPECT_EQ(0, ask());

    EXPECT_EQ(1, count);
    EXPECT_EQ(larger, methods);
    EXPECT_STREQ("single", methods[0].name);
    EXPECT_EQ(2, own_record().method_count);

    clazz = sim.local<jclass>(&foo);
    EXPECT_EQ(0, ask());
    EXPECT_EQ(2, count);
    EXPECT_EQ(larger, methods);
}

TEST_P(ClassMethods, ReplaceASmallerArray) {
    EXPECT_EQ(0, ask(bar.id()));
    sim.clear_calls();
    EXPECT_EQ(0, ask());
    EXPECT_EQ(sim.vm_name("Deallocate()"), made_vm_calls()[1]);
    EXPECT_EQ(2, count);
    EXPECT_EQ(2, own_record().method_count);
    EXPECT_EQ(2 * sizeof(method_entry), sim.block_size(own_record().methods));
    EXPECT_EQ(earlier_blocks + 1, sim.live_blocks().size());
}

TEST_P(ClassMethods, MayBeNone) {
    clazz = sim.local<jclass>(&sim.new_interface("Listener"));
    EXPECT_EQ(0, ask());
    EXPECT_EQ(0, count);
    EXPECT_EQ(own_record().methods, methods);
    EXPECT_EQ(0, own_record().method_count);
}

TEST_P(ClassMethods, StayWhenTheProcessResumesWhileOtherAnswersGoAtTheNextQuery) {
    EXPECT_EQ(0, ask());
    own_record().bytecodes = (unsigned char*)sim.allocate(4);
    TMap_freelocal();
    EXPECT_TRUE(sim.is_live_block(methods));

    void* parked = own_record().bytecodes = (unsigned char*)sim.allocate(4);
    EXPECT_EQ(0, ask());
    EXPECT_FALSE(sim.is_live_block(parked));
    EXPECT_EQ(nullptr, own_record().bytecodes);
}

TEST_P(ClassMethods, HaveTheirTextsCutToTheRecordsFields) {
    bar.name = std::string(1023, 'n');
    bar.signature = "(" + std::string(2000, 'I') + ")V";
    EXPECT_EQ(0, ask(bar.id()));
    EXPECT_EQ(bar.name, methods[0].name);
    EXPECT_EQ("(" + std::string(1022, 'I'), methods[0].signature);
}

TEST_P(ClassMethods, AreNotAskedForOnAnUnknownThread) {
    forget_own_thread();
    sim.clear_calls();
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, ask());
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, ask(bar.id()));
    EXPECT_EQ(strings(), made_vm_calls());
}

TEST_P(ClassMethods, ThatTheVmDoesNotListLeaveTheArrayOfBefore) {
    EXPECT_EQ(0, ask());
    method_entry* before = methods;
    methods = NULL;
    sim.fail(sim.vm_name("GetClassMethods"), JVMDI_ERROR_CLASS_NOT_PREPARED);
    CaptureStdout();
    EXPECT_EQ(JVMDI_ERROR_CLASS_NOT_PREPARED, ask());
    EXPECT_EQ("", GetCapturedStdout());
    EXPECT_EQ(0, count);
    EXPECT_EQ(before, methods);
}

/* What fails, at which call, with what message and how many blocks of VM memory lost (a block that Deallocate refuses, and
 * the signature that is then not given back). */
static const struct failing_step {
    const char* function;
    int nth;
    const char* message;
    size_t lost_blocks;
} failing_steps[] = {
    {"Allocate", 1, "AgentThread: JVMDI_Allocate() failed -- OUT_OF_MEMORY\n", 0},
    {"GetMethodModifiers", 1, "", 0},
    {"GetMethodModifiers", 2, "", 0},
    {"GetMethodName", 1, "", 0},
    {"GetMethodName", 2, "", 0},
    {"Deallocate", 1, "AgentThread: JVMDI_Deallocate() failed -- OUT_OF_MEMORY\n", 2},
    {"Deallocate", 2, "AgentThread: JVMDI_Deallocate() failed -- OUT_OF_MEMORY\n", 1},
    {"Deallocate", 3, "AgentThread: JVMDI_Deallocate() failed -- OUT_OF_MEMORY\n", 2},
    {"Deallocate", 4, "AgentThread: JVMDI_Deallocate() failed -- OUT_OF_MEMORY\n", 1},
};

TEST_P(ClassMethods, CountNoneAndGiveTheMethodListBackWhenAStepFails) {
    for (const failing_step& step : failing_steps) {
        SCOPED_TRACE(step.function + std::to_string(step.nth));
        const std::string function = sim.vm_name(step.function);
        sim.fail_nth(function, step.nth, JVMDI_ERROR_OUT_OF_MEMORY);
        const size_t blocks = sim.live_blocks().size() - (own_record().methods ? 1 : 0);
        count = -1;
        methods = (method_entry*)this;
        CaptureStdout();
        EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, ask());
        EXPECT_EQ(step.message, GetCapturedStdout());
        const bool refused = !*step.message;
        EXPECT_EQ(refused ? 0 : -1, count) << "answered, or left as it was";
        EXPECT_EQ(refused ? own_record().methods : (method_entry*)this, methods);
        EXPECT_EQ(blocks + step.lost_blocks, sim.live_blocks().size() - (own_record().methods ? 1 : 0));
        sim.stop_failing(function);
    }
    EXPECT_EQ(0, ask());
    EXPECT_EQ(2, count);
}

TEST_P(ClassMethods, AreAnAnswerEvenWhenTheMethodListCannotBeGivenBack) {
    sim.fail_nth(sim.vm_name("Deallocate"), 5, JVMDI_ERROR_ACCESS_DENIED);
    CaptureStdout();
    EXPECT_EQ(0, ask());
    EXPECT_EQ("", GetCapturedStdout());
    EXPECT_EQ(2, count);
}

TEST_P(ClassMethods, KeepASmallerArrayThatCannotBeGivenBack) {
    EXPECT_EQ(0, ask(bar.id()));
    method_entry* smaller = methods;
    sim.fail_nth(sim.vm_name("Deallocate"), 1, JVMDI_ERROR_ACCESS_DENIED);
    CaptureStdout();
    EXPECT_EQ(JVMDI_ERROR_ACCESS_DENIED, ask());
    EXPECT_EQ("AgentThread: JVMDI_Deallocate() failed -- ACCESS_DENIED\n", GetCapturedStdout());
    EXPECT_EQ(smaller, own_record().methods);
    EXPECT_EQ(1, own_record().method_count);
}

TEST_P(ClassMethods, HaveNoArrayAfterThereWasNoMemoryForALargerOne) {
    EXPECT_EQ(0, ask(bar.id()));
    sim.fail_nth(sim.vm_name("Allocate"), 1, JVMDI_ERROR_OUT_OF_MEMORY);
    CaptureStdout();
    EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, ask());
    GetCapturedStdout();
    EXPECT_EQ(nullptr, own_record().methods);
    EXPECT_EQ(0, own_record().method_count);
    EXPECT_EQ(0, ask());
    EXPECT_EQ(2, count);
}
