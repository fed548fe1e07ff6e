#include "host/scene/printable.h"

#include <cstddef>

namespace vx::scene {

namespace {

unsigned char byte_at(std::string_view text, std::size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

// Number of bytes of the printable character at the start of the text; 0 if there is none. Longer
// encodings than necessary and code points of surrogates are not UTF-8.
std::size_t character_length(std::string_view text) {
    const unsigned char first = byte_at(text, 0);
    const unsigned char second = byte_at(text, 1);
    const auto follows = [&](std::size_t at) { return (byte_at(text, at) & 0xc0u) == 0x80u; };
    if (first < 0x80)
        return (first >= 0x20 && first != 0x7f) || first == '\n' || first == '\t' ? 1 : 0;
    if (first < 0xc2 || first > 0xf4 || !follows(1)) return 0;
    // U+0080 to U+009F are control characters.
    if (first < 0xe0) return first == 0xc2 && second < 0xa0 ? 0 : 2;
    if (!follows(2)) return 0;
    if (first < 0xf0)
        return (first == 0xe0 && second < 0xa0) || (first == 0xed && second >= 0xa0) ? 0 : 3;
    if (!follows(3)) return 0;
    return (first == 0xf0 && second < 0x90) || (first == 0xf4 && second >= 0x90) ? 0 : 4;
}

} // namespace

std::string printable(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = character_length(text);
        if (length == 0) {
            const unsigned char byte = byte_at(text, 0);
            result += "\\x";
            result += kDigits[byte / 16u];
            result += kDigits[byte % 16u];
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

} // namespace vx::scene
