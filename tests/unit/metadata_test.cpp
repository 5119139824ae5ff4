#include "entry/agent_entry.h"

#include "query_fixture.h"

#include <string.h>

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

struct Metadata : QueryTest {
    Metadata() {
        bar.generic = "<T:>(TT;)V";
        bar.lines = {{0, 10}, {4, 12}};
        bar.locals = {{0, 9, "this", "LFoo;", "", 0}, {2, 7, "list", "Ljava/util/List;", "Ljava/util/List<TT;>;", 1}};
        bar.bytecodes = {1, -79};
        bar.handlers = {{0, 4, 8, &foo}};
        bar.thrown = {&foo, &listener};
        bar.max_stack = 5;
        foo.interfaces = {&listener};
        jvmti_features.can_get_bytecodes = on_jvmti();
        jvmdi_features.can_get_bytecodes = on_jvmdi();
    }
    /* The call of a method query in the mode's log. */
    std::string method_call(const std::string& function) {
        return sim.vm_name(function) + (on_jvmdi() ? "(Foo, Foo.bar)" : "(Foo.bar)");
    }

    sim::Class& foo = sim.new_class("Foo");
    sim::Class& listener = sim.new_interface("Listener");
    sim::Method& bar = foo.add_method("bar", "(I)V", 0x9);
    sim::Field& size = foo.add_field("size", "I", 0x12);
    jclass clazz = sim.local<jclass>(&foo);
    jint count = -1;
    const size_t earlier_blocks = sim.live_blocks().size();
};
SIM_ALL_MODES(Metadata);

/* ---- Answers that the caller gets as they are ---- */

TEST_P(Metadata, GivesTheSourceFileNameToTheCaller) {
    foo.source_file = "Foo.java";
    char* name;
    EXPECT_EQ(0, agent_get_sourcefilename(NULL, clazz, &name));
    EXPECT_STREQ("Foo.java", name);
    EXPECT_TRUE(sim.is_live_block(name));
    EXPECT_EQ(0u, sim.count_calls("*.Deallocate"));

    foo.source_file.reset();
    CaptureStdout();
    EXPECT_EQ(JVMDI_ERROR_ABSENT_INFORMATION, agent_get_sourcefilename(NULL, clazz, &name));
    EXPECT_EQ("", GetCapturedStdout());
}

TEST_P(Metadata, GivesTheFieldsOfAClassToTheCaller) {
    jfieldID* fields;
    EXPECT_EQ(0, agent_get_classfields(NULL, clazz, &count, &fields));
    EXPECT_EQ(1, count);
    EXPECT_EQ(size.id(), fields[0]);
    EXPECT_TRUE(sim.is_live_block(fields));
}

TEST_P(Metadata, GivesAFieldsNameSignatureAndModifiersToTheCaller) {
    char *name, *signature;
    jint modifiers = -1;
    size.generic = "TT;";
    sim.clear_calls();
    EXPECT_EQ(0, agent_get_fieldname(NULL, clazz, size.id(), &name, &signature, &modifiers));
    EXPECT_EQ(vm_calls({"GetFieldName(Foo, Foo.size)", "GetFieldModifiers(Foo, Foo.size)"}), made_vm_calls());
    EXPECT_STREQ("size", name);
    EXPECT_STREQ("I", signature);
    EXPECT_EQ(0x12, modifiers);
    EXPECT_EQ(earlier_blocks + 2, sim.live_blocks().size());
}

TEST_P(Metadata, AsksForNoModifiersOfAFieldWithoutAName) {
    char *name, *signature;
    jint modifiers = -1;
    sim.fail(sim.vm_name("GetFieldName"), 77);
    EXPECT_EQ(77, agent_get_fieldname(NULL, clazz, size.id(), &name, &signature, &modifiers));
    EXPECT_EQ(0u, sim.count_calls("*.GetFieldModifiers"));
    EXPECT_EQ(-1, modifiers);

    sim.stop_failing(sim.vm_name("GetFieldName"));
    sim.fail(sim.vm_name("GetFieldModifiers"), 78);
    EXPECT_EQ(78, agent_get_fieldname(NULL, clazz, size.id(), &name, &signature, &modifiers));
    EXPECT_STREQ("size", name);
}

