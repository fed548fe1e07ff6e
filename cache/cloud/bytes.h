/// @file
/// Values as the bytes of files: byte orders, and loops over many values, which use vector
/// instructions if the processor has them.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace vx::cache {

static_assert(std::endian::native == std::endian::little, "other orders are swapped");

/// The T at an address of any alignment. `swap` reverses its bytes: it is big-endian.
template <typename T>
T load(const void* at, bool swap = false) {
    std::array<std::byte, sizeof(T)> bytes;
    std::memcpy(bytes.data(), at, sizeof(T));
    if (swap) std::reverse(bytes.begin(), bytes.end());
    return std::bit_cast<T>(bytes);
}

/// The little-endian number in bytes[at] to bytes[at + size - 1]; `size` is at most 8. Bytes beyond
/// the end count as 0.
std::uint64_t little_endian_at(std::string_view bytes, std::size_t at, std::size_t size);

/// Appends the low `size` bytes of a number.
void append_little_endian(std::string& out, std::uint64_t value, std::size_t size);
void append_big_endian(std::string& out, std::uint64_t value, std::size_t size);

/// Reverses the bytes of each of `count` words at any alignment.
/// @param size  of a word: 1, 2, 4 or 8
void swap_words(void* data, std::size_t count, std::size_t size);

/// Copies a column into rows: item i, of `bytes` bytes, to out + i * stride.
void scatter(const void* in, std::size_t bytes, void* out, std::size_t stride, std::size_t count);

} // namespace vx::cache
