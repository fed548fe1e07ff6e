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

// The second dimension of the Sobol sequence. The first is the bit-reversed index.
constexpr std::uint32_t sobol_second(std::uint32_t index) {
    std::uint32_t result = 0;
    for (std::uint32_t v = 1u << 31; index != 0; index >>= 1, v ^= v >> 1)
        if ((index & 1u) != 0) result ^= v;
    return result;
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
        // scramble() would reverse its argument first; the first dimension is already reversed.
        out[d] = unit(reverse_bits(lower_bits_hash(shuffled, static_cast<std::uint32_t>(digits))));
        if (d + 1 < out.size())
            out[d + 1] =
                unit(scramble(sobol_second(shuffled), static_cast<std::uint32_t>(digits >> 32)));
    }
}

} // namespace vx::sampling
