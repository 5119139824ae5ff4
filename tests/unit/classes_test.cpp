#include "entry/agent_entry.h"
#include "registry/class_info.h"

#include "query_fixture.h"

#include <string>

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

struct Classes : QueryTest {
    Classes() {
        foo.source_file = "Foo.java";
        memset(&info, 0xa5, sizeof info);
    }

    sim::Class& foo = sim.new_class("pack/Foo");
    jclass clazz = sim.local<jclass>(&foo);
    class_info info;
};
SIM_ALL_MODES(Classes);

/* ---- agent_get_classinfo ---- */

TEST_P(Classes, AreDescribedBySignatureSourceFileAndKind) {
    sim.clear_calls();

    EXPECT_EQ(0, agent_get_classinfo(sim.env(), clazz, &info));

    EXPECT_EQ(clazz, info.clazz);
    EXPECT_STREQ("Lpack/Foo;", info.signature);
    EXPECT_STREQ("Foo.java", info.source_file);
    EXPECT_EQ(1, info.has_source);
    EXPECT_EQ(0, info.is_interface);
    EXPECT_EQ(vm_calls({"GetClassSignature(pack/Foo)", "Deallocate()", "GetSourceFileName(pack/Foo)", "Deallocate()",
                        "IsInterface(pack/Foo)"}),
              made_vm_calls());
}

TEST_P(Classes, GiveEveryTextBackToTheVm) {
    const size_t before = sim.live_blocks().size();
    EXPECT_EQ(0, agent_get_classinfo(sim.env(), clazz, &info));
    EXPECT_EQ(before, sim.live_blocks().size());
}

TEST_P(Classes, AreAskedOnTheThreadsOwnEnvironmentWhenNoneIsGiven) {
    sim.clear_calls();
    EXPECT_EQ(0, agent_get_classinfo(NULL, clazz, &info));
    EXPECT_STREQ("Lpack/Foo;", info.signature);
    EXPECT_EQ("JavaVM.GetEnv(0x10002)", sim.calls().front());
}

TEST_P(Classes, ThatAreInterfacesSaySo) {
    sim::Class& interface = sim.new_interface("pack/Listener");
    interface.source_file = "Listener.java";
    EXPECT_EQ(0, agent_get_classinfo(sim.env(), sim.local<jclass>(&interface), &info));
    EXPECT_EQ(1, info.has_source);
    EXPECT_EQ(1, info.is_interface);
}

TEST_P(Classes, WithoutASourceFileAreNotAskedWhetherTheyAreInterfaces) {
    sim::Class& interface = sim.new_interface("pack/Listener");
    interface.source_file.reset();
    sim.clear_calls();

    EXPECT_EQ(0, agent_get_classinfo(sim.env(), sim.local<jclass>(&interface), &info));

    EXPECT_STREQ("Lpack/Listener;", info.signature);
    EXPECT_STREQ("", info.source_file);
    EXPECT_EQ(0, info.has_source);
    EXPECT_EQ(0, info.is_interface);
    EXPECT_EQ(0u, sim.count_calls("*.IsInterface"));
}

TEST_P(Classes, HaveTheirTextsCutToTheRecordsFields) {
    const std::string longest(1023, 'a');
    foo.signature = 'L' + std::string(3000, 'b') + ';';
    foo.source_file = longest;

    EXPECT_EQ(0, agent_get_classinfo(sim.env(), clazz, &info));

    EXPECT_EQ('L' + std::string(1022, 'b'), info.signature);
    EXPECT_EQ(longest, info.source_file);
    EXPECT_EQ(1, info.has_source);
}

