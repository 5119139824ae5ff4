/* The load entry points: the order of their VM calls, what they record, and the failures that end the process. */
#include "load_fixture.h"

#include "agent_thread/processing.h"
#include "invoke/requests.h"
#include "java_threads/boot.h"
#include "java_threads/callbacks.h"
#include "load/handshake.h"
#include "load/load.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "registry/resources.h"
#include "support/agent_self.h"

#include <dlfcn.h>
#include <sys/stat.h>

static constexpr jint JVMTI_1_0 = 0x30010000;

/* The mutexes that were made, in order, and what to do at one of them. Stands before the C library's function. */
static std::vector<const void*> made_mutexes;
static size_t mutex_to_act_at;
static std::function<void()> act_at_mutex;

extern "C" int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    using init = int (*)(pthread_mutex_t*, const pthread_mutexattr_t*);
    made_mutexes.push_back(mutex);
    if (made_mutexes.size() == mutex_to_act_at) act_at_mutex();
    return reinterpret_cast<init>(dlsym(RTLD_NEXT, "pthread_mutex_init"))(mutex, attributes);
}

static std::string boot_callbacks(bool newer) {
    return std::string("JVMTI.SetEventCallbacks({VMInit") + (newer ? " VMDeath" : "") +
           " ThreadStart ThreadEnd ClassPrepare}, " + std::to_string(35 * sizeof(void*)) + ")";
}

static constexpr const char* REQUEST = "JVMTI.AddCapabilities(0x3b1f5ffe, 0x0, 0x0, 0x0)";

struct Load : sim::SimTestP {
    OwnFolder folder;
};
SIM_ALL_MODES(Load);

struct LoadOnJvmti : Load {
    LoadOnJvmti() { sim.phase = JVMTI_PHASE_ONLOAD; }

    static constexpr const char* ENABLE_VM_DEATH = "JVMTI.SetEventNotificationMode(1, 51, null)";
    void expect_vm_death_enabled_last() { EXPECT_EQ(newer(), sim.calls().back() == ENABLE_VM_DEATH); }
    std::vector<std::string> calls_of_every_vm() {
        std::vector<std::string> calls = sim.calls();
        std::erase(calls, ENABLE_VM_DEATH);
        return calls;
    }
};
SIM_MODES(LoadOnJvmti, Mode::jvmti10, Mode::jvmti_newer);

struct LoadOnJvmdi : sim::SimTest {
    LoadOnJvmdi() : SimTest(Mode::jvmdi) {}
    OwnFolder folder;
};

/* For what is the same in each mode. */
struct LoadOnce : sim::SimTest {
    LoadOnce() { sim.phase = JVMTI_PHASE_ONLOAD; }
    OwnFolder folder;
};

/* ---- The way through ---- */

TEST_P(LoadOnJvmti, JvmOnLoadAsksForThePotentialSetAndInstallsTheBootCallbacks) {
    EXPECT_EQ(0, JVM_OnLoad(sim.vm(), nullptr, nullptr));
    expect_vm_death_enabled_last();
    EXPECT_CALLS(calls_of_every_vm(), "JavaVM.GetEnv(0x30010000)", "JVMTI.GetVersionNumber()",
                 "JVMTI.GetPotentialCapabilities()", REQUEST, boot_callbacks(newer()),
                 "JVMTI.SetEventNotificationMode(1, 50, null)", "JVMTI.SetEventNotificationMode(0, 56, null)",
                 "JVMTI.SetEventNotificationMode(1, 52, null)", "JVMTI.SetEventNotificationMode(1, 53, null)");
}

TEST_P(LoadOnJvmti, AgentOnLoadAsksForThePossessedSetInTheLoadPhase) {
    EXPECT_EQ(0, Agent_OnLoad(sim.vm(), nullptr, nullptr));
    expect_vm_death_enabled_last();
    EXPECT_CALLS(calls_of_every_vm(), "JavaVM.GetEnv(0x30010000)", "JVMTI.GetVersionNumber()",
                 "JVMTI.GetCapabilities()", "JVMTI.GetPhase()", REQUEST, boot_callbacks(newer()),
                 "JVMTI.SetEventNotificationMode(1, 50, null)", "JVMTI.SetEventNotificationMode(0, 56, null)",
                 "JVMTI.SetEventNotificationMode(1, 52, null)", "JVMTI.SetEventNotificationMode(1, 53, null)");
}

