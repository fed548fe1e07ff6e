#include "cache/formats/ply.h"

namespace vx::cache {

namespace {

bool is_ply(std::string_view start) {
    return start.starts_with("ply\n") || start.starts_with("ply\r");
}

constexpr std::string_view kExtensions[] = {"ply"};
constexpr std::string_view kEncodings[] = {"little", "big", "ascii"};

} // namespace

const FormatTraits kPlyFormat{.format = Format::ply,
                              .name = "ply",
                              .extensions = kExtensions,
                              .recognizes = is_ply,
                              .open = open_ply,
                              .write = write_ply,
                              .widths = {},
                              .encodings = kEncodings};

} // namespace vx::cache
