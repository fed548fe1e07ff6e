// mi_string_substitute.
#include <algorithm>
#include <cstring>
#include <string>

#include "host/shading/context.h"

int mi_string_substitute(char* buffer, const char* text, int capacity) {
    if (buffer == nullptr || capacity <= 0) return 0;
    const vx::shading::Context& context = vx::shading::Context::current();
    std::string replaced = text == nullptr ? "" : text;
    if (context.substitute) replaced = context.substitute(replaced);
    const std::size_t length = std::min(replaced.size(), static_cast<std::size_t>(capacity) - 1);
    std::memcpy(buffer, replaced.data(), length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}