TEST_P(LoadOnJvmti, TheBootCallbacksAreTheFourOfTheBootPhaseAndTheEndOfANewerVm) {
    JVM_OnLoad(sim.vm(), nullptr, nullptr);
    EXPECT_EQ(cbb_jvmtiEventVMInit, sim.callbacks.VMInit);
    EXPECT_EQ(cbb_jvmtiEventThreadStart, sim.callbacks.ThreadStart);
    EXPECT_EQ(cbb_jvmtiEventThreadEnd, sim.callbacks.ThreadEnd);
    EXPECT_EQ(cbb_jvmtiEventClassPrepare, sim.callbacks.ClassPrepare);
    EXPECT_EQ(newer() ? boot_vm_death : nullptr, sim.callbacks.VMDeath);
}

TEST_F(LoadOnJvmdi, JvmOnLoadFallsBackToJvmdiAndInstallsTheBootHook) {
    EXPECT_EQ(0, JVM_OnLoad(sim.vm(), nullptr, nullptr));
    EXPECT_CALLS(sim.calls(), "JavaVM.GetEnv(0x30010000)", "JavaVM.GetEnv(0x20010000)", "JVMDI.GetVersionNumber()",
                 "JVMDI.GetCapabilities()", "JVMDI.SetEventNotificationMode(0, 4, null)",
                 "JVMDI.SetEventNotificationMode(0, 30, null)", "JVMDI.SetEventNotificationMode(0, 8, null)",
                 "JVMDI.SetEventNotificationMode(0, 10, null)", "JVMDI.SetEventNotificationMode(0, 9, null)",
                 "JVMDI.SetEventHook(hook)");
    EXPECT_EQ(boot_event_hook, sim.hook);
}

TEST_P(Load, NothingIsPrinted) {
    EXPECT_EQ("", capture_stdout([&] { JVM_OnLoad(sim.vm(), nullptr, nullptr); }));
}

TEST_P(Load, RecordsTheVmItsInterfaceAndItsVersion) {
    JVMPI_Interface other;
    jvmpi = &other;
    terminate_debug_agent = 1;
    JVM_OnLoad(sim.vm(), nullptr, nullptr);
    EXPECT_EQ(sim.vm(), javavm);
    EXPECT_EQ(on_jvmti() ? sim.jvmti() : nullptr, jvmti);
    EXPECT_EQ(on_jvmdi() ? sim.jvmdi() : nullptr, jvmdi);
    EXPECT_EQ(nullptr, jvmpi);
    EXPECT_EQ(0, terminate_debug_agent);
    EXPECT_EQ(sim.version, on_jvmti() ? jvmti_version : jvmdi_version);
    EXPECT_EQ(1, on_jvmti() ? jvmti_version_set : jvmdi_version_set);
}

TEST_P(LoadOnJvmti, AgentOnLoadRecordsTheVmItsInterfaceAndItsVersionToo) {
    JVMPI_Interface other;
    jvmpi = &other;
    javavm = nullptr;
    terminate_debug_agent = 1;
    jvmti_version_set = 0;
    Agent_OnLoad(sim.vm(), nullptr, nullptr);
    EXPECT_EQ(sim.vm(), javavm);
    EXPECT_EQ(sim.jvmti(), jvmti);
    EXPECT_EQ(nullptr, jvmpi);
    EXPECT_EQ(0, terminate_debug_agent);
    EXPECT_EQ(sim.version, jvmti_version);
    EXPECT_EQ(1, jvmti_version_set);
}

TEST_P(Load, WithoutSyncTheHandshakeFlagIsLeftAlone) {
    attached = 7;
    JVM_OnLoad(sim.vm(), nullptr, nullptr);
    EXPECT_EQ(7, attached);
}

