/* The handshake with the debugger's process: signal 16, then the answer through a FIFO or through the process's memory. */
#include "load/handshake.h"
#include "load/load.h"

#include "load_fixture.h"

#include "debugger_process.h"

#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/stat.h>

/* What the agent asks of the platform. The two definitions stand before the C library's. */
static std::vector<useconds_t> sleeps;
static std::function<void(useconds_t)> instead_of_sleeping; /* empty: really sleep */
static bool group_signalled;

extern "C" int usleep(useconds_t microseconds) {
    sleeps.push_back(microseconds);
    if (instead_of_sleeping) {
        instead_of_sleeping(microseconds);
        return 0;
    }
    const timespec time{0, static_cast<long>(microseconds) * 1000};
    return nanosleep(&time, nullptr);
}

extern "C" int kill(pid_t pid, int number) noexcept {
    if (pid <= 0) { /* would reach every process of a group, or of the machine */
        group_signalled = true;
        return 0;
    }
    return reinterpret_cast<int (*)(pid_t, int)>(dlsym(RTLD_NEXT, "kill"))(pid, number);
}

static const std::string NOTIFYING = logged("AgentThread: JVM_OnLoad(): Notifying debugger\n");
static const std::string WAITING = logged("AgentThread: JVM_OnLoad(): waiting for debugger to attach\n");
static const std::string ATTACHED = logged("AgentThread: JVM_OnLoad(): debugger attached\n");
static constexpr const char* NOT_ATTACHING = "AgentThread: JVM_OnLoad(): debugger not attaching\n";

/* A line that stands several times in a row, as folded() shows it. */
static std::string times(int count, const std::string& line) { return std::to_string(count) + " times " + line; }

/* The text with such lines put together. */
static std::string folded(const std::string& text) {
    std::istringstream lines(text);
    std::string all, last, line;
    for (int count = 0; lines || count > 0; last = line) {
        const bool more = static_cast<bool>(std::getline(lines, line));
        if (count > 0 && more && line == last) {
            count++;
            continue;
        }
        if (count > 0) all += count == 1 ? last + "\n" : times(count, last + "\n");
        count = more ? 1 : 0;
    }
    return all;
}

static std::string option_line(const std::string& options) {
    return logged("JVM_OnLoad(): options '" + options + "'\n");
}

struct Handshake : sim::SimTest {
    Handshake() {
        OwnFolder::log_at_load("LogJVMDI");
        mkfifo("answer", 0600);
    }
    OwnFolder folder;

    /* Loads the agent in a child. What loading logs after the handshake is cut off. */
    ChildResult load(
        const std::string& text, std::function<void()> prepare = [] {}) {
        ChildResult result = run_in_child([&] {
            prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY); /* where only parents may write to other processes */
            prepare();
            attached = 7; /* the handshake clears it */
            Options options(text);
            EXPECT_EQ(0, JVM_OnLoad(sim.vm(), options.text(), nullptr));
            std::fprintf(stderr, "attached = %d\n", attached);
        });
        result.out = result.out.substr(0, result.out.find(logged("This VM supports the following features:")));
        return result;
    }

    static std::string sync(const DebuggerProcess& debugger) { return "sync=" + std::to_string(debugger.pid()); }
    static void expect_signal_from_a_child(DebuggerProcess& debugger) {
        const std::string said = debugger.last_line();
        EXPECT_TRUE(said.starts_with("signal 16 from ") && said != "signal 16 from 0") << said;
        EXPECT_TRUE(debugger.answered);
    }
    static std::string address_of_attached() {
        char text[32];
        snprintf(text, sizeof text, "%p", static_cast<void*>(&attached));
        return text;
    }
};

/* ---- Through a FIFO ---- */

