/// @file
/// Labels of points, and lists of labels in the shaders' syntax.
#pragma once

#include "cache/cloud/attribute_reader.h"
#include "cache/cloud/cloud.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vx::cache {

/// The labels of a list such as "1,3,5-7", read as the shaders read it (src/names/label_list.h).
/// Ranges are kept as such, so that cost and memory depend on the length of the text only.
class LabelSet {
  public:
    explicit LabelSet(const std::string& text);
    bool empty() const { return m_ranges.empty(); }
    bool holds(std::int32_t label) const;
    /// The labels of the set that points of the cloud have, in rising order.
    /// @throws FileError
    std::vector<std::int32_t> found_in(Cloud& cloud) const;

  private:
    using Range = std::pair<std::int32_t, std::int32_t>; // both ends included
    std::vector<Range> m_ranges;                         // in rising order, apart from each other
};

/// The label of every point as the shaders read it: truncated, its low 32 bits; 0 without labels.
class LabelReader {
  public:
    explicit LabelReader(Cloud& cloud);
    std::span<const std::int32_t> read(std::int64_t first, std::int64_t n);

  private:
    std::optional<TypedReader<std::int32_t>> m_reader;
    std::vector<std::int32_t> m_zeros;
};

} // namespace vx::cache
