/// @file
/// The header of a PLY file.
#pragma once

#include "cache/cloud/file.h"
#include "cache/formats/format.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

enum class PlyEncoding { little, big, ascii };
enum class PlyType { int8, uint8, int16, uint16, int32, uint32, float32, float64 };
/// Bytes of a value.
std::size_t ply_size(PlyType type);
/// "char", "uchar", "short", "ushort", "int", "uint", "float" or "double".
std::string_view ply_type_name(PlyType type);
/// The type of a cloud's attribute that holds every value.
Type ply_model_type(PlyType type);

struct PlyProperty {
    std::string name;
    PlyType type = PlyType::float32;
    bool list = false;
    PlyType count_type = PlyType::uint8; ///< of a list's length
};

struct PlyElement {
    std::string name;
    std::int64_t count = 0;
    std::int64_t offset = 0; ///< of its line in the file
    std::vector<PlyProperty> properties;

    bool has_list() const;
    std::int64_t bytes() const; ///< of a row in a binary file; lists are not counted
};

struct PlyHeader {
    PlyEncoding encoding = PlyEncoding::ascii;
    std::vector<PlyElement> elements;
    std::vector<std::string> comments;
    std::int64_t end = 0; ///< offset of the data
};

/// Counts are not negative, but not checked against the size of the file.
/// @throws FileError
PlyHeader read_ply_header(const InputFile& file);

} // namespace vx::cache
