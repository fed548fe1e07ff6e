/// @file
/// Formats that are tables: attributes of several values as columns, and columns as attributes.
#pragma once

#include "cache/formats/format.h"

#include <span>
#include <string>
#include <vector>

namespace vx::cache {

/// What follows the name of an attribute in the name of a column: ".x", ".y", ".z" for a width of 2
/// or 3, ".0", ".1", ... for more, "" for 1.
std::string component_suffix(int width, int component);

/// An attribute, and the columns that hold its values.
struct Grouped {
    Attribute attribute;
    std::vector<std::size_t> columns; ///< as many as the attribute is wide
};

/// Joins columns with well-known names (x y z, nx ny nz, red green blue, r g b) or with the
/// suffixes of component_suffix(). An attribute has the widest type of its columns.
/// @param types  of the columns, as many as there are names
std::vector<Grouped> group_columns(const std::vector<std::string>& names,
                                   const std::vector<Type>& types);

/// Columns of a table beyond which it is neither written nor read.
inline constexpr std::size_t kMostColumns = 4096;

/// The spelling of attributes in a table.
struct ColumnNames {
    std::vector<std::string> attributes;           ///< what group_columns() calls each attribute
    std::vector<std::vector<std::string>> columns; ///< of each attribute
};

/// Names columns such that all differ and group_columns() joins the columns of every attribute of
/// several values to one attribute again. Attributes keep the wanted name if that is possible, else
/// a number is appended.
/// @param wanted  a name for each attribute, without what the format cannot store
/// @param known   whether three values of position, normalPP and rgbPP have the well-known names
ColumnNames name_columns(const std::vector<Attribute>& attributes,
                         const std::vector<std::string>& wanted, bool known);

/// The number of columns of all attributes together.
std::size_t count_columns(const std::vector<Attribute>& attributes);

/// A cloud whose attributes have only certain widths. The cloud must outlive it.
class SplitCloud final : public Cloud {
  public:
    /// @param widths  attributes of other widths are split into attributes of one value, with a
    /// note
    /// @throws FileError  if an attribute to be split has more than kMostColumns values
    SplitCloud(Cloud& cloud, std::span<const int> widths, Notes& notes);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    struct Part {
        std::size_t attribute;
        int component; // -1: the whole attribute
    };
    Cloud& m_cloud;
    std::vector<Part> m_parts;
    std::vector<std::byte> m_raw; // the last run of an attribute that was read to be split
    std::size_t m_raw_attribute = 0;
    std::int64_t m_raw_first = 0;
    std::int64_t m_raw_count = 0;
};

} // namespace vx::cache
