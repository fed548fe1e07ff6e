// Maps in memory.
#include "tests/maps/helpers.h"

#include <cstring>

namespace {

using namespace vx::maps::test;

TEST(Map, AppendGetAndSize) {
    const Map_declaration declaration = cloud_declaration();
    Edit_map map(declaration);
    EXPECT_TRUE(map->is_empty());
    EXPECT_TRUE(map->has_declaration());
    Map_element element(declaration);
    for (int i = 0; i < 5000; ++i) {
        const float position[3] = {static_cast<float>(i % 71), static_cast<float>(i % 13), 0};
        element->set_position(position);
        element->set(3u, i);
        ASSERT_TRUE(map->append(element).is_ok());
    }
    EXPECT_EQ(map->size(), 5000u);
    EXPECT_FALSE(map->is_empty());
    const auto expect_all = [&] {
        Map_element read;
        for (int i = 0; i < 5000; ++i) {
            ASSERT_TRUE(map->get(static_cast<miUint>(i), read).is_ok());
            int tag = -1;
            ASSERT_TRUE(read->get(3u, tag).is_ok());
            ASSERT_EQ(tag, i);
            float position[3];
            read->get_position(position);
            ASSERT_EQ(position[0], static_cast<float>(i % 71));
        }
    };
    expect_all();
    EXPECT_TRUE(map->consolidate(0.6f).is_ok());
    expect_all();
    EXPECT_TRUE(map->consolidate(0.9f).is_ok());
    EXPECT_EQ(map->size(), 5000u);
}

TEST(Map, OneElementCanBeRefilledAndAppendedAgain) {
    Map_declaration declaration(1);
    declaration->append_field("a", Map_field_type::Integer);
    declaration->append_field("b", Map_field_type::Integer);
    Edit_map map(declaration);
    Map_element element(declaration);
    element->set(0u, 1);
    element->set(1u, 10);
    map->append(element);
    element->set(0u, 2);
    map->append(element);
    Map_element read(declaration);
    int b = 0;
    map->get(0, read);
    read->get(0u, b);
    EXPECT_EQ(b, 1);
    map->get(1, read);
    read->get(1u, b);
    EXPECT_EQ(b, 10) << "a field that is not set again keeps its value";
}

TEST(Map, StatusesOfElements) {
    const Map_declaration declaration = cloud_declaration();
    Edit_map map(declaration);
    Edit_map without;
    Map_element element(declaration);
    Map_element other{Map_declaration(3)};
    Map_element empty;
    EXPECT_FALSE(without->has_declaration());
    EXPECT_TRUE(without->append(element) == Map_status::No_declaration);
    EXPECT_TRUE(without->get(0, element) == Map_status::No_declaration);
    EXPECT_TRUE(without->set(0, element) == Map_status::No_declaration);
    EXPECT_TRUE(without->consolidate() == Map_status::No_declaration);
    EXPECT_TRUE(map->append(empty) == Map_status::No_declaration);
    EXPECT_TRUE(map->append(other) == Map_status::Declaration_mismatch);
    EXPECT_TRUE(map->get(0, element) == Map_status::Out_of_bounds);
    EXPECT_TRUE(map->set(0, element) == Map_status::Out_of_bounds);
    EXPECT_TRUE(map->append(element).is_ok());
    EXPECT_TRUE(map->get(1, element) == Map_status::Out_of_bounds);
    EXPECT_TRUE(map->get(0, other) == Map_status::Declaration_mismatch);
    EXPECT_TRUE(map->set(0, other) == Map_status::Declaration_mismatch);
    EXPECT_EQ(map->size(), 1u);
}

TEST(Map, AnEqualDeclarationMadeAnewFits) {
    Edit_map map(cloud_declaration());
    const Map_element element(cloud_declaration());
    EXPECT_TRUE(map->append(element).is_ok());
}

TEST(Map, SetReplacesAtOnceForGetAndAfterConsolidateForSearches) {
    const auto map = map_of_points({0, 0, 0, 5, 0, 0}, 3);
    Map_element element;
    ASSERT_TRUE((*map)->get(1, element).is_ok());
    const float near[3] = {1, 0, 0};
    element->set_position(near);
    EXPECT_TRUE((*map)->set(1, element).is_ok());
    Map_element read;
    (*map)->get(1, read);
    float position[3];
    read->get_position(position);
    EXPECT_EQ(position[0], 1.0f);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float origin[3] = {0, 0, 0};
    lookup->search(Map_quad_distance<3>(origin), 5, 4.0f);
    EXPECT_EQ(lookup->size(), 1u);
    (*map)->consolidate();
    lookup->search(Map_quad_distance<3>(origin), 5, 4.0f);
    EXPECT_EQ(lookup->size(), 2u);
    // An element that is not consolidated yet is replaced in place.
    (*map)->append(element);
    element->set(0u, 77);
    EXPECT_TRUE((*map)->set(2, element).is_ok());
    (*map)->get(2, read);
    int value = 0;
    read->get(0u, value);
    EXPECT_EQ(value, 77);
}

TEST(Map, AnyQualityGivesTheSameResults) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    std::vector<float> points(3000);
    for (float& x : points)
        x = uniform(random);
    std::vector<float> expected;
    for (const float quality : {0.6f, 0.0f, 0.3f, 0.9f, 1.0f, -5.0f, 7.0f, NAN}) {
        const auto map = map_of_points(points, 3, quality);
        const auto access = access_to(*map);
        Map_lookup lookup(*access);
        std::vector<float> distances;
        for (std::size_t i = 0; i < 100; ++i) {
            lookup->search(Map_quad_distance<3>(points.data() + 3 * i), 9, 0.1f);
            for (; !lookup->at_end(); lookup->next()) {
                distances.push_back(lookup->get_squared_distance());
            }
        }
        if (expected.empty()) expected = distances;
        EXPECT_EQ(distances, expected);
    }
}

