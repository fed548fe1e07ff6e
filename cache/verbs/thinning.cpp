#include "cache/verbs/thinning.h"

#include "cache/cloud/attribute_reader.h"
#include "cache/verbs/selection.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <map>

namespace vx::cache {

namespace {

constexpr std::int64_t kSamples = 200;
constexpr int kMostRounds = 12;
constexpr double kClose = 0.05; // relative

using Point = std::array<double, 3>;
using Cell = std::array<std::int64_t, 3>;

// Points around which others are counted, in cells as large as the radius.
class Samples {
  public:
    Samples(Cloud& cloud, const std::vector<bool>& keep, double radius)
        : m_cloud(cloud), m_position(need_position(cloud)), m_radius(radius) {
        std::int64_t kept = 0;
        for (const bool k : keep)
            kept += k ? 1 : 0;
        // One point of each stretch, at a place that differs from stretch to stretch: points in
        // rows must not give samples in columns.
        constexpr double kGoldenRatio = 0.6180339887498949;
        const double stretch = std::max(static_cast<double>(kept) / kSamples, 1.0);
        double chosen = 0;
        std::int64_t rank = 0;
        std::int64_t sample = 0;
        each_point(keep, [&](const Point& p) {
            if (rank++ < static_cast<std::int64_t>(chosen)) return;
            ++sample;
            const double place = static_cast<double>(sample) * kGoldenRatio;
            chosen = (static_cast<double>(sample) + place - std::floor(place)) * stretch;
            if (!std::isfinite(p[0] + p[1] + p[2])) return;
            m_cells[cell_of(p)].push_back(p);
            ++m_count;
        });
    }

    // Mean number of kept points within the radius of a sample.
    double mean(const std::vector<bool>& keep) const {
        std::int64_t pairs = 0;
        each_point(keep, [&](const Point& p) {
            if (!std::isfinite(p[0] + p[1] + p[2])) return;
            const Cell c = cell_of(p);
            for (std::int64_t z = -1; z <= 1; ++z) {
                for (std::int64_t y = -1; y <= 1; ++y) {
                    // The cells of a row are neighbors in the map.
                    auto at = m_cells.lower_bound({c[0] + z, c[1] + y, c[2] - 1});
                    const Cell last{c[0] + z, c[1] + y, c[2] + 1};
                    for (; at != m_cells.end() && at->first <= last; ++at)
                        pairs += count_near(at->second, p);
                }
            }
        });
        return m_count == 0 ? 0 : static_cast<double>(pairs) / static_cast<double>(m_count);
    }

  private:
    template <typename F>
    void each_point(const std::vector<bool>& keep, F&& f) const {
        TypedReader<double> reader(m_cloud, m_position);
        for_blocks(m_cloud.count, [&](std::int64_t first, std::int64_t n) {
            const auto values = reader.read(first, n);
            for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
                if (!keep[static_cast<std::size_t>(first) + i]) continue;
                f(Point{values[3 * i], values[3 * i + 1], values[3 * i + 2]});
            }
        });
    }
    // In the order z, y, x.
    Cell cell_of(const Point& p) const {
        Cell cell{};
        for (std::size_t k = 0; k < 3; ++k) {
            const double c = std::clamp(std::floor(p[2 - k] / m_radius), -1e15, 1e15);
            cell[k] = static_cast<std::int64_t>(c);
        }
        return cell;
    }
    std::int64_t count_near(const std::vector<Point>& samples, const Point& p) const {
        std::int64_t near = 0;
        for (const Point& s : samples) {
            const double x = p[0] - s[0];
            const double y = p[1] - s[1];
            const double z = p[2] - s[2];
            near += x * x + y * y + z * z <= m_radius * m_radius ? 1 : 0;
        }
        return near;
    }

    Cloud& m_cloud;
    std::size_t m_position;
    double m_radius;
    std::int64_t m_count = 0;
    std::map<Cell, std::vector<Point>> m_cells;
};

} // namespace

Thinning choose_spacing(Cloud& cloud, const std::vector<bool>& keep, double radius, double points) {
    const Samples samples(cloud, keep, radius);
    Thinning best;
    best.before = best.after = samples.mean(keep);
    if (best.before <= points * (1 + kClose)) return best;
    // On a surface that is filled to the last gap, discs of half the spacing cover 0.547 of it.
    double spacing = radius * std::sqrt(4 * 0.547 / points);
    double low = 0;
    double high = HUGE_VAL;
    for (int round = 0; round < kMostRounds; ++round) {
        std::vector<bool> thin = keep;
        thin_points(cloud, spacing, thin);
        const double mean = samples.mean(thin);
        if (best.spacing == 0 || std::abs(mean - points) < std::abs(best.after - points)) {
            best.spacing = spacing;
            best.after = mean;
        }
        if (std::abs(mean - points) <= kClose * points) break;
        (mean > points ? low : high) = spacing;
        // The number falls with the square of the spacing on surfaces.
        double next = spacing * std::sqrt(std::max(mean, 0.1) / points);
        if (next <= low) next = high < HUGE_VAL ? std::sqrt(low * high) : 2 * low;
        if (next >= high) next = low > 0 ? std::sqrt(low * high) : high / 2;
        spacing = next;
    }
    return best;
}

} // namespace vx::cache
