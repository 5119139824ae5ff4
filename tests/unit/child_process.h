/* child_process.h: runs a piece of a test in a process of its own, so that it may abort or exit, or leave the agent's global
 * state changed, and gives what became of it.
 */
#ifndef QUOR_TEST_CHILD_PROCESS_H
#define QUOR_TEST_CHILD_PROCESS_H

#include <gtest/gtest.h>

#include <stdio.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

struct child_result {
    int exit_status; /* -1 if a signal ended it   */
    int signal;      /* 0 if it exited by itself  */
    std::string out; /* its standard output       */
    std::string err; /* its standard error        */
};

static inline std::string contents_of_fd(int fd) {
    std::string text;
    char piece[4096];
    lseek(fd, 0, SEEK_SET);
    for (ssize_t n; (n = read(fd, piece, sizeof piece)) > 0;) text.append(piece, (size_t)n);
    return text;
}

/* Calls `body` in a child. A body that returns ends its child with status 0 and its output flushed. Standard output is
 * fully buffered there, as on a pipe: what an abort loses is lost. */
template <class Body> static inline child_result run_in_child(Body body) {
    const int out = memfd_create("out", 0);
    const int err = memfd_create("err", 0);
    fflush(NULL);
    const pid_t child = fork();
    if (child == 0) {
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        setvbuf(stdout, NULL, _IOFBF, BUFSIZ);
        body();
        fflush(NULL);
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    child_result result;
    result.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.out = contents_of_fd(out);
    result.err = contents_of_fd(err);
    close(out);
    close(err);
    return result;
}

#endif
