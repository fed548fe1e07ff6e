#include "cache/verbs/moments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace vx::cache {
namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr double kNanValue = std::numeric_limits<double>::quiet_NaN();

// Runs of 32 points, as readers of a cloud make them.
std::vector<Moments> moments(std::size_t width, const std::vector<double>& values) {
    Accumulator a(width);
    const std::size_t points = values.size() / width;
    for (std::size_t at = 0; at < points; at += 32)
        a.add(values.data() + at * width, std::min<std::size_t>(32, points - at));
    return a.result();
}

TEST(Moments, OfEveryWidthAndNumberOfPointsAgreeWithTheDefinition) {
    std::mt19937 engine(1);
    std::uniform_int_distribution<int> value(-1000, 1000); // sums are exact whatever their order
    for (const std::size_t width : {1U, 2U, 3U, 4U, 5U, 16U}) {
        for (std::size_t points = 0; points < 100; ++points) {
            std::vector<double> values(width * points);
            for (double& v : values)
                v = value(engine);
            const auto got = moments(width, values);
            ASSERT_EQ(got.size(), width);
            for (std::size_t k = 0; k < width; ++k) {
                Moments want{kInfinite, -kInfinite, 0, static_cast<std::int64_t>(points)};
                for (std::size_t i = k; i < values.size(); i += width) {
                    want.least = std::min(want.least, values[i]);
                    want.most = std::max(want.most, values[i]);
                    want.sum += values[i];
                }
                EXPECT_EQ(got[k].least, want.least);
                EXPECT_EQ(got[k].most, want.most);
                EXPECT_EQ(got[k].sum, want.sum) << width << " " << points;
                EXPECT_EQ(got[k].finite, want.finite);
            }
        }
    }
}

TEST(Moments, SkipNonFiniteValuesAtAnyPosition) {
    for (std::size_t place = 0; place < 48; ++place) {
        for (const double bad : {kNanValue, kInfinite, -kInfinite}) {
            std::vector<double> values(48, 2.0);
            values[place] = bad;
            const auto got = moments(3, values);
            for (std::size_t k = 0; k < 3; ++k) {
                const bool hit = place % 3 == k;
                EXPECT_EQ(got[k].least, 2);
                EXPECT_EQ(got[k].most, 2);
                EXPECT_EQ(got[k].sum, hit ? 30 : 32);
                EXPECT_EQ(got[k].finite, hit ? 15 : 16);
            }
        }
    }
}

TEST(Moments, TheLargestNumbersAreFinite) {
    const double largest = std::numeric_limits<double>::max();
    const auto got = moments(1, {largest, -largest, largest, kNanValue});
    EXPECT_EQ(got[0].least, -largest);
    EXPECT_EQ(got[0].most, largest);
    EXPECT_EQ(got[0].finite, 3);
}

} // namespace
} // namespace vx::cache
