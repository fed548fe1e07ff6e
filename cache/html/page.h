// A cloud as one HTML page that shows it: orbit, color by any attribute, filter by label, pick.
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

// The initial settings of the page, which can be changed there.
struct PageStart {
    enum class Mode { plain, color, value, label, direction, place }; // place: within the bounds
    std::optional<Mode> mode;                                         // none: the page chooses
    std::size_t attribute = 0;
    int component = 0;                               // of value; -1: the length of the vector
    std::optional<std::pair<double, double>> range;  // of value
    std::optional<std::vector<std::int32_t>> labels; // that are shown; none: all
};

struct PageOptions {
    std::int64_t most_points =
        2'000'000; // of a larger cloud the page gets a part; see SampledCloud
    PageStart start;
    std::function<void(std::int64_t done, std::int64_t total)> progress;
};
inline constexpr std::int64_t kMostPagePoints = 50'000'000;

// False in a build without Node.js, which bundles the viewer.
bool can_write_page();

// Writes a page that needs no other file and no network. The description of the cloud is JSON in
// the element "vx-cloud"; the values of attribute number k are the elements with
// data-attribute="k", in order: base64 of one deflated stream (zlib's format) of little-endian
// numbers, whose bytes stand in planes, for each run of `groupPoints` points all first bytes, then
// all second ones, and so on. Positions are 32-bit floats relative to the description's center
// (float64); whole numbers are int32, int64 or float64, whichever holds them exactly; all else is a
// 32-bit float. `notes` and the page report what is rounded and how many points are left out.
// Memory use does not grow with the cloud. Throws FileError, also for a cloud without positions.
void write_page(Cloud& cloud, OutputFile& out, const PageOptions& options, Notes& notes);

} // namespace vx::cache
