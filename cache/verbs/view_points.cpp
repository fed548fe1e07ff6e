#include "cache/verbs/view_points.h"

#include "cache/cloud/attribute_reader.h"
#include <algorithm>
#include <cmath>

namespace vx::cache {

namespace {

// Samples of a band of the picture: 16 bytes each.
constexpr std::int64_t kBandSamples = std::int64_t{1} << 25;

std::optional<std::size_t> find(const Cloud& cloud, const char* name, int width) {
    const int at = cloud.find(name);
    if (at < 0 || cloud.attributes[static_cast<std::size_t>(at)].width != width) return {};
    return static_cast<std::size_t>(at);
}

// The length of a world unit in camera space, whose transformation may scale.
double camera_scale(const Matrix& m) {
    return std::cbrt(std::abs(row_of(m, 0).dot(row_of(m, 1).cross(row_of(m, 2)))));
}

Vec vec_at(std::span<const double> values, std::size_t i) {
    return {values[3 * i], values[3 * i + 1], values[3 * i + 2]};
}

} // namespace

ViewCloud::ViewCloud(Cloud& cloud, const ViewStyle& style, std::optional<double> known_radius)
    : m_cloud(cloud),
      m_style(style),
      m_coloring(choose_coloring(cloud, style.by)),
      m_position(need_position(cloud)),
      m_normal(find(cloud, "normalPP", 3)),
      m_radius(find(cloud, "radius", 1)) {
    if (style.labels) {
        if (!find(cloud, "tag", 1)) {
            throw FileError(cloud.file_name, -1, "there is no attribute 'tag'");
        }
        m_labels.emplace(*style.labels);
    }
    if (style.radius) {
        m_radius.reset();
        m_fixed_radius = *style.radius;
    } else if (!m_radius) {
        m_fixed_radius = known_radius ? *known_radius : derived_radius();
    }
}

// Discs as large as the distance to the nearest neighbor overlap on an even grid; scattered points
// have larger gaps, up to about three times that. Without an estimate, half the distance between
// the points of an even square grid as large as the cloud with as many points.
double ViewCloud::derived_radius() const {
    const Statistics s = measure(m_cloud, {});
    if (s.spacing.samples > 0 && s.spacing.median > 0) {
        return std::min(s.spacing.most, 3 * s.spacing.median);
    }
    const auto& ranges = s.ranges[m_position];
    const double size =
        std::hypot(ranges[0].most - ranges[0].least, ranges[1].most - ranges[1].least,
                   ranges[2].most - ranges[2].least);
    if (!(size > 0) || !std::isfinite(size)) return 1;
    return size / (2 * std::sqrt(static_cast<double>(m_cloud.count)));
}

void ViewCloud::each(const std::function<void(const Point&, ColorReader&)>& f) {
    without_position = without_value = 0;
    TypedReader<double> positions(m_cloud, m_position);
    TypedReader<double> normals(m_cloud, m_normal.value_or(m_position));
    TypedReader<double> radii(m_cloud, m_radius.value_or(m_position));
    ColorReader colors(m_cloud, m_coloring);
    std::optional<LabelReader> labels;
    if (m_labels) labels.emplace(m_cloud);
    for_blocks(m_cloud.count, [&](std::int64_t first, std::int64_t n) {
        const auto p = positions.read(first, n);
        const auto d = m_normal ? normals.read(first, n) : std::span<const double>{};
        const auto r = m_radius ? radii.read(first, n) : std::span<const double>{};
        const auto l = labels ? labels->read(first, n) : std::span<const std::int32_t>{};
        colors.read(first, n);
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
            if (labels && !m_labels->holds(l[i])) continue;
            Point point{vec_at(p, i), Vec(0.0), m_fixed_radius, i};
            if (!is_finite(point.position)) {
                ++without_position;
                continue;
            }
            if (m_normal) point.normal = vec_at(d, i);
            if (m_radius) point.radius = std::isfinite(r[i]) ? std::max(r[i], 0.0) : 0;
            point.radius *= m_style.radius_scale;
            if (!colors.has_value(i)) ++without_value;
            f(point, colors);
        }
    });
}

void SequenceSummary::add(ViewCloud& cloud) {
    cloud.each([this](const ViewCloud::Point& p, ColorReader& colors) {
        if (points++ == 0) low = high = p.position;
        low = {std::min(low.x, p.position.x), std::min(low.y, p.position.y),
               std::min(low.z, p.position.z)};
        high = {std::max(high.x, p.position.x), std::max(high.y, p.position.y),
                std::max(high.z, p.position.z)};
        radius = std::max(radius, p.radius);
        colors.measure(p.index, scale);
    });
    scale.corner_low = low;
    scale.corner_high = high;
}

double shade(const Vec& normal, const Vec& to_eye) {
    static const Vec kLight = normalized({-0.45, 0.6, 1});
    const Vec n = normal.dot(to_eye) < 0 ? normal * -1 : normal;
    const double half = 0.5 + 0.5 * n.dot(kLight);
    return 0.12 + 0.88 * half * half;
}

DrawnCloud draw_cloud(ViewCloud& cloud, const ViewStyle& style, const Camera& camera,
                      const ColorScale& scale, const Progress& progress) {
    DrawnCloud out{Picture(camera.width, camera.height, style.background), 0};
    const std::int64_t line =
        static_cast<std::int64_t>(camera.width) * style.samples * style.samples;
    const int lines = static_cast<int>(
        std::clamp<std::int64_t>(kBandSamples / line, 1, static_cast<std::int64_t>(camera.height)));
    const double size = camera_scale(camera.to_camera);
    const std::int64_t total = cloud.count();
    for (int first = 0; first < camera.height; first += lines) {
        DiscRaster raster(camera, style.samples, first, std::min(lines, camera.height - first));
        std::int64_t done = 0;
        cloud.each([&](const ViewCloud::Point& p, ColorReader& colors) {
            if (progress && ++done % kBlockPoints == 0) {
                // Each band is one part of the work.
                progress(first * total + done * lines, total * camera.height);
            }
            Disc disc;
            disc.center = transform_point(camera.to_camera, p.position);
            disc.normal = normalized(transform_direction(camera.to_camera, p.normal));
            disc.radius = p.radius * size;
            disc.color = colors.color(p.index, scale);
            if (style.lit && disc.normal.dot(disc.normal) > 0.5) {
                const Vec to_eye =
                    camera.orthographic ? Vec{0, 0, 1} : normalized(disc.center) * -1;
                const auto share = static_cast<float>(shade(disc.normal, to_eye));
                for (float& channel : disc.color)
                    channel *= share;
            }
            if (raster.draw(disc)) ++out.points;
        });
        raster.resolve(out.picture, style.background);
    }
    if (progress) progress(1, 1);
    return out;
}

} // namespace vx::cache
