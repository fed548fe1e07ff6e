// Colors of points by an attribute.
#pragma once

#include "cache/cloud/attribute_reader.h"
#include "cache/picture/legend.h"
#include "cache/picture/vector.h"
#include "cache/verbs/output.h"

#include <limits>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace vx::cache {

/*
 * plain: a light gray; color: the three values as linear red, green, blue; normal: (n + 1) / 2;
 * position: from one corner of the cloud to the other; scalar: a number through the color map;
 * label: a color for each number.
 */
enum class ColorKind { plain, color, normal, position, scalar, label };

struct Coloring {
    ColorKind kind = ColorKind::plain;
    std::size_t attribute = 0;
    int component = 0; // of a scalar coloring; -1: the length of the vector
    std::string title;
};

// By "NAME", "NAME.x" to "NAME.z", "NAME.0" and so on, "NAME.length" or "NAME.rgb"; "" takes rgbPP
// if there is one. A vector is colored by its length, "tag" by labels. Throws FileError, which
// names the attributes of the cloud, if it has none of that name.
Coloring choose_coloring(const Cloud& cloud, const std::string& by);

// The range and labels of a whole sequence, so that all its pictures use one scale.
struct ColorScale {
    double low = std::numeric_limits<double>::infinity(); // of finite values
    double high = -std::numeric_limits<double>::infinity();
    Vec corner_low{0.0}, corner_high{0.0}; // of the positions
    std::set<std::int32_t> labels;         // that occur
    void add(double value);
};

// The colors of runs of points.
class ColorReader {
  public:
    ColorReader(Cloud& cloud, const Coloring& coloring);
    void read(std::int64_t first, std::int64_t n);
    // Of point i of the run. Call after read().
    Color color(std::size_t i, const ColorScale& scale);
    bool has_value(std::size_t i) const; // finite
    void measure(std::size_t i, ColorScale& scale);

  private:
    double scalar(std::size_t i) const;
    Coloring m_coloring;
    std::optional<TypedReader<double>> m_reader;
    std::optional<LabelReader> m_label_reader;
    std::span<const double> m_values;
    std::span<const std::int32_t> m_labels;
    std::size_t m_width = 1;
    std::optional<std::int32_t> m_counted; // label counted last; neighbors often share one
    std::unordered_map<std::int32_t, Color> m_label_colors;
};

Legend make_legend(const Coloring& coloring, const ColorScale& scale);

} // namespace vx::cache
