#include "host/image/frame.h"

#include <algorithm>
#include <cmath>

namespace vx::image {

namespace {

std::size_t area(const Rect& rect) {
    return rect.empty()
               ? 0
               : static_cast<std::size_t>(rect.width()) * static_cast<std::size_t>(rect.height());
}

miVector scaled(const miVector& v, float f) {
    return {v.x * f, v.y * f, v.z * f};
}

void accumulate(miColor& sum, const miColor& c, float w) {
    sum.r += c.r * w;
    sum.g += c.g * w;
    sum.b += c.b * w;
    sum.a += c.a * w;
}

} // namespace

Tile::Tile(Rect rect, const Filter& filter, bool surfaces)
    : m_filter(filter),
      m_with_surfaces(surfaces),
      m_one_pixel(filter.radius_x() == 0.5f && filter.radius_y() == 0.5f &&
                  filter.weight(0.49f, 0.49f) == 1.0f) {
    reset(rect);
}

void Tile::reset(Rect rect) {
    m_rect = rect;
    // A sample in the outermost pixel affects pixels whose centers are closer than the radius.
    const int bx = static_cast<int>(std::ceil(m_filter.radius_x() - 0.5f));
    const int by = static_cast<int>(std::ceil(m_filter.radius_y() - 0.5f));
    m_reach = {rect.x0 - bx, rect.y0 - by, rect.x1 + bx, rect.y1 + by};
    m_sums.assign(area(m_reach), Sum{});
    if (m_with_surfaces) m_surfaces.assign(area(m_rect), Surface{});
}

void Tile::add(const Sample& sample, float weight) {
    if (m_one_pixel) {
        const int x = static_cast<int>(std::floor(sample.x));
        const int y = static_cast<int>(std::floor(sample.y));
        if (x < m_rect.x0 || x >= m_rect.x1 || y < m_rect.y0 || y >= m_rect.y1) return;
        Sum& sum = m_sums[static_cast<std::size_t>(y - m_rect.y0) *
                              static_cast<std::size_t>(m_rect.width()) +
                          static_cast<std::size_t>(x - m_rect.x0)];
        accumulate(sum.color, sample.color, weight);
        sum.weight += weight;
    } else {
        spread(sample, weight);
    }
    if (m_with_surfaces) add_surface(sample);
}

void Tile::spread(const Sample& sample, float weight) {
    const int x0 =
        std::max(m_reach.x0, static_cast<int>(std::floor(sample.x - m_filter.radius_x() - 0.5f)));
    const int y0 =
        std::max(m_reach.y0, static_cast<int>(std::floor(sample.y - m_filter.radius_y() - 0.5f)));
    const int x1 = std::min(m_reach.x1 - 1,
                            static_cast<int>(std::ceil(sample.x + m_filter.radius_x() - 0.5f)));
    const int y1 = std::min(m_reach.y1 - 1,
                            static_cast<int>(std::ceil(sample.y + m_filter.radius_y() - 0.5f)));
    const auto stride = static_cast<std::size_t>(m_reach.width());
    for (int y = y0; y <= y1; ++y) {
        Sum* const row = m_sums.data() + static_cast<std::size_t>(y - m_reach.y0) * stride;
        for (int x = x0; x <= x1; ++x) {
            const float w = weight * m_filter.weight(sample.x - (static_cast<float>(x) + 0.5f),
                                                     sample.y - (static_cast<float>(y) + 0.5f));
            if (w == 0.0f) continue;
            Sum& sum = row[x - m_reach.x0];
            accumulate(sum.color, sample.color, w);
            sum.weight += w;
        }
    }
}

void Tile::add_surface(const Sample& sample) {
    const int px = std::clamp(static_cast<int>(std::floor(sample.x)), m_rect.x0, m_rect.x1 - 1);
    const int py = std::clamp(static_cast<int>(std::floor(sample.y)), m_rect.y0, m_rect.y1 - 1);
    Surface& surface = m_surfaces[static_cast<std::size_t>(py - m_rect.y0) *
                                      static_cast<std::size_t>(m_rect.width()) +
                                  static_cast<std::size_t>(px - m_rect.x0)];
    const float dx = sample.x - (static_cast<float>(px) + 0.5f);
    const float dy = sample.y - (static_cast<float>(py) + 0.5f);
    if (dx * dx + dy * dy < surface.nearest) {
        surface.nearest = dx * dx + dy * dy;
        surface.depth = sample.depth;
        surface.normal = sample.normal;
        surface.motion = sample.motion;
        surface.label = sample.label;
    }
    if (sample.depth < kNoDepth) {
        surface.hits += 1.0f;
        surface.depth_sum += sample.depth;
        mi_vector_add(&surface.normal_sum, &surface.normal_sum, &sample.normal);
        mi_vector_add(&surface.motion_sum, &surface.motion_sum, &sample.motion);
    }
}

Frame::Frame(int width, int height, bool surfaces) : m_width(width), m_height(height) {
    m_sums.resize(area({0, 0, width, height}));
    if (surfaces) m_surfaces.resize(m_sums.size());
}

void Frame::merge(const Tile& tile) {
    const Rect& reach = tile.m_reach;
    for (int y = std::max(0, reach.y0); y < std::min(m_height, reach.y1); ++y)
        for (int x = std::max(0, reach.x0); x < std::min(m_width, reach.x1); ++x) {
            const Tile::Sum& from = tile.m_sums[static_cast<std::size_t>(y - reach.y0) *
                                                    static_cast<std::size_t>(reach.width()) +
                                                static_cast<std::size_t>(x - reach.x0)];
            Tile::Sum& to = m_sums[index(x, y)];
            accumulate(to.color, from.color, 1.0f);
            to.weight += from.weight;
        }
    if (m_surfaces.empty() || tile.m_surfaces.empty()) return;
    const Rect& rect = tile.m_rect;
    for (int y = std::max(0, rect.y0); y < std::min(m_height, rect.y1); ++y)
        for (int x = std::max(0, rect.x0); x < std::min(m_width, rect.x1); ++x)
            m_surfaces[index(x, y)] = tile.m_surfaces[static_cast<std::size_t>(y - rect.y0) *
                                                          static_cast<std::size_t>(rect.width()) +
                                                      static_cast<std::size_t>(x - rect.x0)];
}

miColor Frame::color(int x, int y) const {
    const Tile::Sum& sum = m_sums[index(x, y)];
    if (sum.weight == 0.0f) return {};
    const float f = 1.0f / sum.weight;
    return {sum.color.r * f, sum.color.g * f, sum.color.b * f, sum.color.a * f};
}

float Frame::depth(int x, int y, bool interpolated) const {
    if (m_surfaces.empty()) return kNoDepth;
    const Surface& s = m_surfaces[index(x, y)];
    if (!interpolated) return s.depth;
    return s.hits > 0.0f ? s.depth_sum / s.hits : kNoDepth;
}

miVector Frame::normal(int x, int y, bool interpolated) const {
    if (m_surfaces.empty()) return {};
    const Surface& s = m_surfaces[index(x, y)];
    if (!interpolated) return s.normal;
    return s.hits > 0.0f ? scaled(s.normal_sum, 1.0f / s.hits) : miVector{};
}

miVector Frame::motion(int x, int y, bool interpolated) const {
    if (m_surfaces.empty()) return {};
    const Surface& s = m_surfaces[index(x, y)];
    if (!interpolated) return s.motion;
    return s.hits > 0.0f ? scaled(s.motion_sum, 1.0f / s.hits) : miVector{};
}

miUint Frame::label(int x, int y) const {
    return m_surfaces.empty() ? 0 : m_surfaces[index(x, y)].label;
}

} // namespace vx::image
