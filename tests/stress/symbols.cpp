#include "symbols.h"

#include "tracee.h"

#include <fstream>
#include <iterator>
#include <link.h>
#include <sstream>
#include <vector>

symbols::symbols(pid_t pid) {
    std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/libquor_agent.so") == std::string::npos) continue;
        read_names(line.substr(line.find('/')),
                   (word)std::stoull(line, nullptr, 16)); /* its first mapping is its start */
        return;
    }
    throw failure("the agent is not in process " + std::to_string(pid));
}

void symbols::read_names(const std::string& file, word base) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> image((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    const auto* header = (const ElfW(Ehdr)*)image.data();
    const auto* sections = (const ElfW(Shdr)*)(image.data() + header->e_shoff);
    for (unsigned i = 0; i < header->e_shnum; i++) {
        if (sections[i].sh_type != SHT_DYNSYM) continue;
        const auto* entries = (const ElfW(Sym)*)(image.data() + sections[i].sh_offset);
        const char* names = image.data() + sections[sections[i].sh_link].sh_offset;
        for (size_t n = 0; n < sections[i].sh_size / sizeof *entries; n++)
            if (entries[n].st_value) addresses[names + entries[n].st_name] = base + (word)entries[n].st_value;
    }
}

word symbols::operator[](const std::string& name) const {
    const auto found = addresses.find(name);
    if (found == addresses.end()) throw failure("the agent exports no " + name);
    return found->second;
}

std::string symbols::at(word address) const {
    for (const auto& [name, its_address] : addresses)
        if (its_address == address) return name;
    return "";
}
