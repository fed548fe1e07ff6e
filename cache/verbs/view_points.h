// The points of a cloud for pictures, read a run at a time.
#pragma once

#include "cache/picture/camera.h"
#include "cache/verbs/coloring.h"
#include "cache/verbs/statistics.h"

#include <functional>
#include <optional>

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
    // Calls f with every point that has a finite position and a wanted label, in order.
    void each(const std::function<void(const Point&, ColorReader&)>& f);

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
};

// Totals over all clouds of a sequence.
struct SequenceSummary {
    std::int64_t points = 0; // drawn
    Vec low{0.0}, high{0.0}; // of their positions
    double radius = 0;       // the largest
    ColorScale scale;
    void add(ViewCloud& cloud);
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
