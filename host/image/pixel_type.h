// The names that scenes use for what a picture file holds.
#pragma once

#include <optional>
#include <string_view>

namespace vx::image {

enum class Channels { rgb, rgba, alpha, depth, normal, motion, label };
enum class Depth { bits8, bits16, half, single };

struct PixelType {
    Channels channels = Channels::rgba;
    Depth depth = Depth::bits8;
    bool interpolated = true; // colours always are; the others only when asked to with "+"
    bool operator==(const PixelType&) const = default;
};

// "rgb", "rgba", "a" with nothing (8 bits), "_16", "_h" (half float) or "_fp" (32-bit float) behind
// it; "rgbe"; "z", "n", "m", "tag"; with "+" or "-" before it. Nothing for any other text.
[[nodiscard]] std::optional<PixelType> parse_pixel_type(std::string_view name);

// What a file of this format ("png", "exr", ...) holds when the scene names no type.
[[nodiscard]] PixelType best_pixel_type(std::string_view format);

// The name of the program part that writes a format as scenes call it: "jpg" is "jpeg", "rgb" is
// "sgi". Unknown names come back as they are.
[[nodiscard]] std::string_view writer_name(std::string_view format);

} // namespace vx::image
