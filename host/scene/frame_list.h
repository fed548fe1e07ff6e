// Lists of frames on command lines.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vx::scene {

/// Reads a list of frames and ranges such as "1-240x2,300": "first-last", with "xN" every Nth
/// frame. Frames keep the order of the list, repeated ones, too. Returns the reason on failure, an
/// empty text on success. A list has at most a million frames.
[[nodiscard]] std::string parse_frame_list(std::string_view text, std::vector<int>& frames);

} // namespace vx::scene
