#include "cache/cloud/bytes.h"

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace vx::cache {

namespace {

template <typename Word>
void swap_plain(unsigned char* data, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const Word word = load<Word>(data + i * sizeof(Word), true);
        std::memcpy(data + i * sizeof word, &word, sizeof word);
    }
}

#ifdef __x86_64__
// Swaps whole vectors from the front. Returns the number of bytes done.
__attribute__((target("avx2"))) std::size_t swap_vectors(unsigned char* data, std::size_t bytes,
                                                         std::size_t size) {
    const __m128i eight = _mm_set_epi8(8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7);
    const __m128i four = _mm_set_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3);
    const __m256i order = _mm256_broadcastsi128_si256(size == 8 ? eight : four);
    std::size_t at = 0;
    for (; at + 64 <= bytes; at += 64) {
        auto* const p = reinterpret_cast<__m256i*>(data + at);
        const __m256i a = _mm256_shuffle_epi8(_mm256_loadu_si256(p), order);
        const __m256i b = _mm256_shuffle_epi8(_mm256_loadu_si256(p + 1), order);
        _mm256_storeu_si256(p, a);
        _mm256_storeu_si256(p + 1, b);
    }
    return at;
}
#endif

template <std::size_t Bytes>
void scatter_fixed(const unsigned char* in, unsigned char* out, std::size_t stride,
                   std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        std::memcpy(out + i * stride, in + i * Bytes, Bytes);
}

} // namespace

std::uint64_t little_endian_at(std::string_view bytes, std::size_t at, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;) {
        const std::uint64_t byte =
            at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0u;
        value = value << 8 | byte;
    }
    return value;
}

void append_little_endian(std::string& out, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
        out += static_cast<char>(value >> (8 * i) & 0xff);
}

void append_big_endian(std::string& out, std::uint64_t value, std::size_t size) {
    for (std::size_t i = size; i-- > 0;)
        out += static_cast<char>(value >> (8 * i) & 0xff);
}

void swap_words(void* data, std::size_t count, std::size_t size) {
    auto* bytes = static_cast<unsigned char*>(data);
    if (size == 1) return;
    if (size == 2) return swap_plain<std::uint16_t>(bytes, count);
#ifdef __x86_64__
    static const bool kVectors = __builtin_cpu_supports("avx2") != 0;
    if (kVectors) {
        const std::size_t done = swap_vectors(bytes, count * size, size);
        bytes += done;
        count -= done / size;
    }
#endif
    if (size == 8) {
        swap_plain<std::uint64_t>(bytes, count);
    } else {
        swap_plain<std::uint32_t>(bytes, count);
    }
}

void scatter(const void* in, std::size_t bytes, void* out, std::size_t stride, std::size_t count) {
    const auto* source = static_cast<const unsigned char*>(in);
    auto* target = static_cast<unsigned char*>(out);
    switch (bytes) {
    case 4:
        return scatter_fixed<4>(source, target, stride, count);
    case 8:
        return scatter_fixed<8>(source, target, stride, count);
    case 12:
        return scatter_fixed<12>(source, target, stride, count);
    case 16:
        return scatter_fixed<16>(source, target, stride, count);
    case 24:
        return scatter_fixed<24>(source, target, stride, count);
    default:
        for (std::size_t i = 0; i < count; ++i)
            std::memcpy(target + i * stride, source + i * bytes, bytes);
    }
}

} // namespace vx::cache
