/* sim_traps.cpp: what stands in the slots that the simulator does not provide. A trap records misuse by the function's
 * name and gives an error, so that the test goes on to its end and fails there. */
#include "sim/internal.h"
#include "sim/slot_names.h"

#include <array>
#include <iterator>
#include <utility>

namespace sim {

/* Arguments are left alone: in the C calling convention of these tables they are the caller's to remove. */
template <const auto& names, const char* const& prefix, size_t slot> static std::intptr_t JNICALL trap(...) {
    std::string name = prefix + (slot < std::size(names) ? std::string(names[slot]) : "slot " + std::to_string(slot));
    Call call(name);
    the_sim().misuse(name + " is not provided");
    return prefix[2] == 'M' ? JVMTI_ERROR_MUST_POSSESS_CAPABILITY : 0; /* JVMTI and JVMDI have error codes */
}

template <const auto& names, const char* const& prefix, size_t... slots>
static void fill(void* table, std::index_sequence<slots...>) {
    using Function = std::intptr_t (*)(...);
    Function traps[] = {trap<names, prefix, slots>...};
    std::copy(std::begin(traps), std::end(traps), static_cast<Function*>(table));
}

template <const auto& names, const char* const& prefix, class Table> static void fill_table(Table& table) {
    fill<names, prefix>(&table, std::make_index_sequence<sizeof(Table) / sizeof(void*)>());
}

static constexpr const char* invocation_prefix = "JavaVM.";
static constexpr const char* jni_prefix = "JNI.";
static constexpr const char* jvmti_prefix = "JVMTI.";
static constexpr const char* jvmdi_prefix = "JVMDI.";

void fill_traps(Sim::State& s) {
    fill_table<invocation_slots, invocation_prefix>(s.vm_table);
    fill_table<jni_slots, jni_prefix>(s.jni_table);
    fill_table<jvmti_slots, jvmti_prefix>(s.jvmti_table);
    fill_table<jvmdi_slots, jvmdi_prefix>(s.jvmdi_table);
}

} // namespace sim