TEST_P(Metadata, GivesTheInterfacesOfAClassToTheCaller) {
    jclass* interfaces;
    EXPECT_EQ(0, agent_get_implementedinterfaces(NULL, clazz, &count, &interfaces));
    EXPECT_EQ(1, count);
    EXPECT_EQ(&listener, sim.object(interfaces[0]));
    EXPECT_TRUE(sim.is_live_block(interfaces));
}

TEST_P(Metadata, TellsTheVersionOfTheInterfaceInUse) {
    jint version = 0;
    EXPECT_EQ(0, agent_get_versionnumber(NULL, &version));
    EXPECT_EQ(sim.version, version);
    EXPECT_EQ(1u, sim.count_calls(sim.vm_name("GetVersionNumber")));
}

/* ---- Queries that only JVMDI answers ---- */

struct JvmdiOnly : Metadata {};
SIM_MODES(JvmdiOnly, sim::Mode::jvmdi);
struct NotOnJvmti : Metadata {};
SIM_MODES(NotOnJvmti, sim::Mode::jvmti10, sim::Mode::jvmti_newer);

TEST_P(JvmdiOnly, GivesTheExceptionHandlersToTheCaller) {
    JVMDI_exception_handler_entry* table;
    EXPECT_EQ(0, agent_get_exceptionhandlertable(NULL, clazz, bar.id(), &count, &table));
    EXPECT_EQ(1, count);
    EXPECT_EQ(8, table[0].handler_location);
    EXPECT_EQ(&foo, sim.object(table[0].exception));
    EXPECT_TRUE(sim.is_live_block(table));
}

TEST_P(JvmdiOnly, GivesTheVmsCodesAboutHandlersUnchanged) {
    JVMDI_exception_handler_entry* table = NULL;
    for (jint code :
         {jint{JVMDI_ERROR_ABSENT_INFORMATION}, jint{JVMDI_ERROR_INTERNAL}, jint{104}, jint{99}, jint{77}}) {
        sim.fail("JVMDI.GetExceptionHandlerTable", code);
        CaptureStdout();
        EXPECT_EQ(code, agent_get_exceptionhandlertable(NULL, clazz, bar.id(), &count, &table));
        EXPECT_EQ("", GetCapturedStdout());
        sim.stop_failing("JVMDI.GetExceptionHandlerTable");
    }
}

TEST_P(JvmdiOnly, GivesTheThrownExceptionsToTheCaller) {
    jclass* classes;
    EXPECT_EQ(0, agent_get_thrownexceptions(NULL, clazz, bar.id(), &count, &classes));
    EXPECT_EQ(2, count);
    EXPECT_EQ(&listener, sim.object(classes[1]));
    EXPECT_TRUE(sim.is_live_block(classes));
}

TEST_P(JvmdiOnly, TellsTheStackThatAMethodNeeds) {
    jint needed = -1;
    EXPECT_EQ(0, agent_get_maxstack(NULL, clazz, bar.id(), &needed));
    EXPECT_EQ(5, needed);
    sim.fail("JVMDI.GetMaxStack", 77);
    EXPECT_EQ(77, agent_get_maxstack(NULL, clazz, bar.id(), &needed));
}

TEST_P(NotOnJvmti, AnswersNothingAboutHandlersThrownExceptionsAndStack) {
    JVMDI_exception_handler_entry* table = NULL;
    jclass* classes = NULL;
    jint needed = -1;
    sim.clear_calls();
    EXPECT_EQ(JVMDI_ERROR_NOT_IMPLEMENTED, agent_get_exceptionhandlertable(NULL, clazz, bar.id(), &count, &table));
    EXPECT_EQ(JVMDI_ERROR_NOT_IMPLEMENTED, agent_get_thrownexceptions(NULL, clazz, bar.id(), &count, &classes));
    EXPECT_EQ(JVMDI_ERROR_NOT_IMPLEMENTED, agent_get_maxstack(NULL, clazz, bar.id(), &needed));
    EXPECT_EQ(strings(), made_vm_calls());
    EXPECT_EQ(-1, count);
    EXPECT_EQ(-1, needed);
}

/* ---- Answers parked in the thread's record ---- */

