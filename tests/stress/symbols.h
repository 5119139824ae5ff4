/* symbols.h: where the agent's exported names lie in a process. */
#ifndef QUOR_STRESS_SYMBOLS_H
#define QUOR_STRESS_SYMBOLS_H

#include "registers.h"

#include <map>
#include <string>
#include <sys/types.h>

class symbols {
public:
    /* Reads the agent's library as the process has it mapped; a failure when it does not. */
    explicit symbols(pid_t pid);

    word operator[](const std::string& name) const;
    /* The name that lies at the address; empty when there is none. */
    std::string at(word address) const;

private:
    void read_names(const std::string& file, word base);

    std::map<std::string, word> addresses;
};

#endif
