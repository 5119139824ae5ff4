/* sim_memory.cpp: the VM's allocator. JVMTI and JVMDI share it. */
#include "sim/internal.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace sim {

void* new_block(size_t size, const std::string& origin) {
    Sim::State& s = state();
    void* block = std::malloc(size ? size : 1);
    std::memset(block, 0xa5, size);
    s.blocks[block] = {block, size, origin};
    s.block_order[block] = s.next_block++;
    s.bytes += size;
    s.peak = std::max(s.peak, s.bytes);
    return block;
}

jint give_back(const void* block, const std::string& use) {
    if (!block) return JVMTI_ERROR_NONE;
    Sim::State& s = state();
    auto found = s.blocks.find(block);
    if (found == s.blocks.end()) {
        the_sim().misuse(use + ": the block is not of this VM's allocator, or was given back before");
        return JVMTI_ERROR_ILLEGAL_ARGUMENT;
    }
    s.bytes -= found->second.size;
    std::free(found->second.address);
    s.blocks.erase(found);
    s.block_order.erase(block);
    return JVMTI_ERROR_NONE;
}

char* copy_text(const std::string& text, const std::string& origin) {
    char* block = static_cast<char*>(new_block(text.size() + 1, origin));
    std::memcpy(block, text.c_str(), text.size() + 1);
    return block;
}

void* Sim::allocate(size_t size, const std::string& origin) {
    auto guard = lock();
    return new_block(size, origin);
}

std::vector<Block> Sim::live_blocks() {
    auto guard = lock();
    std::vector<Block> blocks;
    for (const auto& [address, block] : inner->blocks) blocks.push_back(block);
    std::sort(blocks.begin(), blocks.end(), [this](const Block& a, const Block& b) {
        return inner->block_order.at(a.address) < inner->block_order.at(b.address);
    });
    return blocks;
}
bool Sim::is_live_block(const void* block) {
    auto guard = lock();
    return inner->blocks.count(block) != 0;
}
size_t Sim::block_size(const void* block) {
    auto guard = lock();
    auto found = inner->blocks.find(block);
    return found == inner->blocks.end() ? 0 : found->second.size;
}
size_t Sim::live_bytes() {
    auto guard = lock();
    return inner->bytes;
}
size_t Sim::peak_bytes() {
    auto guard = lock();
    return inner->peak;
}

static size_t count_pins(Sim::State& s, bool copy) {
    std::lock_guard<Mutex> guard(s.mutex);
    size_t count = 0;
    for (const auto& [address, pin] : s.pins)
        if (pin.copy == copy) count += static_cast<size_t>(pin.count);
    return count;
}
size_t Sim::live_elements() { return count_pins(*inner, true); }
size_t Sim::live_pins() { return count_pins(*inner, false); }

} // namespace sim
