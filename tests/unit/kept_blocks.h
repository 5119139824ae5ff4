#ifndef QUOR_TESTS_KEPT_BLOCKS_H
#define QUOR_TESTS_KEPT_BLOCKS_H

#include <string>
#include <vector>

/* Filters that a test leaves stay known to the agent when the test's VM, which allocated their records, is gone. The copies keep
 * the strings that they own reachable: leaks are looked for after static objects were destroyed, hence the pointer. */
template <class Vm> void keep_blocks_reachable(Vm& vm) {
    static auto* kept = new std::vector<std::string>;
    for (const auto& block : vm.live_blocks()) kept->emplace_back((const char*)block.address, block.size);
}

#endif
