#include "maps/best.h"

#include <bit>

namespace vx::maps {

namespace {

struct Nearer {
    const std::uint32_t* order;
    bool operator()(const Map_result& a, const Map_result& b) const {
        return a.distance < b.distance || (a.distance == b.distance && order[a.row] < order[b.row]);
    }
};

} // namespace

void Best::offer_many(float distance, std::uint32_t row) {
    const Nearer nearer{order};
    const Map_result result{distance, row};
    if (many.size() < wanted) {
        many.push_back(result);
    } else {
        if (!nearer(result, many.front())) return;
        std::pop_heap(many.begin(), many.end(), nearer);
        many.back() = result;
    }
    std::push_heap(many.begin(), many.end(), nearer);
    if (many.size() == wanted) limit = many.front().distance;
}

void Best::finish_many() {
    std::sort_heap(many.begin(), many.end(), Nearer{order});
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
