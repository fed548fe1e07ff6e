// Attributes of a cloud: named values of one type per point, and conversions between types.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

enum class Type { int32, int64, float32, float64 };

std::size_t type_size(Type type);
std::string_view type_name(Type type); // "int32", ...
inline bool is_integer(Type type) {
    return type == Type::int32 || type == Type::int64;
}

// One attribute. These names are the same in every file format: "position" (width 3), "normalPP"
// (3), "rgbPP" (3), "opacityPP", "radius" (world units), "id", "tag" (label).
struct Attribute {
    std::string name;
    Type type = Type::float64;
    int width = 1;       // values per point
    bool single = false; // one value for all points

    std::size_t bytes() const { return type_size(type) * static_cast<std::size_t>(width); }
    bool operator==(const Attribute&) const = default;
};

// Index of the attribute of that name, -1 without one.
int find_attribute(const std::vector<Attribute>& attributes, std::string_view name);

// Calls f with a null pointer of the type's C++ type.
template <typename F>
decltype(auto) with_type(Type type, F&& f) {
    switch (type) {
    case Type::int32:
        return f(static_cast<std::int32_t*>(nullptr));
    case Type::int64:
        return f(static_cast<std::int64_t*>(nullptr));
    case Type::float32:
        return f(static_cast<float*>(nullptr));
    case Type::float64:
        break;
    }
    return f(static_cast<double*>(nullptr));
}

template <typename T>
constexpr Type type_of() {
    if constexpr (sizeof(T) == 4) return static_cast<T>(0.5) == T{} ? Type::int32 : Type::float32;
    return static_cast<T>(0.5) == T{} ? Type::int64 : Type::float64;
}

// Copies `count` values from one type to another and returns how many of them changed. Integers
// are truncated toward zero and clamped to the range of the type; not-a-number becomes 0. Between
// the floating types not-a-number is kept and not counted.
std::int64_t convert_values(Type from, const void* in, Type to, void* out, std::size_t count);

// The same to int32 as the shaders read labels: truncated toward zero to int64, of which the low 32
// bits are taken.
std::int64_t wrap_values(Type from, const void* in, std::int32_t* out, std::size_t count);

} // namespace vx::cache
