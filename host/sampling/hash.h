// Hashes of integers and texts, with the same values on every machine.
#pragma once

#include <cstdint>
#include <string_view>

namespace vx::sampling {

// A permutation of the 64-bit integers: every input bit flips each output bit with a probability of
// about one half.
constexpr std::uint64_t mix(std::uint64_t x) {
    x ^= x >> 32;
    x *= 0xd6e8feb86659fd93ULL;
    x ^= x >> 32;
    x *= 0xd6e8feb86659fd93ULL;
    x ^= x >> 32;
    return x;
}

// The hash of `value` with `seed`, which may be the hash of other values.
constexpr std::uint64_t combine(std::uint64_t seed, std::uint64_t value) {
    return mix(seed ^ (mix(value + 0x9e3779b97f4a7c15ULL) + (seed << 6)));
}

// The 64-bit FNV-1a hash of a text.
constexpr std::uint64_t hash_text(std::string_view text) {
    std::uint64_t h = 0xcbf29ce484222325ULL;
    for (const char c : text)
        h = (h ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
    return h;
}

} // namespace vx::sampling
