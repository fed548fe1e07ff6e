// The checksum of binary map files. It runs at the speed of memory, because opening a mapped file
// reads little else. It does not protect against forgery.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vx::maps {

// Eight lanes of 64 bits; lane i covers the words i, i + 8, ... of the data, which are
// little-endian. Each step is invertible in the word and in the lane, so a change of one word
// always changes the result.
class Checksum {
  public:
    static constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15u;
    static constexpr int kRotation = 29;
    static constexpr std::size_t kBlockBytes = 64;

    Checksum();
    // `bytes` must be a multiple of 64.
    void add(const void* data, std::size_t bytes);
    std::uint64_t value() const;

  private:
    std::array<std::uint64_t, 8> m_lanes;
    std::uint64_t m_bytes = 0;
};

} // namespace vx::maps
