#include "maps/checksum.h"

#include <bit>
#include <cstring>

namespace vx::maps {

Checksum::Checksum() : m_lanes{} {
    for (std::size_t i = 0; i < m_lanes.size(); ++i)
        m_lanes[i] = kFactor * (i + 1);
}

void Checksum::add(const void* data, std::size_t bytes) {
    const auto* at = static_cast<const unsigned char*>(data);
    std::array<std::uint64_t, 8> lanes = m_lanes;
    for (std::size_t done = 0; done < bytes; done += kBlockBytes, at += kBlockBytes) {
        std::array<std::uint64_t, 8> words;
        std::memcpy(words.data(), at, kBlockBytes);
        for (std::size_t i = 0; i < 8; ++i) {
            lanes[i] = std::rotl((lanes[i] ^ words[i]) * kFactor, kRotation);
        }
    }
    m_lanes = lanes;
    m_bytes += bytes;
}

std::uint64_t Checksum::value() const {
    std::uint64_t sum = m_bytes;
    for (const std::uint64_t lane : m_lanes)
        sum = std::rotl((sum ^ lane) * kFactor, kRotation);
    return sum;
}

} // namespace vx::maps
