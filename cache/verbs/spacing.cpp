#include "cache/verbs/spacing.h"

#include "cache/cloud/attribute_reader.h"
#include "cache/cloud/parallel.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <vector>

namespace vx::cache {

namespace {

constexpr std::int64_t kWantedSamples = 200;
constexpr int kMostChained = 4; // samples that a point is compared with, at most
constexpr int kMostCells = 128; // along each axis
constexpr std::int64_t kPiecePoints = 8 * kBlockPoints; // per task of a thread

struct Sample {
    std::array<double, 3> p;
    std::int64_t row;
};

// The samples whose nearest neighbor may be in a cell. One bit per cell marks cells with samples,
// so that the pass over all points stays within the processor's cache.
class Grid {
  public:
    Grid(const std::array<double, 3>& low, double size, int cells)
        : m_low(low), m_cells(cells), m_per_unit(cells / size) {
        const auto side = static_cast<std::size_t>(cells);
        m_marked.assign(side * side * side / 64 + 1, 0);
    }

    // Null for most cells, and for positions that are not finite.
    const std::vector<std::uint32_t>* near(const double* p) const {
        const double x = (p[0] - m_low[0]) * m_per_unit;
        const double y = (p[1] - m_low[1]) * m_per_unit;
        const double z = (p[2] - m_low[2]) * m_per_unit;
        const std::size_t s = slot(cell(x), cell(y), cell(z));
        if ((m_marked[s / 64] >> (s % 64) & 1) == 0 || !std::isfinite(x + y + z)) return nullptr;
        return &m_samples.at(s);
    }
    // Returns false and marks nothing if the cell has many samples already; every point of a dense
    // cluster would be compared with all of them.
    bool mark(const double* p, std::uint32_t sample) {
        int c[3];
        for (std::size_t k = 0; k < 3; ++k)
            c[k] = cell((p[k] - m_low[k]) * m_per_unit);
        const auto each_cell = [&](auto&& f) {
            for (int z = std::max(c[2] - 1, 0); z <= std::min(c[2] + 1, m_cells - 1); ++z) {
                for (int y = std::max(c[1] - 1, 0); y <= std::min(c[1] + 1, m_cells - 1); ++y) {
                    for (int x = std::max(c[0] - 1, 0); x <= std::min(c[0] + 1, m_cells - 1); ++x)
                        f(slot(x, y, z));
                }
            }
        };
        std::size_t longest = 0;
        each_cell([&](std::size_t s) {
            const auto found = m_samples.find(s);
            if (found != m_samples.end()) longest = std::max(longest, found->second.size());
        });
        if (longest >= kMostChained) return false;
        each_cell([&](std::size_t s) {
            m_samples[s].push_back(sample);
            m_marked[s / 64] |= std::uint64_t{1} << (s % 64);
        });
        return true;
    }

  private:
    // NaN is in cell 0.
    int cell(double v) const {
        const double last = m_cells - 1;
        return static_cast<int>(v > 0 ? (v < last ? v : last) : 0);
    }
    std::size_t slot(int x, int y, int z) const {
        const auto side = static_cast<std::size_t>(m_cells);
        return (static_cast<std::size_t>(z) * side + static_cast<std::size_t>(y)) * side +
               static_cast<std::size_t>(x);
    }

    std::array<double, 3> m_low;
    int m_cells;
    double m_per_unit;
    std::vector<std::uint64_t> m_marked;
    std::unordered_map<std::size_t, std::vector<std::uint32_t>> m_samples;
};

void measure_run(const Grid& grid, const std::vector<Sample>& samples, std::span<const double> p,
                 std::int64_t first, std::vector<double>& nearest) {
    for (std::size_t i = 0; i < p.size(); i += 3) {
        const auto* const near = grid.near(&p[i]);
        if (near == nullptr) continue;
        for (const std::uint32_t s : *near) {
            if (samples[s].row == first + static_cast<std::int64_t>(i / 3)) continue;
            const double dx = p[i] - samples[s].p[0];
            const double dy = p[i + 1] - samples[s].p[1];
            const double dz = p[i + 2] - samples[s].p[2];
            nearest[s] = std::min(nearest[s], dx * dx + dy * dy + dz * dz);
        }
    }
}

} // namespace

Spacing find_spacing(Cloud& cloud, std::size_t position, const std::array<double, 3>& low,
                     double size) {
    // A surface of n points has about sqrt(n) points along each axis.
    const double wanted = std::sqrt(static_cast<double>(cloud.count)) / 2;
    const int cells = static_cast<int>(std::clamp(wanted, 1.0, static_cast<double>(kMostCells)));
    const double cell = size / cells;
    if (cloud.count < 2 || !(cell > 0) || !std::isfinite(cell) || !std::isfinite(1 / cell)) {
        return {};
    }
    Grid grid(low, size, cells);
    std::vector<Sample> samples;
    TypedReader<double> reader(cloud, position);
    const std::int64_t step = std::max<std::int64_t>(cloud.count / kWantedSamples, 1);
    for (std::int64_t at = 0; at < cloud.count; at += step) {
        const auto p = reader.read(at, 1);
        if (!std::isfinite(p[0] + p[1] + p[2])) continue;
        if (grid.mark(p.data(), static_cast<std::uint32_t>(samples.size()))) {
            samples.push_back({{p[0], p[1], p[2]}, cloud.stored_row(at)});
        }
    }

    const int workers = cloud.reads_in_parallel() ? worker_count() : 1;
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    std::vector<std::vector<double>> nearest(static_cast<std::size_t>(workers),
                                             std::vector<double>(samples.size(), kInfinite));
    std::atomic<std::int64_t> next = 0;
    run_workers(workers, [&](int worker) {
        AttributeReader own(cloud, position, Type::float64);
        for (;;) {
            const std::int64_t begin = next.fetch_add(kPiecePoints);
            const std::int64_t end = std::min(begin + kPiecePoints, cloud.count);
            if (begin >= end) return;
            for (std::int64_t at = begin; at < end; at += kBlockPoints / 4) {
                const std::int64_t n = std::min(kBlockPoints / 4, end - at);
                const auto* const p = reinterpret_cast<const double*>(own.read_rows(at, n));
                measure_run(grid, samples, {p, static_cast<std::size_t>(3 * n)}, at,
                            nearest[static_cast<std::size_t>(worker)]);
            }
        }
    });
    std::vector<double> found;
    for (std::size_t s = 0; s < samples.size(); ++s) {
        double least = kInfinite;
        for (const auto& of_worker : nearest)
            least = std::min(least, of_worker[s]);
        // Beyond a cell, nearer points may not have been examined.
        if (least <= cell * cell) found.push_back(std::sqrt(least));
    }
    if (found.size() * 2 < samples.size() || found.empty()) return {};
    std::sort(found.begin(), found.end());
    return {std::ssize(found), found[found.size() / 2], found.back()};
}

} // namespace vx::cache
