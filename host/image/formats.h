// The functions that use OpenImageIO. They are in a module, lib/vx_render_image.so, which is loaded
// when one of them is called for the first time: loading OpenImageIO with the libraries that it
// depends on takes longer than reading a small scene.
#pragma once

#include "host/image/write.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::image {

// The pixels of a picture file, from the top line down.
struct Pixels {
    int width = 0, height = 0, components = 0; // 1 to 4 components
    // Bytes of files with 8 bits per component, floats of others; one of the two is empty.
    std::vector<std::uint8_t> bytes;
    std::vector<float> floats;
};

// What the function that the module exports returns.
struct Formats {
    std::string (*format_name)(std::string_view format);
    bool (*can_write)(const std::string& format);
    std::optional<std::string> (*encode_picture)(const Frame& frame, const WriteRequest& request,
                                                 std::vector<unsigned char>& bytes);
    std::optional<std::string> (*read_picture)(const std::string& path, Pixels& pixels);
};

// Reads a picture in one of the formats that can be written. The format is determined from the
// contents. Pixels that take more than 8 GiB, or more than 64 MiB and 4096 times the size of the
// file, are an error. Returns the reason on failure.
[[nodiscard]] std::optional<std::string> read_picture(const std::string& path, Pixels& pixels);

} // namespace vx::image

extern "C" __attribute__((visibility("default"))) const vx::image::Formats* vx_image_formats();
