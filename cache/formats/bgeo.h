/// @file
/// Classic geometry files of Houdini: "Bgeo", "V", version 5, all numbers big-endian.
///
/// Eight counts follow (points, primitives, groups of points and of primitives, attributes of
/// points, vertices, primitives and of the file), then the definitions of the points' attributes,
/// then a row per point: x, y, z, w and the attributes, in words of 32 bits. The attributes of the
/// file, one value for all points, come behind primitives and groups.
#pragma once

#include "cache/formats/format_traits.h"

#include <array>
#include <string_view>

namespace vx::cache {

/// What an attribute is called in Houdini. The position is part of every point.
struct BgeoName {
    std::string_view attribute;
    std::string_view name;
    int width;
};
inline constexpr std::array<BgeoName, 4> kBgeoNames{
    {{"normalPP", "N", 3}, {"rgbPP", "Cd", 3}, {"opacityPP", "Alpha", 1}, {"radius", "pscale", 1}}};

/// Codes of types in the file. Values of an index refer to a list of texts in its definition.
enum class BgeoType { real = 0, integer = 1, text = 2, mixed = 3, index = 4, vector = 5 };

inline constexpr std::size_t kBgeoHeaderBytes = 41;

CloudPtr open_bgeo(FilePtr file, Findings& findings, const OpenOptions& options);
void write_bgeo(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);

} // namespace vx::cache
