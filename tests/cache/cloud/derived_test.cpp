#include "cache/cloud/derived.h"
#include "cache/cloud/error.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

namespace vx::cache {
namespace {

CloudPtr numbered(std::int64_t n, double first) {
    std::vector<double> position(static_cast<std::size_t>(3 * n), first);
    std::vector<std::int32_t> id(static_cast<std::size_t>(n));
    std::iota(id.begin(), id.end(), 0);
    auto cloud = std::make_unique<MemoryCloud>(n);
    cloud->add("position", 3, position).add("id", 1, id);
    return cloud;
}

TEST(SelectedCloud, GivesTheKeptPointsFromAnyPlaceOn) {
    const std::int64_t n = 3 * kBlockPoints + 17;
    CloudPtr all = numbered(n, 1);
    std::vector<bool> keep(static_cast<std::size_t>(n), false);
    std::vector<std::int32_t> want;
    // None at all in the second block.
    for (std::int64_t i = 0; i < n; i += 5) {
        if (i / kBlockPoints == 1) continue;
        keep[static_cast<std::size_t>(i)] = true;
        want.push_back(static_cast<std::int32_t>(i));
    }
    SelectedCloud some(*all, keep);
    ASSERT_EQ(some.count, std::ssize(want));
    EXPECT_EQ(values_of<std::int32_t>(some, "id"), want);
    std::vector<std::int32_t> part(7);
    const std::int64_t at = some.count / 2;
    some.read(1, at, 7, part.data());
    EXPECT_EQ(part, std::vector<std::int32_t>(want.begin() + at, want.begin() + at + 7));
}

TEST(SelectedCloud, ASingleValueStaysThatOfAll) {
    MemoryCloud all(2);
    all.add<double>("radius", 1, {0.5}, true);
    SelectedCloud some(all, {false, true});
    EXPECT_EQ(values_of<double>(some, "radius"), std::vector<double>{0.5});
}

TEST(TransformedCloud, PointsFromTheLeftNormalsUprightRadiusByVolume) {
    MemoryCloud all(1);
    all.add<double>("position", 3, {1, 2, 3});
    all.add<double>("normalPP", 3, {1, 1, 0});
    all.add<float>("radius", 1, {0.5f});
    all.add<double>("rgbPP", 3, {1, 2, 3});
    // x' = 8 x + 10, the rest as it is.
    TransformedCloud moved(all, {8, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 0, 0, 1});
    EXPECT_EQ(values_of<double>(moved, "position"), (std::vector<double>{18, 2, 3}));
    const auto normal = values_of<double>(moved, "normalPP");
    // (1/8, 1, 0) at the length of before.
    const double length = std::sqrt(2.0) / std::sqrt(1 + 1.0 / 64);
    EXPECT_NEAR(normal[0], length / 8, 1e-15);
    EXPECT_NEAR(normal[1], length, 1e-15);
    EXPECT_EQ(values_of<float>(moved, "radius"), std::vector<float>{1.0f});
    EXPECT_EQ(values_of<double>(moved, "rgbPP"), (std::vector<double>{1, 2, 3}));
}

TEST(TransformedCloud, RefusesMatricesWithoutAnInverse) {
    MemoryCloud all(0);
    EXPECT_THROW(TransformedCloud(all, {1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}),
                 UsageError);
}

TEST(MergedCloud, WidensTypesAndRenumbers) {
    MemoryCloud a(2);
    a.add<std::int32_t>("id", 1, {5, 5}).add<std::int32_t>("n", 1, {1, 2});
    a.add<float>("w", 1, {1, 2});
    MemoryCloud b(1);
    b.add<std::int64_t>("n", 1, {5000000000}).add<float>("w", 1, {0.5f}, true);
    MergedCloud all({&a, &b}, true);
    EXPECT_EQ(all.count, 3);
    EXPECT_EQ(values_of<double>(all, "id"), (std::vector<double>{0, 1, 2}));
    EXPECT_EQ(all.attributes[1].type, Type::int64);
    EXPECT_EQ(values_of<std::int64_t>(all, "n"), (std::vector<std::int64_t>{1, 2, 5000000000}));
    EXPECT_FALSE(all.attributes[2].single);
    EXPECT_EQ(values_of<float>(all, "w"), (std::vector<float>{1, 2, 0.5f}));
    EXPECT_THROW(MergedCloud({&a, &b}, false), FileError); // the second has no ids
}

TEST(MergedCloud, WidthsThatDifferAreAnError) {
    MemoryCloud a(0);
    a.add<double>("v", 3, {});
    MemoryCloud b(0);
    b.add<double>("v", 1, {});
    EXPECT_THROW(MergedCloud({&a, &b}, false), FileError);
}

TEST(MergedCloud, MissingAttributesAreAnErrorInEitherOrder) {
    MemoryCloud a(1);
    a.add<double>("v", 1, {1}).add<double>("w", 1, {2});
    MemoryCloud b(1);
    b.add<double>("w", 1, {3});
    b.file_name = "b";
    for (const auto& clouds : {std::vector<Cloud*>{&a, &b}, std::vector<Cloud*>{&b, &a}}) {
        try {
            const MergedCloud all(clouds, false);
            ADD_FAILURE();
        } catch (const FileError& why) {
            EXPECT_EQ(why.file, "b");
            EXPECT_NE(std::string(why.what()).find("'v'"), std::string::npos);
        }
    }
}

} // namespace
} // namespace vx::cache
