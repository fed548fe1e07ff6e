#include "cache/verbs/selection.h"

#include "cache/cloud/attribute_reader.h"
#include "cache/cloud/error.h"
#include "cache/verbs/expression.h"
#include "cache/verbs/output.h"

#include <array>
#include <cmath>
#include <unordered_map>

namespace vx::cache {

namespace {

std::size_t need(const Cloud& cloud, const char* name, int width) {
    const int at = cloud.find(name);
    if (at < 0 || cloud.attributes[static_cast<std::size_t>(at)].width != width) {
        throw FileError(cloud.file_name, -1, std::string("there is no attribute '") + name + "'");
    }
    return static_cast<std::size_t>(at);
}

// Drops the points whose values of one attribute do not pass the test.
template <typename Test>
void sift(Cloud& cloud, std::size_t attribute, std::vector<bool>& keep, Test&& wanted) {
    TypedReader<double> reader(cloud, attribute);
    const auto width = static_cast<std::size_t>(reader.width());
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        const auto values = reader.read(first, n);
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
            const std::size_t point = static_cast<std::size_t>(first) + i;
            if (keep[point] && !wanted(&values[i * width], point)) keep[point] = false;
        }
    });
}

// A hash of the index and the seed (splitmix64), so that a seed selects the same points everywhere.
double random_of(std::uint64_t seed, std::uint64_t point) {
    std::uint64_t z = (seed + 1) * 0x9e3779b97f4a7c15u + point * 0xd1b54a32d192ed03u;
    z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9u;
    z = (z ^ z >> 27) * 0x94d049bb133111ebu;
    z ^= z >> 31;
    return static_cast<double>(z >> 11) * 0x1.0p-53;
}

// The points kept so far, in cells as large as the spacing.
class KeptPoints {
  public:
    explicit KeptPoints(double spacing) : m_spacing(spacing) {}
    bool take(const double* p) {
        std::array<std::int64_t, 3> cell{};
        for (std::size_t k = 0; k < 3; ++k) {
            const double c = std::floor(p[k] / m_spacing);
            if (!(std::abs(c) < 1e15)) return true;
            cell[k] = static_cast<std::int64_t>(c);
        }
        for (std::int64_t z = -1; z <= 1; ++z) {
            for (std::int64_t y = -1; y <= 1; ++y) {
                for (std::int64_t x = -1; x <= 1; ++x) {
                    if (is_near(key(cell[0] + x, cell[1] + y, cell[2] + z), p)) return false;
                }
            }
        }
        m_points.push_back({{p[0], p[1], p[2]}, 0});
        std::uint32_t& head = m_cells[key(cell[0], cell[1], cell[2])];
        m_points.back().next = head;
        head = static_cast<std::uint32_t>(m_points.size());
        return true;
    }

  private:
    struct Point {
        std::array<double, 3> p;
        std::uint32_t next;
    };
    static std::uint64_t key(std::int64_t x, std::int64_t y, std::int64_t z) {
        return static_cast<std::uint64_t>(x) * 0x9e3779b97f4a7c15u ^
               static_cast<std::uint64_t>(y) * 0xc2b2ae3d27d4eb4fu ^
               static_cast<std::uint64_t>(z) * 0x165667b19e3779f9u;
    }
    bool is_near(std::uint64_t cell, const double* p) const {
        const auto found = m_cells.find(cell);
        if (found == m_cells.end()) return false;
        for (std::uint32_t at = found->second; at != 0; at = m_points[at - 1].next) {
            const Point& q = m_points[at - 1];
            const double d[3] = {p[0] - q.p[0], p[1] - q.p[1], p[2] - q.p[2]};
            if (d[0] * d[0] + d[1] * d[1] + d[2] * d[2] < m_spacing * m_spacing) return true;
        }
        return false;
    }
    double m_spacing;
    std::vector<Point> m_points;
    std::unordered_map<std::uint64_t, std::uint32_t> m_cells;
};

void sift_labels(Cloud& cloud, const std::string& text, std::vector<bool>& keep) {
    need(cloud, "tag", 1);
    const LabelSet wanted(text);
    LabelReader labels(cloud);
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        const auto values = labels.read(first, n);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (!wanted.holds(values[i])) keep[static_cast<std::size_t>(first) + i] = false;
        }
    });
}

void sift_expression(Cloud& cloud, const std::string& text, std::vector<bool>& keep) {
    Expression expression(cloud, "--where", text);
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        const auto values = expression.evaluate(first, n);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (values[i] == 0 || std::isnan(values[i])) {
                keep[static_cast<std::size_t>(first) + i] = false;
            }
        }
    });
}

} // namespace

void thin_points(Cloud& cloud, double spacing, std::vector<bool>& keep) {
    KeptPoints kept(spacing);
    sift(cloud, need_position(cloud), keep,
         [&](const double* p, std::size_t) { return kept.take(p); });
}

std::vector<bool> select_points(Cloud& cloud, const Criteria& c) {
    std::vector<bool> keep(static_cast<std::size_t>(cloud.count), true);
    if (c.labels) sift_labels(cloud, *c.labels, keep);
    if (!c.box.empty()) {
        sift(cloud, need_position(cloud), keep, [&](const double* p, std::size_t) {
            return p[0] >= c.box[0] && p[1] >= c.box[1] && p[2] >= c.box[2] && p[0] <= c.box[3] &&
                   p[1] <= c.box[4] && p[2] <= c.box[5];
        });
    }
    if (!c.around.empty()) {
        sift(cloud, need_position(cloud), keep, [&](const double* p, std::size_t) {
            return std::hypot(p[0] - c.around[0], p[1] - c.around[1], p[2] - c.around[2]) <=
                   c.around[3];
        });
    }
    if (!c.cone.empty()) {
        const double length = std::hypot(c.cone[0], c.cone[1], c.cone[2]);
        const double least = std::cos(std::min(c.cone[3], 180.0) * 3.14159265358979323846 / 180.0);
        sift(cloud, need(cloud, "normalPP", 3), keep, [&](const double* n, std::size_t) {
            const double dot = n[0] * c.cone[0] + n[1] * c.cone[1] + n[2] * c.cone[2];
            return dot >= (least - 1e-12) * length * std::hypot(n[0], n[1], n[2]);
        });
    }
    if (c.least_opacity || c.most_opacity) {
        sift(cloud, need(cloud, "opacityPP", 1), keep, [&](const double* v, std::size_t) {
            return (!c.least_opacity || *v >= *c.least_opacity) &&
                   (!c.most_opacity || *v <= *c.most_opacity);
        });
    }
    if (!c.where.empty()) sift_expression(cloud, c.where, keep);
    if (c.invert) keep.flip();
    for (std::size_t i = 0; c.random < 1 && i < keep.size(); ++i) {
        if (random_of(c.seed, i) >= c.random) keep[i] = false;
    }
    if (c.spacing > 0) thin_points(cloud, c.spacing, keep);
    return keep;
}

} // namespace vx::cache
