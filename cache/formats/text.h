/// @file
/// Reading and writing numbers in text files.
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

/// @return none unless the whole text is a number
std::optional<double> parse_double(std::string_view text);
std::optional<std::int64_t> parse_int(std::string_view text);

/// Appends the shortest text that is read as the same value; not-a-number is "nan".
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
/// Appends the value number `index` of an array.
void append_value(std::string& out, Type type, const std::byte* values, std::size_t index);

/// A column of numbers whose type depends on the values: an integer type if all are integers.
class GuessedColumn {
  public:
    /// The budget must outlive the column.
    explicit GuessedColumn(SpoolBudget& budget) : m_values(budget) {}
    /// Appends a number; an empty text stands for not-a-number.
    /// @return false if the text is not a number
    bool append(std::string_view text);
    /// The smallest of int32, int64 and float64 that holds all values so far.
    Type type() const;
    /// Reads values as type().
    void read(std::int64_t first, std::int64_t n, void* out) const;
    std::int64_t size() const { return m_count; }
    /// Whole numbers among the values that a 64-bit float cannot hold.
    std::int64_t inexact() const { return m_inexact; }

  private:
    Spool m_values; // 8 bytes each: integers before m_first_double, then doubles
    std::int64_t m_count = 0;
    std::int64_t m_first_double = -1;
    std::int64_t m_least = 0;
    std::int64_t m_most = 0;
    std::int64_t m_inexact = 0;
};

/// The words of a line, which blanks separate. The text must outlive the object.
class Words {
  public:
    explicit Words(std::string_view text) : m_text(text) {}
    /// The next word; empty at the end.
    std::string_view next();
    /// Of the last word in the text.
    std::size_t offset() const { return m_begin; }

  private:
    std::string_view m_text;
    std::size_t m_at = 0;
    std::size_t m_begin = 0;
};

} // namespace vx::cache