TEST_P(Load, EmptiesTheResourceListAndTheClassList) {
    install_globals();
    add_resource(
        sim.env(), reinterpret_cast<jobject>(1), [](JNIEnv*, jobject) { ADD_FAILURE(); }, "left over");
    jvmti = nullptr;
    prep_list.count = prep_list.capacity = 5;
    JVM_OnLoad(sim.vm(), nullptr, nullptr);
    free_resources(sim.env());
    EXPECT_EQ(0, prep_list.count);
    EXPECT_EQ(0, prep_list.capacity);
}

TEST_P(Load, MonitorsAreMadeInTheOrderTableClassListQueueInvocations) {
    made_mutexes.clear();
    JVM_OnLoad(sim.vm(), nullptr, nullptr);
    ASSERT_EQ(6u, made_mutexes.size()); /* three of the queue's */
    EXPECT_EQ(&URef_monitor.mutex, made_mutexes[0]);
    EXPECT_EQ(&prep_list.monitor.mutex, made_mutexes[1]);
    EXPECT_EQ(&invoke_method_list_monitor.mutex, made_mutexes[5]);
}

TEST_P(Load, ResultsOfInstallingTheBootHooksAreIgnored) {
    for (const char* name : {"SetEventCallbacks", "SetEventHook", "SetEventNotificationMode"})
        sim.fail(sim.vm_name(name), 112);
    const std::string out = capture_stdout([&] { EXPECT_EQ(0, JVM_OnLoad(sim.vm(), nullptr, nullptr)); });
    EXPECT_EQ("", out);
    EXPECT_EQ(on_jvmdi() || newer() ? 6u : 5u, sim.count_calls("*.SetEvent*"));
}

/* ---- Which interface ---- */

TEST_P(LoadOnJvmti, JvmOnLoadAfterAgentOnLoadDoesNothing) {
    Agent_OnLoad(sim.vm(), nullptr, nullptr);
    sim.clear_calls();
    OwnFolder::log_at_load("LogJVMDI");
    Options options("verbose,sync=1");
    javavm = nullptr;
    const std::string out = capture_stdout([&] { EXPECT_EQ(0, JVM_OnLoad(sim.vm(), options.text(), nullptr)); });
    EXPECT_EQ("", out);
    EXPECT_EQ("verbose,sync=1", options.whole());
    EXPECT_EQ(nullptr, javavm);
    EXPECT_EQ(std::vector<std::string>{}, sim.calls());
}

TEST_F(LoadOnce, TheEnvironmentForcesJvmdiWithoutAskingForJvmti) {
    setenv("__QUOR_USE_JVMDI", "", 1);
    sim.set_getenv(JVMDI_VERSION_1, JNI_OK);
    EXPECT_EQ(0, JVM_OnLoad(sim.vm(), nullptr, nullptr));
    EXPECT_EQ(nullptr, jvmti);
    EXPECT_EQ(sim.jvmdi(), jvmdi);
    EXPECT_CALLS(sim.calls_of({"JavaVM.*"}), "JavaVM.GetEnv(0x20010000)");
    EXPECT_EQ(0u, sim.count_calls("JVMTI.*"));
}

TEST_P(LoadOnJvmti, AgentOnLoadDoesNotLookAtTheEnvironment) {
    setenv("__QUOR_USE_JVMDI", "1", 1);
    sim.set_getenv(JVMDI_VERSION_1, JNI_OK);
    EXPECT_EQ(0, Agent_OnLoad(sim.vm(), nullptr, nullptr));
    EXPECT_EQ(sim.jvmti(), jvmti);
    EXPECT_CALLS(sim.calls_of({"JavaVM.*"}), "JavaVM.GetEnv(0x30010000)");
}

