// Big-endian values in files, moved in blocks: a block of values is swapped in a fixed buffer on
// the stack and handed to the stream in one call.
#ifndef VX_POINTS_BIG_ENDIAN_H
#define VX_POINTS_BIG_ENDIAN_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <type_traits>

static_assert(std::endian::native == std::endian::little, "values are swapped unconditionally");

// Small enough for a rendering thread's stack and the second-level cache, large enough that the
// system call behind each block does not count.
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

// Writes `count` values; valueAt(i) is asked for each once, in order. Nothing is asked or written
// when the stream is null. Short writes are not detected here: they stay visible in ferror().
template <typename Stored, typename ValueAt>
void WriteBigEndian(std::FILE* file, std::size_t count, ValueAt valueAt) {
    using Word = FileWord<Stored>;
    static_assert(sizeof(Stored) == sizeof(Word));
    constexpr std::size_t perBlock = kStageBytes / sizeof(Word);
    if (file == nullptr) return;
    Word stage[perBlock];
    for (std::size_t first = 0; first < count; first += perBlock) {
        const std::size_t n = std::min(perBlock, count - first);
        for (std::size_t i = 0; i < n; ++i) {
            const Stored value = valueAt(first + i);
            stage[i] = SwapBytes(std::bit_cast<Word>(value));
        }
        (void)std::fwrite(stage, sizeof(Word), n, file);
    }
}

// Reads `count` values; store(i, value) is called for each in order. False on a short read, or when
// a value is wanted of a null stream: the values that came whole before it have been stored.
template <typename Stored, typename Store>
bool ReadBigEndian(std::FILE* file, std::size_t count, Store store) {
    using Word = FileWord<Stored>;
    static_assert(sizeof(Stored) == sizeof(Word));
    constexpr std::size_t perBlock = kStageBytes / sizeof(Word);
    Word stage[perBlock];
    for (std::size_t first = 0; first < count; first += perBlock) {
        if (file == nullptr) return false;
        const std::size_t n = std::min(perBlock, count - first);
        const std::size_t got = std::fread(stage, sizeof(Word), n, file);
        for (std::size_t i = 0; i < got; ++i) {
            store(first + i, std::bit_cast<Stored>(SwapBytes(stage[i])));
        }
        if (got < n) return false;
    }
    return true;
}

// One int32. The same contracts without the stage.
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

#endif
