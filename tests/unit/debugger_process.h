/* debugger_process.h: starts the program helpers/debugger.cpp, which answers the handshake, and gives what it said. */
#ifndef QUOR_TEST_DEBUGGER_PROCESS_H
#define QUOR_TEST_DEBUGGER_PROCESS_H

#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

class DebuggerProcess {
public:
    /* Arguments as the program's. Returns when it is ready for signals. */
    explicit DebuggerProcess(std::vector<std::string> arguments) {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("pipe failed");
        id = fork();
        if (id == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            run(std::move(arguments));
        }
        close(ends[1]);
        from = ends[0];
        if (line() != "ready") throw std::runtime_error("the helper did not start");
    }
    ~DebuggerProcess() {
        if (from != -1) end();
    }
    DebuggerProcess(const DebuggerProcess&) = delete;
    DebuggerProcess& operator=(const DebuggerProcess&) = delete;

    pid_t pid() const { return id; }

    /* Its last line, and whether its answer went through; waits for its end. */
    std::string last_line() {
        const std::string said = line();
        answered = end() == 0;
        return said;
    }
    bool answered = false;

private:
    [[noreturn]] static void run(std::vector<std::string> arguments) {
        std::string program = QUOR_TEST_HELPERS "/debugger";
        std::vector<char*> argv{program.data()};
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    std::string line() {
        std::string text;
        for (char c; read(from, &c, 1) == 1 && c != '\n';) text += c;
        return text;
    }
    int end() {
        int status = 0;
        close(from);
        from = -1;
        waitpid(id, &status, 0);
        return status;
    }
    pid_t id = 0;
    int from = -1;
};

#endif
