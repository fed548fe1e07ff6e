// The nearest elements found so far by one search.
#pragma once

#include "maps/names.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

namespace vx::maps {

// At most `wanted` results; of two equally far the one appended later is the farther. Few results
// stand in no order, with their distances in whole vectors, and only the farthest is known: what a
// search does most is to replace it. The searches' source files keep it so, each with its own
// vectors. Many results stand in a heap.
struct Best {
    static constexpr std::uint32_t few_most = 48;

    std::uint32_t wanted = 0;
    std::uint32_t count = 0; // of the few
    // From here on nothing is of interest; exactly here still is.
    float limit = 0.0f;
    std::uint32_t farthest = 0;           // of the few, once there are as many as wanted
    const std::uint32_t* order = nullptr; // index in the order of appending, by row
    alignas(64) float distances[few_most];
    std::uint32_t rows[few_most];
    // The results after the search, from near to far.
    Map_result sorted[few_most];
    std::vector<Map_result> many;

    void begin(std::uint32_t most, float max_distance, const std::uint32_t* row_order) {
        wanted = most;
        count = 0;
        limit = max_distance;
        order = row_order;
        many.clear();
    }
    bool is_few() const { return wanted <= few_most; }
    const Map_result* results() const { return is_few() ? sorted : many.data(); }
    std::uint32_t result_count() const {
        return is_few() ? count : static_cast<std::uint32_t>(many.size());
    }

    // For a heap: a distance not above the limit. Throws std::bad_alloc.
    void offer_many(float distance, std::uint32_t row);
    void finish_many();
    // For the few: the slow ways that ties take.
    std::uint32_t farthest_of_equals(std::uint64_t equals) const;
    void sort_few();
};

} // namespace vx::maps
