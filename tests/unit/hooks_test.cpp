/* The hook points of the built library, as a debugger finds them: by name, each at an address of its own. */
#include "support/agent_types.h"
#include "vm/jvmdi.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>

#include <fstream>
#include <map>
#include <string.h>
#include <string>
#include <vector>

/* Those of the list of exports, which tells a function by an F. */
static std::vector<std::string> exported_hook_points() {
    std::vector<std::string> names;
    std::ifstream exports(QUOR_SOURCE_DIR "/agent/libquor_agent.exports");
    for (std::string line; std::getline(exports, line);)
        if (line.starts_with("F hook_")) names.push_back(line.substr(2));
    return names;
}

/* Also functions whose bodies look alike. */
static const char* const empty_names[] = {
    "cb_jvmtiEventClassFileLoadHook",
    "cb_jvmtiEventVMStart",
    "cb_jvmtiEventNativeMethodBind",
    "cb_jvmtiEventCompiledMethodLoad",
    "cb_jvmtiEventCompiledMethodUnload",
    "cb_jvmtiEventDynamicCodeGenerated",
    "cb_jvmtiEventDataDumpRequest",
    "cb_jvmtiEventMonitorWait",
    "cb_jvmtiEventMonitorWaited",
    "cb_jvmtiEventMonitorContendedEnter",
    "cb_jvmtiEventMonitorContendedEntered",
    "cb_jvmtiEventGarbageCollectionStart",
    "cb_jvmtiEventGarbageCollectionFinish",
    "cb_jvmtiEventObjectFree",
    "cb_jvmtiEventVMObjectAlloc",
    "log_bpt",
    "jquor_jvmdi_sync_hook",
};

struct Hooks : testing::Test {
    Hooks() : library(dlopen(QUOR_AGENT_LIB, RTLD_NOW | RTLD_LOCAL)) {}

    void SetUp() override { ASSERT_NE(nullptr, library) << dlerror(); }

    void* find(const std::string& name) { return dlsym(library, name.c_str()); }

    const std::vector<std::string> hook_names = exported_hook_points();
    void* library;
};

TEST_F(Hooks, AreExportedByName) {
    EXPECT_EQ(15u, hook_names.size());
    for (const std::string& name : hook_names) EXPECT_NE(nullptr, find(name)) << name;
    for (const char* name : empty_names) EXPECT_NE(nullptr, find(name)) << name;
}

TEST_F(Hooks, HaveAddressesOfTheirOwn) {
    std::map<void*, std::string> names;
    for (const std::string& name : hook_names)
        EXPECT_TRUE(names.emplace(find(name), name).second) << name << " is shared";
    for (const char* name : empty_names) EXPECT_TRUE(names.emplace(find(name), name).second) << name << " is shared";
}

TEST_F(Hooks, AreFunctionsWithCodeThatABreakpointCanBePlantedOn) {
    for (const std::string& name : hook_names) {
        Dl_info info;
        ElfW(Sym)* symbol = nullptr;
        ASSERT_NE(0, dladdr1(find(name), &info, (void**)&symbol, RTLD_DL_SYMENT)) << name;
        EXPECT_EQ(name, info.dli_sname);
        EXPECT_EQ(find(name), info.dli_saddr) << name << " is no symbol's start";
        EXPECT_EQ(STT_FUNC, symbol->st_info & 0xf) << name;
        EXPECT_GE(symbol->st_size, 1u) << name;
    }
}

TEST_F(Hooks, DoNothing) {
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_BREAKPOINT;
    event.u.breakpoint.location = 12;
    JVMDI_Event before = event;
    for (const std::string& name : hook_names) {
        auto hook = (void (*)(JNIEnv*, JVMDI_Event*))find(name);
        hook(nullptr, &event); /* the environment is not used */
    }
    EXPECT_EQ(0, memcmp(&before, &event, sizeof event));
}

TEST_F(Hooks, FirstContactStoresWhatTheDebuggerReads) {
    auto contact =
        (const char* (*)(JNIEnv*, agent_tid_t, const char*, agent_tid_t, const char*))find("jquor_jvmdi_sync_hook");
    JNIEnv_ env = {};
    const char classpath[] = "a:b";
    const char version[] = "17";
    EXPECT_EQ(version, contact((JNIEnv*)&env, 77, classpath, 78, version));
    EXPECT_EQ((JNIEnv*)&env, *(JNIEnv**)find("quor_env"));
    EXPECT_EQ(77, *(agent_tid_t*)find("quor_tid"));
    EXPECT_EQ(classpath, *(const char**)find("quor_classpath"));
    EXPECT_EQ(version, *(const char**)find("quor_vmversion"));
}
