#include "cache/formats/columns.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>

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

ColumnNames spelled(const std::vector<std::pair<std::string, int>>& wanted, bool known) {
    std::vector<Attribute> attributes;
    Names names;
    for (const auto& [name, width] : wanted) {
        attributes.push_back({name, Type::float64, width, false});
        names.push_back(name);
    }
    return name_columns(attributes, names, known);
}

TEST(NameColumns, VectorsHaveTheirNamesBeforeScalars) {
    const ColumnNames names =
        spelled({{"x", 1}, {"position", 3}, {"rgbPP", 4}, {"v.z", 1}, {"v", 2}, {"tag", 1}}, true);
    EXPECT_EQ(names.attributes, (Names{"x_2", "position", "rgbPP", "v.z_2", "v", "tag"}));
    EXPECT_EQ(names.columns[1], (Names{"x", "y", "z"}));
    EXPECT_EQ(names.columns[2], (Names{"rgbPP.0", "rgbPP.1", "rgbPP.2", "rgbPP.3"}));
    EXPECT_EQ(names.columns[4], (Names{"v.x", "v.y"}));
    EXPECT_EQ(spelled({{"position", 3}}, false).columns[0],
              (Names{"position.x", "position.y", "position.z"}));
}

// Every choice of names of these widths is grouped as it was before.
TEST(NameColumns, GroupingGivesTheAttributesBack) {
    const std::pair<std::string, int> all[] = {
        {"position", 3}, {"position", 1}, {"x", 1},   {"y", 1}, {"z", 1},   {"x", 3},
        {"v", 2},        {"v.z", 1},      {"v.x", 1}, {"v", 5}, {"v.5", 1}, {"v.0", 1},
        {"rgbPP", 3},    {"r", 1},        {"g", 1},   {"b", 1}, {"v.x", 3}, {"v", 1}};
    constexpr unsigned kAll = std::size(all);
    unsigned seed = 1;
    for (int round = 0; round < 4000; ++round) {
        std::vector<std::pair<std::string, int>> some;
        for (unsigned i = 0; i < 6; ++i) {
            seed = seed * 1664525U + 1013904223U;
            const auto& next = all[(seed >> 16) % kAll];
            const bool known = std::any_of(some.begin(), some.end(),
                                           [&](auto& s) { return s.first == next.first; });
            if (!known) some.push_back(next);
        }
        for (const bool known : {false, true}) {
            const ColumnNames names = spelled(some, known);
            Names columns;
            for (const Names& c : names.columns)
                columns.insert(columns.end(), c.begin(), c.end());
            const auto groups = group(columns);
            for (std::size_t i = 0; i < some.size(); ++i) {
                if (some[i].second == 1) continue;
                const Names spelling = names_of(groups);
                EXPECT_EQ(std::count(spelling.begin(), spelling.end(),
                                     names.attributes[i] + ":" + std::to_string(some[i].second)),
                          1)
                    << testing::PrintToString(columns);
            }
        }
    }
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

class CountingCloud final : public Cloud {
  public:
    void read(std::size_t attribute, std::int64_t, std::int64_t n, void* out) override {
        std::memset(out, 0, static_cast<std::size_t>(n) * attributes[attribute].bytes());
        bytes += n * static_cast<std::int64_t>(attributes[attribute].bytes());
    }
    std::int64_t bytes = 0;
};

TEST(SplitCloud, ReadsARunOnceForAllOfItsParts) {
    CountingCloud cloud;
    cloud.count = 30;
    cloud.attributes = {{"m", Type::float32, 1000, false}, {"s", Type::float32, 1000, true}};
    Notes notes;
    const int widths[] = {1, 3};
    SplitCloud split(cloud, widths, notes);
    std::vector<float> out(10);
    for (std::int64_t first = 0; first < 30; first += 10) {
        for (std::size_t part = 0; part < 1000; ++part)
            split.read(part, first, 10, out.data());
    }
    EXPECT_EQ(cloud.bytes, 30 * 4000);
    for (std::size_t part = 1000; part < 2000; ++part)
        split.read(part, 0, 1, out.data());
    EXPECT_EQ(cloud.bytes, 31 * 4000);
}

TEST(SplitCloud, RefusesMillionsOfParts) {
    CountingCloud cloud;
    cloud.attributes = {{"m", Type::float32, 4097, false}};
    Notes notes;
    const int widths[] = {1, 3};
    EXPECT_THROW(SplitCloud(cloud, widths, notes), FileError);
    cloud.attributes[0].width = 4096;
    EXPECT_EQ(SplitCloud(cloud, widths, notes).attributes.size(), 4096U);
}

} // namespace
} // namespace vx::cache