TEST_F(LoadOnce, JvmOnLoadAbortsWithoutAnInterface) {
    const struct {
        bool force_jvmdi;
        jint jvmti_result, jvmdi_result;
        const char* asked;
    } cases[] = {
        {false, JNI_ERR, JNI_OK, "JavaVM.GetEnv(0x30010000)\n"},
        {false, JNI_EDETACHED, JNI_OK, "JavaVM.GetEnv(0x30010000)\n"},
        {false, JNI_EVERSION, JNI_EVERSION, "JavaVM.GetEnv(0x30010000)\nJavaVM.GetEnv(0x20010000)\n"},
        {false, JNI_EVERSION, JNI_ERR, "JavaVM.GetEnv(0x30010000)\nJavaVM.GetEnv(0x20010000)\n"},
        {true, JNI_OK, JNI_EVERSION, "JavaVM.GetEnv(0x20010000)\n"},
    };
    for (const auto& c : cases) {
        const ChildResult result = run_in_child([&] {
            if (c.force_jvmdi) setenv("__QUOR_USE_JVMDI", "1", 1);
            sim.set_getenv(JVMTI_1_0, c.jvmti_result);
            sim.set_getenv(JVMDI_VERSION_1, c.jvmdi_result);
            sim.echo_calls_of({"*"});
            JVM_OnLoad(sim.vm(), nullptr, nullptr);
        });
        expect_abort(result, "AgentThread: JVM_OnLoad(): JVM.GetEnv() failed\n");
        EXPECT_EQ(c.asked, result.err);
    }
}

TEST_F(LoadOnce, AgentOnLoadHasNoFallBack) {
    for (jint failure : {JNI_EVERSION, JNI_ERR}) {
        const ChildResult result = run_in_child([&] {
            sim.set_getenv(JVMTI_1_0, failure);
            sim.set_getenv(JVMDI_VERSION_1, JNI_OK);
            sim.echo_calls_of({"*"});
            Agent_OnLoad(sim.vm(), nullptr, nullptr);
        });
        expect_abort(result, "AgentThread: JVM_OnLoad(): JVM.GetEnv() failed\n");
        EXPECT_EQ("JavaVM.GetEnv(0x30010000)\n", result.err);
    }
}

/* ---- Failures that end the process ---- */

TEST_P(LoadOnJvmti, FailureToGetThePotentialCapabilitiesAborts) {
    const ChildResult result = run_in_child([&] {
        sim.fail("JVMTI.GetPotentialCapabilities", JVMTI_ERROR_OUT_OF_MEMORY);
        JVM_OnLoad(sim.vm(), nullptr, nullptr);
    });
    expect_abort(result, "AgentThread:JVM_OnLoad(): JVMTI_GetPotentialCapabilities() failed -- OUT_OF_MEMORY\n");
}

TEST_P(LoadOnJvmti, FailureToGetThePossessedCapabilitiesAborts) {
    const ChildResult result = run_in_child([&] {
        sim.fail("JVMTI.GetCapabilities", JVMTI_ERROR_OUT_OF_MEMORY);
        Agent_OnLoad(sim.vm(), nullptr, nullptr);
    });
    expect_abort(result, "AgentThread:Agent_OnLoad():JVMTI_GetCapabilities() failed OUT_OF_MEMORY\n");
}

TEST_F(LoadOnJvmdi, FailureToGetCapabilitiesAbortsAfterThePatchAndTheReport) {
    OwnFolder::log_at_load("LogJVMDI");
    sim.version = 0x20010001;
    const ChildResult result = run_in_child([&] {
        jvmdi_features = {};
        jvmdi_features.can_get_bytecodes = 1; /* what the failing call leaves */
        jvmdi_features.can_suspend_resume_thread_lists = 1;
        sim.fail("JVMDI.GetCapabilities", JVMDI_ERROR_OUT_OF_MEMORY);
        std::signal(SIGABRT, [](int) { EXPECT_EQ(0u, jvmdi_features.can_suspend_resume_thread_lists); });
        JVM_OnLoad(sim.vm(), nullptr, nullptr);
    });
    expect_abort(result, logged("JVM_OnLoad(): options 'None'\n") + logged("This VM supports the following features:") +
                             logged("can_get_bytecodes") +
                             "AgentThread:JVM_OnLoad():JVMDI_GetCapabilities() failed OUT_OF_MEMORY\n");
}

TEST_P(Load, FailureToMakeTheEventQueueAborts) {
    const ChildResult result = run_in_child([&] {
        tid_debug_agent = agent_self(); /* the queue is never made on the agent thread */
        JVM_OnLoad(sim.vm(), nullptr, nullptr);
    });
    expect_abort(result, "event_queue_init: failed -- INVALID_THREAD\n"
                         "JVM_OnLoad(): event_queue_init() failed -- INVALID_THREAD\n");
}