struct Parked : Metadata {
    jint ask_lines() { return agent_get_linenumbertable(NULL, clazz, bar.id(), &count, &lines); }
    jint ask_variables() { return agent_get_localvariabletable(NULL, clazz, bar.id(), &count, &variables); }
    jint ask_bytecodes() { return agent_get_bytecodes(NULL, clazz, bar.id(), &count, &bytes); }

    JVMDI_line_number_entry* lines = NULL;
    JVMDI_local_variable_entry* variables = NULL;
    unsigned char* bytes = NULL;
};
SIM_ALL_MODES(Parked);

TEST_P(Parked, LineNumbersAreTheRecords) {
    sim.clear_calls();
    EXPECT_EQ(0, ask_lines());
    EXPECT_EQ(strings{method_call("GetLineNumberTable")}, made_vm_calls());
    EXPECT_EQ(2, count);
    EXPECT_EQ(4, lines[1].start_location);
    EXPECT_EQ(12, lines[1].line_number);
    EXPECT_EQ(lines, own_record().line_number_table);
}

TEST_P(Parked, BytecodesAreTheRecords) {
    sim.clear_calls();
    EXPECT_EQ(0, ask_bytecodes());
    EXPECT_EQ(strings{method_call("GetBytecodes")}, made_vm_calls());
    EXPECT_EQ(2, count);
    EXPECT_EQ(177, bytes[1]);
    EXPECT_EQ(bytes, own_record().bytecodes);
}

TEST_P(Parked, LocalVariablesAreTheRecordsWithoutGenericSignatures) {
    EXPECT_EQ(0, ask_variables());
    EXPECT_EQ(2, count);
    EXPECT_EQ(2, variables[1].start_location);
    EXPECT_EQ(7, variables[1].length);
    EXPECT_STREQ("list", variables[1].name);
    EXPECT_STREQ("Ljava/util/List;", variables[1].signature);
    EXPECT_EQ(1, variables[1].slot);
    EXPECT_STREQ("this", variables[0].name);
    EXPECT_EQ(variables, own_record().local_variable_table);
    EXPECT_EQ(2, own_record().local_variable_count);
    EXPECT_EQ(earlier_blocks + 5, sim.live_blocks().size()); /* the table, two names, two signatures */
}

TEST_P(Parked, AnswersLiveUntilTheThreadsNextQuery) {
    EXPECT_EQ(0, ask_lines());
    EXPECT_EQ(0, ask_bytecodes());
    EXPECT_EQ(nullptr, own_record().line_number_table);
    EXPECT_EQ(earlier_blocks + 1, sim.live_blocks().size());
    EXPECT_EQ(0, ask_variables());
    EXPECT_EQ(nullptr, own_record().bytecodes);
    EXPECT_EQ(earlier_blocks + 5, sim.live_blocks().size());
    EXPECT_EQ(0, ask_lines());
    EXPECT_EQ(nullptr, own_record().local_variable_table);
    EXPECT_EQ(earlier_blocks + 1, sim.live_blocks().size());
}

TEST_P(Parked, AnswersAreReleasedWhenTheProcessResumes) {
    EXPECT_EQ(0, ask_variables());
    TMap_freelocal();
    EXPECT_EQ(earlier_blocks, sim.live_blocks().size());
    EXPECT_EQ(nullptr, own_record().local_variable_table);
}

TEST_P(Parked, AnswersAreNotAskedForOnAnUnknownThread) {
    forget_own_thread();
    sim.clear_calls();
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, ask_lines());
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, ask_variables());
    EXPECT_EQ(JVMDI_ERROR_NULL_POINTER, ask_bytecodes());
    EXPECT_EQ(strings(), made_vm_calls());
}

TEST_P(Parked, FailuresParkNothing) {
    for (const char* function : {"GetLineNumberTable", "GetLocalVariableTable", "GetBytecodes"})
        sim.fail(sim.vm_name(function), 77);
    lines = (JVMDI_line_number_entry*)&count;
    variables = (JVMDI_local_variable_entry*)&count;
    bytes = (unsigned char*)&count;
    CaptureStdout();
    EXPECT_EQ(77, ask_lines());
    EXPECT_EQ(77, ask_variables());
    EXPECT_EQ(77, ask_bytecodes());
    EXPECT_EQ("", GetCapturedStdout());
    EXPECT_EQ(nullptr, own_record().line_number_table);
    EXPECT_EQ(nullptr, own_record().local_variable_table);
    EXPECT_EQ(nullptr, own_record().bytecodes);
    EXPECT_EQ(0, own_record().local_variable_count);
}

