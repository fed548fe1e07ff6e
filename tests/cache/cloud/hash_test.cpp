#include "cache/cloud/hash.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace vx::cache {
namespace {

// The check value of the polynomial's catalog entry, and the same in two pieces.
TEST(Crc32, OfTheNineDigits) {
    const std::string digits = "123456789";
    EXPECT_EQ(crc32_of(0, digits.data(), 9), 0xcbf43926U);
    EXPECT_EQ(crc32_of(crc32_of(0, digits.data(), 4), digits.data() + 4, 5), 0xcbf43926U);
    EXPECT_EQ(crc32_of(0, digits.data(), 0), 0U);
}

TEST(Scrambled, NumbersStayDifferentAndEveryBitCounts) {
    std::set<std::uint32_t> all;
    for (std::uint32_t v = 0; v < 10000; ++v)
        all.insert(scrambled(v));
    EXPECT_EQ(all.size(), 10000U);
    for (int bit = 0; bit < 32; ++bit) {
        int turned = 0;
        for (std::uint32_t v = 1; v < 1000; ++v) {
            const std::uint32_t change = scrambled(v) ^ scrambled(v ^ (1U << bit));
            turned += __builtin_popcount(change);
        }
        // Half of the 32 bits on average; a standard deviation of the mean is 0.09.
        EXPECT_NEAR(turned / 999.0, 16, 0.5) << bit;
    }
}

} // namespace
} // namespace vx::cache
