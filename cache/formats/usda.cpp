#include "cache/formats/usda.h"

namespace vx::cache {

namespace {

bool is_usda(std::string_view start) {
    return start.starts_with("#usda");
}

constexpr std::string_view kExtensions[] = {"usda"};
constexpr int kWidths[] = {1, 2, 3, 4};

} // namespace

const FormatTraits kUsdaFormat{.format = Format::usda,
                               .name = "usda",
                               .extensions = kExtensions,
                               .recognizes = is_usda,
                               .open = open_usda,
                               .write = write_usda,
                               .widths = kWidths,
                               .encodings = {}};

} // namespace vx::cache
