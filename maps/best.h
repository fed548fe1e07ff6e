// The nearest elements found so far by one search.
#pragma once

#include "maps/names.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

namespace vx::maps {

// At most `wanted` results. Of two elements at the same distance, the one appended later counts as
// the farther. Up to kMaxFew results are kept unsorted, with their distances in whole vectors and
// the farthest known, because replacing the farthest is what a search does most; search_walk.h
// maintains them, compiled for each instruction set. More results are kept in a heap.
struct Best {
    static constexpr std::uint32_t kMaxFew = 48;

    std::uint32_t wanted = 0;
    std::uint32_t count = 0; // of few results
    // The largest distance that is still accepted.
    float limit = 0.0f;
    std::uint32_t farthest = 0;           // of few results, once there are `wanted`
    const std::uint32_t* order = nullptr; // index of appending, by row
    alignas(64) float distances[kMaxFew];
    std::uint32_t rows[kMaxFew];
    // The results after a search, from near to far.
    Map_result sorted[kMaxFew];
    std::vector<Map_result> many;

    void begin(std::uint32_t most, float max_distance, const std::uint32_t* row_order) {
        wanted = most;
        count = 0;
        limit = max_distance;
        order = row_order;
        many.clear();
    }
    bool is_few() const { return wanted <= kMaxFew; }
    const Map_result* results() const { return is_few() ? sorted : many.data(); }
    std::uint32_t result_count() const {
        return is_few() ? count : static_cast<std::uint32_t>(many.size());
    }

    // Adds a result to the heap; the distance must not exceed the limit. Throws std::bad_alloc.
    void offer_many(float distance, std::uint32_t row);
    void finish_many();
    // The slow paths for few results with equal distances.
    std::uint32_t farthest_of_equals(std::uint64_t equals) const;
    void sort_few();
};

} // namespace vx::maps
