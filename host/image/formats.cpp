#include "host/image/formats.h"

#include "host/image/encode.h"

#include <filesystem>
#include <stdexcept>

#include <dlfcn.h>

namespace vx::image {

namespace {

// Throws std::runtime_error.
const Formats& load() {
    constexpr const char* kModule = "vx_render_image.so";
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path beside = program.parent_path().parent_path() / "lib" / kModule;
    // A name without a directory is searched for in the directories that the program was linked
    // with.
    const std::string name = std::filesystem::exists(beside, error) ? beside.string() : kModule;
    void* const handle = ::dlopen(name.c_str(), RTLD_LAZY | RTLD_LOCAL);
    void* const symbol = handle != nullptr ? ::dlsym(handle, "vx_image_formats") : nullptr;
    if (symbol == nullptr) {
        const char* const why = ::dlerror();
        throw std::runtime_error(std::string("the picture formats cannot be loaded: ") +
                                 (why != nullptr ? why : name.c_str()));
    }
    return *reinterpret_cast<decltype(&vx_image_formats)>(symbol)();
}

const Formats& formats() {
    static const Formats& loaded = load();
    return loaded;
}

} // namespace

std::string format_name(std::string_view format) {
    return formats().format_name(format);
}

bool can_write(const std::string& format) {
    return formats().can_write(format);
}

std::optional<std::string> encode_picture(const Frame& frame, const WriteRequest& request,
                                          std::vector<unsigned char>& bytes) {
    return formats().encode_picture(frame, request, bytes);
}

std::optional<std::string> read_picture(const std::string& path, Pixels& pixels) {
    try {
        return formats().read_picture(path, pixels);
    } catch (const std::exception& e) {
        return e.what();
    }
}

} // namespace vx::image
