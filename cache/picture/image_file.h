/// @file
/// Pictures as the bytes of image files.
#pragma once

#include "cache/picture/raster.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

enum class ImageFormat { png, exr };

/// The format of a file name's extension, ignoring case.
std::optional<ImageFormat> image_format_of_name(std::string_view path);

/// Encodes a picture: png as 8 bits per channel, clamped to 0..1; exr as 32-bit floats. Equal
/// pictures give equal bytes.
/// @param raw   png: store linear values instead of sRGB
/// @param name  of the file, for the error
/// @throws FileError
///
/// Loads vx_cache_image.so, which links the library of image formats, from the lib folder beside
/// the program's folder. Without the hundreds of libraries that it depends on, the program starts a
/// hundred times faster.
std::vector<std::byte> encode_image(const Picture& picture, ImageFormat format, bool raw,
                                    const std::string& name);

} // namespace vx::cache

/// The type of the function that vx_cache_image.so exports. Calls sink(user, bytes, size) once with
/// the bytes of the file.
/// @param pixels  3 channels of width x height, top line first: bytes for "png", floats for "exr"
/// @return null, or the reason for a failure, which is valid until the next call
extern "C" using VxEncodeImage =
    const char * (const char* format, int width, int height, const void* pixels,
                  void (*sink)(void*, const void*, std::size_t), void* user);
