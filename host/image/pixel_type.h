// Pixel types of image files, by the names that scenes use.
#pragma once

#include <optional>
#include <string_view>

namespace vx::image {

enum class Channels { rgb, rgba, alpha, depth, normal, motion, label };
enum class Depth { bits8, bits16, half, single };

struct PixelType {
    Channels channels = Channels::rgba;
    Depth depth = Depth::bits8;
    bool interpolated = true; // always true for colors; for other channels only with "+"
    bool operator==(const PixelType&) const = default;
};

// Parses "rgb", "rgba" or "a", alone (8 bits) or with the suffix "_16", "_h" (half float) or "_fp"
// (32-bit float); "rgbe"; "z", "n", "m" or "tag". A prefix "+" or "-" turns interpolation on or
// off. Returns nullopt for any other text.
[[nodiscard]] std::optional<PixelType> parse_pixel_type(std::string_view name);

// The default pixel type of a file format ("png", "exr", ...).
[[nodiscard]] PixelType best_pixel_type(std::string_view format);

// The OpenImageIO name of a format: "jpeg" for "jpg", "sgi" for "rgb". Unknown names are returned
// unchanged.
[[nodiscard]] std::string_view writer_name(std::string_view format);

} // namespace vx::image
