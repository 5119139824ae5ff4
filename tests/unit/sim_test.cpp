/* The simulated VM itself: what it detects, how it fails on demand, and how it keeps memory and objects. */
#include "sim/sim_test.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

using sim::Mode;
using sim::Value;

namespace {

bool mentions(const std::vector<std::string>& texts, const std::string& wanted) {
    return texts.size() == 1 && texts[0].find(wanted) != std::string::npos;
}

struct Simulator : sim::SimTest {
    Simulator() : SimTest(Mode::jvmti_newer) {}
    JNIEnv* env = sim.env();
};

struct EachMode : sim::SimTestP {
    JNIEnv* env = sim.env();

    jint suspend(jthread thread) {
        return on_jvmdi() ? sim.jvmdi()->SuspendThread(thread) : sim.jvmti()->SuspendThread(thread);
    }
    jint allocate(jlong size, void** block) {
        return on_jvmdi() ? sim.jvmdi()->Allocate(size, reinterpret_cast<jbyte**>(block))
                          : sim.jvmti()->Allocate(size, reinterpret_cast<unsigned char**>(block));
    }
    jint deallocate(void* block) {
        return on_jvmdi() ? sim.jvmdi()->Deallocate(static_cast<jbyte*>(block))
                          : sim.jvmti()->Deallocate(static_cast<unsigned char*>(block));
    }
};
SIM_ALL_MODES(EachMode);

/* ---- References ------------------------------------------------------------------------------------------------- */

TEST_F(Simulator, ReferencesToOneObjectAreDistinctAndTheSameObject) {
    jobject first = sim.local(&sim.new_object()), second = env->NewLocalRef(first), third = env->NewGlobalRef(first);
    EXPECT_NE(first, second);
    EXPECT_NE(second, third);
    EXPECT_TRUE(env->IsSameObject(first, third));
    EXPECT_FALSE(env->IsSameObject(first, sim.local(&sim.new_object())));
    EXPECT_TRUE(env->IsSameObject(nullptr, nullptr));
    EXPECT_TRUE(sim.is_local(second));
    EXPECT_TRUE(sim.is_global(third));
}

TEST_F(Simulator, UseOfADeletedGlobalReferenceIsMisuse) {
    jobject global = sim.global(&sim.new_object());
    env->DeleteGlobalRef(global);
    EXPECT_FALSE(sim.is_global(global));
    env->GetObjectClass(global);
    EXPECT_TRUE(mentions(sim.take_misuse(), "JNI.GetObjectClass: the global reference to java/lang/Object#1 is dead"));
    env->DeleteGlobalRef(global);
    EXPECT_TRUE(mentions(sim.take_misuse(), "JNI.DeleteGlobalRef"));
}

TEST_F(Simulator, ReferencesOfTheWrongKindAreMisuse) {
    jobject local = sim.local(&sim.new_object()), global = sim.global(&sim.new_object());
    env->DeleteGlobalRef(local);
    EXPECT_TRUE(mentions(sim.take_misuse(), "is not global"));
    env->DeleteLocalRef(global);
    EXPECT_TRUE(mentions(sim.take_misuse(), "is not local"));
    EXPECT_TRUE(sim.is_local(local));
    EXPECT_TRUE(sim.is_global(global));
}

TEST_F(Simulator, AValueThatIsNoReferenceIsMisuse) {
    int nothing = 0;
    env->NewGlobalRef(reinterpret_cast<jobject>(&nothing));
    EXPECT_TRUE(mentions(sim.take_misuse(), "is no reference"));
    EXPECT_EQ(0U, sim.live_globals());
}

TEST_F(Simulator, AnArgumentOfTheWrongTypeIsMisuse) {
    env->GetArrayLength(static_cast<jarray>(sim.local(&sim.new_object())));
    EXPECT_TRUE(mentions(sim.take_misuse(), "is of the wrong type"));
}

TEST_P(EachMode, DeleteGlobalRefOfALocalReferencePassesOnOldInterfacesOnly) {
    jobject local = sim.local(&sim.new_object());
    env->DeleteGlobalRef(local);
    EXPECT_EQ(newer() ? 1U : 0U, sim.take_misuse().size());
    EXPECT_TRUE(sim.is_local(local));
    EXPECT_EQ(1U, sim.count_calls("JNI.DeleteGlobalRef"));
}

TEST_F(Simulator, AReferenceDiesWithItsLocalFrame) {
    env->PushLocalFrame(8);
    jobject inner = sim.local(&sim.new_object()), kept = sim.local(&sim.new_object());
    sim::Object* object = sim.object(kept);
    jobject outer = env->PopLocalFrame(kept);
    EXPECT_EQ(object, sim.object(outer));
    env->NewGlobalRef(inner);
    EXPECT_TRUE(mentions(sim.take_misuse(), "its local frame was popped"));
    EXPECT_EQ(1U, sim.live_locals());
    env->PopLocalFrame(nullptr);
    EXPECT_TRUE(mentions(sim.take_misuse(), "PopLocalFrame without PushLocalFrame"));
}

TEST_F(Simulator, ALocalReferenceOfAnotherThreadIsMisuse) {
    jobject of_main = sim.local(&sim.new_object());
    sim.run_on(sim.new_thread("worker"), [&] { sim.env()->NewGlobalRef(of_main); });
    EXPECT_TRUE(mentions(sim.take_misuse(), "belongs to main and was used on worker"));
}

TEST_F(Simulator, ALocalReferenceDiesWithItsThread) {
    jobject of_worker = nullptr;
    sim.run_on(sim.new_thread("worker"), [&] { of_worker = sim.local(&sim.new_object()); });
    env->NewGlobalRef(of_worker);
    EXPECT_TRUE(mentions(sim.take_misuse(), "its thread ended"));
}

TEST_F(Simulator, AThreadInsideAnEventLendsItsLocalReferences) {
    jobject of_event = nullptr;
    sim::Thread& other = sim.new_thread("other");
    sim.in_event([&] {
        of_event = sim.local(&sim.new_object());
        sim.run_on(other, [&] { sim.env()->DeleteGlobalRef(sim.env()->NewGlobalRef(of_event)); });
    });
    EXPECT_TRUE(sim.take_misuse().empty());
    env->NewGlobalRef(of_event);
    EXPECT_TRUE(mentions(sim.take_misuse(), "the event callback that held it returned"));
}

TEST_F(Simulator, TheEnvironmentOfAnotherThreadIsMisuse) {
    sim.run_on(sim.new_thread("worker"), [&] { env->ExceptionCheck(); });
    EXPECT_TRUE(mentions(sim.take_misuse(), "the JNIEnv of main was used on worker"));
}

TEST_F(Simulator, LiveReferencesAreListedByObject) {
    sim.global(&sim.new_thread("b"));
    sim.global(&sim.new_class("a"));
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), sim.global_labels());
    EXPECT_EQ(2U, sim.live_globals());
}

