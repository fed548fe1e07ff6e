#include "host/scene/description.h"

#include <gtest/gtest.h>

using namespace vx::scene;

namespace {

TEST(Values, LightKindFollowsFromTheStatements) {
    struct Row {
        bool origin, direction, spread;
        LightKind kind;
    };
    // "any" spread counts as two rows.
    constexpr Row kRows[] = {
        {false, false, false, LightKind::point},      {false, false, true, LightKind::point},
        {true, false, false, LightKind::point},       {true, false, true, LightKind::point},
        {false, true, false, LightKind::directional}, {false, true, true, LightKind::directional},
        {true, true, false, LightKind::directional},  {true, true, true, LightKind::spot}};
    for (const Row& row : kRows) {
        Light light;
        if (row.origin) light.origin = Vec3{};
        if (row.direction) light.direction = Vec3{0, 0, -1};
        if (row.spread) light.spread = 0.5f;
        EXPECT_EQ(light.kind(), row.kind)
            << row.origin << ' ' << row.direction << ' ' << row.spread;
    }
}

TEST(Values, IntegersAndRealsAreDifferentNumbers) {
    EXPECT_NE((Number{1, NumberKind::integer}), (Number{1, NumberKind::real}));
}

TEST(Values, NestedValuesCompareByContentNotByPlace) {
    const auto make = [](std::uint32_t line, double number) {
        StructValue inner;
        inner.members.push_back(
            {"a", {std::vector<Number>{{number, NumberKind::integer}}}, {1, line, 1}});
        ArrayValue outer;
        outer.elements.push_back({std::move(inner)});
        return Parameter{"p", {std::move(outer)}, {1, line, 1}};
    };
    EXPECT_EQ(make(1, 5), make(2, 5));
    EXPECT_FALSE(make(1, 5) == make(1, 6));
}

TEST(Values, TypesHaveTheNamesOfDeclarations) {
    EXPECT_EQ(type_name(Type::boolean), "boolean");
    EXPECT_EQ(type_name(Type::color_texture), "color texture");
    EXPECT_EQ(type_name(Type::structure), "struct");
    EXPECT_EQ(type_name(Type::array), "array");
    EXPECT_EQ(component_count(Type::transform), 16u);
    EXPECT_EQ(component_count(Type::string), 0u);
}

} // namespace
