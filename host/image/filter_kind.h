// The reconstruction filters and the names that scenes and the command line give them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vx::image {

// The values are those of miOptions::filter.
enum class FilterKind : std::uint8_t { box, triangle, gauss, mitchell, lanczos };

struct FilterInfo {
    std::string_view name;
    FilterKind kind;
    float default_size; // full width and height in pixels
};

// Indexed by FilterKind.
inline constexpr std::array<FilterInfo, 5> kFilters{{{"box", FilterKind::box, 1.0f},
                                                     {"triangle", FilterKind::triangle, 2.0f},
                                                     {"gauss", FilterKind::gauss, 3.0f},
                                                     {"mitchell", FilterKind::mitchell, 4.0f},
                                                     {"lanczos", FilterKind::lanczos, 4.0f}}};

constexpr float default_filter_size(FilterKind kind) {
    return kFilters[static_cast<std::size_t>(kind)].default_size;
}

// The kind with this value in miOptions::filter. Out-of-range values are clamped.
constexpr FilterKind filter_kind(int value) {
    return static_cast<FilterKind>(std::clamp(value, 0, static_cast<int>(kFilters.size()) - 1));
}

} // namespace vx::image
