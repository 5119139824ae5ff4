/* Capabilities: the request, its refusal, the correction of old JVMDI versions, and the reports. */
#include "load/capabilities.h"
#include "load/load.h"
#include "vm/vm_interface.h"

#include "load_fixture.h"

#include <array>
#include <cstring>

/* The capabilities of JVMTI 1.0 by bit, with what the agent asks for. */
static const struct {
    const char* name;
    bool requested;
} table[] = {
    {"can_tag_objects", false},
    {"can_generate_field_modification_events", true},
    {"can_generate_field_access_events", true},
    {"can_get_bytecodes", true},
    {"can_get_synthetic_attribute", true},
    {"can_get_owned_monitor_info", true},
    {"can_get_current_contended_monitor", true},
    {"can_get_monitor_info", true},
    {"can_pop_frame", true},
    {"can_redefine_classes", true},
    {"can_signal_thread", true},
    {"can_get_source_file_name", true},
    {"can_get_line_numbers", true},
    {"can_get_source_debug_extension", false},
    {"can_access_local_variables", true},
    {"can_maintain_original_method_order", false},
    {"can_generate_single_step_events", true},
    {"can_generate_exception_events", true},
    {"can_generate_frame_pop_events", true},
    {"can_generate_breakpoint_events", true},
    {"can_suspend", true},
    {"can_redefine_any_class", false},
    {"can_get_current_thread_cpu_time", false},
    {"can_get_thread_cpu_time", false},
    {"can_generate_method_entry_events", true},
    {"can_generate_method_exit_events", true},
    {"can_generate_all_class_hook_events", false},
    {"can_generate_compiled_method_load_events", true},
    {"can_generate_monitor_events", true},
    {"can_generate_vm_object_alloc_events", true},
    {"can_generate_native_method_bind_events", false},
    {"can_generate_garbage_collection_events", false},
    {"can_generate_object_free_events", false},
};
enum { MONITOR_EVENTS = 28, COMPILED_METHOD_LOAD_EVENTS = 27, COUNT = 33 };
static_assert(sizeof table / sizeof *table == COUNT);

using Words = std::array<uint32_t, 4>;

static jvmtiCapabilities of_words(const Words& words) {
    jvmtiCapabilities record;
    static_assert(sizeof words == sizeof record);
    memcpy(static_cast<void*>(&record), words.data(), sizeof record);
    return record;
}

static Words words_of(const jvmtiCapabilities& record) {
    Words words;
    memcpy(words.data(), &record, sizeof words);
    return words;
}

static int bit(const Words& words, int n) {
    return static_cast<int>(words[static_cast<size_t>(n) / 32] >> (n % 32)) & 1;
}

static const Words ALL_1_0 = {0xffffffff, 1, 0, 0};

struct Capabilities : sim::SimTestP {
    Capabilities() {
        install_globals();
        sim.phase = JVMTI_PHASE_ONLOAD;
    }
    LogOffAtEnd log_off;
};
SIM_MODES(Capabilities, Mode::jvmti10, Mode::jvmti_newer);

struct JvmdiCapabilities : sim::SimTest {
    JvmdiCapabilities() : SimTest(Mode::jvmdi) { install_globals(); }
    LogOffAtEnd log_off;
};

/* ---- The request ---- */

TEST_P(Capabilities, RequestIsTheFixedSet) {
    jvmtiCapabilities features = of_words(ALL_1_0);
    EXPECT_EQ(0, enable_jvmticapabilities(&features, "JVM_OnLoad"));
    const Words words = words_of(features);
    for (int n = 0; n < COUNT; n++) EXPECT_EQ(table[n].requested, bit(words, n)) << table[n].name;
    EXPECT_CALLS(sim.calls(), "JVMTI.AddCapabilities(0x3b1f5ffe, 0x0, 0x0, 0x0)");
    EXPECT_EQ(words, words_of(sim.capabilities));
}

TEST_P(Capabilities, RequestDoesNotDependOnWhatIsPossibleOrPossessed) {
    jvmtiCapabilities features = of_words({0, 0, 0, 0});
    EXPECT_EQ(0, enable_jvmticapabilities(&features, "Agent_OnLoad"));
    EXPECT_CALLS(sim.calls(), "JVMTI.GetPhase()", "JVMTI.AddCapabilities(0x3b1f5ffe, 0x0, 0x0, 0x0)");
}

