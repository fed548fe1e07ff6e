#include "cache/cloud/error.h"
#include "cache/verbs/selection.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace vx::cache {
namespace {

// Six points along x at 0 to 5, normals turning from z to x in steps of 18 degrees.
class Selection : public testing::Test {
  protected:
    Selection() : cloud(6) {
        std::vector<double> normal;
        for (int i = 0; i < 6; ++i) {
            const double angle = i * 18 * 3.14159265358979323846 / 180;
            normal.insert(normal.end(), {std::sin(angle), 0, std::cos(angle)});
        }
        cloud.add<double>("position", 3, {0, 0, 0, 1, 0, 0, 2, 0, 0, 3, 0, 0, 4, 0, 0, 5, 0, 0});
        cloud.add("normalPP", 3, normal);
        cloud.add<float>("opacityPP", 1, {0, 0.25f, 0.5f, 0.75f, 1, std::nanf("")});
        cloud.add<std::int32_t>("tag", 1, {0, 1, 2, 3, 4, -1});
    }
    std::vector<int> kept(const Criteria& wanted) {
        std::vector<int> out;
        const std::vector<bool> keep = select_points(cloud, wanted);
        for (std::size_t i = 0; i < keep.size(); ++i) {
            if (keep[i]) out.push_back(static_cast<int>(i));
        }
        return out;
    }
    using Points = std::vector<int>;
    MemoryCloud cloud;
    Criteria c;
};

TEST_F(Selection, WithoutCriteriaKeepsAll) {
    EXPECT_EQ(kept(c), (Points{0, 1, 2, 3, 4, 5}));
}

TEST_F(Selection, LabelsInTheShadersSyntax) {
    c.labels = "1,3-4";
    EXPECT_EQ(kept(c), (Points{1, 3, 4}));
    c.labels = "";
    EXPECT_EQ(kept(c), Points{});
}

TEST_F(Selection, TheBordersOfBoxAndBallAreInside) {
    c.box = {1, 0, 0, 3, 0, 0};
    EXPECT_EQ(kept(c), (Points{1, 2, 3}));
    c.box.clear();
    c.around = {4, 0, 0, 1};
    EXPECT_EQ(kept(c), (Points{3, 4, 5}));
}

TEST_F(Selection, TheConeIsAboutADirectionOfAnyLength) {
    c.cone = {0, 0, 5, 40};
    EXPECT_EQ(kept(c), (Points{0, 1, 2}));
    c.cone = {0, 0, -1, 140};
    EXPECT_EQ(kept(c), (Points{3, 4, 5}));
}

TEST_F(Selection, NanOpacityIsOutside) {
    c.least_opacity = 0.25;
    c.most_opacity = 0.75;
    EXPECT_EQ(kept(c), (Points{1, 2, 3}));
}

TEST_F(Selection, CriteriaAreJoinedAndInvertedTogether) {
    c.labels = "0-2";
    c.box = {1, 0, 0, 9, 0, 0};
    EXPECT_EQ(kept(c), (Points{1, 2}));
    c.invert = true;
    EXPECT_EQ(kept(c), (Points{0, 3, 4, 5}));
}

TEST_F(Selection, SpacingKeepsTheEarlierPoint) {
    c.spacing = 1.5;
    EXPECT_EQ(kept(c), (Points{0, 2, 4}));
    c.spacing = 1; // exactly as far as the spacing is far enough
    EXPECT_EQ(kept(c), (Points{0, 1, 2, 3, 4, 5}));
}

TEST_F(Selection, MissingAttributesAreErrors) {
    MemoryCloud bare(1);
    bare.add<double>("position", 3, {0, 0, 0});
    c.least_opacity = 0;
    c.most_opacity = 1;
    EXPECT_THROW(select_points(bare, c), FileError);
}

TEST(RandomSelection, KeepsTheShareAndTheSamePointsForASeed) {
    constexpr std::int64_t kN = 100000;
    MemoryCloud cloud(kN);
    cloud.add<double>("position", 3, std::vector<double>(3 * kN));
    Criteria c;
    c.random = 0.3;
    const std::vector<bool> first = select_points(cloud, c);
    EXPECT_EQ(first, select_points(cloud, c));
    // Five standard deviations of a binomial distribution.
    EXPECT_NEAR(static_cast<double>(std::count(first.begin(), first.end(), true)), 0.3 * kN,
                5 * std::sqrt(0.3 * 0.7 * kN));
    c.seed = 1;
    EXPECT_NE(first, select_points(cloud, c));
    c.random = 1;
    EXPECT_EQ(select_points(cloud, c), std::vector<bool>(kN, true));
}

} // namespace
} // namespace vx::cache
