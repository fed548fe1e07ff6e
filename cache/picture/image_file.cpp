#include "cache/picture/image_file.h"

#include "cache/cloud/error.h"
#include "cache/picture/color_map.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <filesystem>

#include <dlfcn.h>

namespace vx::cache {

namespace {

VxEncodeImage* load(const std::string& name) {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::string library =
        (program.parent_path().parent_path() / "lib" / "vx_cache_image.so").string();
    void* const handle = ::dlopen(library.c_str(), RTLD_LAZY | RTLD_LOCAL);
    void* const symbol = handle != nullptr ? ::dlsym(handle, "vx_encode_image") : nullptr;
    if (symbol == nullptr) {
        const char* const why = ::dlerror();
        throw FileError(name, -1,
                        std::string("the picture formats cannot be loaded: ") +
                            (why != nullptr ? why : library));
    }
    return reinterpret_cast<VxEncodeImage*>(symbol);
}

void take(void* user, const void* data, std::size_t size) {
    auto& bytes = *static_cast<std::vector<std::byte>*>(user);
    bytes.resize(size);
    std::memcpy(bytes.data(), data, size);
}

} // namespace

std::optional<ImageFormat> image_format_of_name(std::string_view path) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string_view::npos) return {};
    std::string end(path.substr(dot + 1));
    std::transform(end.begin(), end.end(), end.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (end == "png") return ImageFormat::png;
    if (end == "exr") return ImageFormat::exr;
    return {};
}

std::vector<std::byte> encode_image(const Picture& picture, ImageFormat format, bool raw,
                                    const std::string& name) {
    VxEncodeImage* const encode = load(name);
    std::vector<unsigned char> shown;
    if (format == ImageFormat::png) {
        shown.reserve(3 * picture.pixels.size());
        for (const Color& c : picture.pixels) {
            for (const float v : c) {
                // NaN becomes 0.
                const float value = raw ? (v > 0.0f ? std::min(v, 1.0f) : 0.0f) : to_display(v);
                shown.push_back(static_cast<unsigned char>(std::lround(value * 255.0f)));
            }
        }
    }
    const bool bytes = format == ImageFormat::png;
    std::vector<std::byte> file;
    const char* const why = encode(bytes ? "png" : "exr", picture.width, picture.height,
                                   bytes ? static_cast<const void*>(shown.data())
                                         : static_cast<const void*>(picture.pixels.data()),
                                   take, &file);
    if (why != nullptr) throw FileError(name, -1, why);
    return file;
}

} // namespace vx::cache
