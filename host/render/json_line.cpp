#include "host/render/json_line.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

namespace vx::render {

namespace {

bool is_continuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0u) == 0x80u;
}

// Length in bytes of the UTF-8 character at the start of the text; 0 if there is no valid one.
std::size_t character_length(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80u) return 1;
    const std::size_t length = lead >= 0xC2u && lead < 0xE0u   ? 2
                               : lead >= 0xE0u && lead < 0xF0u ? 3
                               : lead >= 0xF0u && lead < 0xF5u ? 4
                                                               : 0;
    if (length == 0 || text.size() < length) return 0;
    const std::string_view rest = text.substr(1, length - 1);
    if (!std::all_of(rest.begin(), rest.end(), is_continuation)) return 0;
    // Longer than necessary, surrogates, beyond U+10FFFF.
    const unsigned second = byte(1);
    if ((lead == 0xE0u && second < 0xA0u) || (lead == 0xEDu && second >= 0xA0u) ||
        (lead == 0xF0u && second < 0x90u) || (lead == 0xF4u && second >= 0x90u))
        return 0;
    return length;
}

} // namespace

std::string json_string(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        const std::size_t length = character_length(text);
        const char c = text.front();
        if (length == 0)
            result += "\\ufffd";
        else if (c == '"' || c == '\\')
            result.append(1, '\\').append(1, c);
        else if (static_cast<unsigned char>(c) < 0x20u)
            result += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
        else
            result += text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result + '"';
}

JsonLine& JsonLine::member(std::string_view name, std::string_view value) {
    m_text += ',' + json_string(name) + ':';
    m_text += value;
    return *this;
}

JsonLine& JsonLine::text(std::string_view name, std::string_view value) {
    return member(name, json_string(value));
}

JsonLine& JsonLine::count(std::string_view name, std::int64_t value) {
    return member(name, std::to_string(value));
}

JsonLine& JsonLine::seconds(std::string_view name, double value) {
    return member(name, fmt::format("{:.3f}", value));
}

JsonLine& JsonLine::list(std::string_view name, const std::vector<std::string>& values) {
    std::string items;
    for (const std::string& value : values)
        items.append(items.empty() ? "" : ",").append(json_string(value));
    return member(name, '[' + items + ']');
}

std::string json_message(std::string_view line) {
    const std::size_t module_end = std::min(line.find(' '), line.size());
    const std::size_t level_start = std::min(line.find(' ', module_end + 1), line.size() - 1) + 1;
    const std::size_t level_end = std::min(line.find(": ", level_start), line.size());
    return JsonLine("message")
        .text("level", line.substr(level_start, level_end - level_start))
        .text("module", line.substr(0, module_end))
        .text("text", line.substr(std::min(level_end + 2, line.size())))
        .line();
}

} // namespace vx::render