TEST_F(Handshake, NonZeroNumberInTheFifoAttaches) {
    for (const char* bytes : {"01000000", "07000000", "00000001", "ffffffff", "00000080"}) {
        DebuggerProcess debugger({"1", "fifo", "answer", bytes});
        const std::string options = sync(debugger) + ",fifo=answer";
        const ChildResult result = load(options);
        expect_signal_from_a_child(debugger);
        EXPECT_EQ(0, result.exit_status) << bytes;
        EXPECT_EQ(option_line(options) + NOTIFYING + ATTACHED, result.out);
        EXPECT_EQ("attached = 1\n", result.err);
    }
}

TEST_F(Handshake, FifoIsClosedAndOfMoreThanFourBytesExactlyFourAreRead) {
    const int own = open("answer", O_RDWR | O_CLOEXEC); /* holds the FIFO open, so that what is not read stays in it */
    ASSERT_LE(0, own);
    ASSERT_EQ(8, write(own, "\1\0\0\0rest", 8));
    std::signal(16, [](int) {});
    const auto open_files = [] {
        size_t count = 0;
        for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd"))
            count += each.is_symlink() ? 1 : 0;
        return count;
    };
    const size_t before = open_files();
    Options options("fifo=answer,sync=" + std::to_string(getpid()));
    EXPECT_EQ(0, JVM_OnLoad(sim.vm(), options.text(), nullptr));
    log_finish();
    EXPECT_EQ(before, open_files());
    EXPECT_EQ(1, attached);
    char rest[5] = {};
    EXPECT_EQ(4, read(own, rest, 4));
    EXPECT_STREQ("rest", rest);
    close(own);
}

static int attached_at_signal;

TEST_F(Handshake, FlagIsClearedBeforeTheDebuggerIsSignalled) {
    attached = 7;
    attached_at_signal = -1;
    std::signal(16, [](int) {
        attached_at_signal = shared_load(attached);
        shared_store(attached, 1);
    });
    Options options("sync=" + std::to_string(getpid()));
    EXPECT_EQ(0, JVM_OnLoad(sim.vm(), options.text(), nullptr));
    EXPECT_EQ(0, attached_at_signal);
    EXPECT_EQ(1, attached) << "the signal's answer was lost";
    EXPECT_EQ(0u, sleeps.size());
}

TEST_F(Handshake, OptionsMayStandInEitherOrder) {
    DebuggerProcess debugger({"1", "fifo", "answer", "01000000"});
    const ChildResult result = load("fifo=/nonexistent,fifo=answer," + sync(debugger));
    expect_signal_from_a_child(debugger);
    EXPECT_EQ(0, result.exit_status);
}

TEST_F(Handshake, ZeroInTheFifoMeansThatNobodyAttaches) {
    DebuggerProcess debugger({"1", "fifo", "answer", "00000000"});
    const std::string options = sync(debugger) + ",fifo=answer";
    expect_abort(load(options), option_line(options) + NOTIFYING + NOT_ATTACHING);
    expect_signal_from_a_child(debugger);
}

TEST_F(Handshake, FewerThanFourBytesAbort) {
    for (const char* bytes : {"", "01", "010000"}) {
        DebuggerProcess debugger({"1", "fifo", "answer", bytes});
        const std::string options = sync(debugger) + ",fifo=answer";
        const ChildResult result = load(options, [] { errno = 0; });
        EXPECT_EQ(SIGABRT, result.signal);
        const std::string begin = option_line(options) + NOTIFYING + "AgentThread: JVM_OnLoad(): fifo read failed -- ";
        EXPECT_TRUE(result.out.starts_with(begin)) << result.out;
        EXPECT_EQ(result.out.size() - 1, result.out.find('\n', begin.size())) << result.out;
        expect_signal_from_a_child(debugger);
    }
}

TEST_F(Handshake, FifoThatCannotBeOpenedAborts) {
    for (const char* path : {"/nonexistent/fifo", ""}) {
        DebuggerProcess debugger({"1"});
        const std::string options = sync(debugger) + ",fifo=" + path;
        expect_abort(load(options), option_line(options) + NOTIFYING +
                                        "AgentThread: JVM_OnLoad(): couldn't open fifo \"" + path +
                                        "\" -- No such file or directory\n");
        expect_signal_from_a_child(debugger);
    }
}

