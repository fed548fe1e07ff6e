#include "cache/html/sampled.h"

#include "cache/cloud/hash.h"

#include <cstring>

namespace vx::cache {

SampledCloud::SampledCloud(Cloud& cloud, std::int64_t points) : m_cloud(cloud) {
    file_name = cloud.file_name;
    count = std::min(cloud.count, points);
    attributes = cloud.attributes;
    details = cloud.details;
}

std::int64_t SampledCloud::source_of(std::int64_t index) const {
    if (count == m_cloud.count) return index;
    const std::int64_t begin = index * m_cloud.count / count;
    const std::int64_t end = (index + 1) * m_cloud.count / count;
    return begin + scrambled(static_cast<std::uint32_t>(index)) % (end - begin);
}

void SampledCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    if (attributes[attribute].single || count == m_cloud.count) {
        m_cloud.read(attribute, first, n, out);
        return;
    }
    const std::size_t bytes = attributes[attribute].bytes();
    auto* target = static_cast<std::byte*>(out);
    for (std::int64_t i = first; i < first + n;) {
        // The sampled points within one block of the source.
        const std::int64_t begin = source_of(i);
        std::int64_t last = begin;
        std::int64_t next = i + 1;
        while (next < first + n && source_of(next) - begin < kBlockPoints)
            last = source_of(next++);
        m_raw.resize(static_cast<std::size_t>(last + 1 - begin) * bytes);
        m_cloud.read(attribute, begin, last + 1 - begin, m_raw.data());
        for (; i < next; ++i, target += bytes)
            std::memcpy(target,
                        m_raw.data() + static_cast<std::size_t>(source_of(i) - begin) * bytes,
                        bytes);
    }
}

} // namespace vx::cache
