// Loops over bytes that are worth vector instructions; the kind is chosen at run time.
#pragma once

#include <cstddef>

namespace vx::cache {

// Reverses the bytes of every word; `size` is 4 or 8. Any alignment.
void swap_words(void* data, std::size_t count, std::size_t size);

// Puts one column into rows: item number i of `bytes` bytes goes to out + i * stride.
void scatter(const void* in, std::size_t bytes, void* out, std::size_t stride, std::size_t count);

} // namespace vx::cache
