#include "cache/cloud/edited.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

TEST(PickedCloud, HasTheAttributesOfTheseIndices) {
    MemoryCloud cloud(2);
    cloud.add<double>("a", 1, {1, 2}).add<double>("b", 1, {3, 4}).add<double>("c", 1, {5, 6});
    PickedCloud picked(cloud, {0, 2});
    ASSERT_EQ(picked.attributes.size(), 2U);
    EXPECT_EQ(picked.count, 2);
    EXPECT_EQ(values_of<double>(picked, "a"), (std::vector<double>{1, 2}));
    EXPECT_EQ(values_of<double>(picked, "c"), (std::vector<double>{5, 6}));
}

TEST(FilledCloud, RepeatsTheValuesAtEveryPoint) {
    MemoryCloud cloud(2);
    cloud.add<float>("a", 1, {1, 2});
    FilledCloud filled(cloud, "b", {3, 4, 5});
    EXPECT_EQ(values_of<float>(filled, "a"), (std::vector<float>{1, 2}));
    EXPECT_EQ(filled.attributes[1], (Attribute{"b", Type::float64, 3, false}));
    EXPECT_EQ(values_of<double>(filled, "b"), (std::vector<double>{3, 4, 5, 3, 4, 5}));
}

TEST(ConvertedCloud, ConvertsOneAttributeAndTellsLosses) {
    MemoryCloud cloud(2);
    cloud.add<double>("a", 1, {1, 2.5}).add<double>("b", 1, {3, 4});
    ConvertedCloud whole(cloud, 1, Type::int32);
    EXPECT_EQ(values_of<double>(whole, "a"), (std::vector<double>{1, 2.5}));
    EXPECT_EQ(values_of<std::int32_t>(whole, "b"), (std::vector<std::int32_t>{3, 4}));
    EXPECT_EQ(whole.converted(), (Attribute{"b", Type::int32, 1, false}));
    EXPECT_FALSE(whole.changed());
    ConvertedCloud cut(cloud, 0, Type::int32);
    EXPECT_EQ(values_of<std::int32_t>(cut, "a"), (std::vector<std::int32_t>{1, 2}));
    EXPECT_TRUE(cut.changed());
}

TEST(RenameAliases, TakesTheNamesOfOtherPrograms) {
    MemoryCloud cloud(1);
    cloud.add<double>("P", 3, {1, 2, 3}).add<double>("N", 1, {1}).add<double>("Cd", 3, {1, 1, 1});
    cloud.add<double>("Alpha", 1, {1}).add<double>("pscale", 1, {1}).add<double>("radius", 1, {2});
    EXPECT_EQ(rename_aliases(cloud).size(), 3U);
    EXPECT_EQ(cloud.find("position"), 0);
    EXPECT_EQ(cloud.find("N"), 1); // not a vector
    EXPECT_EQ(cloud.find("rgbPP"), 2);
    EXPECT_EQ(cloud.find("opacityPP"), 3);
    EXPECT_EQ(cloud.find("pscale"), 4); // there is a radius
}

TEST(KnownWidth, OfTheAttributesWithAMeaning) {
    for (const char* name : {"position", "normalPP", "rgbPP"})
        EXPECT_EQ(known_width(name), 3) << name;
    for (const char* name : {"opacityPP", "radius", "id", "tag"})
        EXPECT_EQ(known_width(name), 1) << name;
    EXPECT_EQ(known_width("velocity"), 0);
}

} // namespace
} // namespace vx::cache
