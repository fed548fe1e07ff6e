// The functions of vx_render_image.so; see formats.h and encode.h.
#pragma once

#include "host/image/formats.h"

namespace vx::image::openimageio {

[[nodiscard]] std::string format_name(std::string_view format);
[[nodiscard]] bool can_write(const std::string& format);
[[nodiscard]] std::optional<std::string>
encode_picture(const Frame& frame, const WriteRequest& request, std::vector<unsigned char>& bytes);
[[nodiscard]] std::optional<std::string> read_picture(const std::string& path, Pixels& pixels);

} // namespace vx::image::openimageio
