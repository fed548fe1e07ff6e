#include "cache/verbs/colouring.h"

#include "cache/picture/colour_map.h"

#include <cmath>

namespace vx::cache {

namespace {

constexpr std::size_t most_labels = 100000;
constexpr Colour clay{0.52f, 0.50f, 0.47f};

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

Colouring whole(const Cloud& cloud, std::size_t at) {
    const Attribute& a = cloud.attributes[at];
    Colouring c{ColourKind::scalar, at, 0, a.name};
    if (a.width == 3 && a.name == "rgbPP") c.kind = ColourKind::colour;
    if (a.width == 3 && a.name == "normalPP") c.kind = ColourKind::normal;
    if (a.width == 3 && a.name == "position") c.kind = ColourKind::position;
    if (a.width == 1 && a.name == "tag") c.kind = ColourKind::label;
    if (c.kind == ColourKind::scalar && a.width > 1) {
        c.component = -1;
        c.title += ".length";
    }
    return c;
}

} // namespace

Colouring choose_colouring(const Cloud& cloud, const std::string& by) {
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
        if (word == "rgb" && width == 3) return {ColourKind::colour, index, 0, by};
        if (const auto k = component_of(word, width)) return {ColourKind::scalar, index, *k, by};
    }
    std::string names;
    for (const Attribute& a : cloud.attributes)
        names += (names.empty() ? "" : ", ") + a.name;
    throw FileError(cloud.file_name, -1,
                    "there is no attribute '" + by + "' to colour by; there are " + names);
}

void ColourScale::add(double value) {
    if (!std::isfinite(value)) return;
    low = std::min(low, value);
    high = std::max(high, value);
}

ColourReader::ColourReader(Cloud& cloud, const Colouring& colouring) : m_colouring(colouring) {
    if (colouring.kind == ColourKind::plain) return;
    if (colouring.kind == ColourKind::label) {
        m_label_reader.emplace(cloud);
        return;
    }
    m_reader.emplace(cloud, colouring.attribute);
    m_width = static_cast<std::size_t>(m_reader->width());
}

void ColourReader::read(std::int64_t first, std::int64_t n) {
    if (m_reader) m_values = m_reader->read(first, n);
    if (m_label_reader) m_labels = m_label_reader->read(first, n);
}

double ColourReader::scalar(std::size_t i) const {
    const double* const v = &m_values[i * m_width];
    if (m_colouring.component >= 0) return v[m_colouring.component];
    double sum = 0;
    for (std::size_t k = 0; k < m_width; ++k)
        sum += v[k] * v[k];
    return std::sqrt(sum);
}

bool ColourReader::has_value(std::size_t i) const {
    if (!m_reader) return true;
    if (m_colouring.kind == ColourKind::scalar) return std::isfinite(scalar(i));
    const double* const v = &m_values[i * m_width];
    return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}

void ColourReader::measure(std::size_t i, ColourScale& scale) {
    if (m_colouring.kind == ColourKind::scalar) scale.add(scalar(i));
    if (!m_label_reader || m_counted == m_labels[i]) return;
    m_counted = m_labels[i];
    if (scale.labels.size() < most_labels) scale.labels.insert(m_labels[i]);
}

Colour ColourReader::colour(std::size_t i, const ColourScale& scale) {
    if (m_colouring.kind == ColourKind::plain) return clay;
    if (m_colouring.kind == ColourKind::label) {
        const std::int32_t label = m_labels[i];
        const auto [known, is_new] = m_label_colours.try_emplace(label);
        if (is_new) known->second = label_colour(label);
        return known->second;
    }
    if (!has_value(i)) return no_value;
    if (m_colouring.kind == ColourKind::scalar) {
        const double size = scale.high - scale.low;
        return map_colour(size > 0 ? (scalar(i) - scale.low) / size : 0.5);
    }
    const double* const v = &m_values[i * m_width];
    if (m_colouring.kind == ColourKind::colour) {
        return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
    }
    Vec t{v[0], v[1], v[2]};
    if (m_colouring.kind == ColourKind::normal) {
        t = (t + Vec{1, 1, 1}) * 0.5;
    } else {
        const Vec size = scale.corner_high - scale.corner_low;
        t = t - scale.corner_low;
        t = {size.x > 0 ? t.x / size.x : 0.5, size.y > 0 ? t.y / size.y : 0.5,
             size.z > 0 ? t.z / size.z : 0.5};
    }
    // Directions and places are seen as they are: halfway shows as the middle of the screen's
    // range.
    return from_display(
        Colour{static_cast<float>(t.x), static_cast<float>(t.y), static_cast<float>(t.z)});
}

Legend make_legend(const Colouring& colouring, const ColourScale& scale) {
    Legend legend;
    legend.title = colouring.title;
    switch (colouring.kind) {
    case ColourKind::plain:
    case ColourKind::colour:
        break;
    case ColourKind::normal:
    case ColourKind::position:
        legend.kind = Legend::Kind::text;
        legend.lines = {"x red", "y green", "z blue"};
        break;
    case ColourKind::scalar:
        if (!(scale.low <= scale.high)) break;
        legend.kind = Legend::Kind::bar;
        legend.low = scale.low;
        legend.high = scale.high;
        break;
    case ColourKind::label:
        legend.kind = Legend::Kind::labels;
        legend.labels.assign(scale.labels.begin(), scale.labels.end());
        break;
    }
    return legend;
}

} // namespace vx::cache