TEST_P(Capabilities, CapabilitiesOfLaterVersionsArePassedOn) {
    const Words given = {0, 0xffffffff, 0x12345678, 0x9abcdef0};
    sim.potential_capabilities = of_words({0xffffffff, 0xffffffff, 0xffffffff, 0xffffffff});
    jvmtiCapabilities features = of_words(given);
    EXPECT_EQ(0, enable_jvmticapabilities(&features, "JVM_OnLoad"));
    EXPECT_EQ((Words{0x3b1f5ffe, 0xfffffffe, 0x12345678, 0x9abcdef0}), words_of(features));
}

TEST_P(Capabilities, PhaseIsAskedForUnlessTheCallerIsJvmOnLoad) {
    sim.phase = JVMTI_PHASE_LIVE;
    jvmtiCapabilities features = of_words(ALL_1_0);
    EXPECT_EQ(0, enable_jvmticapabilities(&features, "JVM_OnLoad"));
    EXPECT_EQ(0u, sim.count_calls("JVMTI.GetPhase"));
}

TEST_P(Capabilities, WrongPhaseAbortsBeforeTheRequest) {
    for (jvmtiPhase phase : {JVMTI_PHASE_LIVE, JVMTI_PHASE_START, JVMTI_PHASE_PRIMORDIAL, JVMTI_PHASE_DEAD}) {
        const ChildResult result = run_in_child([&] {
            sim.phase = phase;
            sim.echo_calls_of({"*"});
            jvmtiCapabilities features = of_words(ALL_1_0);
            enable_jvmticapabilities(&features, "Agent_OnLoad");
        });
        expect_abort(result, "enable_jvmticapabilities() from Agent_OnLoad: expected phase 1, got " +
                                 std::to_string(phase) + "\n");
        EXPECT_EQ("JVMTI.GetPhase()\n", result.err);
    }
}

TEST_P(Capabilities, AgentOnLoadInTheLivePhaseAborts) {
    OwnFolder folder;
    sim.phase = JVMTI_PHASE_LIVE;
    expect_abort(run_in_child([&] { Agent_OnLoad(sim.vm(), nullptr, nullptr); }),
                 "enable_jvmticapabilities() from Agent_OnLoad: expected phase 1, got 4\n");
}

/* ---- The light agent ---- */

struct LightAgent : Capabilities {
    LightAgent() { setenv("__QUOR_LIGHT", "", 1); }
    ~LightAgent() override { unsetenv("__QUOR_LIGHT"); }

    static constexpr const char* LINE = "__QUOR_LIGHT on: no exception, frame pop and method exit events\n";
};
SIM_MODES(LightAgent, Mode::jvmti10, Mode::jvmti_newer);

TEST_P(LightAgent, LeavesOutTheThreeCapabilitiesThatSlowThrowsAndSaysSo) {
    jvmtiCapabilities features = of_words(ALL_1_0);
    EXPECT_EQ(LINE, capture_stdout([&] { EXPECT_EQ(0, enable_jvmticapabilities(&features, "JVM_OnLoad")); }));
    for (int n = 0; n < COUNT; n++) {
        const std::string name = table[n].name;
        const bool left_out = name == "can_generate_exception_events" || name == "can_generate_frame_pop_events" ||
                              name == "can_generate_method_exit_events";
        EXPECT_EQ(table[n].requested && !left_out, bit(words_of(features), n)) << name;
    }
    EXPECT_CALLS(sim.calls(), "JVMTI.AddCapabilities(0x39195ffe, 0x0, 0x0, 0x0)");
}

TEST_P(LightAgent, SaysNothingOfItWhenTheRequestIsRefused) {
    sim.potential_capabilities = of_words({0, 0, 0, 0});
    const ChildResult result = run_in_child([&] {
        jvmtiCapabilities features = of_words(ALL_1_0);
        enable_jvmticapabilities(&features, "Agent_OnLoad");
    });
    EXPECT_EQ(SIGABRT, result.signal);
    EXPECT_EQ(std::string::npos, result.out.find("__QUOR_LIGHT"));
    EXPECT_NE(std::string::npos, result.out.find("can_generate_exception_events: potential 1 added 0 got 0\n"));
}

