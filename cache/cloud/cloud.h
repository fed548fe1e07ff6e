/// @file
/// A point cloud: named attributes whose values are read a run of points at a time, so that a cloud
/// need not fit into memory.
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

/// Points per block: small enough for the processor's cache, large enough to make the cost of a
/// system call negligible.
inline constexpr std::int64_t kBlockPoints = 8192;

class Cloud {
  public:
    virtual ~Cloud() = default;
    Cloud() = default;
    Cloud(const Cloud&) = delete;
    Cloud& operator=(const Cloud&) = delete;

    /// Reads the values of points first to first + n - 1; for a single attribute, `first` is 0 and
    /// `n` is 1. Not thread-safe unless reads_in_parallel() is true.
    /// @param out  room for n * width values of the attribute's type
    /// @throws FileError
    virtual void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) = 0;
    virtual bool reads_in_parallel() const { return false; }
    /// Like read(), for rows: the points in the order in which the file stores them. Reading all of
    /// a file is fastest row by row.
    virtual void read_rows(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
        read(attribute, first, n, out);
    }
    /// The row of a point.
    virtual std::int64_t stored_row(std::int64_t point) const { return point; }
    /// The offset of a point's first value in its file, or -1 if the value is not stored as such.
    virtual std::int64_t byte_offset(std::size_t, std::int64_t) const { return -1; }

    /// Reads the whole file and checks what read() does not: checksums.
    /// @return offset and description of each damage
    virtual std::vector<std::pair<std::int64_t, std::string>> verify() { return {}; }

    int find(std::string_view name) const { return find_attribute(attributes, name); }

    std::string file_name; ///< for messages
    std::int64_t count = 0;
    std::vector<Attribute> attributes;
    /// Properties of the file that are not attributes, as name and text.
    std::vector<std::pair<std::string, std::string>> details;
};
using CloudPtr = std::unique_ptr<Cloud>;

/// Calls f(first, n) for each block of a cloud of `count` points, in order.
template <typename F>
void for_blocks(std::int64_t count, F&& f) {
    for (std::int64_t first = 0; first < count; first += kBlockPoints)
        f(first, std::min(kBlockPoints, count - first));
}

/// @return the index of "position"
/// @throws FileError  if there is none with three values per point
std::size_t need_position(const Cloud& cloud);

} // namespace vx::cache
