#include "cache/verbs/coloring.h"

#include "cache/picture/color_map.h"

#include <cmath>

namespace vx::cache {

namespace {

constexpr std::size_t kMostLabels = 100000;
constexpr Color kClay{0.52f, 0.50f, 0.47f};

std::optional<int> component_of(const std::string& word, int width) {
    if (word == "length") return -1;
    int k = -1;
    if (word.size() == 1) {
        for (const std::string_view names : {"xyzw", "rgba", "0123456789"}) {
            if (const std::size_t at = names.find(word[0]); at != std::string_view::npos) {
                k = static_cast<int>(at);
            }
        }
    }
    return k >= 0 && k < width ? std::optional(k) : std::nullopt;
}

Coloring whole(const Cloud& cloud, std::size_t at) {
    const Attribute& a = cloud.attributes[at];
    Coloring c{ColorKind::scalar, at, 0, a.name};
    if (a.width == 3 && a.name == "rgbPP") c.kind = ColorKind::color;
    if (a.width == 3 && a.name == "normalPP") c.kind = ColorKind::normal;
    if (a.width == 3 && a.name == "position") c.kind = ColorKind::position;
    if (a.width == 1 && a.name == "tag") c.kind = ColorKind::label;
    if (c.kind == ColorKind::scalar && a.width > 1) {
        c.component = -1;
        c.title += ".length";
    }
    return c;
}

} // namespace

Coloring choose_coloring(const Cloud& cloud, const std::string& by) {
    if (by.empty()) {
        const int at = cloud.find("rgbPP");
        if (at < 0 || cloud.attributes[static_cast<std::size_t>(at)].width != 3) return {};
        return whole(cloud, static_cast<std::size_t>(at));
    }
    if (const int at = cloud.find(by); at >= 0) return whole(cloud, static_cast<std::size_t>(at));
    const std::size_t dot = by.rfind('.');
    const int at = dot == std::string::npos ? -1 : cloud.find(by.substr(0, dot));
    if (at >= 0) {
        const auto index = static_cast<std::size_t>(at);
        const int width = cloud.attributes[index].width;
        const std::string word = by.substr(dot + 1);
        if (word == "rgb" && width == 3) return {ColorKind::color, index, 0, by};
        if (const auto k = component_of(word, width)) return {ColorKind::scalar, index, *k, by};
    }
    std::string names;
    for (const Attribute& a : cloud.attributes)
        names += (names.empty() ? "" : ", ") + a.name;
    throw FileError(cloud.file_name, -1,
                    "there is no attribute '" + by + "' to color by; available: " + names);
}

void ColorScale::add(double value) {
    if (!std::isfinite(value)) return;
    low = std::min(low, value);
    high = std::max(high, value);
}

ColorReader::ColorReader(Cloud& cloud, const Coloring& coloring) : m_coloring(coloring) {
    if (coloring.kind == ColorKind::plain) return;
    if (coloring.kind == ColorKind::label) {
        m_label_reader.emplace(cloud);
        return;
    }
    m_reader.emplace(cloud, coloring.attribute);
    m_width = static_cast<std::size_t>(m_reader->width());
}

void ColorReader::read(std::int64_t first, std::int64_t n) {
    if (m_reader) m_values = m_reader->read(first, n);
    if (m_label_reader) m_labels = m_label_reader->read(first, n);
}

double ColorReader::scalar(std::size_t i) const {
    const double* const v = &m_values[i * m_width];
    if (m_coloring.component >= 0) return v[m_coloring.component];
    double sum = 0;
    for (std::size_t k = 0; k < m_width; ++k)
        sum += v[k] * v[k];
    return std::sqrt(sum);
}

bool ColorReader::has_value(std::size_t i) const {
    if (!m_reader) return true;
    if (m_coloring.kind == ColorKind::scalar) return std::isfinite(scalar(i));
    const double* const v = &m_values[i * m_width];
    return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}

void ColorReader::measure(std::size_t i, ColorScale& scale) {
    if (m_coloring.kind == ColorKind::scalar) scale.add(scalar(i));
    if (!m_label_reader || m_counted == m_labels[i]) return;
    m_counted = m_labels[i];
    if (scale.labels.size() < kMostLabels) scale.labels.insert(m_labels[i]);
}

Color ColorReader::color(std::size_t i, const ColorScale& scale) {
    if (m_coloring.kind == ColorKind::plain) return kClay;
    if (m_coloring.kind == ColorKind::label) {
        const std::int32_t label = m_labels[i];
        const auto [known, is_new] = m_label_colors.try_emplace(label);
        if (is_new) known->second = label_color(label);
        return known->second;
    }
    if (!has_value(i)) return kNoValue;
    if (m_coloring.kind == ColorKind::scalar) {
        const double size = scale.high - scale.low;
        return map_color(size > 0 ? (scalar(i) - scale.low) / size : 0.5);
    }
    const double* const v = &m_values[i * m_width];
    if (m_coloring.kind == ColorKind::color) {
        return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
    }
    Vec t{v[0], v[1], v[2]};
    if (m_coloring.kind == ColorKind::normal) {
        t = (t + Vec{1, 1, 1}) * 0.5;
    } else {
        const Vec size = scale.corner_high - scale.corner_low;
        t = t - scale.corner_low;
        t = {size.x > 0 ? t.x / size.x : 0.5, size.y > 0 ? t.y / size.y : 0.5,
             size.z > 0 ? t.z / size.z : 0.5};
    }
    // Directions and positions are not converted from linear light: 0.5 is the middle of the
    // display range.
    return from_display(
        Color{static_cast<float>(t.x), static_cast<float>(t.y), static_cast<float>(t.z)});
}

Legend make_legend(const Coloring& coloring, const ColorScale& scale) {
    Legend legend;
    legend.title = coloring.title;
    switch (coloring.kind) {
    case ColorKind::plain:
    case ColorKind::color:
        break;
    case ColorKind::normal:
    case ColorKind::position:
        legend.kind = Legend::Kind::text;
        legend.lines = {"x red", "y green", "z blue"};
        break;
    case ColorKind::scalar:
        if (!(scale.low <= scale.high)) break;
        legend.kind = Legend::Kind::bar;
        legend.low = scale.low;
        legend.high = scale.high;
        break;
    case ColorKind::label:
        legend.kind = Legend::Kind::labels;
        legend.labels.assign(scale.labels.begin(), scale.labels.end());
        break;
    }
    return legend;
}

} // namespace vx::cache
