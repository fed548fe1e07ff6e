// The few functions of a renderer that the reader shader needs, for programs without a renderer:
// string elements, one user pointer, messages. Nothing is connected, no text is substituted, no
// lock is taken; its cost is not measurable.
#pragma once

#include <functional>
#include <string>

namespace vx::small_renderer {

// The texts of the string elements, by tag: a file name and a label list, as tags 1 and 2.
inline std::string strings[3];
inline void* user_pointer = nullptr;

// Where messages of the shader go; the standard error without one.
inline std::function<void(const std::string& level, const std::string& text)> messages;

} // namespace vx::small_renderer
