// Pictures as the bytes of a file.
#pragma once

#include "cache/picture/raster.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

enum class ImageFormat { png, exr };

// By the extension, in any case of letters.
std::optional<ImageFormat> image_format_of_name(std::string_view path);

// png: 8 bits, cut to 0..1, through the sRGB curve unless `raw`; exr: 32-bit floats as they are.
// Depends on nothing but the picture. Throws FileError with `name` when it cannot be done.
//
// The library of image formats is loaded here, from vx_cache_image.so in the lib folder beside the
// program's own: it comes with hundreds of others, and the rest of the program starts in a
// hundredth of the time without them.
std::vector<std::byte> encode_image(const Picture& picture, ImageFormat format, bool raw,
                                    const std::string& name);

} // namespace vx::cache

// What vx_cache_image.so exports. `pixels`: 3 channels of width x height, the top line first, bytes
// for "png" and floats for "exr". Calls sink once with the file's bytes. Returns a reason, which is
// valid until the next call, or null.
extern "C" using VxEncodeImage =
    const char * (const char* format, int width, int height, const void* pixels,
                  void (*sink)(void*, const void*, std::size_t), void* user);