TEST_P(LoadOnJvmti, AgentOnLoadNamesJvmOnLoadWhenTheEventQueueFails) {
    const ChildResult result = run_in_child([&] {
        tid_debug_agent = agent_self();
        Agent_OnLoad(sim.vm(), nullptr, nullptr);
    });
    expect_abort(result, "event_queue_init: failed -- INVALID_THREAD\n"
                         "JVM_OnLoad(): event_queue_init() failed -- INVALID_THREAD\n");
}

TEST_P(Load, FailureToMakeTheInvocationListAborts) {
    const ChildResult result = run_in_child([&] {
        made_mutexes.clear();
        mutex_to_act_at = 5; /* the queue's last one: what follows believes to be on the agent thread */
        act_at_mutex = [] { tid_debug_agent = agent_self(); };
        JVM_OnLoad(sim.vm(), nullptr, nullptr);
    });
    expect_abort(result, "invoke_method_init: failed -- INVALID_THREAD\n"
                         "JVM_OnLoad(): invoke_method_init() failed -- INVALID_THREAD\n");
}

/* ---- What the settings file changes ---- */

TEST_P(Load, MethodEventsAreReportedWhileTheirCategoryIsOn) {
    OwnFolder::write_settings("LogJVMDImethod\n");
    JVM_OnLoad(sim.vm(), nullptr, nullptr);
    std::vector<std::string> calls = sim.calls_of({"*.SetEventNotificationMode"});
    EXPECT_EQ(newer() ? 1u : 0u, std::erase(calls, "JVMTI.SetEventNotificationMode(1, 51, null)"));
    if (on_jvmdi()) {
        EXPECT_CALLS(calls, "JVMDI.SetEventNotificationMode(0, 4, null)", "JVMDI.SetEventNotificationMode(0, 30, null)",
                     "JVMDI.SetEventNotificationMode(0, 8, null)", "JVMDI.SetEventNotificationMode(0, 10, null)",
                     "JVMDI.SetEventNotificationMode(0, 9, null)", "JVMDI.SetEventNotificationMode(1, 40, null)",
                     "JVMDI.SetEventNotificationMode(1, 41, null)");
        EXPECT_EQ("JVMDI.SetEventHook(hook)", sim.calls().back());
    } else {
        EXPECT_CALLS(calls, "JVMTI.SetEventNotificationMode(1, 50, null)",
                     "JVMTI.SetEventNotificationMode(0, 56, null)", "JVMTI.SetEventNotificationMode(1, 52, null)",
                     "JVMTI.SetEventNotificationMode(1, 53, null)", "JVMTI.SetEventNotificationMode(1, 65, null)",
                     "JVMTI.SetEventNotificationMode(1, 66, null)");
    }
}

TEST_P(Load, MethodExitStaysOffWhenTheCategoryIsSwitchedOffMeanwhile) {
    OwnFolder::write_settings("LogJVMDImethod\n");
    int until_method_entry = on_jvmdi() ? 6 : 5;
    sim.before(sim.vm_name("SetEventNotificationMode"), [&] {
        if (--until_method_entry == 0) log_disable("LogJVMDImethod");
    });
    JVM_OnLoad(sim.vm(), nullptr, nullptr);
    EXPECT_TRUE(sim.enabled(on_jvmdi() ? 40 : 65));
    EXPECT_FALSE(sim.enabled(on_jvmdi() ? 41 : 66));
}