/* ---- Traps, log, failures --------------------------------------------------------------------------------------- */

TEST_F(Simulator, AFunctionThatIsNotProvidedIsNamed) {
    EXPECT_EQ(JVMTI_ERROR_MUST_POSSESS_CAPABILITY, sim.jvmti()->ForceGarbageCollection());
    EXPECT_TRUE(mentions(sim.take_misuse(), "JVMTI.ForceGarbageCollection is not provided"));
    env->FatalError("x");
    EXPECT_TRUE(mentions(sim.take_misuse(), "JNI.FatalError is not provided"));
    EXPECT_EQ(99, sim.jvmdi()->GetOperandStack(nullptr, nullptr, nullptr));
    EXPECT_TRUE(mentions(sim.take_misuse(), "JVMDI.GetOperandStack is not provided"));
    sim.vm()->DestroyJavaVM();
    EXPECT_TRUE(mentions(sim.take_misuse(), "JavaVM.DestroyJavaVM is not provided"));
}

TEST_F(Simulator, CallsAreLoggedInOrderWithTheirArguments) {
    sim::Class& foo = sim.new_class("Foo");
    sim::Method& bar = foo.add_method("bar", "(I)V");
    jint hash;
    env->FindClass("Foo");
    sim.jvmti()->SetBreakpoint(bar.id(), 7);
    sim.jvmti()->GetObjectHashCode(nullptr, &hash);
    env->ExceptionCheck();
    EXPECT_CALLS(sim.calls(), "JNI.FindClass(\"Foo\")", "JVMTI.SetBreakpoint(Foo.bar, 7)",
                 "JVMTI.GetObjectHashCode(null)", "JNI.ExceptionCheck()");
    EXPECT_CALLS(sim.calls_of({"JVMTI.*"}), "JVMTI.SetBreakpoint(Foo.bar, 7)", "JVMTI.GetObjectHashCode(null)");
    EXPECT_CALLS(sim.calls_without({"JVMTI.*", "JNI.Exception*"}), "JNI.FindClass(\"Foo\")");
    sim.clear_calls();
    EXPECT_TRUE(sim.calls().empty());
}

