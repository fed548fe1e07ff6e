#include "tools/verbs/statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>

namespace vx::cache {

namespace {

constexpr std::size_t most_labels = 100000;
constexpr std::int64_t spacing_samples = 200;
constexpr int most_chained = 4; // samples that a point is measured against at most
constexpr int cells = 128;      // along each axis of the grid that finds candidates

template <typename T>
void add_values(const T* values, std::size_t points, std::size_t width, std::size_t k,
                Range& range) {
    // Four sums, so that one addition need not wait for the one before.
    double sums[4] = {};
    double least = range.least;
    double most = range.most;
    std::int64_t finite = 0;
    for (std::size_t i = 0; i < points; ++i) {
        const auto v = static_cast<double>(values[i * width + k]);
        if (std::abs(v) <= std::numeric_limits<double>::max()) {
            least = v < least ? v : least;
            most = v > most ? v : most;
            sums[i & 3] += v;
            ++finite;
        }
    }
    range.least = least;
    range.most = most;
    range.mean += (sums[0] + sums[1]) + (sums[2] + sums[3]);
    range.finite += finite;
    range.total += static_cast<std::int64_t>(points);
}

class Labels {
  public:
    template <typename T>
    void add(const T* values, std::size_t n, std::int64_t times) {
        for (std::size_t i = 0; i < n; ++i) {
            if (m_last == nullptr || values[i] != static_cast<T>(m_last_label)) look_up(values[i]);
            if (m_last != nullptr) *m_last += times;
        }
    }
    std::unordered_map<std::int64_t, std::int64_t> counts;
    bool many = false;

  private:
    template <typename T>
    void look_up(T value) {
        m_last = nullptr;
        std::int64_t label = 0;
        convert_values(type_of<T>(), &value, Type::int64, &label, 1);
        if (counts.size() >= most_labels && !counts.contains(label)) {
            many = true;
            return;
        }
        m_last = &counts[label];
        m_last_label = label;
    }
    std::int64_t* m_last = nullptr;
    std::int64_t m_last_label = 0;
};

// Nearest neighbours of a sample of the points: a grid marks the cells about the samples, so that
// one walk over all points finds the few that are near enough to be measured.
class SpacingFinder {
  public:
    SpacingFinder(Cloud& cloud, std::size_t position, const std::vector<Range>& bounds)
        : m_cloud(cloud), m_position(position) {
        double size = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            m_low[k] = bounds[k].least;
            size = std::max(size, bounds[k].most - bounds[k].least);
        }
        // A surface of n points has about sqrt(n) of them along each axis.
        const double wanted = std::sqrt(static_cast<double>(cloud.count)) / 2;
        m_cells = static_cast<int>(std::clamp(wanted, 1.0, static_cast<double>(cells)));
        m_cell = size / m_cells;
    }

    Spacing find() {
        if (m_cloud.count < 2 || !(m_cell > 0) || !std::isfinite(m_cell)) return {};
        take_samples();
        Reader<double> reader(m_cloud, m_position);
        for_blocks(m_cloud.count, [&](std::int64_t first, std::int64_t n) {
            const auto p = reader.read(first, n);
            for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i)
                measure_point(&p[3 * i], first + static_cast<std::int64_t>(i));
        });
        std::vector<double> found;
        for (const Sample& s : m_samples) {
            // Farther than a cell there may be nearer points that were not looked at.
            if (s.nearest <= m_cell * m_cell) found.push_back(std::sqrt(s.nearest));
        }
        if (found.size() * 2 < m_samples.size() || found.empty()) return {};
        std::sort(found.begin(), found.end());
        return {std::ssize(found), found[found.size() / 2], found.back()};
    }

  private:
    struct Sample {
        std::array<double, 3> p;
        std::int64_t index;
        double nearest;
    };

