#include "cache/formats/text.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace vx::cache {

std::optional<double> parse_double(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size() || text.empty()) return std::nullopt;
    if (error == std::errc::result_out_of_range) {
        // from_chars() leaves the value unset: use 0 for underflow, infinity for overflow.
        const std::size_t e = text.find_first_of("eE");
        const bool small =
            e != std::string_view::npos && text.find('-', e) != std::string_view::npos;
        const double size = small ? 0.0 : std::numeric_limits<double>::infinity();
        return text[0] == '-' ? -size : size;
    }
    if (error != std::errc{}) return std::nullopt;
    return value;
}

std::optional<std::int64_t> parse_int(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

void append_value(std::string& out, Type type, const std::byte* values, std::size_t index) {
    with_type(type, [&](auto* kind) {
        std::remove_pointer_t<decltype(kind)> value;
        std::memcpy(&value, values + index * sizeof value, sizeof value);
        append_number(out, value);
    });
}

namespace {

// Whether a 64-bit float differs from a whole number of the same text.
bool is_inexact(std::int64_t whole) {
    constexpr std::int64_t kLimit = std::int64_t{1} << 53;
    if (whole >= -kLimit && whole <= kLimit) return false;
    const auto rounded = static_cast<double>(whole);
    return rounded >= 0x1p63 || static_cast<std::int64_t>(rounded) != whole;
}
bool is_inexact(double value, std::string_view text) {
    if (std::abs(value) < 0x1p53) return false;
    const std::string_view digits = text.substr(text[0] == '-' || text[0] == '+' ? 1 : 0);
    if (digits.find_first_not_of("0123456789") != std::string_view::npos) return false;
    const std::optional<std::int64_t> whole = parse_int(text);
    return !whole || is_inexact(*whole);
}

} // namespace

bool GuessedColumn::append(std::string_view text) {
    std::uint64_t word = 0;
    const std::optional<std::int64_t> whole = m_first_double < 0 ? parse_int(text) : std::nullopt;
    if (whole) {
        m_least = m_count == 0 ? *whole : std::min(m_least, *whole);
        m_most = m_count == 0 ? *whole : std::max(m_most, *whole);
        word = std::bit_cast<std::uint64_t>(*whole);
        if (is_inexact(*whole)) ++m_inexact;
    } else {
        const std::optional<double> value =
            text.empty() ? std::numeric_limits<double>::quiet_NaN() : parse_double(text);
        if (!value) return false;
        if (m_first_double < 0) m_first_double = m_count;
        word = std::bit_cast<std::uint64_t>(*value);
        if (is_inexact(*value, text)) ++m_inexact;
    }
    m_values.append(&word, sizeof word);
    ++m_count;
    return true;
}

Type GuessedColumn::type() const {
    if (m_first_double >= 0) return Type::float64;
    const bool small = m_least >= std::numeric_limits<std::int32_t>::min() &&
                       m_most <= std::numeric_limits<std::int32_t>::max();
    return small ? Type::int32 : Type::int64;
}

void GuessedColumn::read(std::int64_t first, std::int64_t n, void* out) const {
    const auto count = static_cast<std::size_t>(n);
    if (type() == Type::int32) {
        std::vector<std::int64_t> wide(count);
        m_values.read(first * 8, wide.data(), count * 8);
        convert_values(Type::int64, wide.data(), Type::int32, out, count);
        return;
    }
    m_values.read(first * 8, out, count * 8);
    const std::int64_t integers = std::min(n, m_first_double - first);
    auto* bytes = static_cast<std::byte*>(out);
    for (std::int64_t i = 0; m_first_double >= 0 && i < integers; ++i) {
        std::int64_t whole = 0;
        std::memcpy(&whole, bytes + i * 8, 8);
        const auto value = static_cast<double>(whole);
        std::memcpy(bytes + i * 8, &value, 8);
    }
}

std::string_view Words::next() {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (m_at < m_text.size() && blank(m_text[m_at]))
        ++m_at;
    m_begin = m_at;
    while (m_at < m_text.size() && !blank(m_text[m_at]))
        ++m_at;
    return m_text.substr(m_begin, m_at - m_begin);
}

} // namespace vx::cache