TEST_F(Handshake, FifoThatCannotBeReadAborts) {
    DebuggerProcess debugger({"1"});
    const std::string options = sync(debugger) + ",fifo=.";
    expect_abort(load(options),
                 option_line(options) + NOTIFYING + "AgentThread: JVM_OnLoad(): fifo read failed -- Is a directory\n");
    expect_signal_from_a_child(debugger);
}

/* ---- Through memory ---- */

TEST_F(Handshake, FlagSetByAnotherProcessAttaches) {
    DebuggerProcess debugger({"1", "memory", address_of_attached(), "3"});
    const ChildResult result = load(sync(debugger), [] { sleeps.clear(); });
    expect_signal_from_a_child(debugger);
    EXPECT_EQ(0, result.exit_status);
    const std::string before = option_line(sync(debugger)) + NOTIFYING + WAITING;
    ASSERT_TRUE(result.out.starts_with(before)) << result.out;
    /* the debugger may have been faster than the first test of the flag */
    std::string rest = result.out.substr(before.size());
    const std::string poll = "uslept ... attached = 0\n", last_poll = "uslept ... attached = 3\n";
    while (rest.starts_with(poll)) rest.erase(0, poll.size());
    if (rest.starts_with(last_poll)) rest.erase(0, last_poll.size());
    EXPECT_EQ(ATTACHED, rest);
    EXPECT_EQ("attached = 3\n", result.err);
}

TEST_F(Handshake, FifoWithoutAPathMeansPolling) {
    DebuggerProcess debugger({"1", "memory", address_of_attached(), "1"});
    const ChildResult result = load("fifo," + sync(debugger));
    expect_signal_from_a_child(debugger);
    EXPECT_EQ(0, result.exit_status);
    EXPECT_NE(std::string::npos, result.out.find(WAITING));
}

TEST_F(Handshake, AThousandSleepsOfFiveMillisecondsEndTheWait) {
    DebuggerProcess debugger({"1"});
    const time_t begin = time(nullptr);
    ChildResult result = load(sync(debugger));
    EXPECT_LE(4, time(nullptr) - begin);
    result.out = folded(result.out);
    expect_abort(result, option_line(sync(debugger)) + NOTIFYING + WAITING + times(1000, "uslept ... attached = 0\n") +
                             NOT_ATTACHING);
    expect_signal_from_a_child(debugger);
}

TEST_F(Handshake, FlagSetInTheLastSleepStillAttaches) {
    DebuggerProcess debugger({"1"});
    const ChildResult result = load(sync(debugger), [] {
        instead_of_sleeping = [](useconds_t) {
            if (sleeps.size() == 1000) attached = 1;
        };
    });
    expect_signal_from_a_child(debugger);
    EXPECT_EQ(option_line(sync(debugger)) + NOTIFYING + WAITING + times(999, "uslept ... attached = 0\n") +
                  "uslept ... attached = 1\n" + ATTACHED,
              folded(result.out));
}

/* Each line must be out before the next sleep: a person may be waiting for it at a pipe's other end. */
TEST_F(Handshake, EachPollIsSeenAtOnce) {
    DebuggerProcess debugger({"1"});
    static int seen; /* lines, just before the third sleep */
    const ChildResult result = load(sync(debugger), [] {
        instead_of_sleeping = [](useconds_t) {
            if (sleeps.size() != 3) return;
            char text[4096] = "";
            const ssize_t size = pread(STDOUT_FILENO, text, sizeof text - 1, 0);
            for (const char* at = text; size > 0 && (at = strstr(at, "uslept")) != nullptr; at++) seen++;
            EXPECT_EQ(2, seen);
            attached = 1;
        };
    });
    expect_signal_from_a_child(debugger);
    EXPECT_EQ(0, result.exit_status);
}

