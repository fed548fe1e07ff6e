// The maps that vx_pc_write makes of caches: points with these fields, which vx_pc_read looks up.
#pragma once

#include "src/platform/map_write.h"

struct CMapField {
    const char* name;
    map_write::FieldType type;
    int width; // values per point
};

// Their places in the declaration.
constexpr int kMapNormal = 0;
constexpr int kMapColor = 1;
constexpr int kMapOpacity = 2;
constexpr int kMapTag = 3;
constexpr int kMapFieldCount = 4;

inline constexpr CMapField kMapFields[kMapFieldCount] = {
    {"normalPP", map_write::FieldType::Vector, 3},
    {"rgbPP", map_write::FieldType::Vector, 3},
    {"opacityPP", map_write::FieldType::Scalar, 1},
    {"tag", map_write::FieldType::Integer, 1}};

// The quality that the search tree of such a map is built with.
constexpr float kMapTreeQuality = 0.6f;
