// Map files, through the renderer's map interface. The element's position is the attribute
// "position", each field is an attribute, a global field one value for all points.
#include "cache/formats/mrmap.h"

namespace vx::cache {

using mi::shader_v3::Map_status;

std::string map_error(const Map_status& status) {
    switch (status.get_code()) {
    case Map_status::Insufficient_memory:
        return "not enough memory for the map";
    case Map_status::File_could_not_be_opened:
        return "the map file cannot be opened";
    case Map_status::File_not_a_map:
        return "not a map file, or truncated or damaged";
    case Map_status::File_version_unsupported:
        return "a map file of an unknown version";
    case Map_status::Failure:
        return "the map file cannot be written; the disk may be full";
    default:
        return "the map cannot be processed (status " + std::to_string(status.get_code()) + ")";
    }
}

namespace {

constexpr std::string_view kExtensions[] = {"mrmap"};
constexpr std::string_view kEncodings[] = {"closed", "open", "ascii"};

} // namespace

const FormatTraits kMrmapFormat{.format = Format::mrmap,
                                .name = "mrmap",
                                .extensions = kExtensions,
                                .recognizes = nullptr,
                                .open = open_mrmap,
                                .write = write_mrmap,
                                .widths = {},
                                .encodings = kEncodings};

} // namespace vx::cache
