#include "host/image/pixel_type.h"

#include <array>
#include <utility>

namespace vx::image {

std::optional<PixelType> parse_pixel_type(std::string_view name) {
    PixelType type;
    std::optional<bool> interpolated;
    if (!name.empty() && (name.front() == '+' || name.front() == '-')) {
        interpolated = name.front() == '+';
        name.remove_prefix(1);
    }
    static constexpr std::array<std::pair<std::string_view, Channels>, 4> kSurfaceTypes{
        {{"z", Channels::depth},
         {"n", Channels::normal},
         {"m", Channels::motion},
         {"tag", Channels::label}}};
    for (const auto& [text, channels] : kSurfaceTypes)
        if (name == text) return PixelType{channels, Depth::single, interpolated.value_or(false)};
    if (name == "rgbe") return PixelType{Channels::rgb, Depth::single, true};

    static constexpr std::array<std::pair<std::string_view, Depth>, 3> kDepths{
        {{"_16", Depth::bits16}, {"_h", Depth::half}, {"_fp", Depth::single}}};
    for (const auto& [suffix, depth] : kDepths)
        if (name.ends_with(suffix)) {
            type.depth = depth;
            name.remove_suffix(suffix.size());
            break;
        }
    if (name == "rgb")
        type.channels = Channels::rgb;
    else if (name == "rgba")
        type.channels = Channels::rgba;
    else if (name == "a")
        type.channels = Channels::alpha;
    else
        return std::nullopt;
    return type;
}

PixelType best_pixel_type(std::string_view format) {
    const std::string_view writer = writer_name(format);
    if (writer == "openexr") return {Channels::rgba, Depth::half, true};
    if (writer == "hdr") return {Channels::rgb, Depth::single, true};
    if (writer == "jpeg" || writer == "bmp") return {Channels::rgb, Depth::bits8, true};
    return {Channels::rgba, Depth::bits8, true};
}

std::string_view writer_name(std::string_view format) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 8> kWriterNames{
        {{"jpg", "jpeg"},
         {"tif", "tiff"},
         {"exr", "openexr"},
         {"tga", "targa"},
         {"rgb", "sgi"},
         {"rgba", "sgi"},
         {"pgm", "pnm"},
         {"ppm", "pnm"}}};
    for (const auto& [scene, writer] : kWriterNames)
        if (format == scene) return writer;
    return format;
}

} // namespace vx::image