TEST_P(Parked, EmptyTablesOfLocalVariablesAreAnAnswer) {
    bar.locals.emplace();
    EXPECT_EQ(0, ask_variables());
    EXPECT_EQ(0, count);
    EXPECT_EQ(0, own_record().local_variable_count);
    EXPECT_EQ(earlier_blocks, sim.live_blocks().size());
}

TEST_P(Parked, LocalVariablesThatCannotBeConvertedAreGivenBack) {
    sim.fail(sim.vm_name("Allocate"), JVMDI_ERROR_OUT_OF_MEMORY);
    CaptureStdout();
    EXPECT_EQ(on_jvmti() ? JVMDI_ERROR_OUT_OF_MEMORY : 0, ask_variables());
    EXPECT_EQ("", GetCapturedStdout());
    if (on_jvmti()) {
        EXPECT_EQ(nullptr, own_record().local_variable_table);
        EXPECT_EQ(earlier_blocks, sim.live_blocks().size());
    }
}

/* ---- Whether byte codes may be asked for ---- */

struct Bytecodes : Parked {
    void expect_refused() {
        bytes = (unsigned char*)&count;
        count = 3;
        sim.clear_calls();
        EXPECT_EQ(JVMDI_ERROR_NOT_IMPLEMENTED, ask_bytecodes());
        EXPECT_EQ(0, count);
        EXPECT_EQ(nullptr, bytes);
        EXPECT_EQ(strings(), made_vm_calls());
    }
};
SIM_ALL_MODES(Bytecodes);
struct BytecodesOfJvmti : Bytecodes {};
SIM_MODES(BytecodesOfJvmti, sim::Mode::jvmti10, sim::Mode::jvmti_newer);
struct BytecodesOfJvmdi : Bytecodes {};
SIM_MODES(BytecodesOfJvmdi, sim::Mode::jvmdi);

TEST_P(Bytecodes, NeedTheCapabilityOfTheInterfaceInUse) {
    jvmti_features.can_get_bytecodes = on_jvmdi();
    jvmdi_features.can_get_bytecodes = on_jvmti();
    expect_refused();
    forget_own_thread();
    expect_refused();
}

TEST_P(Bytecodes, RefusalLeavesTheAnswersThatAreParked) {
    EXPECT_EQ(0, ask_lines());
    jvmti_features.can_get_bytecodes = jvmdi_features.can_get_bytecodes = 0;
    JVMDI_line_number_entry* const parked = lines;
    expect_refused();
    EXPECT_EQ(parked, own_record().line_number_table);
    EXPECT_TRUE(sim.is_live_block(parked));
}

TEST_P(BytecodesOfJvmti, NeedBothCapabilitiesWhereBothInterfacesAre) {
    jvmdi = sim.jvmdi();
    expect_refused();
    jvmdi_features.can_get_bytecodes = 1;
    EXPECT_EQ(0, ask_bytecodes());
}

/* The second question gives the first answer's memory back, which is a call without a JNIEnv. */
TEST_P(BytecodesOfJvmdi, AreAskedForAgainWhenNoTableWasFetchedAtLoad) {
    jvmdi = NULL;
    EXPECT_EQ(0, ask_bytecodes());
    EXPECT_EQ(0, ask_bytecodes());
    EXPECT_EQ(1u, sim.count_calls("JVMDI.Deallocate"));
    jvmdi = sim.jvmdi();
}

TEST_P(BytecodesOfJvmdi, AreAskedForWhenNoTableWasFetchedAtLoad) {
    jvmdi_features.can_get_bytecodes = 0;
    jvmdi = NULL;
    EXPECT_EQ(0, ask_bytecodes());
    jvmdi = sim.jvmdi();
}

/* ---- Capabilities ---- */

