#include "cache/cloud/label_set.h"

#include <algorithm>
#include <cstdlib>
#include <set>

namespace vx::cache {

namespace {

// The number at the start of a text, as the shaders read it: cut to its low 32 bits. Moves past it.
std::optional<std::int32_t> read_number(const char*& text) {
    char* end = nullptr;
    const auto number = static_cast<std::int32_t>(std::strtol(text, &end, 10));
    if (end == text) return std::nullopt;
    text = end;
    return number;
}

} // namespace

LabelSet::LabelSet(const std::string& text) {
    for (const char* at = text.c_str(); *at != '\0';) {
        const std::string item(at, std::find_if(at, text.c_str() + text.size(),
                                                [](char c) { return c == ',' || c == '\0'; }));
        at += item.size();
        if (*at == ',') ++at;
        const char* rest = item.c_str();
        const std::optional<std::int32_t> low = read_number(rest);
        if (!low) continue;
        std::optional<std::int32_t> high = low;
        if (*rest == '-') high = read_number(++rest);
        if (high && *low >= 0 && *low <= *high) m_ranges.emplace_back(*low, *high);
    }
    std::sort(m_ranges.begin(), m_ranges.end());
    std::vector<Range> joined;
    for (const Range& range : m_ranges) {
        if (joined.empty() || range.first > joined.back().second) {
            joined.push_back(range);
        } else {
            joined.back().second = std::max(joined.back().second, range.second);
        }
    }
    m_ranges = std::move(joined);
}

bool LabelSet::holds(std::int32_t label) const {
    const auto next = std::upper_bound(
        m_ranges.begin(), m_ranges.end(), label,
        [](std::int32_t value, const Range& range) { return value < range.first; });
    return next != m_ranges.begin() && label <= std::prev(next)->second;
}

std::vector<std::int32_t> LabelSet::found_in(Cloud& cloud) const {
    std::set<std::int32_t> found;
    LabelReader labels(cloud);
    std::optional<std::int32_t> last;
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        for (const std::int32_t label : labels.read(first, n)) {
            if (last == label) continue;
            last = label;
            if (holds(label)) found.insert(label);
        }
    });
    return {found.begin(), found.end()};
}

LabelReader::LabelReader(Cloud& cloud) {
    const int tag = cloud.find("tag");
    if (tag < 0) return;
    const auto index = static_cast<std::size_t>(tag);
    // The shaders ignore labels with several values.
    if (cloud.attributes[index].width == 1) m_reader.emplace(cloud, index, IntegerRule::wrap);
}

std::span<const std::int32_t> LabelReader::read(std::int64_t first, std::int64_t n) {
    if (m_reader) return m_reader->read(first, n);
    m_zeros.resize(static_cast<std::size_t>(n));
    return m_zeros;
}

} // namespace vx::cache