TEST_F(Simulator, CallsOfManyThreadsAreAllLoggedEachInItsOrder) {
    std::vector<std::unique_ptr<sim::Running>> threads;
    for (const char* name : {"a", "b", "c", "d"})
        threads.push_back(sim.start(sim.new_thread(name), [this] {
            for (jint i = 0; i < 50; ++i) {
                sim.env()->PushLocalFrame(i);
                sim.env()->PopLocalFrame(nullptr);
            }
        }));
    for (auto& thread : threads) thread->join();
    EXPECT_EQ(400U, sim.calls().size());
    std::vector<std::string> expected;
    for (int i = 0; i < 50; ++i) {
        expected.push_back("JNI.PushLocalFrame(" + std::to_string(i) + ")");
        expected.push_back("JNI.PopLocalFrame(null)");
    }
    EXPECT_EQ(expected, sim.calls_on("c"));
}

TEST_F(Simulator, ADifferenceOfCallsShowsBothSides) {
    EXPECT_EQ("    a\n  - b\n  + c\n  + d\n", sim::difference({"a", "b"}, {"a", "c", "d"}));
    EXPECT_FALSE(sim::same_calls({"a"}, {"b"}));
}

TEST_P(EachMode, TheNthCallFailsAndNoOther) {
    sim.fail_nth(sim.vm_name("Allocate"), 2, 110);
    void* block = &block;
    EXPECT_EQ(0, allocate(8, &block));
    EXPECT_EQ(0, deallocate(block));
    block = &block;
    EXPECT_EQ(110, allocate(8, &block));
    EXPECT_EQ(&block, block);
    EXPECT_EQ(0, allocate(0, &block));
    EXPECT_EQ(nullptr, block);
}

TEST_P(EachMode, ACallFailsUntilItIsToldToStop) {
    jthread main = sim.local(sim.main_thread);
    sim.fail(sim.vm_name("SuspendThread"), 113);
    EXPECT_EQ(113, suspend(main));
    EXPECT_EQ(113, suspend(main));
    sim.stop_failing(sim.vm_name("SuspendThread"));
    EXPECT_EQ(0, suspend(main));
}

TEST_F(Simulator, JniFailsWithAnExceptionOrWithout) {
    sim::Object& exception = sim.new_exception("java/lang/Error", "broken");
    sim.throw_in("JNI.FindClass", exception, 1);
    EXPECT_EQ(nullptr, env->FindClass("java/lang/Object"));
    EXPECT_EQ(&exception, sim.pending());
    env->ExceptionClear();
    EXPECT_NE(nullptr, env->FindClass("java/lang/Object"));
    sim.null_in("JNI.NewGlobalRef");
    EXPECT_EQ(nullptr, env->NewGlobalRef(sim.local(&exception)));
    EXPECT_EQ(nullptr, sim.pending());
}

TEST_F(Simulator, AnActionRunsBeforeEachCallOfItsName) {
    int runs = 0;
    sim.before("JNI.ExceptionCheck", [&] { ++runs; });
    env->ExceptionCheck();
    env->ExceptionCheck();
    EXPECT_EQ(2, runs);
}

/* ---- Exceptions ------------------------------------------------------------------------------------------------- */

TEST_F(Simulator, ACallWithAnExceptionPendingIsMisuse) {
    EXPECT_EQ(nullptr, env->FindClass("no/Such"));
    EXPECT_TRUE(env->ExceptionCheck());
    env->FindClass("java/lang/Object");
    EXPECT_TRUE(mentions(sim.take_misuse(), "JNI.FindClass: called with java/lang/NoClassDefFoundError#1 pending"));
    env->ExceptionClear();
    EXPECT_FALSE(env->ExceptionCheck());
}

TEST_F(Simulator, DescribingAnExceptionPrintsAndClearsIt) {
    env->Throw(sim.local<jthrowable>(&sim.new_exception("java/lang/Exception", "why")));
    EXPECT_EQ("java/lang/Exception: why\n", sim::capture_stderr([&] { env->ExceptionDescribe(); }));
    EXPECT_EQ(nullptr, env->ExceptionOccurred());
}

/* ---- Memory ----------------------------------------------------------------------------------------------------- */

