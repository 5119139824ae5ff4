/* The option string of the load entry points. What `sync` sets going is in handshake_test.cpp. */
#include "load/handshake.h"
#include "load/load.h"

#include "load_fixture.h"

struct LoadOptions : sim::SimTest {
    LoadOptions() { sim.phase = JVMTI_PHASE_ONLOAD; }
    OwnFolder folder;

    /* What loading with these options prints; it must go through. */
    std::string printed_for(const std::string& text) {
        Options options(text);
        return capture_stdout([&] {
            jvmti = nullptr;
            EXPECT_EQ(0, JVM_OnLoad(sim.vm(), options.text(), nullptr));
        });
    }
};

static std::string unrecognized(const std::string& name) {
    return "AgentThread: JVM_OnLoad(): unrecognized option '" + name + "'\n";
}

TEST_F(LoadOptions, EachItemIsReadByItself) {
    const struct {
        std::string options, printed;
    } cases[] = {
        {"", ""},
        {"verbose", unrecognized("verbose")},
        {"verbose=1", unrecognized("verbose")},
        {"a=b=c", unrecognized("a")},
        {"=x", unrecognized("")},
        {"a,b", unrecognized("a") + unrecognized("b")},
        {"a,,b", unrecognized("a") + unrecognized("") + unrecognized("b")},
        {"a,", unrecognized("a")},
        {",a", unrecognized("") + unrecognized("a")},
        {",,,", unrecognized("") + unrecognized("") + unrecognized("")},
        {"SYNC=1", unrecognized("SYNC")},
        {"sync2=1", unrecognized("sync2")},
        {" sync=1", unrecognized(" sync")},
        {"%s%n%x", unrecognized("%s%n%x")},
    };
    for (const auto& c : cases) EXPECT_EQ(c.printed, printed_for(c.options)) << c.options;
}

TEST_F(LoadOptions, SyncThatIsNoNumberAsksForNoHandshake) {
    for (const char* options : {"sync=0", "sync=abc", "sync=", "sync", "sync=,fifo=/nonexistent"}) {
        attached = 7;
        EXPECT_EQ("", printed_for(options)) << options;
        EXPECT_EQ(7, attached) << options;
    }
}

TEST_F(LoadOptions, FifoWithoutSyncIsNotOpened) {
    for (const char* options : {"fifo=/nonexistent", "fifo=", "fifo"}) {
        attached = 7;
        EXPECT_EQ("", printed_for(options)) << options;
        EXPECT_EQ(7, attached) << options;
    }
}

TEST_F(LoadOptions, LaterSyncReplacesAnEarlierOne) {
    attached = 7;
    EXPECT_EQ("", printed_for("sync=1,fifo=/nonexistent,sync=0"));
    EXPECT_EQ(7, attached);
}

TEST_F(LoadOptions, VeryLongItemIsShownWhole) {
    const std::string name(65535, 'a');
    EXPECT_EQ(unrecognized(name), printed_for(name));
}

TEST_F(LoadOptions, ManyItemsAreAllShown) {
    std::string options, printed;
    while (options.size() < 65536) options += "x,";
    for (size_t i = 0; i < options.size() / 2; i++) printed += unrecognized("x");
    EXPECT_EQ(printed, printed_for(options));
}

TEST_F(LoadOptions, TheLogShowsTheWholeStringOrNone) {
    OwnFolder::log_at_load("LogJVMDI");
    const std::string with = printed_for("a=1,b");
    EXPECT_TRUE(with.starts_with(logged("JVM_OnLoad(): options 'a=1,b'\n") + unrecognized("a") + unrecognized("b")));
    jvmti = nullptr;
    const std::string without = capture_stdout([&] { JVM_OnLoad(sim.vm(), nullptr, nullptr); });
    EXPECT_TRUE(without.starts_with(logged("JVM_OnLoad(): options 'None'\n")));
}

TEST_F(LoadOptions, AgentOnLoadNamesJvmOnLoadToo) {
    OwnFolder::log_at_load("LogJVMDI");
    Options options("x");
    const std::string out = capture_stdout([&] { EXPECT_EQ(0, Agent_OnLoad(sim.vm(), options.text(), nullptr)); });
    EXPECT_TRUE(out.starts_with(logged("JVM_OnLoad(): options 'x'\n") + unrecognized("x"))) << out;
}

TEST_F(LoadOptions, OptionLineIsTheFirstRecordAndNeedsItsCategory) {
    OwnFolder::log_at_load("LogJVMDIthread");
    EXPECT_EQ("", printed_for(""));
}
