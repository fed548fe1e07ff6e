#include "cache/verbs/view_points.h"

#include "cache/cloud/attribute_reader.h"
#include "cache/cloud/parallel.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>

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

// Calls f(part, first, n) for each block of a cloud, on several threads. Each thread has a part of
// its own, which make() returns and merge(part) receives in the end, one after the other.
template <typename Make, typename F, typename Merge>
void for_blocks_in_parallel(std::int64_t count, int workers, const Make& make, const F& f,
                            const Merge& merge) {
    std::atomic<std::int64_t> next = 0;
    std::mutex mutex;
    run_workers(workers, [&](int) {
        auto part = make();
        for (;;) {
            const std::int64_t first = next.fetch_add(kBlockPoints);
            if (first >= count) break;
            f(part, first, std::min(kBlockPoints, count - first));
        }
        const std::lock_guard lock(mutex);
        merge(part);
    });
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

ViewCloud::Reader::Reader(ViewCloud& cloud)
    : m_view(cloud),
      m_positions(cloud.m_cloud, cloud.m_position),
      m_normals(cloud.m_cloud, cloud.m_normal.value_or(cloud.m_position)),
      m_radii(cloud.m_cloud, cloud.m_radius.value_or(cloud.m_position)),
      m_colors(cloud.m_cloud, cloud.m_coloring) {
    if (cloud.m_labels) m_labels.emplace(cloud.m_cloud);
}

void ViewCloud::each(const std::function<void(const Point&, ColorReader&)>& f) {
    Reader reader(*this);
    for_blocks(m_cloud.count,
               [&](std::int64_t first, std::int64_t n) { reader.each(first, n, f); });
    without_position = reader.without_position;
    without_value = reader.without_value;
}

int ViewCloud::readers() const {
    return m_cloud.reads_in_parallel() ? processor_count() : 1;
}

void ViewCloud::keep(const ColorScale& scale) {
    if (m_cloud.count == 0 || m_cloud.count > kMostKept) return;
    m_kept.clear();
    m_kept.resize(static_cast<std::size_t>((m_cloud.count + kBlockPoints - 1) / kBlockPoints));
    for_blocks_in_parallel(
        m_cloud.count, readers(), [&] { return Reader(*this); },
        [&](Reader& reader, std::int64_t first, std::int64_t n) {
            auto& block = m_kept[static_cast<std::size_t>(first / kBlockPoints)];
            block.reserve(static_cast<std::size_t>(n));
            reader.each(first, n, [&](const Point& p, ColorReader& colors) {
                block.push_back({p.position, p.normal, p.radius, colors.color(p.index, scale)});
            });
        },
        [](const Reader&) {});
}

void SequenceSummary::add(const ViewCloud::Point& p, ColorReader& colors) {
    if (points++ == 0) low = high = p.position;
    low = {std::min(low.x, p.position.x), std::min(low.y, p.position.y),
           std::min(low.z, p.position.z)};
    high = {std::max(high.x, p.position.x), std::max(high.y, p.position.y),
            std::max(high.z, p.position.z)};
    radius = std::max(radius, p.radius);
    colors.measure(p.index, scale);
}

void SequenceSummary::add(const SequenceSummary& other) {
    if (other.points == 0) return;
    if (points == 0) {
        low = other.low;
        high = other.high;
    }
    points += other.points;
    low = {std::min(low.x, other.low.x), std::min(low.y, other.low.y),
           std::min(low.z, other.low.z)};
    high = {std::max(high.x, other.high.x), std::max(high.y, other.high.y),
            std::max(high.z, other.high.z)};
    radius = std::max(radius, other.radius);
    scale.low = std::min(scale.low, other.scale.low);
    scale.high = std::max(scale.high, other.scale.high);
    scale.labels.insert(other.scale.labels.begin(), other.scale.labels.end());
}

void SequenceSummary::add(ViewCloud& cloud) {
    struct Part {
        ViewCloud::Reader reader;
        SequenceSummary summary;
    };
    // The labels are those of the first points if there are too many of them.
    const int workers = cloud.coloring().kind == ColorKind::label ? 1 : cloud.readers();
    cloud.without_position = cloud.without_value = 0;
    for_blocks_in_parallel(
        cloud.count(), workers,
        [&] {
            return Part{ViewCloud::Reader(cloud), {}};
        },
        [](Part& part, std::int64_t first, std::int64_t n) {
            part.reader.each(first, n, [&](const ViewCloud::Point& p, ColorReader& colors) {
                part.summary.add(p, colors);
            });
        },
        [&](const Part& part) {
            add(part.summary);
            cloud.without_position += part.reader.without_position;
            cloud.without_value += part.reader.without_value;
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

namespace {

// How points become discs.
struct View {
    const Camera& camera;
    double size; // of a world unit in camera space
    bool lit;
    const ColorScale& scale;
};

// Point is a ViewCloud::Point or a ViewCloud::Kept.
template <typename Point>
Disc disc_of(const Point& p, const Color& color, const View& view) {
    const Camera& camera = view.camera;
    Disc disc;
    disc.center = transform_point(camera.to_camera, p.position);
    disc.normal = normalized(transform_direction(camera.to_camera, p.normal));
    disc.radius = p.radius * view.size;
    disc.color = color;
    if (view.lit && disc.normal.dot(disc.normal) > 0.5) {
        const Vec to_eye = camera.orthographic ? Vec{0, 0, 1} : normalized(disc.center) * -1;
        const auto share = static_cast<float>(shade(disc.normal, to_eye));
        for (float& channel : disc.color)
            channel *= share;
    }
    return disc;
}

// Draws the points of a cloud into a raster, chunk by chunk. The threads first project the blocks
// of a chunk, then each fills strips of the raster with all blocks in order. So every sample sees
// the discs in the order of the points, and the picture does not depend on the number of threads.
class ParallelDrawing {
  public:
    ParallelDrawing(ViewCloud& cloud, const View& view, DiscRaster& raster)
        : m_cloud(cloud),
          m_view(view),
          m_raster(raster),
          m_workers(processor_count()),
          m_blocks(kChunkBlocks) {
        const int readers = cloud.kept(0) != nullptr ? m_workers : cloud.readers();
        for (int i = 0; i < readers; ++i)
            m_readers.emplace_back(cloud);
    }

    static constexpr std::int64_t kChunkPoints = 16 * kBlockPoints;

    // Returns how many of the points are within the raster, visible or hidden.
    std::int64_t draw(std::int64_t first, std::int64_t n) {
        const std::int64_t blocks = (n + kBlockPoints - 1) / kBlockPoints;
        std::atomic<std::int64_t> next = 0;
        run_workers(static_cast<int>(m_readers.size()), [&](int worker) {
            for (std::int64_t i = next++; i < blocks; i = next++) {
                const std::int64_t at = i * kBlockPoints;
                project(m_readers[static_cast<std::size_t>(worker)], first + at,
                        std::min(kBlockPoints, n - at), m_blocks[static_cast<std::size_t>(i)]);
            }
        });
        const std::int64_t strips = std::int64_t{m_workers} * kStripsEach;
        std::atomic<std::int64_t> strip = 0;
        run_workers(m_workers, [&](int) {
            for (std::int64_t i = strip++; i < strips; i = strip++) {
                const auto begin = static_cast<int>(m_raster.rows() * i / strips);
                const auto end = static_cast<int>(m_raster.rows() * (i + 1) / strips);
                for (std::int64_t b = 0; b < blocks; ++b)
                    fill(m_blocks[static_cast<std::size_t>(b)], begin, end);
            }
        });
        std::int64_t covered = 0;
        for (std::int64_t b = 0; b < blocks; ++b) {
            const auto& seen = m_blocks[static_cast<std::size_t>(b)].covered;
            covered += std::count(seen.begin(), seen.end(), 1);
        }
        return covered;
    }

  private:
    static constexpr std::size_t kChunkBlocks = kChunkPoints / kBlockPoints;
    static constexpr int kStripsEach = 4; // per thread, because strips differ in their work

    struct Block {
        std::vector<DiscRaster::Footprint> footprints;
        std::vector<unsigned char> covered; // of each footprint: whether it covers a sample
    };

    void project(ViewCloud::Reader& reader, std::int64_t first, std::int64_t n,
                 Block& block) const {
        block.footprints.clear();
        const auto add = [&](const auto& point, const Color& color) {
            DiscRaster::Footprint& next = block.footprints.emplace_back();
            if (!m_raster.project(disc_of(point, color, m_view), next)) block.footprints.pop_back();
        };
        if (const auto* const kept = m_cloud.kept(first / kBlockPoints)) {
            for (const ViewCloud::Kept& p : *kept)
                add(p, p.color);
        } else {
            reader.each(first, n, [&](const ViewCloud::Point& p, ColorReader& colors) {
                add(p, colors.color(p.index, m_view.scale));
            });
        }
        block.covered.assign(block.footprints.size(), 0);
    }
    void fill(Block& block, int begin, int end) const {
        for (std::size_t i = 0; i < block.footprints.size(); ++i) {
            const DiscRaster::Footprint& f = block.footprints[i];
            if (f.last_row < begin || f.first_row >= end) continue;
            // Several threads may set the same mark.
            if (m_raster.fill(f, begin, end)) {
                std::atomic_ref(block.covered[i]).store(1, std::memory_order_relaxed);
            }
        }
    }

    const ViewCloud& m_cloud;
    const View& m_view;
    DiscRaster& m_raster;
    int m_workers;
    std::vector<ViewCloud::Reader> m_readers;
    std::vector<Block> m_blocks;
};

} // namespace

DrawnCloud draw_cloud(ViewCloud& cloud, const ViewStyle& style, const Camera& camera,
                      const ColorScale& scale, const Progress& progress) {
    DrawnCloud out{Picture(camera.width, camera.height, style.background), 0};
    const std::int64_t line =
        static_cast<std::int64_t>(camera.width) * style.samples * style.samples;
    const int lines = static_cast<int>(
        std::clamp<std::int64_t>(kBandSamples / line, 1, static_cast<std::int64_t>(camera.height)));
    const View view{camera, camera_scale(camera.to_camera), style.lit, scale};
    const std::int64_t total = cloud.count();
    for (int first = 0; first < camera.height; first += lines) {
        DiscRaster raster(camera, style.samples, first, std::min(lines, camera.height - first));
        ParallelDrawing drawing(cloud, view, raster);
        for (std::int64_t at = 0; at < total; at += ParallelDrawing::kChunkPoints) {
            const std::int64_t n = std::min(ParallelDrawing::kChunkPoints, total - at);
            out.points += drawing.draw(at, n);
            // Each band is one part of the work.
            if (progress) progress(first * total + (at + n) * lines, total * camera.height);
        }
        raster.resolve(out.picture, style.background);
    }
    if (progress) progress(1, 1);
    return out;
}

} // namespace vx::cache