TEST(Map, GlobalFieldsHaveOneValueForTheWholeMap) {
    Map_declaration declaration(2);
    using T = Map_field_type;
    declaration->append_field("gi", T::Integer, 0, true);
    declaration->append_field("gs", T::Scalar, 0, true);
    declaration->append_field("e", T::Scalar);
    declaration->append_field("gv", T::Vector, 0, true);
    declaration->append_field("gc", T::Color, 0, true);
    declaration->append_field("gt", T::Transform, 0, true);
    declaration->append_field("gia", T::Integer_array, 2, true);
    declaration->append_field("gsa", T::Scalar_array, 3, true);
    declaration->append_field("name", T::String, 5, true);
    Edit_map map(declaration);
    miMatrix matrix = {};
    matrix[7] = 3.0f;
    const int ints[2] = {4, 5};
    const float floats[3] = {6, 7, 8};
    EXPECT_TRUE(map->set(0u, 9).is_ok());
    EXPECT_TRUE(map->set(1u, 0.25f).is_ok());
    EXPECT_TRUE(map->set(3u, miVector{1, 2, 3}).is_ok());
    EXPECT_TRUE(map->set(4u, miColor{1, 2, 3, 4}).is_ok());
    EXPECT_TRUE(map->set(5u, &matrix).is_ok());
    EXPECT_TRUE(map->set(6u, ints).is_ok());
    EXPECT_TRUE(map->set(7u, floats).is_ok());
    EXPECT_TRUE(map->set(8u, "abcde").is_ok());
    EXPECT_TRUE(map->set(8u, "abcdef") == Map_status::Out_of_bounds);

    const Map_element element(declaration);
    map->append(element);
    map->consolidate();
    int i = 0;
    float s = 0;
    miVector v;
    miColor c;
    miMatrix m;
    int ia[2];
    float sa[3];
    char name[6] = "";
    EXPECT_TRUE(map->get(0u, i).is_ok());
    EXPECT_EQ(i, 9);
    EXPECT_TRUE(map->get(1u, s).is_ok());
    EXPECT_EQ(s, 0.25f);
    EXPECT_TRUE(map->get(3u, v).is_ok());
    EXPECT_EQ(v.y, 2.0f);
    EXPECT_TRUE(map->get(4u, c).is_ok());
    EXPECT_EQ(c.a, 4.0f);
    EXPECT_TRUE(map->get(5u, &m).is_ok());
    EXPECT_EQ(m[7], 3.0f);
    EXPECT_TRUE(map->get(6u, ia).is_ok());
    EXPECT_EQ(ia[1], 5);
    EXPECT_TRUE(map->get(7u, sa).is_ok());
    EXPECT_EQ(sa[2], 8.0f);
    EXPECT_TRUE(map->get(8u, name).is_ok());
    EXPECT_STREQ(name, "abcde");
    EXPECT_TRUE(map->get(2u, s) == Map_status::Field_illegal);
    EXPECT_TRUE(map->get(1u, i) == Map_status::Field_type_mismatch);
    EXPECT_TRUE(map->get(9u, i) == Map_status::No_such_field);
    EXPECT_TRUE(map->get(8u, static_cast<char*>(nullptr)) == Map_status::Field_null_array);
    EXPECT_TRUE(Edit_map()->get(0u, i) == Map_status::No_declaration);

    // Iterators and lookup results have the global fields, too.
    Map_iterator it(map);
    EXPECT_TRUE(it->get(8u, name).is_ok());
    EXPECT_STREQ(name, "abcde");
    const auto access = access_to(map);
    Map_lookup lookup(*access);
    const float point[2] = {0, 0};
    lookup->search(Map_quad_distance<2>(point), 1, 1.0f);
    int again = 0;
    EXPECT_TRUE(lookup->get(0u, again).is_ok());
    EXPECT_EQ(again, 9);
    std::strcpy(name, "");
    EXPECT_TRUE(lookup->get(8u, name).is_ok());
    EXPECT_STREQ(name, "abcde");
}

TEST(Map, AMapOfPositionsAloneNeedsNoField) {
    const Map_declaration declaration(6);
    Edit_map map(declaration);
    Map_element element(declaration);
    const float position[6] = {1, 2, 3, 4, 5, 6};
    element->set_position(position);
    map->append(element);
    map->consolidate();
    const auto access = access_to(map);
    Map_lookup lookup(*access);
    EXPECT_TRUE(lookup->search(Map_quad_distance<6>(position), 1, 0.0f).is_ok());
    EXPECT_EQ(lookup->size(), 1u);
}

} // namespace
