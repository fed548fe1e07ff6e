#include "cache/formats/columns.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

using Names = std::vector<std::string>;

std::vector<Grouped> group(const Names& names) {
    return group_columns(names, std::vector<Type>(names.size(), Type::float64));
}
Names names_of(const std::vector<Grouped>& groups) {
    Names out;
    for (const Grouped& g : groups)
        out.push_back(g.attribute.name + ":" + std::to_string(g.attribute.width));
    return out;
}

TEST(ComponentSuffix, LettersForThreeNumbersBeyond) {
    EXPECT_EQ(component_suffix(1, 0), "");
    EXPECT_EQ(component_suffix(2, 1), ".y");
    EXPECT_EQ(component_suffix(3, 2), ".z");
    EXPECT_EQ(component_suffix(16, 11), ".11");
}

TEST(GroupColumns, JoinsTheWellKnownNamesInAnyOrder) {
    const auto groups = group({"x", "red", "y", "nx", "z", "green", "blue", "ny", "nz", "tag"});
    EXPECT_EQ(names_of(groups), (Names{"position:3", "rgbPP:3", "normalPP:3", "tag:1"}));
    EXPECT_EQ(groups[0].columns, (std::vector<std::size_t>{0, 2, 4}));
    EXPECT_EQ(groups[1].columns, (std::vector<std::size_t>{1, 5, 6}));
}

TEST(GroupColumns, IncompleteGroupsStaySeparate) {
    EXPECT_EQ(names_of(group({"x", "y"})), (Names{"x:1", "y:1"}));
    EXPECT_EQ(names_of(group({"r", "g", "alpha"})), (Names{"r:1", "g:1", "alpha:1"}));
    EXPECT_EQ(names_of(group({"v.x", "w.y"})), (Names{"v.x:1", "w.y:1"}));
}

TEST(GroupColumns, JoinsSuffixesOfAnyWidth) {
    EXPECT_EQ(names_of(group({"v.x", "v.y", "m.0", "m.1", "m.2", "m.3", "m.5"})),
              (Names{"v:2", "m:4", "m.5:1"}));
}

TEST(GroupColumns, ANameThatIsTakenIsNotGivenAgain) {
    // Two ways to say the color, and a column that has the attribute's own name.
    EXPECT_EQ(names_of(group({"r", "g", "b", "red", "green", "blue"})),
              (Names{"rgbPP:3", "red:1", "green:1", "blue:1"}));
    EXPECT_EQ(names_of(group({"position", "x", "y", "z"})),
              (Names{"position:1", "x:1", "y:1", "z:1"}));
}

TEST(GroupColumns, TakesTheTypeThatHoldsAllColumns) {
    const auto type = [](Type a, Type b, Type c) {
        return group_columns({"x", "y", "z"}, {a, b, c})[0].attribute.type;
    };
    EXPECT_EQ(type(Type::int32, Type::int32, Type::int32), Type::int32);
    EXPECT_EQ(type(Type::int32, Type::int64, Type::int32), Type::int64);
    EXPECT_EQ(type(Type::float32, Type::float32, Type::float32), Type::float32);
    // A 32-bit float does not hold every 32-bit integer.
    EXPECT_EQ(type(Type::float32, Type::int32, Type::float32), Type::float64);
}

TEST(SplitCloud, SplitsOtherWidthsIntoColumnsWithANote) {
    MemoryCloud cloud(2);
    cloud.add<float>("uv", 2, {1, 2, 3, 4}).add<double>("position", 3, {0, 1, 2, 3, 4, 5});
    Notes notes;
    const int widths[] = {1, 3};
    SplitCloud split(cloud, widths, notes);
    ASSERT_EQ(split.attributes.size(), 3U);
    EXPECT_EQ(split.attributes[1].name, "uv.y");
    EXPECT_EQ(values_of<float>(split, "uv.y"), (std::vector<float>{2, 4}));
    EXPECT_EQ(values_of<double>(split, "position"), (std::vector<double>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(notes, (Notes{"'uv': has 2 values per point and was split into as many attributes"}));
}

} // namespace
} // namespace vx::cache
