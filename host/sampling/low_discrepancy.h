// Well distributed points: Sobol's sequence, scrambled by nested uniform (Owen) permutations.
//
// Dimensions beyond two are pairs of dimensions of their own order and scrambling, so every pair is
// as well distributed as the first. Points of different seeds are independent of each other.
// Scrambling by hashing follows B. Burley, "Practical hash-based Owen scrambling", JCGT 9 (2020).
#pragma once

#include <cstdint>
#include <span>

namespace vx::sampling {

// Point number `index` of the sequence with this seed: out.size() numbers in [0, 1).
void owen_sobol(std::uint64_t seed, std::uint32_t index, std::span<double> out);

} // namespace vx::sampling
