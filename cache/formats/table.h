/// @file
/// Text files with a line per point: the values, and lines of values.
#pragma once

#include "cache/formats/columns.h"
#include "cache/formats/text.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vx::cache {

/// Bytes of the longest line that is read or written.
inline constexpr std::size_t kLongestTableLine = 1 << 20;

/// A cloud of parsed columns. Append the values, set `count`, and call finish() before reading.
class TableCloud final : public Cloud {
  public:
    /// @param memory  bytes of values that may stay in memory; see Spool
    explicit TableCloud(std::int64_t memory) : m_budget(memory) {}

    void start(std::size_t columns);
    GuessedColumn& column(std::size_t i) { return m_columns[i]; }
    /// Joins the columns to attributes; see group_columns().
    /// @param byte_colors  whether integer values of rgbPP are bytes and are read as 0 to 1
    void finish(const std::vector<std::string>& names, bool byte_colors, Findings& findings);

    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    SpoolBudget m_budget;
    std::vector<GuessedColumn> m_columns;
    std::vector<Grouped> m_groups;
    int m_byte_color = -1; // the attribute whose values are bytes
    std::vector<std::byte> m_raw;
    std::vector<std::byte> m_typed;
};

/// Writes a line per point.
/// @param order  the attributes by their index, in the order of the columns
void write_table_rows(Cloud& cloud, std::span<const std::size_t> order, char separator,
                      OutputFile& out, const WriteOptions& options);

} // namespace vx::cache