TEST_P(Classes, FailWithTheVmsCodeAndAMessageAtEachStep) {
    static const struct {
        const char* function;
        int nth;
        const char* message;
        const char *signature, *source_file; /* what the record holds by then */
        jint has_source;
    } steps[] = {
        {"GetClassSignature", 1, "AgentThread: JVMDI_GetClassSignature() failed -- INVALID_CLASS\n", "", "", 0},
        {"Deallocate", 1, "AgentThread: JVMDI_Deallocate() failed -- INVALID_CLASS\n", "Lpack/Foo;", "", 0},
        {"GetSourceFileName", 1, "AgentThread: JVMDI_GetSourceFileName() failed -- INVALID_CLASS\n", "Lpack/Foo;", "",
         0},
        {"Deallocate", 2, "AgentThread: JVMDI_Deallocate() failed -- INVALID_CLASS\n", "Lpack/Foo;", "Foo.java", 1},
        {"IsInterface", 1, "AgentThread: JVMDI_IsInterface() failed -- INVALID_CLASS\n", "Lpack/Foo;", "Foo.java", 1},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.function + std::to_string(step.nth));
        const std::string function = sim.vm_name(step.function);
        sim.fail_nth(function, step.nth, JVMDI_ERROR_INVALID_CLASS);
        memset(&info, 0xa5, sizeof info);
        CaptureStdout();
        EXPECT_EQ(JVMDI_ERROR_INVALID_CLASS, agent_get_classinfo(sim.env(), clazz, &info));
        EXPECT_EQ(step.message, GetCapturedStdout());
        EXPECT_EQ(clazz, info.clazz);
        EXPECT_STREQ(step.signature, info.signature);
        EXPECT_STREQ(step.source_file, info.source_file);
        EXPECT_EQ(step.has_source, info.has_source);
        EXPECT_EQ(0, info.is_interface);
        sim.stop_failing(function);
    }
}

/* ---- agent_get_class, agent_get_superclass, agent_get_objectclass ---- */

TEST_P(Classes, AreFoundByNameAndNamedByTheirUref) {
    EXPECT_EQ(0, agent_get_class(sim.env(), "pack/Foo", &info));

    EXPECT_TRUE(sim.is_global(info.clazz));
    EXPECT_EQ(&foo, sim.object(info.clazz));
    EXPECT_EQ(URef_find(sim.env(), clazz), info.clazz);
    EXPECT_STREQ("Lpack/Foo;", info.signature);
    EXPECT_EQ(1, info.has_source);
}

TEST_P(Classes, ThatAreLoadedAreFoundWithoutRunningTheProgramOnANewerVm) {
    sim::Class& own = sim.new_class("pack/Own");
    own.loader = sim.main_thread->context_loader = sim.system_loader;
    const std::string first = "JVMTI.GetClassLoaderClasses(loader)", then = "JVMTI.GetClassLoaderClasses(null)";
    const struct {
        const char* name;
        strings asked;
    } cases[] = {{"pack/Own", {first}}, {"pack/Foo", {first, then}}};
    for (const auto& each : cases) {
        sim.clear_calls();
        EXPECT_EQ(0, agent_get_class(sim.env(), each.name, &info));
        EXPECT_STREQ(("L" + std::string(each.name) + ";").c_str(), info.signature);
        EXPECT_EQ(newer() ? 0u : 1u, sim.count_calls("JNI.FindClass")) << each.name;
        EXPECT_EQ(newer() ? each.asked : strings(), sim.calls_of({"JVMTI.GetClassLoaderClasses"})) << each.name;
    }
}

TEST_P(Classes, ThatAreNotLoadedAreLoaded) {
    sim.loaded_classes.clear();
    EXPECT_EQ(0, agent_get_class(sim.env(), "pack/Foo", &info));
    EXPECT_STREQ("Lpack/Foo;", info.signature);
    EXPECT_EQ(1u, sim.count_calls("JNI.FindClass"));
}

TEST_P(Classes, OfAnotherLoaderAreNotTaken) {
    foo.loader = &sim.new_object("java/lang/ClassLoader");
    EXPECT_EQ(0, agent_get_class(sim.env(), "pack/Foo", &info));
    EXPECT_EQ(1u, sim.count_calls("JNI.FindClass")) << "which loader's it gives is the VM's to say";
}

TEST_P(Classes, LookUpLeavesNothingBehind) {
    const size_t locals = sim.live_locals();
    EXPECT_EQ(0, agent_get_class(sim.env(), "pack/Foo", &info));
    const size_t blocks = sim.live_blocks().size();
    EXPECT_EQ(locals + 1, sim.live_locals()) << "the reference to the class itself";
    EXPECT_EQ(0, agent_get_class(sim.env(), "pack/Foo", &info));
    EXPECT_EQ(blocks, sim.live_blocks().size());
}

TEST_P(Classes, LookUpGoesOnWhereTheVmDoesNotTellWhatIsLoaded) {
    for (const char* function : {"GetThreadInfo", "GetClassLoaderClasses"}) {
        sim.fail(sim.vm_name(function), JVMDI_ERROR_OUT_OF_MEMORY);
        EXPECT_EQ(0, agent_get_class(sim.env(), "pack/Foo", &info)) << function;
        EXPECT_STREQ("Lpack/Foo;", info.signature) << function;
        sim.stop_failing(sim.vm_name(function));
    }
}

