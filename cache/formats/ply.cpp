#include "cache/formats/ply.h"

namespace vx::cache {

namespace {

bool is_ply(std::string_view start) {
    return start.starts_with("ply\n") || start.starts_with("ply\r");
}

constexpr std::string_view extensions[] = {"ply"};
constexpr std::string_view encodings[] = {"little", "big", "ascii"};

} // namespace

const FormatTraits ply_format{.format = Format::ply,
                              .name = "ply",
                              .extensions = extensions,
                              .recognizes = is_ply,
                              .open = open_ply,
                              .write = write_ply,
                              .widths = {},
                              .encodings = encodings};

} // namespace vx::cache
