// A point cloud as the verbs see it: named attributes whose values are read in any order, a run of
// points at a time, so that a cloud never has to fit into memory.
#pragma once

#include "cache/cloud/attribute.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vx::cache {

// Points that are worked on at a time: small enough for the cache, large enough for a system call.
inline constexpr std::int64_t block_points = 8192;

class Cloud {
  public:
    virtual ~Cloud() = default;
    Cloud() = default;
    Cloud(const Cloud&) = delete;
    Cloud& operator=(const Cloud&) = delete;

    // Values of points first..first+n-1 (or of the single value: 0 and 1), n * width of them, in
    // the attribute's type. Throws FileError. One thread at a time, unless the cloud says
    // otherwise.
    virtual void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) = 0;
    virtual bool reads_in_parallel() const { return false; }
    // Where a value stands in its file, -1 where that has no meaning.
    virtual std::int64_t byte_offset(std::size_t, std::int64_t) const { return -1; }

    // Damage that reading alone does not show (check sums), as offset and text. Reads everything.
    virtual std::vector<std::pair<std::int64_t, std::string>> verify() { return {}; }

    int find(std::string_view name) const { return find_attribute(attributes, name); }

    std::string file_name; // the file's, for messages
    std::int64_t count = 0;
    std::vector<Attribute> attributes;
    // What the format says of itself and the model has no place for, as name and text.
    std::vector<std::pair<std::string, std::string>> details;
};
using CloudPtr = std::unique_ptr<Cloud>;

// Reads runs of one attribute as values of T, whatever type the cloud has; a single value is
// repeated for every point.
template <typename T>
class Reader {
  public:
    Reader(Cloud& cloud, std::size_t attribute) : m_cloud(cloud), m_index(attribute) {}

    // n * width values, valid until the next call. `changed` grows by the values that T cannot
    // hold.
    std::span<const T> read(std::int64_t first, std::int64_t n) {
        const Attribute& attribute = m_cloud.attributes[m_index];
        const auto width = static_cast<std::size_t>(attribute.width);
        const auto points = static_cast<std::size_t>(n);
        m_values.resize(points * width);
        if (points == 0) return m_values;
        const std::size_t stored = attribute.single ? 1 : points;
        void* target = m_values.data();
        if (attribute.type != type_of<T>()) {
            m_raw.resize(stored * attribute.bytes());
            target = m_raw.data();
        }
        m_cloud.read(m_index, attribute.single ? 0 : first, attribute.single ? 1 : n, target);
        if (attribute.type != type_of<T>()) {
            changed += convert_values(attribute.type, target, type_of<T>(), m_values.data(),
                                      stored * width);
        }
        for (std::size_t i = stored * width; i < m_values.size(); ++i)
            m_values[i] = m_values[i - width];
        return m_values;
    }
    int width() const { return m_cloud.attributes[m_index].width; }

    std::int64_t changed = 0;

  private:
    Cloud& m_cloud;
    std::size_t m_index;
    std::vector<T> m_values;
    std::vector<std::byte> m_raw;
};

// Calls f(first, n) for the blocks of a cloud, in order.
template <typename F>
void for_blocks(std::int64_t count, F&& f) {
    for (std::int64_t first = 0; first < count; first += block_points)
        f(first, std::min(block_points, count - first));
}

// Index of "position" with three values per point; throws FileError without one.
std::size_t need_position(const Cloud& cloud);

} // namespace vx::cache