    int cell_of(double v, std::size_t k) const {
        return std::clamp(static_cast<int>((v - m_low[k]) / m_cell), 0, m_cells - 1);
    }
    std::size_t slot(int x, int y, int z) const {
        return (static_cast<std::size_t>(z) * static_cast<std::size_t>(m_cells) +
                static_cast<std::size_t>(y)) *
                   static_cast<std::size_t>(m_cells) +
               static_cast<std::size_t>(x);
    }
    void take_samples() {
        const auto side = static_cast<std::size_t>(m_cells);
        m_heads.assign(side * side * side, 0);
        m_chains.push_back({0, 0});
        Reader<double> reader(m_cloud, m_position);
        const std::int64_t step = std::max<std::int64_t>(m_cloud.count / spacing_samples, 1);
        for (std::int64_t at = 0; at < m_cloud.count; at += step) {
            const auto p = reader.read(at, 1);
            if (!std::isfinite(p[0] + p[1] + p[2])) continue;
            m_samples.push_back({{p[0], p[1], p[2]}, at, std::numeric_limits<double>::infinity()});
            mark(m_samples.size() - 1);
        }
    }
    // A sample is given up where many are already: the points of a crowd would be measured against
    // all of them.
    void mark(std::size_t sample) {
        const auto& p = m_samples[sample].p;
        const int c[3] = {cell_of(p[0], 0), cell_of(p[1], 1), cell_of(p[2], 2)};
        const auto low = [](int v) { return std::max(v - 1, 0); };
        const auto high = [this](int v) { return std::min(v + 1, m_cells - 1); };
        const auto each_cell = [&](auto&& f) {
            for (int z = low(c[2]); z <= high(c[2]); ++z) {
                for (int y = low(c[1]); y <= high(c[1]); ++y) {
                    for (int x = low(c[0]); x <= high(c[0]); ++x)
                        f(m_heads[slot(x, y, z)]);
                }
            }
        };
        int longest = 0;
        each_cell([&](std::uint32_t head) {
            int length = 0;
            for (; head != 0; head = m_chains[head].next)
                ++length;
            longest = std::max(longest, length);
        });
        if (longest >= most_chained) {
            m_samples.pop_back();
            return;
        }
        each_cell([&](std::uint32_t& head) {
            m_chains.push_back({sample, head});
            head = static_cast<std::uint32_t>(m_chains.size() - 1);
        });
    }
    void measure_point(const double* p, std::int64_t index) {
        if (!std::isfinite(p[0] + p[1] + p[2])) return;
        for (std::uint32_t link =
                 m_heads[slot(cell_of(p[0], 0), cell_of(p[1], 1), cell_of(p[2], 2))];
             link != 0; link = m_chains[link].next) {
            Sample& s = m_samples[m_chains[link].sample];
            if (s.index == index) continue;
            const double dx = p[0] - s.p[0];
            const double dy = p[1] - s.p[1];
            const double dz = p[2] - s.p[2];
            s.nearest = std::min(s.nearest, dx * dx + dy * dy + dz * dz);
        }
    }

    struct Link {
        std::size_t sample;
        std::uint32_t next;
    };
    Cloud& m_cloud;
    std::size_t m_position;
    double m_low[3] = {};
    double m_cell = 0;
    int m_cells = 1;
    std::vector<Sample> m_samples;
    std::vector<std::uint32_t> m_heads;
    std::vector<Link> m_chains;
};

} // namespace

Statistics measure(Cloud& cloud, const Progress& progress) {
    Statistics s;
    const std::size_t attributes = cloud.attributes.size();
    for (const Attribute& a : cloud.attributes) {
        Range start;
        start.least = std::numeric_limits<double>::infinity();
        start.most = -start.least;
        s.ranges.emplace_back(static_cast<std::size_t>(a.width), start);
    }
    const int tag = cloud.find("tag");
    Labels labels;
    std::vector<std::byte> block;
    const auto add = [&](std::size_t a, std::int64_t first, std::int64_t n) {
        const Attribute& attribute = cloud.attributes[a];
        block.resize(static_cast<std::size_t>(n) * attribute.bytes());
        cloud.read(a, first, n, block.data());
        with_type(attribute.type, [&](auto* kind) {
            const auto* values = reinterpret_cast<decltype(kind)>(block.data());
            const auto width = static_cast<std::size_t>(attribute.width);
            for (std::size_t k = 0; k < width; ++k)
                add_values(values, static_cast<std::size_t>(n), width, k, s.ranges[a][k]);
            if (static_cast<int>(a) == tag && width == 1) {
                labels.add(values, static_cast<std::size_t>(n), attribute.single ? cloud.count : 1);
            }
        });
    };
    for (std::size_t a = 0; a < attributes; ++a) {
        if (cloud.attributes[a].single) add(a, 0, 1);
    }
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        for (std::size_t a = 0; a < attributes; ++a) {
            if (!cloud.attributes[a].single) add(a, first, n);
        }
        if (progress) progress(first + n, cloud.count);
    });
    for (auto& components : s.ranges) {
        for (Range& r : components) {
            if (r.finite > 0) r.mean /= static_cast<double>(r.finite);
            if (r.finite == 0) r.least = r.most = r.mean = std::numeric_limits<double>::quiet_NaN();
        }
    }
    s.labels.insert(labels.counts.begin(), labels.counts.end());
    s.many_labels = labels.many;
    const int position = cloud.find("position");
    if (position >= 0 && cloud.attributes[static_cast<std::size_t>(position)].width == 3 &&
        !cloud.attributes[static_cast<std::size_t>(position)].single) {
        s.spacing = SpacingFinder(cloud, static_cast<std::size_t>(position),
                                  s.ranges[static_cast<std::size_t>(position)])
                        .find();
    }
    return s;
}

} // namespace vx::cache
