#include "cache/verbs/spacing.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>

namespace vx::cache {
namespace {

Spacing spacing_of(const std::vector<double>& position) {
    MemoryCloud cloud(std::ssize(position) / 3);
    cloud.add("position", 3, position);
    std::array<double, 3> low{HUGE_VAL, HUGE_VAL, HUGE_VAL};
    std::array<double, 3> high{-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
    for (std::size_t i = 0; i < position.size(); ++i) {
        if (!std::isfinite(position[i])) continue;
        low[i % 3] = std::min(low[i % 3], position[i]);
        high[i % 3] = std::max(high[i % 3], position[i]);
    }
    const double size = std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]});
    return find_spacing(cloud, 0, low, size);
}

TEST(FindSpacing, OfARegularGridIsItsStep) {
    std::vector<double> position;
    for (int y = 0; y < 60; ++y) {
        for (int x = 0; x < 60; ++x)
            position.insert(position.end(), {x * 0.25, 7.0, y * 0.25});
    }
    const Spacing s = spacing_of(position);
    EXPECT_GT(s.samples, 100);
    EXPECT_DOUBLE_EQ(s.median, 0.25);
    EXPECT_DOUBLE_EQ(s.most, 0.25);
}

// Every distance that is given is that of a true nearest neighbor.
TEST(FindSpacing, AgreesWithAllPairs) {
    std::mt19937 engine(3);
    std::uniform_real_distribution<double> value(-1, 1);
    constexpr std::int64_t kN = 2000;
    std::vector<double> position;
    for (std::int64_t i = 0; i < kN; ++i)
        position.insert(position.end(), {value(engine), 0.1 * value(engine), value(engine)});
    const Spacing s = spacing_of(position);
    std::vector<double> all;
    for (std::size_t i = 0; i < kN; i += kN / 200) {
        double least = HUGE_VAL;
        for (std::size_t j = 0; j < kN; ++j) {
            if (j == i) continue;
            least = std::min(least, std::hypot(position[3 * i] - position[3 * j],
                                               position[3 * i + 1] - position[3 * j + 1],
                                               position[3 * i + 2] - position[3 * j + 2]));
        }
        all.push_back(least);
    }
    std::sort(all.begin(), all.end());
    EXPECT_GT(s.samples, 100);
    EXPECT_LE(s.most, all.back() * (1 + 1e-12));
    EXPECT_GE(s.median, all[all.size() / 4]);
    EXPECT_LE(s.median, all[all.size() * 3 / 4]);
    const auto is_one_of = [&](double v) {
        return std::any_of(all.begin(), all.end(),
                           [v](double d) { return std::abs(d - v) < 1e-12; });
    };
    EXPECT_TRUE(is_one_of(s.median));
    EXPECT_TRUE(is_one_of(s.most));
}

TEST(FindSpacing, NoEstimateForSparseClouds) {
    EXPECT_EQ(spacing_of({0, 0, 0}).samples, 0);
    EXPECT_EQ(spacing_of({1, 2, 3, 1, 2, 3}).samples, 0); // no size
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(spacing_of({nan, 0, 0, 0, nan, 0, 0, 0, nan}).samples, 0);
}

} // namespace
} // namespace vx::cache