TEST_F(LoadOnce, LogFileThatCannotBeOpenedEndsTheProcessWithItsMessage) {
    OwnFolder::write_settings("options -file /nonexistent/log\nLogJVMDI\n");
    const ChildResult result = run_in_child([&] { JVM_OnLoad(sim.vm(), nullptr, nullptr); });
    EXPECT_EQ(1, result.exit_status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("log_start(): couldn't open \"/nonexistent/log\" -- No such file or directory\n", result.err);
}

/* Loads, with what stands in the settings file's place; gives what is said about it. */
struct SettingsFile : LoadOnce {
    std::string said() {
        const ChildResult result = run_in_child([&] { EXPECT_EQ(0, JVM_OnLoad(sim.vm(), nullptr, nullptr)); });
        EXPECT_EQ(0, result.exit_status);
        EXPECT_EQ("", result.out);
        return result.err;
    }
    static std::string ignored(const std::string& why) {
        return "log_enable_from_file(\"C.agent\") ignored: " + why + "\n";
    }
};

TEST_F(SettingsFile, IsReadWhenItIsTheUsersOwn) {
    OwnFolder::write_settings("Own\n");
    EXPECT_EQ("log_enable('Own') unrecognized category\n", said());
}

TEST_F(SettingsFile, MayBeALinkToSuchAFile) {
    std::ofstream("settings") << "Linked\n";
    std::filesystem::create_symlink("settings", "C.agent");
    EXPECT_EQ("log_enable('Linked') unrecognized category\n", said());
}

TEST_F(SettingsFile, ThatIsAbsentIsNotMentioned) { EXPECT_EQ("", said()); }

TEST_F(SettingsFile, ThatIsAFolderIsIgnored) {
    std::filesystem::create_directory("C.agent");
    EXPECT_EQ(ignored("not a regular file"), said());
}

TEST_F(SettingsFile, ThatIsAFifoIsNotWaitedFor) {
    ASSERT_EQ(0, mkfifo("C.agent", 0600));
    EXPECT_EQ(ignored("not a regular file"), said());
}

TEST_F(SettingsFile, ThatEverybodyMayWriteIsIgnored) {
    OwnFolder::write_settings("Foreign\n");
    ASSERT_EQ(0, chmod("C.agent", 0666));
    EXPECT_EQ(ignored("writable by everybody"), said());
}

TEST_F(SettingsFile, ThatIsSomebodyElsesIsIgnored) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    OwnFolder::write_settings("Foreign\n");
    ASSERT_EQ(0, chown("C.agent", 12345, (gid_t)-1));
    EXPECT_EQ(ignored("owned by another user"), said());
}

TEST_F(SettingsFile, OfTheUserOrOfRootIsReadWithoutRootsRights) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can work as another user";
    const std::string read = "log_enable('Settings') unrecognized category\n";
    const struct {
        uid_t owner;
        std::string said;
    } cases[] = {{12345, read}, {0, read}, {23456, ignored("owned by another user")}};
    std::filesystem::permissions(".", std::filesystem::perms::all);
    for (const auto& each : cases) {
        OwnFolder::write_settings("Settings\n");
        ASSERT_EQ(0, chown("C.agent", each.owner, (gid_t)-1));
        const ChildResult result = run_in_child([&] {
            ASSERT_EQ(0, setresuid(12345, 12345, 12345));
            EXPECT_EQ(0, JVM_OnLoad(sim.vm(), nullptr, nullptr));
        });
        EXPECT_EQ(each.said, result.err) << "owned by " << each.owner;
    }
}

TEST_F(SettingsFile, ThatIsIgnoredStillTurnsTheCategoriesOff) {
    ASSERT_EQ(0, mkfifo("C.agent", 0600));
    const ChildResult result = run_in_child([&] {
        _log_link(_log_map_agent);
        log_enable("LogJVMDI", 0, 0);
        JVM_OnLoad(sim.vm(), nullptr, nullptr);
        EXPECT_FALSE(log_is_on(LogJVMDI));
    });
    EXPECT_EQ(ignored("not a regular file"), result.err);
}

TEST_F(LoadOnce, LineOfTenThousandCharactersIsReadInPieces) {
    OwnFolder::write_settings(std::string(10000, 'x') + "\n");
    const ChildResult result = run_in_child([&] { EXPECT_EQ(0, JVM_OnLoad(sim.vm(), nullptr, nullptr)); });
    std::string messages;
    for (size_t left = 10000; left > 0; left -= std::min<size_t>(left, 255))
        messages += "log_enable('" + std::string(std::min<size_t>(left, 255), 'x') + "') unrecognized category\n";
    EXPECT_EQ(0, result.exit_status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ(messages, result.err);
}
