// The stand-in's maps: that they record, answer, and notice what is not given back.
#include "tests/renderer_stub/map_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::Element;
using vx::stub::MapContent;
using vx::stub::Maps;
using vx::stub::Renderer;

MapContent three_points() {
    MapContent content;
    content.positions = {{0, 0, 3}, {0, 0, 1}, {0, 0, 2}};
    content.add("size", std::vector<float>{30, 10, 20});
    content.add("number", std::vector<int>{3, 1, 2});
    return content;
}

TEST(MapStub, RecordsWhatIsMadeAndGivenBack) {
    Renderer renderer;
    Maps maps(renderer);
    maps.files["a"] = three_points();
    {
        const mi::shader_v3::Access_map map("a");
        EXPECT_FALSE(map->is_empty());
        const mi::shader_v3::Map_declaration declaration(map);
        EXPECT_TRUE(declaration->has_field("number"));
        EXPECT_EQ(declaration->get_field_id("number"), 1u);
        EXPECT_FALSE(declaration->has_field("numbe"));
        EXPECT_THAT(maps.left_over(), ElementsAre("1 map accesses", "1 declarations"));
    }
    EXPECT_THAT(renderer.calls(),
                ElementsAre("get_interface(3)", "accessMap(a)", "release", "map.is_empty()",
                            "get_interface(3)", "copyMapDeclaration", "release",
                            "has_field(number)", "get_field_id(number)", "has_field(numbe)",
                            "declaration destroyed", "access 1 destroyed"));
    EXPECT_THAT(maps.left_over(), IsEmpty());
}

TEST(MapStub, ReportsInterfacesThatAreKept) {
    Renderer renderer;
    Maps maps(renderer);
    mi::shader_v3::Interface* const kept = mi_get_shader_interface(3);
    EXPECT_THAT(maps.left_over(), ElementsAre("1 interfaces"));
    kept->release();
    EXPECT_THAT(maps.left_over(), IsEmpty());
}

TEST(MapStub, SearchTriesEveryPointAndSortsByDistance) {
    Renderer renderer;
    Maps maps(renderer);
    maps.files["a"] = three_points();
    const mi::shader_v3::Access_map map("a");
    mi::shader_v3::Map_lookup lookup(map);
    EXPECT_TRUE(lookup->is_empty());
    const float origin[3] = {0, 0, 0};
    const mi::shader_v3::Map_quad_distance<3> distance(origin);

    EXPECT_TRUE(lookup->search(distance, 2, 9).is_ok());
    ASSERT_EQ(lookup->size(), 2u);
    EXPECT_EQ(lookup->get_squared_distance(), 1);
    float size = 0;
    int number = 0;
    EXPECT_TRUE(lookup->get(0, size).is_ok());
    EXPECT_TRUE(lookup->get(1, number).is_ok());
    EXPECT_EQ(size, 10);
    EXPECT_EQ(number, 1);
    EXPECT_FALSE(lookup->get(0, number).is_ok());
    lookup->next();
    EXPECT_EQ(lookup->get_squared_distance(), 4);
    lookup->next();
    EXPECT_TRUE(lookup->at_end());

    lookup->search(distance, 5, 4);
    EXPECT_EQ(lookup->size(), 2u);
    lookup->search(distance, 0, 4);
    EXPECT_TRUE(lookup->is_empty());
}

TEST(MapStub, UnknownFileGivesAnEmptyMap) {
    Renderer renderer;
    Maps maps(renderer);
    mi::shader_v3::Map_status status;
    const mi::shader_v3::Access_map map("b", &status);
    EXPECT_TRUE(map->is_empty());
    EXPECT_EQ(status, mi::shader_v3::Map_status::File_could_not_be_opened);
}

TEST(MapStub, ElementsAreWhatAFunctorSees) {
    const MapContent content = three_points();
    Element element(content, 2);
    EXPECT_EQ(element.get_position()[2], 2);
    int number = 0;
    EXPECT_TRUE(element.get(1, number).is_ok());
    EXPECT_EQ(number, 2);
    EXPECT_EQ(element.get(7, number), mi::shader_v3::Map_status::No_such_field);
    element.move(0);
    EXPECT_EQ(element.get_position()[2], 3);
}

TEST(MapStub, OnlyOneIsCurrent) {
    Renderer renderer;
    EXPECT_THROW(mi_get_shader_interface(3), std::logic_error);
    const Maps maps(renderer);
    EXPECT_THROW(Maps{renderer}, std::logic_error);
}

TEST(MapStub, WhatNobodyNeedsThrows) {
    Renderer renderer;
    const Maps maps(renderer);
    const mi::shader_v3::Access_map map("a");
    float value = 0;
    EXPECT_THROW(map->get(0, value), std::logic_error);
}

} // namespace
