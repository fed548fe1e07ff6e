#include "cache/verbs/statistics.h"

#include "cache/cloud/parallel.h"
#include "cache/verbs/moments.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <unordered_map>

namespace vx::cache {

namespace {

constexpr std::size_t kMostLabels = 100000;
constexpr std::int64_t kReadValues = 8192;     // per read, within the processor's cache
constexpr std::int64_t kMostPieces = 4096;     // per attribute, to limit memory
constexpr std::int64_t kPiecePoints = 1 << 16; // least size of a task

class Labels {
  public:
    template <typename T>
    void add(const T* values, std::size_t n, std::int64_t times) {
        for (std::size_t i = 0; i < n; ++i) {
            const T v = values[i];
            if (v >= T{0} && v < static_cast<T>(kFew)) {
                m_few[i & 1][static_cast<std::size_t>(v)] += times;
            } else {
                look_up(v, times);
            }
        }
    }
    bool many() const { return m_many; }
    std::map<std::int64_t, std::int64_t> counts() const {
        std::map<std::int64_t, std::int64_t> out(m_others.begin(), m_others.end());
        for (std::size_t label = 0; label < kFew; ++label) {
            const std::int64_t count = m_few[0][label] + m_few[1][label];
            if (count > 0) out[static_cast<std::int64_t>(label)] += count;
        }
        return out;
    }

  private:
    static constexpr std::size_t kFew = 1024;

    template <typename T>
    void look_up(T value, std::int64_t times) {
        std::int64_t label = 0;
        convert_values(type_of<T>(), &value, Type::int64, &label, 1);
        if (m_others.size() >= kMostLabels && !m_others.contains(label)) {
            m_many = true;
            return;
        }
        m_others[label] += times;
    }

    // Small labels, the usual ones. Two tables, so that successive additions are independent. A
    // label may be in both kinds of table.
    std::array<std::array<std::int64_t, kFew>, 2> m_few{};
    std::unordered_map<std::int64_t, std::int64_t> m_others;
    bool m_many = false;
};

// Some rows of one attribute; all rows if labels are counted, which is done in order.
struct Task {
    std::size_t attribute;
    std::int64_t first;
    std::int64_t end;
};

// One thread's share of the work.
class Worker {
  public:
    explicit Worker(Cloud& cloud) : m_cloud(cloud) {}

    // The moments of each piece of `piece` rows; `labels` may be null.
    void run(const Task& task, std::int64_t piece, std::vector<std::vector<Moments>>& out,
             Labels* labels) {
        const Attribute& a = m_cloud.attributes[task.attribute];
        const std::int64_t step = std::max<std::int64_t>(kReadValues / a.width / 16 * 16, 16);
        for (std::int64_t begin = task.first; begin < task.end; begin += piece) {
            const std::int64_t end = std::min(begin + piece, task.end);
            Accumulator moments(static_cast<std::size_t>(a.width));
            for (std::int64_t at = begin; at < end; at += step)
                add(task.attribute, at, std::min(step, end - at), moments, labels);
            out[static_cast<std::size_t>(begin / piece)] = moments.result();
        }
    }

  private:
    void add(std::size_t index, std::int64_t first, std::int64_t n, Accumulator& moments,
             Labels* labels) {
        const Attribute& a = m_cloud.attributes[index];
        const auto points = static_cast<std::size_t>(n);
        const std::size_t values = points * static_cast<std::size_t>(a.width);
        m_values.resize(values);
        void* raw = m_values.data();
        if (a.type != Type::float64) {
            m_raw.resize(values * type_size(a.type));
            raw = m_raw.data();
        }
        m_cloud.read_rows(index, first, n, raw);
        with_type(a.type, [&](auto* kind) {
            const auto* source = static_cast<decltype(kind)>(raw);
            if (labels != nullptr) labels->add(source, points, a.single ? m_cloud.count : 1);
            if (a.type != Type::float64) {
                for (std::size_t i = 0; i < values; ++i)
                    m_values[i] = static_cast<double>(source[i]);
            }
        });
        moments.add(m_values.data(), points);
    }