TEST_P(Classes, AnswerHasNoClassWhileItIsLookedFor) {
    sim.loaded_classes.clear();
    jclass during_name = clazz, during_super = clazz;
    sim.before("JNI.FindClass", [&] { during_name = info.clazz; });
    sim.before("JNI.GetSuperclass", [&] { during_super = info.clazz; });
    info.clazz = clazz;
    EXPECT_EQ(0, agent_get_class(sim.env(), "pack/Foo", &info));
    info.clazz = clazz;
    EXPECT_EQ(0, agent_get_superclass(sim.env(), clazz, &info));
    EXPECT_EQ(nullptr, during_name);
    EXPECT_EQ(nullptr, during_super);
}

TEST_P(Classes, HaveOneUrefHoweverTheyAreFound) {
    sim::Class& sub = sim.new_class("pack/Sub", &foo);
    class_info of_name, of_super;
    jclass of_object;

    EXPECT_EQ(0, agent_get_class(NULL, "pack/Foo", &of_name));
    EXPECT_EQ(0, agent_get_superclass(NULL, sim.local<jclass>(&sub), &of_super));
    EXPECT_EQ(0, agent_get_objectclass(NULL, sim.local(&sim.new_object(foo)), &of_object));

    EXPECT_EQ(of_name.clazz, of_super.clazz);
    EXPECT_EQ(of_name.clazz, of_object);
    EXPECT_STREQ("Lpack/Foo;", of_super.signature);
}

TEST_P(Classes, KeepTheirUrefWhenTheProcessResumes) {
    jclass of_object;
    EXPECT_EQ(0, agent_get_class(sim.env(), "pack/Foo", &info));
    EXPECT_EQ(0, agent_get_superclass(sim.env(), clazz, &info));
    EXPECT_EQ(0, agent_get_objectclass(sim.env(), sim.local(&sim.new_object("java/lang/Exception")), &of_object));
    sim.clear_calls();

    free_resources(sim.env());

    EXPECT_EQ(strings(), sim.calls());
    EXPECT_TRUE(sim.is_global(of_object));
}

TEST_P(Classes, OfAnUnknownNameGive113AndLeaveNoException) {
    CaptureStderr();
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_get_class(sim.env(), "no/Such", &info));
    EXPECT_NE(std::string::npos, GetCapturedStderr().find("NoClassDefFoundError"));
    EXPECT_EQ(nullptr, sim.pending());
    EXPECT_EQ(nullptr, info.clazz);
}

TEST_P(Classes, LookedUpAreDescribedWithTheFailureOfTheDescription) {
    sim.fail(sim.vm_name("GetClassSignature"), JVMDI_ERROR_INVALID_CLASS);
    CaptureStdout();
    EXPECT_EQ(JVMDI_ERROR_INVALID_CLASS, agent_get_class(sim.env(), "pack/Foo", &info));
    EXPECT_EQ(JVMDI_ERROR_INVALID_CLASS, agent_get_superclass(sim.env(), clazz, &info));
    EXPECT_NE("", GetCapturedStdout());
}

TEST_P(Classes, AreNotLookedForWithoutAnAddressForTheAnswer) {
    jobject object = sim.local(&sim.new_object());
    sim.clear_calls();
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_get_class(sim.env(), "pack/Foo", NULL));
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_get_superclass(sim.env(), clazz, NULL));
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_get_objectclass(sim.env(), object, NULL));
    EXPECT_EQ(strings(), sim.calls());
}

TEST_P(Classes, ThatJniDoesNotGiveWithoutAnExceptionAreNoFailure) {
    sim.loaded_classes.clear();
    jobject object = sim.local(&sim.new_object());
    jclass of_object = clazz;
    for (const char* function : {"JNI.FindClass", "JNI.GetSuperclass", "JNI.GetObjectClass"}) sim.null_in(function);

    EXPECT_EQ(0, agent_get_class(sim.env(), "pack/Foo", &info));
    EXPECT_EQ(nullptr, info.clazz);
    info.clazz = clazz;
    EXPECT_EQ(0, agent_get_superclass(sim.env(), clazz, &info));
    EXPECT_EQ(nullptr, info.clazz);
    EXPECT_EQ(0, agent_get_objectclass(sim.env(), object, &of_object));
    EXPECT_EQ(nullptr, of_object);
}

