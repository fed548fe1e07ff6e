// Between attributes of several values and columns of one: the names of the columns of tables and
// the attributes that such names stand for.
#pragma once

#include "cache/formats/format.h"

#include <span>
#include <string>
#include <vector>

namespace vx::cache {

// ".x", ".y", ".z" for up to three values, ".0", ".1", ... beyond; "" for one.
std::string component_suffix(int width, int component);

// One column and the attribute that it belongs to.
struct Grouped {
    Attribute attribute;
    std::vector<std::size_t> columns; // as many as the attribute is wide
};

// Joins columns of well-known names (x y z, nx ny nz, red green blue, r g b) and of names with
// suffixes as above. The attribute has the widest type of its columns.
std::vector<Grouped> group_columns(const std::vector<std::string>& names,
                                   const std::vector<Type>& types);

// A cloud whose attributes have only the given widths: others are split into attributes of one
// value each, with a note. Keeps a reference to the cloud.
class SplitCloud final : public Cloud {
  public:
    SplitCloud(Cloud& cloud, std::span<const int> widths, Notes& notes);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    struct Part {
        std::size_t attribute;
        int component; // -1: the whole attribute
    };
    Cloud& m_cloud;
    std::vector<Part> m_parts;
    std::vector<std::byte> m_raw;
};

} // namespace vx::cache
