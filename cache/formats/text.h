// Numbers in text files, both ways.
#pragma once

#include "cache/cloud/attribute.h"
#include "cache/cloud/cloud.h"
#include "cache/cloud/spool.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vx::cache {

// The whole text must be the number.
std::optional<double> parse_double(std::string_view text);
std::optional<std::int64_t> parse_int(std::string_view text);

// Appends the shortest text that reads back as the same value; not-a-number is "nan".
template <typename T>
void append_number(std::string& out, T value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    // The sign of a not-a-number has no meaning.
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(value)) {
            out += "nan";
            return;
        }
    }
    out.append(text, end);
}
// Value number `index` of an array of that type.
void append_value(std::string& out, Type type, const std::byte* values, std::size_t index);

// A column of numbers whose type follows from the values: integers until one is not.
class GuessedColumn {
  public:
    explicit GuessedColumn(SpoolBudget& budget) : m_values(budget) {}
    // Returns false if the text is not a number. An empty text is not-a-number.
    bool append(std::string_view text);
    // int32, int64 or float64.
    Type type() const;
    // In the type that type() gives.
    void read(std::int64_t first, std::int64_t n, void* out) const;
    std::int64_t size() const { return m_count; }

  private:
    Spool m_values; // 8 bytes each: integers before m_first_double, then doubles
    std::int64_t m_count = 0;
    std::int64_t m_first_double = -1;
    std::int64_t m_least = 0;
    std::int64_t m_most = 0;
};

// Splits a line at blanks; `next` is empty at the end.
class Words {
  public:
    explicit Words(std::string_view text) : m_text(text) {}
    std::string_view next();
    // Where the last word began.
    std::size_t offset() const { return m_begin; }

  private:
    std::string_view m_text;
    std::size_t m_at = 0;
    std::size_t m_begin = 0;
};

} // namespace vx::cache
