// The checksum of binary map files. At the speed of memory, since a file that is mapped is
// otherwise hardly read at all; not meant against forgery.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vx::maps {

// Eight lanes of 64 bits, lane i over words i, i + 8, ... of the data in little-endian order. Every
// step is invertible in the word and in the lane: a change within one word always changes the
// result.
class Checksum {
  public:
    static constexpr std::uint64_t factor = 0x9e3779b97f4a7c15u;
    static constexpr int turn = 29;
    static constexpr std::size_t block = 64;

    Checksum();
    // A multiple of 64 bytes.
    void add(const void* data, std::size_t bytes);
    std::uint64_t value() const;

  private:
    std::array<std::uint64_t, 8> m_lanes;
    std::uint64_t m_bytes = 0;
};

} // namespace vx::maps