TEST_P(LightAgent, IsOneThatIsLoadedByEitherWay) {
    for (auto load : {JVM_OnLoad, Agent_OnLoad}) {
        OwnFolder folder;
        setenv("__QUOR_LIGHT", "1", 1);
        EXPECT_EQ(LINE, capture_stdout([&] { EXPECT_EQ(0, load(sim.vm(), nullptr, nullptr)); }));
        EXPECT_FALSE(vm_sees_exceptions());
        EXPECT_EQ(0x39195ffeu, words_of(jvmti_features)[0]);
    }
}

TEST_P(LightAgent, EnablesNoEventThatItCannotSee) {
    OwnFolder folder;
    setenv("__QUOR_LIGHT", "1", 1);
    OwnFolder::write_settings("LogJVMDImethod\n");
    capture_stdout([&] { JVM_OnLoad(sim.vm(), nullptr, nullptr); });
    EXPECT_TRUE(sim.enabled(JVMTI_EVENT_METHOD_ENTRY));
    EXPECT_EQ(0u, sim.count_calls("JVMTI.SetEventNotificationMode(1, 66, null)"));
}

TEST_F(JvmdiCapabilities, VariableOfTheLightAgentChangesNothing) {
    OwnFolder folder;
    EXPECT_EQ(JNI_OK, JVM_OnLoad(sim.vm(), nullptr, nullptr));
    const std::vector<std::string> usual = sim.calls();
    sim.clear_calls();
    jvmdi_version_set = 0;
    setenv("__QUOR_LIGHT", "1", 1);
    EXPECT_EQ("", capture_stdout([&] { JVM_OnLoad(sim.vm(), nullptr, nullptr); }));
    unsetenv("__QUOR_LIGHT");
    EXPECT_EQ(usual, sim.calls());
    EXPECT_TRUE(vm_sees_exceptions());
}

/* ---- The refusal ---- */

static Words without(Words words, int n) {
    words[static_cast<size_t>(n) / 32] &= ~(1u << (n % 32));
    return words;
}

TEST_P(Capabilities, RefusalUnderXrunAdvisesTheOtherWayToLoad) {
    OwnFolder folder;
    sim.potential_capabilities = of_words(without(ALL_1_0, COMPILED_METHOD_LOAD_EVENTS));
    const ChildResult result = run_in_child([&] {
        sim.echo_calls_of({"JVMTI.*"});
        JVM_OnLoad(sim.vm(), nullptr, nullptr);
    });
    expect_abort(result, "enable_jvmticapabilities() from JVM_OnLoad failed -- NOT_AVAILABLE\n"
                         "Run with\n\t-agentlib:<libname>[=<option>[,...]]\n"
                         "instead of\n\t-Xrun<libname>[:<option>[,...]]\n");
    EXPECT_EQ("JVMTI.GetVersionNumber()\nJVMTI.GetPotentialCapabilities()\n"
              "JVMTI.AddCapabilities(0x3b1f5ffe, 0x0, 0x0, 0x0)\n",
              result.err);
}

static std::string refusal_line(int n, const Words& before, const Words& now) {
    char line[100];
    snprintf(line, sizeof line, "%30.30s: potential %d added %d got %d\n", table[n].name, bit(before, n),
             table[n].requested, bit(now, n));
    return line;
}

TEST_P(Capabilities, RefusalUnderAgentlibListsThemAll) {
    OwnFolder folder;
    const Words possessed = {0x00a5f00f, 1, 0, 0};
    sim.potential_capabilities = of_words(without(ALL_1_0, COMPILED_METHOD_LOAD_EVENTS));
    sim.capabilities = of_words(possessed);
    const ChildResult result = run_in_child([&] {
        sim.echo_calls_of({"JVMTI.*"});
        Agent_OnLoad(sim.vm(), nullptr, nullptr);
    });
    std::string lines = refusal_line(MONITOR_EVENTS, possessed, possessed);
    for (int n = 0; n < COUNT; n++) lines += refusal_line(n, possessed, possessed);
    expect_abort(result, "enable_jvmticapabilities() from Agent_OnLoad failed -- NOT_AVAILABLE\n" + lines);
    EXPECT_EQ("JVMTI.GetVersionNumber()\nJVMTI.GetCapabilities()\nJVMTI.GetPhase()\n"
              "JVMTI.AddCapabilities(0x3b1f5ffe, 0x0, 0x0, 0x0)\nJVMTI.GetCapabilities()\n",
              result.err);
}

