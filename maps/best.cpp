#include "maps/best.h"

#include <bit>
#include <utility>

namespace vx::maps {

namespace {

struct Nearer {
    const std::uint32_t* order;
    bool operator()(const Map_result& a, const Map_result& b) const {
        return a.distance < b.distance || (a.distance == b.distance && order[a.row] < order[b.row]);
    }
};

// Splits the range of finite distances into equal buckets. Distances of points on a surface are
// about evenly distributed, because their squares are proportional to the area around the search
// point. Bucket numbers never decrease with the distance.
class Buckets {
  public:
    Buckets(const std::vector<Map_result>& results, std::uint32_t count) {
        float greatest = results.front().distance;
        m_least = greatest;
        for (const Map_result& r : results) {
            m_least = std::min(m_least, r.distance);
            greatest = std::max(greatest, r.distance);
        }
        const float extent = greatest - m_least;
        m_scale = static_cast<float>(count - 1) / extent;
        m_valid = extent > 0.0f && extent <= std::numeric_limits<float>::max() &&
                  m_scale <= std::numeric_limits<float>::max();
    }
    // False if all distances are equal, or the range is too large or too small.
    [[nodiscard]] bool valid() const { return m_valid; }
    [[nodiscard]] std::uint32_t of(float distance) const {
        return static_cast<std::uint32_t>((distance - m_least) * m_scale);
    }

  private:
    float m_least, m_scale;
    bool m_valid;
};

// Sorts results by insertion, which is fast if each is near its place.
void sort_nearly_sorted(std::vector<Map_result>& results, const Nearer& nearer) {
    for (std::size_t i = 1; i < results.size(); ++i) {
        const Map_result result = results[i];
        std::size_t place = i;
        for (; place > 0 && nearer(result, results[place - 1]); --place)
            results[place] = results[place - 1];
        results[place] = result;
    }
}

void sort_results(std::vector<Map_result>& results, const Nearer& nearer) {
    constexpr std::uint32_t kMaxBuckets = 1u << 16;
    constexpr std::uint32_t kMaxByInsertion = 16;
    const auto count = static_cast<std::uint32_t>(
        std::min<std::size_t>(std::bit_ceil(results.size()), kMaxBuckets));
    if (results.size() < 2) return;
    const Buckets buckets(results, count);
    if (!buckets.valid()) {
        std::sort(results.begin(), results.end(), nearer);
        return;
    }
    std::vector<std::uint32_t> ends(count + 1); // first the sizes, then the begins of buckets
    for (const Map_result& r : results)
        ++ends[buckets.of(r.distance)];
    std::uint32_t sum = 0;
    std::uint32_t largest = 0;
    for (std::uint32_t& end : ends) {
        largest = std::max(largest, end);
        sum += std::exchange(end, sum);
    }
    std::vector<Map_result> sorted(results.size());
    for (const Map_result& r : results)
        sorted[ends[buckets.of(r.distance)]++] = r;
    results.swap(sorted);
    if (largest <= kMaxByInsertion) {
        sort_nearly_sorted(results, nearer);
        return;
    }
    std::uint32_t begin = 0;
    for (const std::uint32_t end : ends) {
        std::sort(results.begin() + begin, results.begin() + end, nearer);
        begin = end;
    }
}

} // namespace

void Best::keep_nearest() {
    constexpr std::uint32_t kMaxBuckets = 256;
    const Buckets buckets(
        many, static_cast<std::uint32_t>(std::clamp<std::size_t>(many.size() / 2, 2, kMaxBuckets)));
    if (!buckets.valid()) {
        const auto last = many.begin() + (wanted - 1);
        std::nth_element(many.begin(), last, many.end(), Nearer{order});
        limit = last->distance;
        many.resize(wanted);
        return;
    }
    std::uint32_t sizes[kMaxBuckets] = {};
    for (const Map_result& r : many)
        ++sizes[buckets.of(r.distance)];
    // The bucket that holds the last result, and the number of results in nearer buckets.
    std::uint32_t bucket = 0;
    std::uint32_t nearer = 0;
    for (; nearer + sizes[bucket] < wanted; ++bucket)
        nearer += sizes[bucket];
    // Both lists have room for the element that the loop stores last.
    m_border.resize(sizes[bucket] + std::size_t{1});
    std::size_t kept = 0;
    std::size_t on_border = 0;
    for (const Map_result r : many) {
        const std::uint32_t own = buckets.of(r.distance);
        many[kept] = r;
        kept += own < bucket ? 1 : 0;
        m_border[on_border] = r;
        on_border += own == bucket ? 1 : 0;
    }
    const auto last = m_border.begin() + (wanted - nearer - 1);
    std::nth_element(m_border.begin(), last, m_border.end() - 1, Nearer{order});
    limit = last->distance;
    std::copy(m_border.begin(), last + 1, many.begin() + nearer);
    many.resize(wanted);
}

void Best::finish_many() {
    if (many.size() > wanted) keep_nearest();
    sort_results(many, Nearer{order});
}

std::uint32_t Best::farthest_of_equals(std::uint64_t equals) const {
    auto latest = static_cast<std::uint32_t>(std::countr_zero(equals));
    for (; equals != 0; equals &= equals - 1) {
        const auto place = static_cast<std::uint32_t>(std::countr_zero(equals));
        if (order[rows[place]] > order[rows[latest]]) latest = place;
    }
    return latest;
}

void Best::sort_few() {
    for (std::uint32_t i = 0; i < count; ++i)
        sorted[i] = {distances[i], rows[i]};
    std::sort(sorted, sorted + count, Nearer{order});
}

} // namespace vx::maps
