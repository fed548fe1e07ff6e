// Pictures to files.
#pragma once

#include "host/image/frame.h"
#include "host/image/pixel_type.h"

#include <filesystem>
#include <optional>
#include <string>

namespace vx::image {

struct WriteRequest {
    std::filesystem::path path;
    std::string format;            // as scenes call it; empty: the extension of the path
    std::optional<PixelType> type; // missing: the format's best one
    std::string compression;       // the format's own names; empty: its default
    int quality = 0;               // 1 to 100 for formats that lose; 0: the format's default
    float dpi = 0.0f;
    float gamma = 1.0f; // integer types only: the value stored is v^(1/gamma)
};

// Writes one buffer of the frame to a file, the top line first. The file appears under its name
// only when it is complete: it is written beside it and renamed. Missing folders are made, and
// taken away again when the write fails. Integer types clip to 0..1 (not-a-number becomes 0); float
// types keep every value. Colours are stored as they are in the frame, so premultiplied by alpha
// unless the shaders did otherwise. Labels are stored as 32-bit integers where the format has them,
// else as floats. Returns the reason on failure, nothing on success.
[[nodiscard]] std::optional<std::string> write_picture(const Frame& frame,
                                                       const WriteRequest& request);

// Whether a file of this format can be written at all.
[[nodiscard]] bool can_write(const std::string& format);

} // namespace vx::image