TEST_F(Handshake, TestingAVmWaitsOnWithoutLimitAndWithoutLines) {
    DebuggerProcess debugger({"2", "memory", address_of_attached(), "1"});
    static pid_t pid;
    pid = debugger.pid();
    const ChildResult result = load(sync(debugger), [] {
        setenv("_QUOR_VM_TESTING", "", 1);
        instead_of_sleeping = [](useconds_t microseconds) {
            EXPECT_EQ(sleeps.size() <= 1000 ? 5000u : 50000u, microseconds);
            if (sleeps.size() < 1500) return;
            kill(pid, 16); /* only now the debugger answers; sent again, as a signal that waits already is lost */
            const timespec time{0, 1000000};
            nanosleep(&time, nullptr);
        };
    });
    expect_signal_from_a_child(debugger);
    EXPECT_EQ(0, result.exit_status);
    EXPECT_EQ(option_line(sync(debugger)) + NOTIFYING + WAITING + times(1000, "uslept ... attached = 0\n") +
                  "_QUOR_VM_TESTING on: waiting for attach\n" + ATTACHED,
              folded(result.out));
    EXPECT_EQ("attached = 1\n", result.err);
}

/* ---- The signal ---- */

TEST_F(Handshake, DeadProcessAborts) {
    const pid_t dead = fork();
    if (dead == 0) _exit(0);
    waitpid(dead, nullptr, 0);
    const std::string options = "sync=" + std::to_string(dead);
    expect_abort(load(options), option_line(options) + NOTIFYING + "AgentThread: JVM_OnLoad(): sigsend() failed\n");
}

TEST_F(Handshake, NegativeProcessIdSignalsNobody) {
    for (const char* options : {"sync=-1", "sync=-2147483648"}) {
        const ChildResult result =
            load(options, [] { std::signal(SIGABRT, [](int) { EXPECT_FALSE(group_signalled); }); });
        expect_abort(result, option_line(options) + NOTIFYING + "AgentThread: JVM_OnLoad(): sigsend() failed\n");
    }
}

TEST_F(Handshake, TextAfterTheNumberIsIgnored) {
    DebuggerProcess debugger({"1", "fifo", "answer", "01000000"});
    EXPECT_EQ(0, load(sync(debugger) + "th,fifo=answer").exit_status);
    expect_signal_from_a_child(debugger);
}

TEST_F(Handshake, UnknownOptionsBeforeSyncAreToldAndPassedOver) {
    DebuggerProcess debugger({"1", "fifo", "answer", "01000000"});
    const std::string options = "verbose," + sync(debugger) + ",fifo=answer,last";
    const ChildResult result = load(options);
    expect_signal_from_a_child(debugger);
    EXPECT_EQ(option_line(options) + "AgentThread: JVM_OnLoad(): unrecognized option 'verbose'\n" +
                  "AgentThread: JVM_OnLoad(): unrecognized option 'last'\n" + NOTIFYING + ATTACHED,
              result.out);
}

TEST_F(Handshake, VmIsNotTouchedBeforeTheDebuggerHasAttached) {
    DebuggerProcess debugger({"1", "fifo", "answer", "00000000"});
    const ChildResult result = load(sync(debugger) + ",fifo=answer", [] {
        javavm = nullptr;
        std::signal(SIGABRT, [](int) {
            EXPECT_EQ(nullptr, javavm);
            EXPECT_EQ(0u, sim::Sim::current()->calls().size());
        });
    });
    EXPECT_EQ(SIGABRT, result.signal);
    expect_signal_from_a_child(debugger);
}

TEST_F(Handshake, AgentOnLoadShakesHandsToo) {
    DebuggerProcess debugger({"1", "fifo", "answer", "01000000"});
    const ChildResult result = run_in_child([&] {
        sim.phase = JVMTI_PHASE_ONLOAD;
        Options options(sync(debugger) + ",fifo=answer");
        EXPECT_EQ(0, Agent_OnLoad(sim.vm(), options.text(), nullptr));
        EXPECT_EQ(1, attached);
    });
    expect_signal_from_a_child(debugger);
    EXPECT_NE(std::string::npos, result.out.find(NOTIFYING + ATTACHED));
}
