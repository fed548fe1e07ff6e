#include "cache/formats/bgeo.h"

namespace vx::cache {

namespace {

// The second is the start of files of later versions, which open_bgeo() refuses by name.
bool is_bgeo(std::string_view start) {
    return start.starts_with("Bgeo") || start.starts_with("\x7fNSJb");
}

constexpr std::string_view kExtensions[] = {"bgeo", "bhclassic"};

} // namespace

const FormatTraits kBgeoFormat{.format = Format::bgeo,
                               .name = "bgeo",
                               .extensions = kExtensions,
                               .recognizes = is_bgeo,
                               .open = open_bgeo,
                               .write = write_bgeo,
                               .widths = {},
                               .encodings = {}};

} // namespace vx::cache
