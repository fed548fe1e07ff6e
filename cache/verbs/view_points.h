// The points of a cloud for pictures, read a run at a time.
#pragma once

#include "cache/picture/camera.h"
#include "cache/verbs/coloring.h"
#include "cache/verbs/statistics.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace vx::cache {

// Selection and size of the points that are drawn.
struct ViewStyle {
    std::string by;
    std::optional<std::string> labels; // a list in the shaders' syntax
    std::optional<double> radius;      // of every point, instead of its own
    double radius_scale = 1;
    bool lit = true;
    int samples = 3; // per pixel and axis
    Color background{};
};

// An open cloud whose points are visited as discs.
class ViewCloud {
  public:
    // Throws FileError if positions, the requested labels or the attribute of `by` are missing.
    // Without radii it measures the distance between neighbors, unless an earlier call has
    // measured it.
    ViewCloud(Cloud& cloud, const ViewStyle& style, std::optional<double> known_radius = {});

    struct Point {
        Vec position{0.0};
        Vec normal{0.0}; // zero without one
        double radius;
        std::size_t index; // in the run, for the colors
    };
    // Reads runs of points; every thread has its own.
    class Reader {
      public:
        explicit Reader(ViewCloud& cloud);
        // Calls f(point, colors) with every point of a run that has a finite position and a wanted
        // label, in order.
        template <typename F>
        void each(std::int64_t first, std::int64_t n, const F& f);

        // Points read so far as described below.
        std::int64_t without_position = 0;
        std::int64_t without_value = 0;

      private:
        ViewCloud& m_view;
        TypedReader<double> m_positions, m_normals, m_radii;
        ColorReader m_colors;
        std::optional<LabelReader> m_labels;
    };
    // Calls f with every point that has a finite position and a wanted label, in order.
    void each(const std::function<void(const Point&, ColorReader&)>& f);
    // How many threads may read at the same time.
    int readers() const;

    // A point with its color.
    struct Kept {
        Vec position{0.0};
        Vec normal{0.0};
        double radius;
        Color color;
    };
    // Reads all points into memory, for several pictures with the same colors. Does nothing if
    // there are more than kMostKept.
    void keep(const ColorScale& scale);
    static constexpr std::int64_t kMostKept = std::int64_t{1} << 24; // about 1.2 GB
    // The points of a block of kBlockPoints; null if they are not kept.
    const std::vector<Kept>* kept(std::int64_t block) const {
        return m_kept.empty() ? nullptr : &m_kept[static_cast<std::size_t>(block)];
    }

    const Coloring& coloring() const { return m_coloring; }
    std::int64_t count() const { return m_cloud.count; }
    // The radius of points that have none.
    double fixed_radius() const { return m_fixed_radius; }
    // After each(): how many points of the wanted labels have no finite position, and how many have
    // no finite value to be colored by.
    std::int64_t without_position = 0;
    std::int64_t without_value = 0;

  private:
    double derived_radius() const;

    Cloud& m_cloud;
    const ViewStyle& m_style;
    Coloring m_coloring;
    std::size_t m_position;
    std::optional<std::size_t> m_normal, m_radius;
    std::optional<LabelSet> m_labels;
    double m_fixed_radius = 0;
    std::vector<std::vector<Kept>> m_kept; // by block
};

template <typename F>
void ViewCloud::Reader::each(std::int64_t first, std::int64_t n, const F& f) {
    const ViewCloud& view = m_view;
    const auto p = m_positions.read(first, n);
    const auto d = view.m_normal ? m_normals.read(first, n) : std::span<const double>{};
    const auto r = view.m_radius ? m_radii.read(first, n) : std::span<const double>{};
    const auto l = m_labels ? m_labels->read(first, n) : std::span<const std::int32_t>{};
    const auto vec_at = [](std::span<const double> values, std::size_t i) {
        return Vec{values[3 * i], values[3 * i + 1], values[3 * i + 2]};
    };
    m_colors.read(first, n);
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        if (m_labels && !view.m_labels->holds(l[i])) continue;
        Point point{vec_at(p, i), Vec(0.0), view.m_fixed_radius, i};
        if (!is_finite(point.position)) {
            ++without_position;
            continue;
        }
        if (view.m_normal) point.normal = vec_at(d, i);
        if (view.m_radius) point.radius = std::isfinite(r[i]) ? std::max(r[i], 0.0) : 0;
        point.radius *= view.m_style.radius_scale;
        if (!m_colors.has_value(i)) ++without_value;
        f(point, m_colors);
    }
}

// Totals over all clouds of a sequence.
struct SequenceSummary {
    std::int64_t points = 0; // drawn
    Vec low{0.0}, high{0.0}; // of their positions
    double radius = 0;       // the largest
    ColorScale scale;
    void add(ViewCloud& cloud);

  private:
    void add(const ViewCloud::Point& point, ColorReader& colors);
    void add(const SequenceSummary& other);
};

// One picture, without its legend.
struct DrawnCloud {
    Picture picture;
    std::int64_t points = 0; // within the picture, visible or hidden
};
DrawnCloud draw_cloud(ViewCloud& cloud, const ViewStyle& style, const Camera& camera,
                      const ColorScale& scale, const Progress& progress);

// Shading factor of a two-sided surface under a soft light from the upper left of the eye. Surfaces
// that face the eye are bright; grazing ones fade but do not turn black. `normal` and `to_eye` are
// unit vectors in camera space.
double shade(const Vec& normal, const Vec& to_eye);

} // namespace vx::cache
