/* declared_names.h: numbers and names as the headers of the VM's interfaces declare them, so that a test need not repeat the
 * agent's own tables. */
#ifndef QUOR_DECLARED_NAMES_H
#define QUOR_DECLARED_NAMES_H

#include <jni.h>

#include <fstream>
#include <map>
#include <regex>
#include <string>

typedef std::map<jint, std::string> number_names;

/* Of each "<prefix><NAME> = <number>" in a header: the number, and NAME. */
static inline number_names declared_names(const char* header, const std::string& prefix) {
    number_names names;
    std::ifstream text(header);
    const std::regex declaration("\\b" + prefix + "(\\w+) = (\\d+)[,;]?$");
    std::smatch found;
    for (std::string line; std::getline(text, line);)
        if (std::regex_search(line, found, declaration)) names.emplace(std::stoi(found[2]), found[1]);
    return names;
}

static inline number_names declared_by_jvmdi(const std::string& prefix) {
    return declared_names(QUOR_SOURCE_DIR "/agent/vm/jvmdi.h", prefix);
}

/* Of the JDK that the agent is built with. */
static inline number_names declared_by_jvmti(const std::string& prefix) { return declared_names(QUOR_JVMTI_H, prefix); }

#endif
