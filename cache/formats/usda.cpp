#include "cache/formats/usda.h"

namespace vx::cache {

namespace {

bool is_usda(std::string_view start) {
    return start.starts_with("#usda");
}

constexpr std::string_view extensions[] = {"usda"};
constexpr int widths[] = {1, 2, 3, 4};

} // namespace

const FormatTraits usda_format{.format = Format::usda,
                               .name = "usda",
                               .extensions = extensions,
                               .recognizes = is_usda,
                               .open = open_usda,
                               .write = write_usda,
                               .widths = widths,
                               .encodings = {}};

} // namespace vx::cache