TEST_P(Capabilities, RefusalTellsThreeDifferentSets) {
    const Words given = {0x0000ffff, 0, 0, 0}, possessed = {0xff00ff00, 0, 0, 0};
    const ChildResult result = run_in_child([&] {
        sim.capabilities = of_words(possessed);
        sim.fail("JVMTI.AddCapabilities", JVMTI_ERROR_ILLEGAL_ARGUMENT);
        jvmtiCapabilities features = of_words(given);
        enable_jvmticapabilities(&features, "Agent_OnLoad");
    });
    std::string lines = refusal_line(MONITOR_EVENTS, given, possessed);
    for (int n = 0; n < COUNT; n++) lines += refusal_line(n, given, possessed);
    expect_abort(result, "enable_jvmticapabilities() from Agent_OnLoad failed -- ILLEGAL_ARGUMENT\n" + lines);
    EXPECT_NE(std::string::npos, result.out.find("\n               can_tag_objects: potential 1 added 0 got 0\n"
                                                 "can_generate_field_modificatio: potential 1 added 1 got 0\n"));
}

/* ---- The correction of JVMDI ---- */

TEST_F(JvmdiCapabilities, ListOperationsOfTheFirstVersionsAreNotBelieved) {
    const struct {
        uint32_t version;
        bool believed;
    } cases[] = {{0x2000ffff, true}, {0x20010000, false}, {0x20010001, false}, {0x20010002, false}, {0x20010003, true},
                 {0x20010004, true}, {0x20020000, true},  {0, true},           {0xffffffff, true},  {0x30010000, true}};
    for (const auto& c : cases) {
        jvmdi_version = static_cast<jint>(c.version);
        JVMDI_capabilities capabilities;
        memset(&capabilities, 0xff, sizeof capabilities);
        patch_capabilities(&capabilities);
        uint32_t word;
        memcpy(&word, &capabilities, sizeof word);
        EXPECT_EQ(c.believed ? 0xffffffffu : 0xffff7fffu, word) << std::hex << c.version;
    }
}

TEST_F(JvmdiCapabilities, ClearedBitStaysCleared) {
    for (jint version : {0x20010001, 0x20010003}) {
        jvmdi_version = version;
        JVMDI_capabilities capabilities{};
        patch_capabilities(&capabilities);
        EXPECT_EQ(0u, capabilities.can_suspend_resume_thread_lists);
    }
}

TEST_F(JvmdiCapabilities, VersionIsAskedForOnce) {
    sim.version = 0x20010002;
    jvmdi_version_set = 0;
    EXPECT_EQ(0x20010002, jvmdiVersion());
    EXPECT_EQ(1, jvmdi_version_set);
    sim.version = 0x20010003;
    EXPECT_EQ(0x20010002, jvmdiVersion());
    EXPECT_CALLS(sim.calls(), "JVMDI.GetVersionNumber()");
}

TEST_F(JvmdiCapabilities, LoadPatchesWhatItRecords) {
    OwnFolder folder;
    sim.version = 0x20010001;
    JVM_OnLoad(sim.vm(), nullptr, nullptr);
    EXPECT_EQ(0u, jvmdi_features.can_suspend_resume_thread_lists);
    EXPECT_EQ(1u, jvmdi_features.can_get_monitor_info);
}

/* ---- The reports ---- */

/* What the report of one bit alone, or of some, writes. */
static std::string jvmdi_report(uint32_t word) {
    JVMDI_capabilities capabilities;
    static_assert(sizeof capabilities == sizeof word);
    memcpy(&capabilities, &word, sizeof word);
    return capture_stdout([&] { check_features(capabilities); });
}

static const std::string HEAD = logged("This VM supports the following features:");

TEST_F(JvmdiCapabilities, ReportNamesEachBit) {
    log_now("LogJVMDI");
    const char* const names[] = {
        "can_watch_field_modifications", "can_watch_field_access",     "can_get_bytecodes",
        "can_get_synthetic_attribute",   "can_get_owned_monitor_info", "can_get_current_contended_monitor",
        "can_get_monitor_info"};
    for (unsigned n = 0; n < 7; n++) EXPECT_EQ(HEAD + logged(names[n]), jvmdi_report(1u << n));
    EXPECT_EQ(HEAD, jvmdi_report(0xffffff80));
    EXPECT_EQ(HEAD, jvmdi_report(0));
}

