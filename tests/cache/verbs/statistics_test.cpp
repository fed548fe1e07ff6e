#include "cache/verbs/statistics.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace vx::cache {
namespace {

constexpr double kNanValue = std::numeric_limits<double>::quiet_NaN();

TEST(Measure, RangesMeansAndNonFiniteValues) {
    MemoryCloud cloud(4);
    cloud.add<float>("a", 1, {1, -2, std::numeric_limits<float>::infinity(), 4});
    cloud.add<std::int64_t>("b", 2, {1, 10, 2, 20, 3, 30, 4, 40});
    cloud.add<double>("c", 1, {kNanValue, kNanValue, kNanValue, kNanValue});
    cloud.add<double>("d", 1, {2.5}, true);
    const Statistics s = measure(cloud, {});
    EXPECT_EQ(s.ranges[0][0].least, -2);
    EXPECT_EQ(s.ranges[0][0].most, 4);
    EXPECT_EQ(s.ranges[0][0].mean, 1);
    EXPECT_EQ(s.ranges[0][0].finite, 3);
    EXPECT_EQ(s.ranges[0][0].total, 4);
    EXPECT_EQ(s.ranges[1][1].mean, 25);
    EXPECT_TRUE(std::isnan(s.ranges[2][0].least));
    EXPECT_TRUE(std::isnan(s.ranges[2][0].mean));
    EXPECT_EQ(s.ranges[3][0].mean, 2.5);
    EXPECT_EQ(s.ranges[3][0].total, 1);
    EXPECT_EQ(s.spacing.samples, 0);
}

TEST(Measure, LabelsAsTheShadersSeeThem) {
    MemoryCloud cloud(8);
    cloud.add<double>("tag", 1, {3, 3.9, -0.5, 0, 5000, -4, kNanValue, 1023});
    const Statistics s = measure(cloud, {});
    EXPECT_EQ(s.labels, (std::map<std::int64_t, std::int64_t>{
                            {-4, 1}, {0, 3}, {3, 2}, {1023, 1}, {5000, 1}}));
    MemoryCloud one(6);
    one.add<std::int32_t>("tag", 1, {2}, true);
    EXPECT_EQ(measure(one, {}).labels, (std::map<std::int64_t, std::int64_t>{{2, 6}}));
}

TEST(Measure, ThreadsChangeNothing) {
    constexpr std::int64_t kN = 300000;
    std::mt19937 engine(2);
    std::normal_distribution<double> value(0, 1000);
    std::vector<double> position(3 * kN);
    std::vector<double> tag(kN);
    for (double& v : position)
        v = value(engine);
    for (double& v : tag)
        v = std::floor(value(engine));
    Statistics both[2];
    for (const bool parallel : {false, true}) {
        MemoryCloud cloud(kN);
        cloud.add("position", 3, position).add("tag", 1, tag);
        cloud.parallel = parallel;
        both[parallel ? 1 : 0] = measure(cloud, {});
    }
    for (std::size_t a = 0; a < 2; ++a) {
        for (std::size_t k = 0; k < both[0].ranges[a].size(); ++k) {
            EXPECT_EQ(both[0].ranges[a][k].mean, both[1].ranges[a][k].mean);
            EXPECT_EQ(both[0].ranges[a][k].least, both[1].ranges[a][k].least);
        }
    }
    EXPECT_EQ(both[0].labels, both[1].labels);
    EXPECT_EQ(both[0].spacing.median, both[1].spacing.median);
    EXPECT_EQ(both[0].spacing.most, both[1].spacing.most);
    EXPECT_EQ(both[0].spacing.samples, both[1].spacing.samples);
}

} // namespace
} // namespace vx::cache