TEST_P(EachMode, BlocksAreTrackedUntilTheyAreGivenBack) {
    void *first, *second;
    allocate(100, &first);
    allocate(50, &second);
    EXPECT_EQ(150U, sim.live_bytes());
    EXPECT_EQ(50U, sim.block_size(second));
    ASSERT_EQ(2U, sim.live_blocks().size());
    EXPECT_EQ(sim.vm_name("Allocate"), sim.live_blocks()[0].origin);
    EXPECT_EQ(first, sim.live_blocks()[0].address);
    deallocate(first);
    deallocate(second);
    EXPECT_EQ(0U, sim.live_bytes());
    EXPECT_EQ(150U, sim.peak_bytes());
    EXPECT_EQ(0, deallocate(nullptr));
}

TEST_P(EachMode, ForeignAndRepeatedDeallocateAreMisuse) {
    void* block;
    allocate(4, &block);
    deallocate(block);
    deallocate(block);
    EXPECT_TRUE(mentions(sim.take_misuse(), sim.vm_name("Deallocate")));
    int foreign;
    deallocate(&foreign);
    EXPECT_TRUE(mentions(sim.take_misuse(), sim.vm_name("Deallocate")));
}

/* ---- Fields and methods ---------------------------------------------------------------------------------------- */

TEST_F(Simulator, FieldsKeepValuesOfTheirType) {
    sim::Class& foo = sim.new_class("Foo");
    sim::Field& size = foo.add_field("size", "J");
    sim::Field& next = foo.add_field("next", "LFoo;", 0x8);
    sim::Object& object = sim.new_object(foo);
    jobject reference = sim.local(&object);
    EXPECT_EQ(0, env->GetLongField(reference, size.id()));
    env->SetLongField(reference, size.id(), jlong{1} << 40);
    EXPECT_EQ(jlong{1} << 40, env->GetLongField(reference, size.id()));
    EXPECT_EQ(jlong{1} << 40, object["size"].raw.j);
    env->SetStaticObjectField(sim.local<jclass>(&foo), next.id(), reference);
    EXPECT_EQ(&object, next.static_value.object);
    env->GetIntField(reference, size.id());
    EXPECT_TRUE(mentions(sim.take_misuse(), "Foo.size is no such field"));
}

TEST_F(Simulator, MethodBodiesGetTheirArguments) {
    sim::Class& foo = sim.new_class("Foo");
    sim::Method& add = foo.add_method("add", "(IJDLjava/lang/Object;)I");
    sim::Object& object = sim.new_object(foo);
    add.body = [&](sim::Invocation& call) {
        EXPECT_EQ(&object, call.receiver);
        EXPECT_EQ(&object, call.args[3].object);
        EXPECT_EQ(2.5, call.args[2].raw.d);
        return Value(static_cast<jint>(call.args[0].raw.i + call.args[1].raw.j));
    };
    jobject reference = sim.local(&object);
    EXPECT_EQ(42, env->CallIntMethod(reference, add.id(), jint{2}, jlong{40}, 2.5, reference));
    jvalue args[4];
    args[0].i = 1;
    args[1].j = 2;
    args[2].d = 2.5;
    args[3].l = reference;
    EXPECT_EQ(3, env->CallIntMethodA(reference, add.id(), args));
    EXPECT_EQ("JNI.CallIntMethodA(Foo#1, Foo.add, 1, 2, 2.5, Foo#1)", sim.calls().back());
    env->CallVoidMethodA(reference, add.id(), args);
    EXPECT_TRUE(mentions(sim.take_misuse(), "gives another type"));
}

TEST_F(Simulator, AMethodBodyMayThrow) {
    sim::Method& run = sim.new_class("Foo").add_method("run", "()Ljava/lang/Object;", 0x8);
    sim::Object& exception = sim.new_exception("java/lang/Exception");
    run.body = [&](sim::Invocation& call) {
        call.throws(&exception);
        return Value(call.thread);
    };
    EXPECT_EQ(nullptr, env->CallStaticObjectMethod(sim.local<jclass>(run.owner), run.id()));
    EXPECT_EQ(&exception, sim.object(env->ExceptionOccurred()));
}

TEST_F(Simulator, ThePlatformClassesServeAnAgentThread) {
    jclass thread = env->FindClass("java/lang/Thread");
    jobject made = env->NewObject(thread, env->GetMethodID(thread, "<init>", "()V"));
    EXPECT_FALSE(env->CallBooleanMethod(made, env->GetMethodID(thread, "isDaemon", "()Z")));
    env->CallVoidMethod(made, env->GetMethodID(thread, "setDaemon", "(Z)V"), JNI_TRUE);
    EXPECT_TRUE(sim.object_as<sim::Thread>(made)->daemon);

    jclass system = env->FindClass("java/lang/System");
    jmethodID get = env->GetStaticMethodID(system, "getProperty", "(Ljava/lang/String;)Ljava/lang/String;");
    jobject version = env->CallStaticObjectMethod(system, get, env->NewStringUTF("java.vm.version"));
    EXPECT_EQ(7, env->GetStringUTFLength(static_cast<jstring>(version)));
    EXPECT_EQ(nullptr, env->CallStaticObjectMethod(system, get, env->NewStringUTF("absent")));
}

