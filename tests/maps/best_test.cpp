// Results of a search: the heap, and the slow paths for ties.
#include "maps/best.h"

#include <gtest/gtest.h>

namespace {

using vx::maps::Best;

TEST(Best, TheHeapKeepsTheNearestAndOrdersTies) {
    const std::uint32_t order[6] = {5, 4, 3, 2, 1, 0};
    Best best;
    best.begin(100, 10.0f, order);
    ASSERT_FALSE(best.is_few());
    best.wanted = 3;
    for (std::uint32_t row = 0; row < 6; ++row)
        best.offer_many(row < 3 ? 2.0f : 1.0f, row);
    best.finish_many();
    ASSERT_EQ(best.many.size(), 3u);
    EXPECT_EQ(best.many[0].row, 5u);
    EXPECT_EQ(best.many[1].row, 4u);
    EXPECT_EQ(best.many[2].row, 3u);
    EXPECT_EQ(best.limit, 1.0f);
}

TEST(Best, OfEqualsTheOneAppendedLastIsTheFarthest) {
    const std::uint32_t order[4] = {7, 9, 8, 1};
    Best best;
    best.begin(4, 10.0f, order);
    best.count = 4;
    for (std::uint32_t i = 0; i < 4; ++i) {
        best.distances[i] = 1.0f;
        best.rows[i] = i;
    }
    EXPECT_EQ(best.farthest_of_equals(0xf), 1u);
    EXPECT_EQ(best.farthest_of_equals(0xc), 2u);
    best.sort_few();
    EXPECT_EQ(best.sorted[0].row, 3u);
    EXPECT_EQ(best.sorted[3].row, 1u);
}

} // namespace
