// Texts from files as parts of messages.
#pragma once

#include <string>
#include <string_view>

namespace vx::scene {

// The text with control characters, which terminals may execute, as "\xNN", and bytes that are not
// UTF-8 as well. Newlines and tabs stay.
std::string printable(std::string_view text);

} // namespace vx::scene
