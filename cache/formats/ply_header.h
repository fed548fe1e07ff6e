// The header of a PLY file.
#pragma once

#include "cache/cloud/file.h"
#include "cache/formats/format.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vx::cache {

enum class PlyEncoding { little, big, ascii };
enum class PlyType { int8, uint8, int16, uint16, int32, uint32, float32, float64 };
std::size_t ply_size(PlyType type);
// The type of the model that holds every value.
Type ply_model_type(PlyType type);

struct PlyProperty {
    std::string name;
    PlyType type = PlyType::float32;
    bool list = false;
    PlyType count_type = PlyType::uint8;
};

struct PlyElement {
    std::string name;
    std::int64_t count = 0;
    std::int64_t offset = 0; // of its line
    std::vector<PlyProperty> properties;

    bool has_list() const;
    std::int64_t bytes() const; // of one, binary and without lists
};

struct PlyHeader {
    PlyEncoding encoding = PlyEncoding::ascii;
    std::vector<PlyElement> elements;
    std::vector<std::string> comments;
    std::int64_t end = 0; // where the data begin
};

// Throws FileError. Counts are checked to be not negative, and nothing more.
PlyHeader read_ply_header(const InputFile& file);

} // namespace vx::cache
