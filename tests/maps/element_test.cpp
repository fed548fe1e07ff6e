// Elements outside of maps.
#include "tests/maps/helpers.h"

namespace {

using namespace vx::maps::test;

Map_declaration all_kinds() {
    Map_declaration d(4);
    d->append_field("i", Map_field_type::Integer);
    d->append_field("s", Map_field_type::Scalar);
    d->append_field("v", Map_field_type::Vector);
    d->append_field("c", Map_field_type::Color);
    d->append_field("t", Map_field_type::Transform);
    d->append_field("ia", Map_field_type::Integer_array, 3);
    d->append_field("sa", Map_field_type::Scalar_array, 2);
    d->append_field("g", Map_field_type::Scalar, 0, true);
    return d;
}

TEST(Element, KeepsEveryKindOfValue) {
    Map_element element(all_kinds());
    const float position[4] = {1, -2, 3, -4};
    EXPECT_TRUE(element->set_position(position).is_ok());
    EXPECT_TRUE(element->set(0u, -7).is_ok());
    EXPECT_TRUE(element->set(1u, 0.5f).is_ok());
    EXPECT_TRUE(element->set(2u, miVector{1, 2, 3}).is_ok());
    EXPECT_TRUE(element->set(3u, miColor{4, 5, 6, 7}).is_ok());
    miMatrix matrix;
    for (int i = 0; i < 16; ++i)
        matrix[i] = static_cast<float>(i);
    EXPECT_TRUE(element->set(4u, &matrix).is_ok());
    const int integers[3] = {8, 9, 10};
    EXPECT_TRUE(element->set(5u, integers).is_ok());
    const float scalars[2] = {11, 12};
    EXPECT_TRUE(element->set(6u, scalars).is_ok());

    const Map_element copy(element);
    float p[4];
    EXPECT_TRUE(copy->get_position(p).is_ok());
    EXPECT_EQ(p[3], -4.0f);
    int i = 0;
    EXPECT_TRUE(copy->get(0u, i).is_ok());
    EXPECT_EQ(i, -7);
    float s = 0;
    EXPECT_TRUE(copy->get(1u, s).is_ok());
    EXPECT_EQ(s, 0.5f);
    miVector v;
    EXPECT_TRUE(copy->get(2u, v).is_ok());
    EXPECT_EQ(v.z, 3.0f);
    miColor c;
    EXPECT_TRUE(copy->get(3u, c).is_ok());
    EXPECT_EQ(c.a, 7.0f);
    miMatrix m;
    EXPECT_TRUE(copy->get(4u, &m).is_ok());
    EXPECT_EQ(m[15], 15.0f);
    int ia[3];
    EXPECT_TRUE(copy->get(5u, ia).is_ok());
    EXPECT_EQ(ia[2], 10);
    float sa[2];
    EXPECT_TRUE(copy->get(6u, sa).is_ok());
    EXPECT_EQ(sa[1], 12.0f);
}

TEST(Element, StartsWithZeros) {
    const Map_element element(all_kinds());
    miColor c = {1, 1, 1, 1};
    EXPECT_TRUE(element->get(3u, c).is_ok());
    EXPECT_EQ(c.r + c.g + c.b + c.a, 0.0f);
}

TEST(Element, WrongIdsTypesAndPointersHaveTheirOwnStatus) {
    Map_element element(all_kinds());
    float s = 0;
    int i = 0;
    EXPECT_TRUE(element->get(99u, s) == Map_status::No_such_field);
    EXPECT_TRUE(element->set(map_no_such_field, s) == Map_status::No_such_field);
    EXPECT_TRUE(element->get(0u, s) == Map_status::Field_type_mismatch);
    EXPECT_TRUE(element->set(1u, i) == Map_status::Field_type_mismatch);
    EXPECT_TRUE(element->get(7u, s) == Map_status::Field_illegal);
    EXPECT_TRUE(element->set(6u, static_cast<const float*>(nullptr)) ==
                Map_status::Field_null_array);
    EXPECT_TRUE(element->get(5u, static_cast<int*>(nullptr)) == Map_status::Field_null_array);
    EXPECT_TRUE(element->set_position(nullptr) == Map_status::Failure);
    EXPECT_TRUE(element->get_position(nullptr) == Map_status::Failure);
}

TEST(Element, WithoutADeclarationNothingCanBeSet) {
    Map_element element;
    EXPECT_FALSE(element->has_declaration());
    const float p[3] = {0, 0, 0};
    float q[3];
    EXPECT_TRUE(element->set_position(p) == Map_status::No_declaration);
    EXPECT_TRUE(element->get_position(q) == Map_status::No_declaration);
    EXPECT_TRUE(element->set(0u, 1.0f) == Map_status::No_declaration);
    EXPECT_TRUE(element->get(0u, q[0]) == Map_status::No_declaration);
}

TEST(Element, CopiesAreDeep) {
    Map_element element(all_kinds());
    element->set(0u, 1);
    Map_element copy(element);
    copy->set(0u, 2);
    int value = 0;
    element->get(0u, value);
    EXPECT_EQ(value, 1);
    element = copy;
    element->get(0u, value);
    EXPECT_EQ(value, 2);
    copy->set(0u, 3);
    const Map_element& same_one = element;
    element = same_one;
    element->get(0u, value);
    EXPECT_EQ(value, 2);
}

TEST(Element, ADeclarationThatChangesLaterDoesNotReachIt) {
    Map_declaration declaration(3);
    declaration->append_field("a", Map_field_type::Integer);
    Map_element element(declaration);
    declaration->append_field("b", Map_field_type::Integer);
    EXPECT_TRUE(element->set(1u, 5) == Map_status::No_such_field);
}

} // namespace
