// Pictures as the bytes of a file.
#pragma once

#include "host/image/write.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::image {

// The name of the format that `format`, a type or an extension in any case of letters, stands for:
// "jpeg" for "JPG". Empty for unknown ones, whether pictures of that format can be written or not.
[[nodiscard]] std::string format_name(std::string_view format);

// Encodes one buffer of the frame as the request, whose format must be set, asks for, then decodes
// the bytes again: they are good only if the whole picture comes back with its resolution and
// channels. Returns the reason on failure.
//
// The bytes depend on nothing but the picture and the request, and on SOURCE_DATE_EPOCH: when this
// variable holds a number of seconds since 1970, formats that know a date store that one, else
// none.
[[nodiscard]] std::optional<std::string>
encode_picture(const Frame& frame, const WriteRequest& request, std::vector<unsigned char>& bytes);

} // namespace vx::image
