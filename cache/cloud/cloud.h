// A point cloud: named attributes whose values are read in any order, a run of points at a time, so
// that a cloud does not have to fit into memory.
#pragma once

#include "cache/cloud/attribute.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vx::cache {

// Points per run: small enough for the processor's cache, large enough for a system call.
inline constexpr std::int64_t kBlockPoints = 8192;

class Cloud {
  public:
    virtual ~Cloud() = default;
    Cloud() = default;
    Cloud(const Cloud&) = delete;
    Cloud& operator=(const Cloud&) = delete;

    // Values of points first..first+n-1 (or of the single value: 0 and 1), n * width of them, in
    // the attribute's type. Throws FileError. Not thread-safe unless reads_in_parallel() is
    // true.
    virtual void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) = 0;
    virtual bool reads_in_parallel() const { return false; }
    // Byte offset of a value in its file, -1 if it has none.
    virtual std::int64_t byte_offset(std::size_t, std::int64_t) const { return -1; }

    // Damage that reading alone does not detect (checksums), as offset and text. Reads everything.
    virtual std::vector<std::pair<std::int64_t, std::string>> verify() { return {}; }

    int find(std::string_view name) const { return find_attribute(attributes, name); }

    std::string file_name; // the file's, for messages
    std::int64_t count = 0;
    std::vector<Attribute> attributes;
    // Properties of the file that are not attributes, as name and text.
    std::vector<std::pair<std::string, std::string>> details;
};
using CloudPtr = std::unique_ptr<Cloud>;

// Calls f(first, n) for the blocks of a cloud, in order.
template <typename F>
void for_blocks(std::int64_t count, F&& f) {
    for (std::int64_t first = 0; first < count; first += kBlockPoints)
        f(first, std::min(kBlockPoints, count - first));
}

// Index of "position" with three values per point; throws FileError without one.
std::size_t need_position(const Cloud& cloud);

} // namespace vx::cache
