/// @file
/// Attributes of a cloud: named values of one type per point, and conversions between types.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

enum class Type { int32, int64, float32, float64 };

/// Bytes of a value.
std::size_t type_size(Type type);
/// "int32", "int64", "float32" or "float64".
std::string_view type_name(Type type);
inline bool is_integer(Type type) {
    return type == Type::int32 || type == Type::int64;
}

/// The description of an attribute. These names mean the same in every file format: "position" and
/// "radius" (world units), "normalPP", "rgbPP" (linear), "opacityPP", "id", "tag" (a label).
/// "position", "normalPP" and "rgbPP" have three values per point, the others one.
struct Attribute {
    std::string name;
    Type type = Type::float64;
    int width = 1;       ///< values per point
    bool single = false; ///< one set of `width` values for all points

    /// Bytes per point.
    std::size_t bytes() const { return type_size(type) * static_cast<std::size_t>(width); }
    bool operator==(const Attribute&) const = default;
};

/// @return the index of the attribute with this name, or -1
int find_attribute(const std::vector<Attribute>& attributes, std::string_view name);

/// Calls f with a null pointer to the C++ type, for generic lambdas, and returns its result.
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

/// The Type of std::int32_t, std::int64_t, float or double.
template <typename T>
constexpr Type type_of() {
    if constexpr (sizeof(T) == 4) return static_cast<T>(0.5) == T{} ? Type::int32 : Type::float32;
    return static_cast<T>(0.5) == T{} ? Type::int64 : Type::float64;
}

/// Converts values to another type. Conversion to an integer truncates toward zero and clamps to
/// the range of the type; not-a-number becomes 0. Between floating-point types, not-a-number is
/// kept and does not count as changed.
/// @param in,out  `count` values each; may only overlap if they are equal and so are the types
/// @return how many values changed
std::int64_t convert_values(Type from, const void* in, Type to, void* out, std::size_t count);

/// Converts values to int32 as the shaders do with labels: truncated toward zero to int64, then cut
/// to the low 32 bits.
/// @return how many values changed
std::int64_t wrap_values(Type from, const void* in, std::int32_t* out, std::size_t count);

} // namespace vx::cache
