#include "load/handshake.h"

#include "support/log_agent.h"
#include "support/report.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

static const char LOG_SOURCE[] = "agent_main.c";

jint attached;

enum { NOTIFY_SIGNAL = 16, POLLS = 1000, POLL_MICROSECONDS = 5000, TESTING_POLL_MICROSECONDS = 50000 };

/* System V's sigsend for one process (id type P_PID), on a system that has kill. Ids that kill would take for a group of
 * processes name none. */
static int sigsend(pid_t pid, int signal_number) { return pid > 0 ? kill(pid, signal_number) : -1; }

/* Cuts `text` at the first `separator`; gives what follows it, or null. */
static char* cut_at(char* text, char separator) {
    char* end = strchr(text, separator);
    if (!end) return NULL;
    *end = '\0';
    return end + 1;
}

load_options parse_options(char* rest) {
    load_options parsed;
    while (rest && *rest) {
        char* name = rest;
        rest = cut_at(name, ',');
        char* value = cut_at(name, '=');
        if (strcmp(name, "sync") == 0)
            parsed.sync = value ? atoi(value) : 0;
        else if (strcmp(name, "fifo") == 0)
            parsed.fifo = value;
        else
            printf("AgentThread: JVM_OnLoad(): unrecognized option '%s'\n", name);
    }
    return parsed;
}

/* Reads the debugger's answer, a 32-bit number, from the FIFO. */
static bool read_answer(const char* path) {
    int32_t answer = 0;
    const int fd = open(path, O_RDONLY);
    if (fd == -1) agent_fatal("AgentThread: JVM_OnLoad(): couldn't open fifo \"%s\" -- %s\n", path, strerror(errno));
    if (read(fd, &answer, sizeof answer) != (ssize_t)sizeof answer)
        agent_fatal("AgentThread: JVM_OnLoad(): fifo read failed -- %s\n", strerror(errno));
    close(fd);
    return answer != 0;
}

/* Waits for the debugger to set `attached` through the process's memory. */
static void poll_attached() {
    AGENT_LOG(LogJVMDI, "AgentThread: JVM_OnLoad(): waiting for debugger to attach\n");
    for (int polls = 0; polls < POLLS && !shared_load(attached); polls++) {
        usleep(POLL_MICROSECONDS);
        printf("uslept ... attached = %d\n", (int)shared_load(attached));
        fflush(stdout);
    }
    if (shared_load(attached) || !getenv("_QUOR_VM_TESTING")) return;
    printf("_QUOR_VM_TESTING on: waiting for attach\n");
    fflush(stdout);
    while (!shared_load(attached)) usleep(TESTING_POLL_MICROSECONDS);
}

void shake_hands(const load_options& options) {
    shared_store(attached, 0);
    AGENT_LOG(LogJVMDI, "AgentThread: JVM_OnLoad(): Notifying debugger\n");
    if (sigsend(options.sync, NOTIFY_SIGNAL) == -1) agent_fatal("AgentThread: JVM_OnLoad(): sigsend() failed\n");
    if (options.fifo)
        shared_store(attached, read_answer(options.fifo) ? 1 : 0);
    else
        poll_attached();
    if (!shared_load(attached)) agent_fatal("AgentThread: JVM_OnLoad(): debugger not attaching\n");
    AGENT_LOG(LogJVMDI, "AgentThread: JVM_OnLoad(): debugger attached\n");
}
