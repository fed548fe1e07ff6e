/// @file
/// The header of an array in NumPy's file format (.npy): a signature, a version, and a Python
/// dictionary as text.
#pragma once

#include "cache/cloud/attribute.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

/// The bytes before the dictionary, which are 10 or 12.
inline constexpr std::int64_t kMostNpyPrefixBytes = 12;
inline constexpr std::int64_t kLeastNpyPrefixBytes = 10;

struct NpyPrefix {
    std::int64_t bytes = 0;      ///< of the prefix itself
    std::int64_t dictionary = 0; ///< bytes of the dictionary that follows
};
/// @param start  the first bytes of the array's file, kMostNpyPrefixBytes if it has as many, and at
///               least kLeastNpyPrefixBytes
/// @return none if they are not those of an array
std::optional<NpyPrefix> parse_npy_prefix(std::string_view start);

/// The values of an array.
struct NpyLayout {
    bool known = false; ///< whether the type is a number of up to 8 bytes; if not, see type_text
    char kind = 'f';    ///< i, u, f, b
    int size = 8;       ///< bytes of a value
    bool big = false;   ///< big-endian
    bool fortran = false;
    std::vector<std::int64_t> shape;
    std::int64_t bytes = 0; ///< of all values
    std::string type_text;  ///< an excerpt of the type's description, for messages

    std::int64_t rows() const { return shape.empty() ? 1 : shape[0]; }
    /// The type of the model that holds every value. Values of uint64 beyond int64 do not fit.
    Type model_type() const;
};

/// Parses the dictionary. Of an array of an unknown type, only `type_text` and `fortran` are set.
/// @return why the dictionary is invalid; empty if it is valid
std::string parse_npy_dictionary(std::string_view text, NpyLayout& out);

/// The whole header of an attribute's array: shape (count,) or (count, width), and () or (1, width)
/// for a single value.
std::string npy_header(const Attribute& attribute, std::int64_t count);

} // namespace vx::cache
