#include "host/image/openimageio.h"

#include <OpenImageIO/imageio.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>

namespace vx::image::openimageio {

namespace {

using Reason = std::optional<std::string>;
namespace fs = std::filesystem;

// Limits of the pixels in memory. Small files must not expand without limit: formats reach a
// thousandfold where all pixels are alike.
constexpr std::uint64_t kMaxBytes = std::uint64_t{8} << 30;
constexpr std::uint64_t kMaxExpansion = 4096;
constexpr std::uint64_t kAlwaysAllowedBytes = std::uint64_t{64} << 20;

// Targa files have no signature.
bool is_targa(std::string_view head) {
    constexpr std::size_t kHeader = 18, kColorMap = 1, kKind = 2, kBits = 16;
    if (head.size() < kHeader) return false;
    constexpr std::string_view kKinds = "\x01\x02\x03\x09\x0a\x0b";
    constexpr std::string_view kBitCounts = "\x08\x0f\x10\x18\x20";
    return (head[kColorMap] == 0 || head[kColorMap] == 1) &&
           kKinds.find(head[kKind]) != std::string_view::npos &&
           kBitCounts.find(head[kBits]) != std::string_view::npos;
}

// OpenImageIO's name for the format of a file that begins with these bytes; empty if the format is
// not supported.
std::string plugin_of(std::string_view head) {
    using namespace std::string_view_literals;
    struct Signature {
        std::string_view bytes;
        const char* plugin;
    };
    constexpr std::array kSignatures{Signature{"\x89PNG"sv, "png"},
                                     Signature{"\xff\xd8\xff"sv, "jpeg"},
                                     Signature{"II*\0"sv, "tiff"},
                                     Signature{"MM\0*"sv, "tiff"},
                                     Signature{"II+\0"sv, "tiff"},
                                     Signature{"MM\0+"sv, "tiff"},
                                     Signature{"\x76\x2f\x31\x01"sv, "openexr"},
                                     Signature{"#?"sv, "hdr"},
                                     Signature{"BM"sv, "bmp"},
                                     Signature{"GIF8"sv, "gif"},
                                     Signature{"FOR4"sv, "iff"},
                                     Signature{"\x01\xda"sv, "sgi"},
                                     Signature{"SDPX"sv, "dpx"},
                                     Signature{"XPDS"sv, "dpx"},
                                     Signature{"\0\0\0\x0cjP  "sv, "jpeg2000"},
                                     Signature{"\xff\x4f\xff\x51"sv, "jpeg2000"}};
    for (const Signature& signature : kSignatures)
        if (head.starts_with(signature.bytes)) return signature.plugin;
    if (head.starts_with("RIFF") && head.substr(8).starts_with("WEBP")) return "webp";
    constexpr std::string_view kPnmKinds = "1234567fF";
    if (head.size() > 1 && head[0] == 'P' && kPnmKinds.find(head[1]) != std::string_view::npos)
        return "pnm";
    return is_targa(head) ? "targa" : "";
}

std::string plugin_of_file(const std::string& path) {
    std::array<char, 32> head{};
    std::ifstream file(path, std::ios::binary);
    file.read(head.data(), head.size());
    return plugin_of({head.data(), static_cast<std::size_t>(file.gcount())});
}

template <class T>
Reason read_pixels(OIIO::ImageInput& in, Pixels& pixels, OIIO::TypeDesc type,
                   std::vector<T>& values) {
    values.resize(static_cast<std::size_t>(pixels.width) * static_cast<std::size_t>(pixels.height) *
                  static_cast<std::size_t>(pixels.components));
    if (!in.read_image(0, 0, 0, pixels.components, type, values.data())) return in.geterror();
    return std::nullopt;
}

} // namespace

Reason read_picture(const std::string& path, Pixels& pixels) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) return "there is no such file";
    if (!fs::is_regular_file(status)) return "it is not a regular file"; // a pipe would block
    const std::uint64_t file_bytes = fs::file_size(path, error);
    const std::string plugin = plugin_of_file(path);
    if (plugin.empty()) return "its format is not supported";
    const auto in = OIIO::ImageInput::create(plugin);
    OIIO::ImageSpec spec;
    if (!in) return OIIO::geterror();
    if (!in->open(path, spec)) return in->geterror();
    if (spec.width <= 0 || spec.height <= 0 || spec.nchannels < 1)
        return fmt::format("its size of {} x {} pixels is not sensible", spec.width, spec.height);
    pixels.width = spec.width;
    pixels.height = spec.height;
    pixels.components = std::min(spec.nchannels, 4);
    const bool bytes = spec.format == OIIO::TypeDesc::UINT8;
    const std::uint64_t size =
        static_cast<std::uint64_t>(spec.width) * static_cast<std::uint64_t>(spec.height) *
        static_cast<std::uint64_t>(pixels.components) * (bytes ? 1 : sizeof(float));
    if (size > kMaxBytes || size > std::max(kAlwaysAllowedBytes, file_bytes * kMaxExpansion))
        return fmt::format("its {} x {} pixels are too many for a file of {} bytes", spec.width,
                           spec.height, file_bytes);
    return bytes ? read_pixels(*in, pixels, OIIO::TypeDesc::UINT8, pixels.bytes)
                 : read_pixels(*in, pixels, OIIO::TypeDesc::FLOAT, pixels.floats);
}

} // namespace vx::image::openimageio

const vx::image::Formats* vx_image_formats() {
    using namespace vx::image;
    static constexpr Formats kFormats{openimageio::format_name, openimageio::can_write,
                                      openimageio::encode_picture, openimageio::read_picture};
    return &kFormats;
}