    Cloud& m_cloud;
    std::vector<std::byte> m_raw;
    std::vector<double> m_values;
};

std::vector<Range> ranges_of(const std::vector<std::vector<Moments>>& pieces, std::size_t width,
                             std::int64_t points) {
    std::vector<Range> ranges(width);
    for (std::size_t k = 0; k < width; ++k) {
        Range& r = ranges[k];
        r.least = std::numeric_limits<double>::infinity();
        r.most = -r.least;
        r.total = points;
        double sum = 0;
        for (const std::vector<Moments>& piece : pieces) {
            const Moments& m = piece[k];
            r.least = std::min(r.least, m.least);
            r.most = std::max(r.most, m.most);
            r.finite += m.finite;
            sum += m.sum;
        }
        r.mean = sum / static_cast<double>(r.finite);
        if (r.finite == 0) r.least = r.most = r.mean = std::numeric_limits<double>::quiet_NaN();
    }
    return ranges;
}

} // namespace

Statistics measure(Cloud& cloud, const Progress& progress) {
    const int tag = cloud.find("tag");
    const bool has_labels = tag >= 0 && cloud.attributes[static_cast<std::size_t>(tag)].width == 1;
    const std::int64_t piece = std::max(kPiecePoints, (cloud.count / kMostPieces + 15) / 16 * 16);

    std::vector<std::vector<std::vector<Moments>>> moments;
    std::vector<Task> tasks;
    for (std::size_t a = 0; a < cloud.attributes.size(); ++a) {
        const std::int64_t points = cloud.attributes[a].single ? 1 : cloud.count;
        moments.emplace_back(static_cast<std::size_t>((points + piece - 1) / piece));
        const bool whole = has_labels && static_cast<int>(a) == tag;
        for (std::int64_t at = 0; at < points; at += whole ? points : piece)
            tasks.push_back({a, at, whole ? points : std::min(at + piece, points)});
    }
    // The longest task first; the others in the order of the rows, for sequential reads.
    std::stable_sort(tasks.begin(), tasks.end(), [&](const Task& x, const Task& y) {
        const auto key = [&](const Task& t) {
            return has_labels && static_cast<int>(t.attribute) == tag ? -1 : t.first;
        };
        return key(x) < key(y);
    });

    Labels labels;
    std::atomic<std::size_t> next = 0;
    run_workers(cloud.reads_in_parallel() ? worker_count() : 1, [&](int number) {
        Worker worker(cloud);
        for (std::size_t t = next++; t < tasks.size(); t = next++) {
            const bool counts = has_labels && static_cast<int>(tasks[t].attribute) == tag;
            worker.run(tasks[t], piece, moments[tasks[t].attribute], counts ? &labels : nullptr);
            if (progress && number == 0) {
                progress(std::max<std::int64_t>(tasks[t].end - piece, 0), cloud.count);
            }
        }
    });
    if (progress) progress(cloud.count, cloud.count);

    Statistics s;
    for (std::size_t a = 0; a < cloud.attributes.size(); ++a) {
        const Attribute& attribute = cloud.attributes[a];
        s.ranges.push_back(ranges_of(moments[a], static_cast<std::size_t>(attribute.width),
                                     attribute.single ? 1 : cloud.count));
    }
    s.labels = labels.counts();
    s.many_labels = labels.many();
    const int position = cloud.find("position");
    if (position < 0) return s;
    const auto p = static_cast<std::size_t>(position);
    if (cloud.attributes[p].width == 3 && !cloud.attributes[p].single) {
        std::array<double, 3> low{};
        double size = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            low[k] = s.ranges[p][k].least;
            size = std::max(size, s.ranges[p][k].most - low[k]);
        }
        s.spacing = find_spacing(cloud, p, low, size);
    }
    return s;
}

} // namespace vx::cache
