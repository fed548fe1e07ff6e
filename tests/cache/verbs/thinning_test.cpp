#include "cache/verbs/selection.h"
#include "cache/verbs/thinning.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace vx::cache {
namespace {

// Mean number of the kept points within the radius of each point of the cloud, over all pairs.
double brute_force(const std::vector<double>& p, const std::vector<bool>& keep, double radius) {
    std::int64_t pairs = 0;
    for (std::size_t i = 0; i < keep.size(); ++i) {
        for (std::size_t k = 0; k < keep.size(); ++k) {
            if (!keep[k]) continue;
            pairs += std::hypot(p[3 * i] - p[3 * k], p[3 * i + 1] - p[3 * k + 1],
                                p[3 * i + 2] - p[3 * k + 2]) <= radius
                         ? 1
                         : 0;
        }
    }
    return static_cast<double>(pairs) / static_cast<double>(keep.size());
}

std::vector<double> random_points(std::size_t count, const std::vector<double>& size) {
    std::mt19937 engine(5);
    std::uniform_real_distribution<double> value(0, 1);
    std::vector<double> p;
    for (std::size_t i = 0; i < 3 * count; ++i)
        p.push_back(value(engine) * size[i % 3]);
    return p;
}

class ChooseSpacing : public testing::TestWithParam<std::vector<double>> {};

TEST_P(ChooseSpacing, LeavesAboutAsManyPointsWithinTheRadius) {
    const std::vector<double> p = random_points(4000, GetParam());
    MemoryCloud cloud(4000);
    cloud.add("position", 3, p);
    const std::vector<bool> all(4000, true);
    const double radius = 0.3;
    const Thinning chosen = choose_spacing(cloud, all, radius, 12);
    // 200 samples of a count whose standard deviation is below its mean.
    const double before = brute_force(p, all, radius);
    EXPECT_NEAR(chosen.before, before, 0.15 * before);
    ASSERT_GT(chosen.spacing, 0);
    std::vector<bool> thin = all;
    thin_points(cloud, chosen.spacing, thin);
    EXPECT_NEAR(chosen.after, 12, 12 * 0.1);
    EXPECT_NEAR(brute_force(p, thin, radius), 12, 12 * 0.15);
}

INSTANTIATE_TEST_SUITE_P(LinesSurfacesAndVolumes, ChooseSpacing,
                         testing::Values(std::vector<double>{20, 0, 0},
                                         std::vector<double>{2, 0, 2},
                                         std::vector<double>{1, 1, 1}));

TEST(ChooseSpacingOf, FewPointsIsNone) {
    MemoryCloud cloud(3);
    cloud.add<double>("position", 3, {0, 0, 0, 1, 0, 0, 5, 0, 0});
    const Thinning chosen = choose_spacing(cloud, std::vector<bool>(3, true), 2, 16);
    EXPECT_EQ(chosen.spacing, 0);
    EXPECT_DOUBLE_EQ(chosen.before, 5.0 / 3); // two points have each other
    EXPECT_DOUBLE_EQ(chosen.after, 5.0 / 3);
}

TEST(ChooseSpacingOf, OnlyMarkedPointsCount) {
    MemoryCloud cloud(3);
    cloud.add<double>("position", 3, {0, 0, 0, 1, 0, 0, 1.5, 0, 0});
    EXPECT_DOUBLE_EQ(choose_spacing(cloud, {true, false, true}, 2, 16).before, 2);
}

} // namespace
} // namespace vx::cache
