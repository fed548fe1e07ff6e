#include "cache/cloud/error.h"
#include "cache/cloud/spool.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace vx::cache {
namespace {

std::vector<std::int64_t> read_all(const Spool& spool, std::int64_t first, std::size_t n) {
    std::vector<std::int64_t> out(n);
    spool.read(first * 8, out.data(), n * 8);
    return out;
}

TEST(Spool, KeepsSmallColumnsInMemory) {
    SpoolBudget budget(80);
    Spool spool(budget);
    for (std::int64_t i = 0; i < 10; ++i)
        spool.append(&i, 8);
    EXPECT_TRUE(spool.in_memory());
    EXPECT_EQ(budget.left, 0);
    EXPECT_EQ(spool.size(), 80);
    EXPECT_EQ(read_all(spool, 3, 2), (std::vector<std::int64_t>{3, 4}));
}

TEST(Spool, BeyondTheBudgetGoesToAFileAndGivesTheSameValues) {
    SpoolBudget budget(1000);
    Spool spool(budget);
    constexpr std::int64_t kN = 100000; // some of it still in the tail at the end
    for (std::int64_t i = 0; i < kN; ++i)
        spool.append(&i, 8);
    EXPECT_FALSE(spool.in_memory());
    EXPECT_EQ(budget.left, 1000);
    EXPECT_EQ(spool.size(), 8 * kN);
    std::vector<std::int64_t> all(kN);
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(read_all(spool, 0, kN), all);
    EXPECT_EQ(read_all(spool, kN - 1, 1), (std::vector<std::int64_t>{kN - 1}));
    EXPECT_THROW(read_all(spool, kN - 1, 2), FileError);
}

TEST(Spool, OneThatSpillsLeavesItsShareToTheOthers) {
    SpoolBudget budget(100);
    Spool large(budget);
    Spool small(budget);
    const std::vector<std::int64_t> values(20, 7);
    large.append(values.data(), 160);
    small.append(values.data(), 80);
    EXPECT_FALSE(large.in_memory());
    EXPECT_TRUE(small.in_memory());
}

} // namespace
} // namespace vx::cache
