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
// maintains them, compiled for each instruction set. If more are wanted, candidates are collected
// until there are half as many again, and then reduced to little more than `wanted`. They are
// sorted once, at the end.
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
    // Candidates, and after a search the results from near to far, if more than few are wanted.
    std::vector<Map_result> many;

    // Throws std::bad_alloc.
    void begin(std::uint32_t most, float max_distance, const std::uint32_t* row_order);
    bool is_few() const { return wanted <= kMaxFew; }
    const Map_result* results() const { return is_few() ? sorted : many.data(); }
    std::uint32_t result_count() const {
        return is_few() ? count : static_cast<std::uint32_t>(many.size());
    }

    // Adds a candidate; the distance must not exceed the limit. Throws std::bad_alloc.
    void offer_many(float distance, std::uint32_t row) {
        many.push_back({distance, row});
        if (many.size() >= capacity()) keep_nearest();
    }
    // Throws std::bad_alloc.
    void finish_many();
    // The slow paths for few results with equal distances.
    std::uint32_t farthest_of_equals(std::uint64_t equals) const;
    void sort_few();

  private:
    // The number of candidates that are reduced.
    std::uint64_t capacity() const { return std::uint64_t{wanted} + wanted / 2; }
    // Drops candidates that are not among the `wanted` nearest, all or most of them, and lowers the
    // limit accordingly.
    void keep_nearest();
    void sort_many();

    // The memory of sort_many().
    std::vector<Map_result> m_sorted;
    std::vector<std::uint32_t> m_places;
};

} // namespace vx::maps
