// Pictures to files.
#pragma once

#include "host/image/frame.h"
#include "host/image/pixel_type.h"

#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

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

// Writes one buffer of the frame to a file, the top line first. The picture is encoded and decoded
// again in memory, then written as output_file.h says: symbolic links are followed, devices and
// pipes get the bytes directly, and a regular file appears under its name only when it is complete
// and on the disk. Missing directories are created, and removed again if the write fails. Integer
// types clip to 0..1 (not-a-number becomes 0); float types keep every value. Colors are stored as
// they are in the frame, so premultiplied by alpha unless the shaders did otherwise. Labels are
// stored as 32-bit integers where the format has them, else as floats. Returns the reason on
// failure, nothing on success.
[[nodiscard]] std::optional<std::string> write_picture(const Frame& frame,
                                                       const WriteRequest& request);

// Whether the format is supported. Not every format supports all types and resolutions.
[[nodiscard]] bool can_write(const std::string& format);

// Checks, before anything is rendered, that a picture of this resolution can be written: encodes a
// strip of the full width and one of the full height, and examines the file. The format must agree
// with the extension of the name. Returns the reason on failure.
[[nodiscard]] std::optional<std::string> check_picture(const WriteRequest& request, int width,
                                                       int height);

// Whether the file is a complete picture of this resolution. Decodes it. False for devices and
// pipes.
[[nodiscard]] bool is_finished(const WriteRequest& request, int width, int height);

// The pictures of one run, each of which gets a file of its own.
class PictureFiles {
  public:
    // check_picture() for all pictures of a frame. It is also an error if two of them, or one of
    // them and one of an earlier frame, are the same file after their links. Returns a text "name:
    // reason" for each picture that cannot be written.
    [[nodiscard]] std::vector<std::string> check(std::span<const WriteRequest> pictures, int width,
                                                 int height) const;
    // Remembers the file of a picture that is not rendered again.
    void keep(const WriteRequest& request);
    // write_picture(), and remembers the file.
    [[nodiscard]] std::optional<std::string> write(const Frame& frame, const WriteRequest& request);

  private:
    std::map<std::filesystem::path, std::string> m_written; // and the name in the scene
};

} // namespace vx::image
