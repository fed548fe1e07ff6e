#include "maps/best.h"

#include <bit>
#include <optional>
#include <utility>

namespace vx::maps {

namespace {

struct Nearer {
    const std::uint32_t* order;
    bool operator()(const Map_result& a, const Map_result& b) const {
        return a.distance < b.distance || (a.distance == b.distance && order[a.row] < order[b.row]);
    }
};

// Distances of zero and more are ordered as these integers are, which whole vectors compare.
// Negative distances and a negative zero are negative integers.
std::int32_t bits(float distance) {
    return std::bit_cast<std::int32_t>(distance);
}

// The range of distances, if none is negative.
struct Range {
    float least;
    float greatest;
};

std::optional<Range> range_of(const std::vector<Map_result>& results) {
    std::int32_t least = std::numeric_limits<std::int32_t>::max();
    std::int32_t greatest = std::numeric_limits<std::int32_t>::min();
    for (const Map_result& r : results) {
        least = std::min(least, bits(r.distance));
        greatest = std::max(greatest, bits(r.distance));
    }
    if (least < 0) return std::nullopt;
    return Range{std::bit_cast<float>(least), std::bit_cast<float>(greatest)};
}

std::uint32_t count_within(const std::vector<Map_result>& results, float bound) {
    std::uint32_t count = 0;
    for (const Map_result& r : results)
        count += r.distance <= bound ? 1u : 0u;
    return count;
}

// A distance within which there are at least `wanted` results and at most `most`, by interpolation.
// Distances of points on a surface are about evenly distributed, because their squares are
// proportional to the area around the search point; a few steps find them. None for distances that
// are negative, or of which too many are equal, infinite or unevenly distributed.
std::optional<float> find_bound(const std::vector<Map_result>& results, std::uint32_t wanted,
                                std::uint32_t most) {
    constexpr int kMaxSteps = 8;
    const std::optional<Range> range = range_of(results);
    if (!range) return std::nullopt;
    float low = range->least;
    float high = range->greatest;
    auto below = 0.0f;
    auto above = static_cast<float>(results.size());
    const float aim = 0.5f * (static_cast<float>(wanted) + static_cast<float>(most));
    for (int step = 0; step < kMaxSteps; ++step) {
        const float bound = low + (high - low) * ((aim - below) / (above - below));
        const std::uint32_t count = count_within(results, bound);
        if (count >= wanted && count <= most) return bound;
        if (count < wanted) {
            low = bound;
            below = static_cast<float>(count);
        } else {
            high = bound;
            above = static_cast<float>(count);
        }
    }
    return std::nullopt;
}

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

} // namespace

void Best::begin(std::uint32_t most, float max_distance, const std::uint32_t* row_order) {
    constexpr std::uint64_t kMaxReserved = 4096;
    wanted = most;
    count = 0;
    limit = max_distance;
    order = row_order;
    many.clear();
    if (!is_few()) many.reserve(std::min(capacity(), kMaxReserved));
}

void Best::keep_nearest() {
    if (const std::optional<float> bound = find_bound(many, wanted, wanted + wanted / 8)) {
        limit = *bound;
        std::size_t kept = 0;
        for (const Map_result r : many) {
            many[kept] = r;
            kept += r.distance <= limit ? 1 : 0;
        }
        many.resize(kept);
    } else {
        const auto last = many.begin() + (wanted - 1);
        std::nth_element(many.begin(), last, many.end(), Nearer{order});
        limit = last->distance;
        many.resize(wanted);
    }
}

// Puts the results into equal parts of their range, about as many as there are results, and then
// sorts by insertion.
void Best::sort_many() {
    constexpr std::uint32_t kMaxParts = 1u << 16;
    constexpr std::uint32_t kMaxByInsertion = 16;
    const Nearer nearer{order};
    const std::optional<Range> range = range_of(many);
    const auto parts =
        static_cast<std::uint32_t>(std::min<std::size_t>(std::bit_ceil(many.size()), kMaxParts));
    const float extent = range ? range->greatest - range->least : 0.0f;
    const float scale = static_cast<float>(parts - 1) / extent;
    constexpr float kGreatest = std::numeric_limits<float>::max();
    if (!(extent > 0.0f && extent <= kGreatest && scale <= kGreatest)) {
        std::sort(many.begin(), many.end(), nearer);
        return;
    }
    const auto part = [&](float distance) {
        return static_cast<std::uint32_t>((distance - range->least) * scale);
    };
    m_places.assign(parts, 0);
    for (const Map_result& r : many)
        ++m_places[part(r.distance)];
    std::uint32_t sum = 0;
    std::uint32_t largest = 0;
    for (std::uint32_t& place : m_places) {
        largest = std::max(largest, place);
        sum += std::exchange(place, sum);
    }
    m_sorted.resize(many.size());
    for (const Map_result& r : many)
        m_sorted[m_places[part(r.distance)]++] = r;
    many.swap(m_sorted);
    if (largest <= kMaxByInsertion) {
        sort_nearly_sorted(many, nearer);
        return;
    }
    // Each place is now the end of its part.
    std::uint32_t begin = 0;
    for (const std::uint32_t end : m_places) {
        std::sort(many.begin() + begin, many.begin() + end, nearer);
        begin = end;
    }
}

void Best::finish_many() {
    if (many.size() > std::uint64_t{wanted} + wanted / 8) keep_nearest();
    sort_many();
    if (many.size() > wanted) many.resize(wanted);
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
