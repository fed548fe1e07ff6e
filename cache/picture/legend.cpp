#include "cache/picture/legend.h"

#include "cache/picture/color_map.h"
#include "cache/picture/font.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vx::cache {

namespace {

// All sizes are in pixels.
struct Layout {
    int scale, margin, line, swatch, gap;
    int bar_height, rows;
    int width; // of the widest line
};

// Formats a value with enough decimals for a thousandth of `size`, without trailing zeros.
std::string number_text(double v, double size) {
    char text[64];
    const double large = std::max(std::abs(v), size);
    const int power = static_cast<int>(std::floor(std::log10(size > 0 ? size : 1.0)));
    if (large >= 1e7 || power < -5) {
        const int digits = 4 + static_cast<int>(std::log10(std::max(large / size, 1.0)));
        (void)std::snprintf(text, sizeof text, "%.*g", std::clamp(digits, 4, 12), v);
        return text;
    }
    const int decimals = std::clamp(3 - power, 0, 8);
    (void)std::snprintf(text, sizeof text, "%.*f", decimals, v);
    std::string number = text;
    if (decimals > 0) {
        number.erase(number.find_last_not_of('0') + 1);
        if (number.back() == '.') number.pop_back();
    }
    return number == "-0" ? "0" : number;
}

std::string title_text(const std::string& title) {
    return title.size() <= 24 ? title : title.substr(0, 22) + "..";
}

Layout layout_of(const Legend& legend, int width, int height) {
    Layout l{};
    l.scale = std::max(1, (std::min(width, height) + 240) / 480);
    l.margin = 12 * l.scale;
    l.line = 12 * l.scale;
    l.swatch = 9 * l.scale;
    l.gap = 7 * l.scale;
    l.width = text_width(title_text(legend.title), l.scale);
    const int room = height - 2 * l.margin - 2 * l.line;
    const auto beside = [&l](const std::string& text) {
        l.width = std::max(l.width, l.swatch + l.gap + text_width(text, l.scale));
    };
    if (legend.kind == Legend::Kind::bar) {
        l.bar_height = std::min(room, std::max(height / 2, 8 * l.line));
        for (const Tick& t : bar_ticks(legend.low, legend.high, l.bar_height / l.line / 2))
            beside(t.text);
    } else if (legend.kind == Legend::Kind::labels) {
        l.rows = std::min(static_cast<int>(legend.labels.size()), room / l.line);
        for (const std::int32_t label : legend.labels)
            beside(std::to_string(label));
        if (static_cast<std::size_t>(l.rows) < legend.labels.size()) beside("+999 more");
    } else {
        for (const std::string& text : legend.lines)
            l.width = std::max(l.width, text_width(text, l.scale));
    }
    return l;
}

bool is_light(const Color& c) {
    const Color s = to_display(c);
    return 0.3f * s[0] + 0.6f * s[1] + 0.1f * s[2] > 0.55f;
}

void draw_bar(Picture& picture, const Legend& legend, const Layout& l, int x, int y,
              const Color& ink) {
    fill_box(picture, x - l.scale, y - l.scale, l.swatch + 2 * l.scale, l.bar_height + 2 * l.scale,
             ink);
    const double last = std::max(l.bar_height - 1, 1);
    for (int j = 0; j < l.bar_height; ++j)
        fill_box(picture, x, y + j, l.swatch, 1, map_color(1 - j / last));
    const double size = legend.high - legend.low;
    for (const Tick& tick : bar_ticks(legend.low, legend.high, l.bar_height / l.line / 2)) {
        const double t = size > 0 ? (tick.value - legend.low) / size : 0.5;
        const int at = y + static_cast<int>(std::lround((1 - t) * last));
        fill_box(picture, x + l.swatch, at - l.scale / 2, 3 * l.scale, l.scale, ink);
        draw_text(picture, x + l.swatch + l.gap, at - text_height(l.scale) / 2, l.scale, tick.text,
                  ink);
    }
}

void draw_labels(Picture& picture, const Legend& legend, const Layout& l, int x, int y,
                 const Color& ink) {
    const auto shown = static_cast<std::size_t>(l.rows);
    const bool cut = shown < legend.labels.size();
    for (std::size_t i = 0; i < shown; ++i, y += l.line) {
        if (cut && i + 1 == shown) {
            draw_text(picture, x, y, l.scale,
                      "+" + std::to_string(legend.labels.size() - i) + " more", ink);
            break;
        }
        fill_box(picture, x, y - l.scale, l.swatch, l.swatch, label_color(legend.labels[i]));
        draw_text(picture, x + l.swatch + l.gap, y, l.scale, std::to_string(legend.labels[i]), ink);
    }
}

} // namespace

std::vector<Tick> bar_ticks(double low, double high, int most) {
    if (!(high > low)) {
        char text[40];
        (void)std::snprintf(text, sizeof text, "%.6g", low);
        return {{low, text}};
    }
    const double size = high - low;
    std::vector<Tick> ticks{{low, number_text(low, size)}};
    const double least = size / std::max(most - 1, 1);
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    double step = power * 10;
    for (const double factor : {5.0, 2.0, 1.0}) {
        if (power * factor >= least * (1 - 1e-9)) step = power * factor;
    }
    const double clear = std::min(0.75 * size / std::max(most - 1, 1), 0.3 * size);
    const double first = std::ceil(low / step);
    // Count steps: adding a small step to a large number may not change it.
    for (int k = 0; k <= std::clamp(most, 2, 100); ++k) {
        const double v = (first + k) * step;
        if (!std::isfinite(v) || v >= high) break;
        if (v - low < clear || high - v < clear || v <= ticks.back().value) continue;
        ticks.push_back({v, number_text(v, size)});
    }
    ticks.push_back({high, number_text(high, size)});
    return ticks;
}

int legend_width(const Legend& legend, int width, int height) {
    if (legend.kind == Legend::Kind::none) return 0;
    const Layout l = layout_of(legend, width, height);
    const int needed = l.width + 2 * l.margin;
    const bool tall = legend.kind != Legend::Kind::bar || l.bar_height >= 4 * l.line;
    const bool rows = legend.kind != Legend::Kind::labels || l.rows >= 1;
    return needed * 3 <= width && tall && rows && height >= 2 * l.margin + 3 * l.line ? needed : 0;
}

void draw_legend(Picture& picture, const Legend& legend, const Color& background) {
    const int needed = legend_width(legend, picture.width, picture.height);
    if (needed == 0) return;
    const Layout l = layout_of(legend, picture.width, picture.height);
    const float shade = is_light(background) ? 0.02f : 0.75f;
    const Color ink{shade, shade, shade};
    const int x = picture.width - needed + l.margin;
    const int content = legend.kind == Legend::Kind::bar ? l.bar_height
                        : legend.kind == Legend::Kind::labels
                            ? l.rows * l.line
                            : static_cast<int>(legend.lines.size()) * l.line;
    int y = std::max(l.margin, (picture.height - content) / 2 - l.line);
    draw_text(picture, x, y, l.scale, title_text(legend.title), ink);
    y += l.line + l.line / 2;
    if (legend.kind == Legend::Kind::bar) {
        draw_bar(picture, legend, l, x, y, ink);
    } else if (legend.kind == Legend::Kind::labels) {
        draw_labels(picture, legend, l, x, y, ink);
    } else {
        for (const std::string& text : legend.lines) {
            draw_text(picture, x, y, l.scale, text, ink);
            y += l.line;
        }
    }
}

} // namespace vx::cache
