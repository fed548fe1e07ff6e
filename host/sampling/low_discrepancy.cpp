#include "host/sampling/low_discrepancy.h"

#include "host/sampling/hash.h"

namespace vx::sampling {

namespace {

constexpr std::uint32_t reverse_bits(std::uint32_t x) {
    x = __builtin_bswap32(x);
    x = ((x & 0x0f0f0f0fu) << 4) | ((x & 0xf0f0f0f0u) >> 4);
    x = ((x & 0x33333333u) << 2) | ((x & 0xccccccccu) >> 2);
    x = ((x & 0x55555555u) << 1) | ((x & 0xaaaaaaaau) >> 1);
    return x;
}

// A hash in which each bit depends on lower bits only. Applied to bit-reversed numbers, it is a
// nested uniform permutation of the binary digits.
constexpr std::uint32_t lower_bits_hash(std::uint32_t x, std::uint32_t seed) {
    x += seed;
    x ^= x * 0x6c50b47cu;
    x ^= x * 0xb82f1e52u;
    x ^= x * 0xc7afe638u;
    x ^= x * 0x8d22f6e6u;
    return x;
}

constexpr std::uint32_t scramble(std::uint32_t x, std::uint32_t seed) {
    return reverse_bits(lower_bits_hash(reverse_bits(x), seed));
}

// The second dimension of the Sobol sequence, with its bits reversed. Its generator matrix is
// Pascal's triangle modulo 2, in which bit k contributes to bit j if k contains all bits of j
// (Lucas's theorem): a sum over supersets, one step for each of the five bits of a bit number.
constexpr std::uint32_t reversed_sobol_second(std::uint32_t index) {
    index ^= (index >> 1) & 0x55555555u;
    index ^= (index >> 2) & 0x33333333u;
    index ^= (index >> 4) & 0x0f0f0f0fu;
    index ^= (index >> 8) & 0x00ff00ffu;
    index ^= index >> 16;
    return index;
}

constexpr double unit(std::uint32_t x) {
    return static_cast<double>(x) * 0x1p-32;
}

} // namespace

void owen_sobol(std::uint64_t seed, std::uint32_t index, std::span<double> out) {
    for (std::size_t d = 0; d < out.size(); d += 2) {
        const std::uint64_t pair = combine(seed, d);
        const std::uint32_t shuffled = scramble(index, static_cast<std::uint32_t>(pair));
        const std::uint64_t digits = mix(pair + 1);
        // The first dimension is the reversed index; scrambling would reverse it again. The second
        // is computed in that order.
        const auto first = static_cast<std::uint32_t>(digits);
        out[d] = unit(reverse_bits(lower_bits_hash(shuffled, first)));
        if (d + 1 == out.size()) return;
        const auto second = static_cast<std::uint32_t>(digits >> 32);
        out[d + 1] = unit(reverse_bits(lower_bits_hash(reversed_sobol_second(shuffled), second)));
    }
}

} // namespace vx::sampling