TEST_P(Classes, HaveNoSuperclassAtTheTopAndAsInterfaces) {
    for (sim::Class* top : {&sim.class_named("java/lang/Object"), &sim.new_interface("pack/Listener")}) {
        memset(&info, 0xa5, sizeof info);
        EXPECT_EQ(0, agent_get_superclass(sim.env(), sim.local<jclass>(top), &info));
        EXPECT_EQ(nullptr, info.clazz);
    }
}

TEST_P(Classes, WhoseLookUpRaisesGive113AndLeaveNoException) {
    sim.loaded_classes.clear();
    sim::Object& exception = sim.new_exception("java/lang/Error", "told to");
    jobject object = sim.local(&sim.new_object());
    jclass of_object = clazz;
    for (const char* function : {"JNI.FindClass", "JNI.GetSuperclass", "JNI.GetObjectClass"})
        sim.throw_in(function, exception);

    CaptureStderr();
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_get_class(sim.env(), "pack/Foo", &info));
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_get_superclass(sim.env(), clazz, &info));
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_get_objectclass(sim.env(), object, &of_object));
    EXPECT_EQ(3, occurrences("told to", GetCapturedStderr()));
    EXPECT_EQ(nullptr, info.clazz);
    EXPECT_EQ(nullptr, of_object);
    EXPECT_EQ(nullptr, sim.pending());
}

/* ---- agent_get_classes ---- */

struct PreparedClasses : Classes {
    void prepare() { PrepList_add_locked(&prep_list, sim.env(), clazz, 0); }
    jint count = -1;
    class_info* batch = &info;
};
SIM_ALL_MODES(PreparedClasses);

TEST_P(PreparedClasses, AreHandedOverAsABatch) {
    prepare();
    prepare();
    class_info* listed = prep_list.array;

    EXPECT_EQ(0, agent_get_classes(sim.env(), &count, &batch));

    EXPECT_EQ(2, count);
    EXPECT_EQ(listed, batch);
    EXPECT_STREQ("Lpack/Foo;", batch[1].signature);
    EXPECT_EQ(batch, own_record().classes);
    EXPECT_EQ(0, prep_list.count);
}

TEST_P(PreparedClasses, LiveUntilTheNextBatchIsAskedFor) {
    prepare();
    EXPECT_EQ(0, agent_get_classes(NULL, &count, &batch));
    class_info* first = batch;
    prepare();
    EXPECT_TRUE(sim.is_live_block(first));

    EXPECT_EQ(0, agent_get_classes(NULL, &count, &batch));
    EXPECT_EQ(1, count);
    EXPECT_FALSE(sim.is_live_block(first));
    EXPECT_TRUE(sim.is_live_block(batch));

    EXPECT_EQ(0, agent_get_classes(NULL, &count, &batch));
    EXPECT_EQ(0, count);
    EXPECT_EQ(nullptr, batch);
    EXPECT_EQ(nullptr, own_record().classes);
}

TEST_P(PreparedClasses, LeaveTheThreadsOtherAnswersAlone) {
    own_record().bytecodes = (unsigned char*)sim.allocate(4);
    EXPECT_EQ(0, agent_get_classes(sim.env(), &count, &batch));
    EXPECT_TRUE(sim.is_live_block(own_record().bytecodes));
}

TEST_P(PreparedClasses, AreNotCollectedByAnUnknownThread) {
    prepare();
    forget_own_thread();
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, agent_get_classes(sim.env(), &count, &batch));
    EXPECT_EQ(1, prep_list.count);
    EXPECT_EQ(-1, count);
}

TEST_P(PreparedClasses, StayListedWhenTheListCannotBeLocked) {
    prepare();
    pthread_mutexattr_t tells_of_deadlock;
    pthread_mutexattr_init(&tells_of_deadlock);
    pthread_mutexattr_settype(&tells_of_deadlock, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&prep_list.monitor.mutex, &tells_of_deadlock);
    ASSERT_EQ(1u, monitor_lock(&prep_list.monitor, "test"));
    CaptureStdout();

    EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_get_classes(sim.env(), &count, &batch));

    const std::string printed = GetCapturedStdout();
    EXPECT_NE(std::string::npos, printed.find("AgentThread: JVMDI_GetLinkedClasses() failed -- INTERNAL\n")) << printed;
    EXPECT_EQ(1, prep_list.count);
    monitor_unlock(&prep_list.monitor, "test");
}

