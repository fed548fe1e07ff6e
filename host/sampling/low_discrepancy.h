// Low-discrepancy points: the Sobol sequence with nested uniform (Owen) scrambling.
//
// Dimensions beyond the second are padded in pairs: every pair is the two-dimensional sequence,
// shuffled and scrambled independently. Points of different seeds are independent. Scrambling by
// hashing follows B. Burley, "Practical hash-based Owen scrambling", JCGT 9 (2020).
#pragma once

#include <cstdint>
#include <span>

namespace vx::sampling {

// Computes the point with this index and seed: out.size() coordinates in [0, 1).
void owen_sobol(std::uint64_t seed, std::uint32_t index, std::span<double> out);

} // namespace vx::sampling
