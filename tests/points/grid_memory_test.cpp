// The memory of a grid and of the cache that it becomes.
#include "src/points/pdc.h"
#include "src/points/point_grid.h"

#include "tests/points/watched_memory.h"

#include <gtest/gtest.h>

#include <new>

namespace {

TEST(GridMemory, EmptyRowsCostTheirArrayObjectsAndNothingElse) {
    const std::size_t before = watched_memory::held();
    watched_memory::reset();
    CPointGrid grid;
    grid.Resize(1000000, 8);
    EXPECT_EQ(watched_memory::held() - before, 1000000 * sizeof(CPointArray));
    EXPECT_EQ(watched_memory::requests(), 1u);
}

TEST(GridMemory, ARowOfOnePointCostsItsRecord) {
    CPointGrid grid;
    grid.Resize(1000, 8);
    const std::size_t before = watched_memory::held();
    for (int row = 0; row < 1000; ++row)
        grid.Append(row, CPoint{});
    EXPECT_EQ(watched_memory::held() - before, 1000 * sizeof(CPoint));
}

TEST(GridMemory, RefusedMemoryLeavesTheRowAsItWas) {
    CPointGrid grid;
    grid.Resize(2, 1000000);
    grid.Append(0, CPoint{});
    grid.Append(1, CPoint{});
    for (int i = 0; i < 100000; ++i)
        grid.Append(1, CPoint{});
    const std::size_t before = grid.rows[1].points.size();
    watched_memory::refuse_above(1000);
    std::size_t added = 0;
    EXPECT_THROW(
        {
            for (; added < 1000000; ++added)
                grid.Append(1, CPoint{});
        },
        std::bad_alloc);
    watched_memory::reset();
    EXPECT_EQ(grid.rows[1].points.size(), before + added);
    EXPECT_TRUE(grid.Append(1, CPoint{}));
}

TEST(GridMemory, ACachePointCosts96Bytes) {
    CPointGrid grid;
    grid.Resize(100000, 1);
    for (int row = 0; row < 100000; ++row)
        grid.Append(row, CPoint{});
    const std::size_t before = watched_memory::held();
    watched_memory::reset();
    CPdc pdc;
    grid.ToPdc(&pdc, 1.0f);
    EXPECT_LE(static_cast<double>(watched_memory::peak_held() - before) / 100000, 96.1);
}

} // namespace
