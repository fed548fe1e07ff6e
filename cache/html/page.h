/// @file
/// Clouds as HTML pages with an interactive viewer.
#pragma once

#include "cache/cloud/cloud.h"
#include "cache/cloud/file.h"
#include "cache/formats/format.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace vx::cache {

/// The initial settings of the viewer.
struct PageStart {
    enum class Mode { plain, color, value, label, direction, place }; ///< place: within the bounds
    std::optional<Mode> mode;                                         ///< none: the page chooses
    std::size_t attribute = 0;
    int component = 0;                               ///< of value; -1: the length of the vector
    std::optional<std::pair<double, double>> range;  ///< of value
    std::optional<std::vector<std::int32_t>> labels; ///< that are shown; none: all
};

struct PageOptions {
    std::int64_t most_points = 2'000'000; ///< larger clouds are sampled; see SampledCloud
    PageStart start;
    std::function<void(std::int64_t done, std::int64_t total)> progress;
};
/// The limit of PageOptions::most_points.
inline constexpr std::int64_t kMostPagePoints = 50'000'000;

/// Whether the program contains the viewer. It does not if it was built without Node.js.
bool can_write_page();

/// Writes a page that depends on no other file and no network. Memory use does not grow with the
/// cloud.
///
/// The element "vx-cloud" of the page describes the cloud as JSON. The values of attribute number k
/// are the elements with data-attribute="k": together, in order, the base64 text of one zlib
/// stream. It holds little-endian numbers, for each run of `groupPoints` points first the first
/// bytes of all of them, then the second bytes, and so on. Positions are float32, relative to the
/// center (float64) in the description. Attributes with only whole numbers are int32, int64 or
/// float64, whichever holds them exactly; all others are float32.
///
/// @param notes  what is rounded and how many points are left out is appended; the page shows it,
/// too
/// @throws FileError  also if the cloud has no positions
void write_page(Cloud& cloud, OutputFile& out, const PageOptions& options, Notes& notes);

} // namespace vx::cache
