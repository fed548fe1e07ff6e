#include "host/scene/description.h"

#include <algorithm>

namespace vx::scene {

namespace {

constexpr std::array<std::string_view, 19> kTypeNames = {
    "boolean", "integer",   "scalar",         "string",         "color",
    "vector",  "transform", "scalar texture", "vector texture", "color texture",
    "light",   "material",  "geometry",       "lightprofile",   "spectrum",
    "shader",  "data",      "struct",         "array"};

} // namespace

bool operator==(const Value& a, const Value& b) {
    return a.content == b.content;
}

bool operator==(const Parameter& a, const Parameter& b) {
    return a.name == b.name && a.value == b.value;
}

std::string_view type_name(Type type) {
    return kTypeNames[static_cast<std::size_t>(type)];
}

unsigned component_count(Type type) {
    switch (type) {
    case Type::boolean:
    case Type::integer:
    case Type::scalar:
        return 1;
    case Type::vector:
        return 3;
    case Type::color:
        return 4;
    case Type::transform:
        return 16;
    default:
        return 0;
    }
}

bool operator==(const Declaration& a, const Declaration& b) {
    return a.kind == b.kind && a.name == b.name && a.result == b.result &&
           a.result_fields == b.result_fields && a.parameters == b.parameters &&
           a.version == b.version && a.apply == b.apply && a.wants_trace == b.wants_trace &&
           a.wants_scanline == b.wants_scanline;
}

LightKind Light::kind() const {
    if (!direction) return LightKind::point;
    return origin && spread ? LightKind::spot : LightKind::directional;
}

} // namespace vx::scene
