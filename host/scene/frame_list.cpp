#include "host/scene/frame_list.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

namespace vx::scene {

namespace {

constexpr std::size_t kMaxFrames = 1000000;
constexpr std::int64_t kLastFrame = 1000000000;

std::optional<std::int64_t> number(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end) return std::nullopt;
    return value;
}

} // namespace

std::string parse_frame_list(std::string_view text, std::vector<int>& frames) {
    std::string malformed(1, '\'');
    malformed.append(text).append("' is not like 1-100, 1-100x2 or 1,5,9");
    frames.clear();
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        std::string_view item = text.substr(at, end - at);
        at = end + 1;
        std::int64_t step = 1;
        if (const std::size_t x = item.find('x'); x != std::string_view::npos) {
            const auto value = number(item.substr(x + 1));
            if (!value || *value < 1 || *value > static_cast<std::int64_t>(kMaxFrames))
                return malformed;
            step = *value;
            item = item.substr(0, x);
        }
        // The first character may be a sign.
        const std::size_t dash = item.find('-', 1);
        const auto first = number(item.substr(0, dash));
        const auto last = dash == std::string_view::npos ? first : number(item.substr(dash + 1));
        if (!first || !last || *last < *first || *first < -kLastFrame || *last > kLastFrame)
            return malformed;
        for (std::int64_t frame = *first; frame <= *last; frame += step) {
            if (frames.size() == kMaxFrames) return "more than a million frames";
            frames.push_back(static_cast<int>(frame));
        }
    }
    return {};
}

} // namespace vx::scene
