// Reads and writes big-endian values in blocks. A block is swapped in a fixed buffer on the stack
// and passed to the stream in one call.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <type_traits>

static_assert(std::endian::native == std::endian::little, "values are swapped unconditionally");

// Size of a block: small enough for a rendering thread's stack and the second-level cache, large
// enough that the cost of a call per block is negligible.
constexpr std::size_t kStageBytes = std::size_t{64} * 1024;

inline std::uint32_t SwapBytes(std::uint32_t v) {
    return __builtin_bswap32(v);
}

inline std::uint64_t SwapBytes(std::uint64_t v) {
    return __builtin_bswap64(v);
}

// The unsigned word that holds a value of type Stored (int32 or double) in a file.
template <typename Stored>
using FileWord = std::conditional_t<sizeof(Stored) == 8, std::uint64_t, std::uint32_t>;

// Writes `count` values. Calls valueAt(i) once for each, in order. Does nothing if the stream is
// null. Callers that care about short writes must check ferror().
template <typename Stored, typename ValueAt>
void WriteBigEndian(std::FILE* file, std::size_t count, ValueAt valueAt) {
    using Word = FileWord<Stored>;
    static_assert(sizeof(Stored) == sizeof(Word));
    constexpr std::size_t kPerBlock = kStageBytes / sizeof(Word);
    if (file == nullptr) return;
    Word stage[kPerBlock];
    for (std::size_t first = 0; first < count; first += kPerBlock) {
        const std::size_t n = std::min(kPerBlock, count - first);
        for (std::size_t i = 0; i < n; ++i) {
            const Stored value = valueAt(first + i);
            stage[i] = SwapBytes(std::bit_cast<Word>(value));
        }
        (void)std::fwrite(stage, sizeof(Word), n, file);
    }
}

// Reads `count` values and calls store(i, value) for each, in order. Returns false on a short read,
// after storing the complete values before it, and for a null stream unless count is 0.
template <typename Stored, typename Store>
bool ReadBigEndian(std::FILE* file, std::size_t count, Store store) {
    using Word = FileWord<Stored>;
    static_assert(sizeof(Stored) == sizeof(Word));
    constexpr std::size_t kPerBlock = kStageBytes / sizeof(Word);
    Word stage[kPerBlock];
    for (std::size_t first = 0; first < count; first += kPerBlock) {
        if (file == nullptr) return false;
        const std::size_t n = std::min(kPerBlock, count - first);
        const std::size_t got = std::fread(stage, sizeof(Word), n, file);
        for (std::size_t i = 0; i < got; ++i) {
            store(first + i, std::bit_cast<Stored>(SwapBytes(stage[i])));
        }
        if (got < n) return false;
    }
    return true;
}

// The same for a single int32.
inline void WriteBigEndianInt(std::FILE* file, std::int32_t value) {
    const std::uint32_t word = SwapBytes(std::bit_cast<std::uint32_t>(value));
    if (file != nullptr) (void)std::fwrite(&word, sizeof word, 1, file);
}

inline bool ReadBigEndianInt(std::FILE* file, std::int32_t& value) {
    std::uint32_t word = 0;
    if (file == nullptr || std::fread(&word, sizeof word, 1, file) != 1) return false;
    value = std::bit_cast<std::int32_t>(SwapBytes(word));
    return true;
}
