// Selects the search for the machine's instruction set.
#include "maps/search.h"
#include "maps/testing.h"

#include <atomic>

namespace vx::maps {

namespace {

bool machine_has(InstructionSet set) {
    switch (set) {
    case InstructionSet::avx512:
        return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
               __builtin_cpu_supports("avx2");
    case InstructionSet::avx2:
        return __builtin_cpu_supports("avx2");
    case InstructionSet::sse2:
        break;
    }
    return true;
}

std::atomic<InstructionSet>& chosen_set() {
    static std::atomic<InstructionSet> set{best_instruction_set()};
    return set;
}

} // namespace

InstructionSet best_instruction_set() {
    static const InstructionSet kBest = machine_has(InstructionSet::avx512) ? InstructionSet::avx512
                                        : machine_has(InstructionSet::avx2) ? InstructionSet::avx2
                                                                            : InstructionSet::sse2;
    return kBest;
}

void force_instruction_set(InstructionSet set) {
    if (machine_has(set)) chosen_set() = set;
}

Search search_for(unsigned dimension) {
    switch (chosen_set().load(std::memory_order_relaxed)) {
    case InstructionSet::avx512:
        return detail::avx512_search(dimension);
    case InstructionSet::avx2:
        return detail::avx2_search(dimension);
    case InstructionSet::sse2:
        break;
    }
    return detail::sse2_search(dimension);
}

} // namespace vx::maps
