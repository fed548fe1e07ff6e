#include "cache/cloud/attribute.h"

#include "src/points/attribute.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace vx::cache {

namespace {

template <typename To, typename From>
To convert_value(From value) {
    if constexpr (std::is_floating_point_v<To>) {
        return static_cast<To>(value);
    } else if constexpr (std::is_floating_point_v<From>) {
        const double v = static_cast<double>(value);
        if (std::isnan(v)) return 0;
        // The upper limits are powers of two, which doubles hold exactly; the largest values are
        // not.
        constexpr double kBeyond = sizeof(To) == 4 ? 2147483648.0 : 9223372036854775808.0;
        if (v >= kBeyond) return std::numeric_limits<To>::max();
        if (v < -kBeyond) return std::numeric_limits<To>::min();
        return static_cast<To>(v);
    } else {
        if (value > std::numeric_limits<To>::max()) return std::numeric_limits<To>::max();
        if (value < std::numeric_limits<To>::min()) return std::numeric_limits<To>::min();
        return static_cast<To>(value);
    }
}

// Whether a converted value equals the original.
template <typename To, typename From>
bool is_same_value(To now, From before) {
    if constexpr (std::is_floating_point_v<From>) {
        if constexpr (std::is_floating_point_v<To>) {
            return static_cast<double>(now) == static_cast<double>(before) || std::isnan(before);
        } else {
            // As a double the largest integer equals the power of two above it, which it is not.
            constexpr double kBeyond = sizeof(To) == 4 ? 2147483648.0 : 9223372036854775808.0;
            return static_cast<double>(now) == static_cast<double>(before) &&
                   static_cast<double>(before) < kBeyond;
        }
    } else if constexpr (std::is_floating_point_v<To>) {
        return convert_value<From>(now) == before &&
               static_cast<double>(now) <
                   (sizeof(From) == 4 ? 2147483648.0 : 9223372036854775808.0);
    } else {
        return static_cast<std::int64_t>(now) == static_cast<std::int64_t>(before);
    }
}

} // namespace

std::size_t type_size(Type type) {
    return type == Type::int32 || type == Type::float32 ? 4 : 8;
}

std::string_view type_name(Type type) {
    switch (type) {
    case Type::int32:
        return "int32";
    case Type::int64:
        return "int64";
    case Type::float32:
        return "float32";
    case Type::float64:
        break;
    }
    return "float64";
}

int find_attribute(const std::vector<Attribute>& attributes, std::string_view name) {
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (attributes[i].name == name) return static_cast<int>(i);
    }
    return -1;
}

std::int64_t convert_values(Type from, const void* in, Type to, void* out, std::size_t count) {
    if (from == to) {
        if (in != out) std::memcpy(out, in, count * type_size(from));
        return 0;
    }
    return with_type(from, [&](auto* source_type) {
        return with_type(to, [&](auto* target_type) {
            using From = std::remove_pointer_t<decltype(source_type)>;
            using To = std::remove_pointer_t<decltype(target_type)>;
            const auto* source = static_cast<const From*>(in);
            auto* target = static_cast<To*>(out);
            std::int64_t changed = 0;
            for (std::size_t i = 0; i < count; ++i) {
                target[i] = convert_value<To>(source[i]);
                changed += is_same_value(target[i], source[i]) ? 0 : 1;
            }
            return changed;
        });
    });
}

std::int64_t wrap_values(Type from, const void* in, std::int32_t* out, std::size_t count) {
    return with_type(from, [&](auto* source_type) {
        using From = std::remove_pointer_t<decltype(source_type)>;
        const auto* source = static_cast<const From*>(in);
        std::int64_t changed = 0;
        for (std::size_t i = 0; i < count; ++i) {
            std::int64_t whole = 0;
            if constexpr (std::is_floating_point_v<From>) {
                whole = TruncateToInt64(static_cast<double>(source[i]));
            } else {
                whole = source[i];
            }
            out[i] = static_cast<std::int32_t>(whole);
            changed += static_cast<double>(out[i]) == static_cast<double>(source[i]) ? 0 : 1;
        }
        return changed;
    });
}

} // namespace vx::cache
