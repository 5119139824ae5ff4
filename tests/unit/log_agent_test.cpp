/* The agent's categories and its trace statement; and log_bpt, at whose address a test plants a breakpoint as a debugger
 * does.
 */
#include "support/log_agent.h"

#include "sim/harness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <signal.h>
#include <string>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

using sim::ChildResult;
using sim::run_child;

#define LOG_SOURCE "test.c"

/* In the order that is part of the interface; a category has the name of its flag. */
#define CATEGORY(flag) \
    { #flag, &flag }
static const struct {
    const char* name;
    log_category** flag;
} categories[] = {
    CATEGORY(LogJVMDI),       CATEGORY(LogJVMDIthread),   CATEGORY(LogJVMDI_VM_thread), CATEGORY(LogJVMDIclass),
    CATEGORY(LogJVMDImethod), CATEGORY(LogJVMDIlocation), CATEGORY(LogJVMDIframe),      CATEGORY(LogJVMPI),
    CATEGORY(LogJVMPIgc),     CATEGORY(LogJVMPImonitor),
};

TEST(LogAgent, MapHoldsTheTenCategoriesInOrderAllOff) {
    EXPECT_EQ(__log_map_agent, _log_map_agent);
    EXPECT_STREQ("log_cookie", _log_map_agent[0].name);
    EXPECT_EQ(NULL, _log_map_agent[0].flag);
    for (int i = 0; i < 10; i++) {
        EXPECT_STREQ(categories[i].name, _log_map_agent[i + 1].name);
        EXPECT_EQ(categories[i].flag, _log_map_agent[i + 1].flag);
        EXPECT_EQ(NULL, *categories[i].flag);
    }
    for (int i = 0; i <= 11; i++) EXPECT_EQ(0u, _log_map_agent[i].flags);
    EXPECT_EQ(NULL, _log_map_agent[11].name);
}

TEST(LogAgent, HeaderOfEachCategoryIsItsNameInElevenCharactersOrMore) {
    const ChildResult result = run_child([](auto&) {
        _log_link(_log_map_agent);
        log_start(NULL, stdout);
        log_echo(1);
        for (int i = 0; i < 10; i++) {
            log_enable(categories[i].name, 0, 0);
            AGENT_LOG(*categories[i].flag, "|");
        }
    });
    EXPECT_EQ("LogJVMDI   |\nLogJVMDIthread|\nLogJVMDI_VM_thread|\nLogJVMDIclass|\nLogJVMDImethod|\n"
              "LogJVMDIlocation|\nLogJVMDIframe|\nLogJVMPI   |\nLogJVMPIgc |\nLogJVMPImonitor|\n",
              result.out);
}

TEST(LogAgent, TraceStatementWritesWhileItsCategoryIsOn) {
    const ChildResult result = run_child([](auto&) {
        _log_link(_log_map_agent);
        log_start(NULL, stdout);
        log_echo(1);
        AGENT_LOG(LogJVMDI, "off %d\n", 1);
        log_enable("LogJVMDI", LOG_SRCLOC, 0);
        const int line = __LINE__ + 1;
        AGENT_LOG(LogJVMDI, "on %s %d", "and", -2);
        log_printf("%d", line);
        log_disable("LogJVMDI");
        AGENT_LOG(LogJVMDI, "off again");
    });
    const size_t numbered = result.out.find('\n') + 1;
    const std::string line = result.out.substr(numbered, result.out.size() - numbered - 1);
    EXPECT_EQ("LogJVMDI   \"test.c\":" + line + " on and -2\n" + line + "\n", result.out);
}

TEST(LogAgent, TraceStatementShowsWholeWords) {
    const ChildResult result = run_child([](auto&) {
        _log_link(_log_map_agent);
        log_start(NULL, stdout);
        log_echo(1);
        log_enable("LogJVMDI", 0, 0);
        AGENT_LOG(LogJVMDI, "%d %x %5d|%-5d|%lld %s", (agent_tid_t)-7, (void*)(~(uintptr_t)0 - 1), (jint)12,
                  (jboolean)1, (jlong)1 << 40, "%d");
    });
    const std::string word = sizeof(void*) == 4 ? "fffffffe" : "fffffffffffffffe";
    EXPECT_EQ("LogJVMDI   -7 " + word + "    12|1    |1099511627776 %d\n", result.out);
}

#if defined(__i386__) || defined(__x86_64__)

/* Leaves the function at whose entry the child stopped: its return address is on top of the stack. */
static void return_at_once(pid_t child) {
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, child, NULL, &registers);
#if defined(__i386__)
    long& pc = registers.eip;
    long& sp = registers.esp;
#else
    unsigned long long& pc = registers.rip;
    unsigned long long& sp = registers.rsp;
#endif
    pc = (std::remove_reference_t<decltype(pc)>)ptrace(PTRACE_PEEKDATA, child, (void*)(uintptr_t)sp, NULL);
    sp += sizeof(void*);
    ptrace(PTRACE_SETREGS, child, NULL, &registers);
}

/* Writes the records 0 to 9 to `out`, with log_bpt asked for at `stop_at`. */
static void write_records(int out, int32_t stop_at) {
    dup2(out, STDOUT_FILENO);
    _log_link(_log_map_agent);
    log_enable("LogJVMDI", LOG_SERIAL, 0);
    log_start(NULL, stdout);
    log_echo(1);
    log_serial_bpt = stop_at;
    ptrace(PTRACE_TRACEME, 0, NULL, NULL);
    raise(SIGSTOP);
    for (int i = 0; i < 10; i++) {
        _log_print(LogJVMDI, "x.c", 1);
        _log_format("-");
    }
    _exit(0);
}

static std::string contents_of(int fd) {
    std::string all;
    char piece[4096];
    for (ssize_t n; (n = pread(fd, piece, sizeof piece, (off_t)all.size())) > 0;) all.append(piece, (size_t)n);
    return all;
}

/* Runs write_records in a child with a breakpoint instruction at the entry of log_bpt; gives what was written before each
 * stop there. */
static std::vector<std::string> outputs_at_breakpoint(int32_t stop_at) {
    const int out = memfd_create("out", 0);
    fflush(NULL);
    const pid_t child = fork();
    if (child == 0) write_records(out, stop_at);
    int status = 0;
    waitpid(child, &status, 0);
    void* const entry = (void*)&log_bpt;
    const long code = ptrace(PTRACE_PEEKTEXT, child, entry, NULL);
    ptrace(PTRACE_POKETEXT, child, entry, (code & ~0xffL) | 0xcc);
    std::vector<std::string> outputs;
    ptrace(PTRACE_CONT, child, NULL, NULL);
    while (waitpid(child, &status, 0) == child && WIFSTOPPED(status) && WSTOPSIG(status) == SIGTRAP) {
        outputs.push_back(contents_of(out));
        return_at_once(child);
        ptrace(PTRACE_CONT, child, NULL, NULL);
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(10, std::ranges::count(contents_of(out), '\n'));
    close(out);
    return outputs;
}

TEST(LogAgent, BreakpointFunctionIsCalledJustBeforeTheRecordAskedFor) {
    const std::vector<std::string> outputs = outputs_at_breakpoint(5);
    ASSERT_EQ(1u, outputs.size());
    EXPECT_EQ("00000 LogJVMDI   -\n00001 LogJVMDI   -\n00002 LogJVMDI   -\n00003 LogJVMDI   -\n00004 LogJVMDI   -\n",
              outputs[0]);
}

TEST(LogAgent, BreakpointFunctionIsNotCalledAtSerialZero) { EXPECT_EQ(0u, outputs_at_breakpoint(0).size()); }

#endif