/* ---- Arrays and strings ----------------------------------------------------------------------------------------- */

TEST_F(Simulator, ArrayElementsAreACopyOrTheArrayItself) {
    sim::Array& array = sim.new_array('I', 3);
    auto reference = sim.local<jintArray>(&array);
    jboolean is_copy = JNI_FALSE;
    jint* elements = env->GetIntArrayElements(reference, &is_copy);
    EXPECT_TRUE(is_copy);
    elements[2] = 9;
    EXPECT_EQ(0, array.at<jint>(2));
    EXPECT_EQ(1U, sim.live_elements());
    env->ReleaseIntArrayElements(reference, elements, 0);
    EXPECT_EQ(9, array.at<jint>(2));
    EXPECT_EQ(0U, sim.live_elements());

    array.is_copy = false;
    EXPECT_EQ(&array.at<jint>(0), env->GetIntArrayElements(reference, &is_copy));
    EXPECT_FALSE(is_copy);
    EXPECT_EQ(1U, sim.live_pins());
}

TEST_F(Simulator, ArraysCheckTheirBounds) {
    auto array = env->NewShortArray(2);
    jshort value = 5;
    env->SetShortArrayRegion(array, 1, 1, &value);
    EXPECT_EQ(5, sim.object_as<sim::Array>(array)->at<jshort>(1));
    env->SetShortArrayRegion(array, 2, 1, &value);
    EXPECT_EQ("java/lang/ArrayIndexOutOfBoundsException", sim.pending()->type->name);
    env->ExceptionClear();
    EXPECT_EQ(nullptr, env->NewDoubleArray(-1));
    EXPECT_EQ("java/lang/NegativeArraySizeException", sim.pending()->type->name);
    env->ExceptionClear();
    auto objects = env->NewObjectArray(1, env->FindClass("java/lang/Thread"), nullptr);
    env->SetObjectArrayElement(objects, 0, sim.local(&sim.new_object()));
    EXPECT_EQ("java/lang/ArrayStoreException", sim.pending()->type->name);
    env->ExceptionClear();
    env->SetObjectArrayElement(objects, 0, sim.local(sim.main_thread));
    EXPECT_EQ(sim.main_thread, sim.object(env->GetObjectArrayElement(objects, 0)));
}

TEST_F(Simulator, StringCharactersMustBeReleasedByTheirOwner) {
    auto string = sim.local<jstring>(&sim.new_string("text"));
    jboolean is_copy;
    const char* chars = env->GetStringUTFChars(string, &is_copy);
    EXPECT_STREQ("text", chars);
    EXPECT_TRUE(is_copy);
    env->ReleaseStringUTFChars(sim.local<jstring>(&sim.new_string("other")), chars);
    EXPECT_TRUE(mentions(sim.take_misuse(), "not characters of \"other\""));
    env->ReleaseStringUTFChars(string, chars);
    EXPECT_EQ(0U, sim.live_elements());
}

/* ---- Harness ---------------------------------------------------------------------------------------------------- */

TEST_F(Simulator, AChildMayAbortOrExit) {
    sim::ChildResult aborted = run_in_child([] {
        printf("last words\n");
        fflush(stdout);
        abort();
    });
    EXPECT_EQ(SIGABRT, aborted.signal);
    EXPECT_EQ("last words\n", aborted.out);
    sim::ChildResult ended = run_in_child([] {
        fprintf(stderr, "no more");
        _exit(3);
    });
    EXPECT_EQ(3, ended.exit_status);
    EXPECT_EQ("no more", ended.err);
    EXPECT_EQ(0, run_in_child([] {}).exit_status);
}

TEST_F(Simulator, MisuseInAChildIsTheTests) {
    run_in_child([this] {
        sim.jvmti()->ForceGarbageCollection();
        abort();
    });
    EXPECT_TRUE(mentions(sim.take_misuse(), "JVMTI.ForceGarbageCollection is not provided"));
}

TEST_F(Simulator, OutputOfABlockIsCaught) {
    EXPECT_EQ("one two", sim::capture_stdout([] {
                  printf("one ");
                  fflush(stdout);
                  EXPECT_EQ(3, write(1, "two", 3));
              }));
}

} // namespace