TEST_P(JvmdiOnly, TellsTheCapabilitiesThatTheVmHasAfterCorrection) {
    JVMDI_capabilities told = {}, expected = sim.jvmdi_capabilities;
    EXPECT_EQ(0, agent_get_capabilities(NULL, &told));
    EXPECT_EQ(0, memcmp(&expected, &told, sizeof told));
    EXPECT_EQ(1u, told.can_suspend_resume_thread_lists);

    jvmdi_version = 0x20010001;
    EXPECT_EQ(0, agent_get_capabilities(NULL, &told));
    EXPECT_EQ(0u, told.can_suspend_resume_thread_lists);
    expected.can_suspend_resume_thread_lists = 0;
    EXPECT_EQ(0, memcmp(&expected, &told, sizeof told));
}

/* The bit of the JVMDI word that comes with each JVMTI capability, and with none that is not listed. */
static uint32_t jvmdi_bits(const jvmtiCapabilities& possessed) {
    uint32_t bits = 0;
    bits |= possessed.can_generate_field_modification_events ? 1u << 0 : 0;
    bits |= possessed.can_generate_field_access_events ? 1u << 1 : 0;
    bits |= possessed.can_get_bytecodes ? 1u << 2 : 0;
    bits |= possessed.can_get_synthetic_attribute ? 1u << 3 : 0;
    bits |= possessed.can_get_owned_monitor_info ? 1u << 4 : 0;
    bits |= possessed.can_get_current_contended_monitor ? 1u << 5 : 0;
    bits |= possessed.can_get_monitor_info ? 1u << 6 : 0;
    bits |= possessed.can_pop_frame ? 1u << 10 : 0;
    bits |= possessed.can_redefine_classes ? 1u << 12 : 0;
    return bits;
}

TEST_P(NotOnJvmti, TellsCapabilitiesInTheJvmdiLayout) {
    uint32_t ever_told = 0;
    for (unsigned bit = 0; bit < 128; bit++) {
        uint32_t words[4] = {};
        words[bit / 32] = 1u << bit % 32;
        memcpy(&sim.capabilities, words, sizeof words);
        JVMDI_capabilities told;
        memset(&told, 0xff, sizeof told);
        EXPECT_EQ(0, agent_get_capabilities(NULL, &told));
        uint32_t word;
        memcpy(&word, &told, sizeof word);
        EXPECT_EQ(jvmdi_bits(sim.capabilities), word) << "JVMTI capability " << bit;
        ever_told |= word;
    }
    EXPECT_EQ(0x147fu, ever_told);
}

TEST_P(Metadata, TellsNoCapabilitiesWhenTheVmFails) {
    JVMDI_capabilities told;
    memset(&told, 0xa5, sizeof told);
    const JVMDI_capabilities before = told;
    sim.fail(sim.vm_name("GetCapabilities"), 77);
    EXPECT_EQ(77, agent_get_capabilities(NULL, &told));
    EXPECT_EQ(0, memcmp(&before, &told, sizeof told));
}

/* ---- Failures and the environment, for all ---- */

TEST_P(Metadata, GivesTheVmsCodeUnchanged) {
    char* text;
    jfieldID* fields;
    jclass* classes;
    jint version;
    for (const char* function : {"GetSourceFileName", "GetClassFields", "GetImplementedInterfaces", "GetVersionNumber"})
        sim.fail(sim.vm_name(function), 77);
    CaptureStdout();
    EXPECT_EQ(77, agent_get_sourcefilename(sim.env(), clazz, &text));
    EXPECT_EQ(77, agent_get_classfields(sim.env(), clazz, &count, &fields));
    EXPECT_EQ(77, agent_get_implementedinterfaces(sim.env(), clazz, &count, &classes));
    EXPECT_EQ(77, agent_get_versionnumber(sim.env(), &version));
    EXPECT_EQ("", GetCapturedStdout());
}

TEST_P(JvmdiOnly, GivesTheCodeOfAVmThatRefusesItsTable) {
    jint version;
    sim.set_getenv(JVMDI_VERSION_1, JNI_EVERSION);
    EXPECT_EQ(JNI_EVERSION, agent_get_versionnumber(sim.env(), &version));
    sim.set_getenv(JVMDI_VERSION_1, JNI_OK);
    EXPECT_EQ(0, agent_get_versionnumber(sim.env(), &version));
    EXPECT_EQ(0, agent_get_versionnumber(sim.env(), &version));
    EXPECT_EQ(2u, sim.count_calls("JNI.GetJavaVM"));
}