TEST_F(JvmdiCapabilities, ReportHasItsOwnOrder) {
    log_now("LogJVMDI");
    EXPECT_EQ(HEAD + logged("can_watch_field_modifications") + logged("can_watch_field_access") +
                  logged("can_get_synthetic_attribute") + logged("can_get_bytecodes") +
                  logged("can_get_owned_monitor_info") + logged("can_get_current_contended_monitor") +
                  logged("can_get_monitor_info"),
              jvmdi_report(0xffffffff));
}

TEST_F(JvmdiCapabilities, ReportNeedsItsInterfaceAndItsCategory) {
    EXPECT_EQ("", jvmdi_report(0xffffffff));
    log_now("LogJVMDI");
    jvmdi = nullptr;
    EXPECT_EQ("", jvmdi_report(0xffffffff));
}

static std::string jvmti_report(const Words& words) {
    return capture_stdout([&] { check_jvmtifeatures(of_words(words)); });
}

TEST_P(Capabilities, ReportNamesEachBit) {
    log_now("LogJVMDI");
    std::string all = HEAD;
    for (int n = 0; n < COUNT; n++) {
        Words one{};
        one[static_cast<size_t>(n) / 32] = 1u << (n % 32);
        EXPECT_EQ(HEAD + logged(table[n].name), jvmti_report(one));
        all += logged(table[n].name);
    }
    EXPECT_EQ(all, jvmti_report({0xffffffff, 0xffffffff, 0xffffffff, 0xffffffff}));
    EXPECT_EQ(HEAD, jvmti_report({0, 0xfffffffe, 0xffffffff, 0xffffffff}));
}

TEST_P(Capabilities, ReportNeedsItsInterfaceAndItsCategory) {
    EXPECT_EQ("", jvmti_report(ALL_1_0));
    log_now("LogJVMDI");
    jvmti = nullptr;
    EXPECT_EQ("", jvmti_report(ALL_1_0));
}

/* An echo stream that switches the category off when a certain text passes. */
static const char* switch_off_at;
static std::string echoed;

static FILE* switching_stream() {
    cookie_io_functions_t functions{};
    functions.write = [](void*, const char* text, size_t size) {
        echoed.append(text, size);
        if (echoed.find(switch_off_at) != std::string::npos) log_disable("LogJVMDI");
        return static_cast<ssize_t>(size);
    };
    return fopencookie(nullptr, "w", functions);
}

static void log_until(const char* text) {
    switch_off_at = text;
    echoed.clear();
    _log_link(_log_map_agent);
    log_start(nullptr, switching_stream());
    log_echo(1);
    log_enable("LogJVMDI", 0, 0);
}

TEST_P(Capabilities, ReportEndsWhenTheCategoryIsSwitchedOff) {
    log_until("can_generate_field_access_events");
    check_jvmtifeatures(of_words(ALL_1_0));
    EXPECT_EQ(HEAD + logged("can_tag_objects") + logged("can_generate_field_modification_events") +
                  logged("can_generate_field_access_events"),
              echoed);
}

TEST_F(JvmdiCapabilities, ReportEndsWhenTheCategoryIsSwitchedOff) {
    log_until("can_watch_field_access");
    JVMDI_capabilities all;
    memset(&all, 0xff, sizeof all);
    check_features(all);
    EXPECT_EQ(HEAD + logged("can_watch_field_modifications") + logged("can_watch_field_access"), echoed);
}

TEST_P(Capabilities, LoadReportsTheRequestedSet) {
    OwnFolder folder;
    OwnFolder::log_at_load("LogJVMDI");
    std::string report = logged("JVM_OnLoad(): options 'None'\n") + HEAD;
    for (const auto& capability : table)
        if (capability.requested) report += logged(capability.name);
    EXPECT_EQ(report, capture_stdout([&] { JVM_OnLoad(sim.vm(), nullptr, nullptr); }));
    jvmti = nullptr;
    EXPECT_EQ(report, capture_stdout([&] { Agent_OnLoad(sim.vm(), nullptr, nullptr); }));
}