TEST_P(PreparedClasses, GiveTheCodeOfAFailedReleaseOfTheBatchBefore) {
    prepare();
    EXPECT_EQ(0, agent_get_classes(sim.env(), &count, &batch));
    class_info* first = batch;
    prepare();
    sim.fail(sim.vm_name("Deallocate"), JVMDI_ERROR_ACCESS_DENIED);
    CaptureStdout();

    EXPECT_EQ(JVMDI_ERROR_ACCESS_DENIED, agent_get_classes(sim.env(), &count, &batch));

    EXPECT_EQ("AgentThread: JVMDI_Deallocate() failed -- ACCESS_DENIED\n", GetCapturedStdout());
    EXPECT_EQ(first, own_record().classes);
}

/* ---- agent_get_stringvalue ---- */

struct Strings : QueryTest {
    sim::String& text = sim.new_string("gr\xc3\xbc\xc3\x9f");
    jstring string = sim.local<jstring>(&text);
    jint length = -1;
    const char* characters = NULL;
};
SIM_ALL_MODES(Strings);

TEST_P(Strings, GiveTheirCharactersAndTheLengthInBytes) {
    EXPECT_EQ(0, agent_get_stringvalue(NULL, string, &length, &characters));
    EXPECT_STREQ("gr\xc3\xbc\xc3\x9f", characters);
    EXPECT_EQ(6, length);
}

TEST_P(Strings, ThatWereCopiedAreHeldUntilTheNextOne) {
    const std::string label = text.label;
    sim.clear_calls();
    EXPECT_EQ(0, agent_get_stringvalue(sim.env(), string, &length, &characters));
    EXPECT_EQ(strings({"JNI.GetStringUTFChars(" + label + ")", "JNI.NewGlobalRef(" + label + ")"}), sim.calls());
    EXPECT_EQ(1u, sim.live_elements());

    text.is_copy = false;
    sim.clear_calls();
    EXPECT_EQ(0, agent_get_stringvalue(sim.env(), string, &length, &characters));
    EXPECT_EQ(strings({"JNI.ReleaseStringUTFChars(" + label + ")", "JNI.DeleteGlobalRef(" + label + ")",
                       "JNI.GetStringUTFChars(" + label + ")"}),
              sim.calls());
    EXPECT_EQ(0u, sim.live_elements());
}

TEST_P(Strings, ThatWereNotCopiedAreNeverReleased) {
    text.is_copy = false;
    for (int round = 0; round < 2; round++) {
        EXPECT_EQ(0, agent_get_stringvalue(sim.env(), string, &length, &characters));
        EXPECT_EQ(6, length);
    }
    EXPECT_EQ(0u, sim.count_calls("JNI.ReleaseStringUTFChars"));
    EXPECT_EQ(0u, sim.count_calls("JNI.NewGlobalRef"));
    EXPECT_EQ(2u, sim.live_pins());
}

TEST_P(Strings, ThatTheVmDoesNotGiveAreNullWithLengthZero) {
    characters = "before";
    sim.null_in("JNI.GetStringUTFChars");
    EXPECT_EQ(0, agent_get_stringvalue(sim.env(), string, &length, &characters));
    EXPECT_EQ(nullptr, characters);
    EXPECT_EQ(0, length);
    EXPECT_EQ(0u, sim.count_calls("JNI.NewGlobalRef"));
}

TEST_P(Strings, AreNotHeldWithoutAReferenceToReleaseThemBy) {
    sim.null_in("JNI.NewGlobalRef", 1);
    EXPECT_EQ(0, agent_get_stringvalue(sim.env(), string, &length, &characters));
    EXPECT_STREQ("gr\xc3\xbc\xc3\x9f", characters);
    const char* unheld = characters;

    EXPECT_EQ(0, agent_get_stringvalue(sim.env(), string, &length, &characters));
    EXPECT_EQ(0u, sim.count_calls("JNI.ReleaseStringUTFChars"));
    sim.env()->ReleaseStringUTFChars(string, unheld);
}

/* ---- agent_is_instanceof, agent_get_arraylength ---- */

TEST_P(Classes, TellTheirInstances) {
    jobject object = sim.local(&sim.new_object(foo));
    jclass other = sim.local<jclass>(&sim.new_class("pack/Other"));
    EXPECT_EQ(JNI_TRUE, agent_is_instanceof(NULL, object, clazz));
    EXPECT_EQ(JNI_FALSE, agent_is_instanceof(sim.env(), object, other));
}

TEST_P(Classes, OfArraysHaveInstancesWithALength) {
    jarray array = sim.local<jarray>(&sim.new_array('I', 3));
    EXPECT_EQ(3, agent_get_arraylength(NULL, array));
}
