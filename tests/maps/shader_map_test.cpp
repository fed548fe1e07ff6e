// The map headers alone: layout, codes, inline functions, and wrappers in a program without an
// interface.
#include "shader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

using namespace mi::shader_v3;

extern "C" mi::shader_v3::Interface* mi_get_shader_interface(int) {
    return nullptr;
}

namespace {

class Plain final : public Map_distance<3> {
  public:
    using Map_distance<3>::Map_distance;
    float operator()(const Map_iterator_base*) const override { return 7.0f; }
};

class OwnBox : public Map_distance<3> {
  public:
    using Map_distance<3>::Map_distance;
    virtual ~OwnBox() = default;
    float operator()(const float*, const float*) const override { return 0.5f; }
};

// Hides the box distance of its base class by name, but does not override it.
class BelowOwnBox final : public OwnBox {
  public:
    using OwnBox::OwnBox;
    float operator()(const Map_iterator_base*) const override { return 7.0f; }
};

TEST(MapHeader, StatusCodesHaveTheirDocumentedValues) {
    EXPECT_EQ(Map_status::OK, 0);
    EXPECT_EQ(Map_status::Insufficient_memory, 1);
    EXPECT_EQ(Map_status::No_such_field, 2);
    EXPECT_EQ(Map_status::Out_of_bounds, 3);
    EXPECT_EQ(Map_status::No_declaration, 4);
    EXPECT_EQ(Map_status::Declaration_mismatch, 5);
    EXPECT_EQ(Map_status::Wrong_dimension, 6);
    EXPECT_EQ(Map_status::Illegal_on_slave, 7);
    EXPECT_EQ(Map_status::Failure, 15);
    EXPECT_EQ(Map_status::File_could_not_be_opened, 16);
    EXPECT_EQ(Map_status::File_not_a_map, 17);
    EXPECT_EQ(Map_status::File_version_unsupported, 18);
    EXPECT_EQ(Map_status::Field_undefined, 32);
    EXPECT_EQ(Map_status::Field_name_too_long, 33);
    EXPECT_EQ(Map_status::Field_name_empty, 34);
    EXPECT_EQ(Map_status::Field_name_illegal, 35);
    EXPECT_EQ(Map_status::Field_null_array, 36);
    EXPECT_EQ(Map_status::Field_type_mismatch, 37);
    EXPECT_EQ(Map_status::Field_illegal, 38);
    EXPECT_EQ(Map_status::Iterator_invalid, 48);
    EXPECT_EQ(Map_status::Iterator_past_end, 49);
    EXPECT_EQ(Map_status::Iterator_out_of_bounds, 50);
    EXPECT_EQ(Map_status::Lookup_invalid, 64);
    EXPECT_EQ(Map_status::Lookup_past_end, 65);
    EXPECT_EQ(Map_status::Lookup_out_of_bounds, 66);
    EXPECT_EQ(Map_status::Lookup_dimension_mismatch, 67);
    EXPECT_EQ(Map_status::Lookup_no_previous_search, 68);
}

TEST(MapHeader, StatusIsAValueThatComparesWithCodes) {
    Map_status status;
    EXPECT_TRUE(status.is_ok());
    EXPECT_TRUE(status == Map_status::OK);
    status = Map_status::Failure;
    EXPECT_FALSE(status.is_ok());
    EXPECT_TRUE(status != Map_status::OK);
    const Map_status copy(status);
    EXPECT_TRUE(copy == status);
    EXPECT_TRUE(copy != Map_status());
    status = Map_status(Map_status::No_such_field);
    EXPECT_EQ(status.get_code(), Map_status::No_such_field);
}

TEST(MapHeader, AStatusIsReturnedThroughMemoryBecauseItsCopyIsItsOwn) {
    EXPECT_FALSE(std::is_trivially_copyable_v<Map_status>);
    EXPECT_FALSE(std::is_polymorphic_v<Map_status>);
}

TEST(MapHeader, WrappersAreOnePointerWithoutVirtualFunctions) {
    EXPECT_FALSE(std::is_polymorphic_v<Access_map>);
    EXPECT_FALSE(std::is_polymorphic_v<Edit_map>);
    EXPECT_FALSE(std::is_polymorphic_v<Map_declaration>);
    EXPECT_FALSE(std::is_polymorphic_v<Map_element>);
    EXPECT_FALSE(std::is_polymorphic_v<Map_iterator>);
    EXPECT_FALSE(std::is_polymorphic_v<Map_lookup>);
    EXPECT_EQ(sizeof(Map_element), sizeof(void*));
    EXPECT_FALSE(std::is_copy_constructible_v<Access_map>);
    EXPECT_FALSE(std::is_copy_assignable_v<Edit_map>);
    EXPECT_TRUE(std::is_copy_constructible_v<Map_element>);
    EXPECT_TRUE(std::is_copy_assignable_v<Map_lookup>);
}

TEST(MapHeader, WithoutAnInterfaceWrappersHoldNothing) {
    Map_declaration declaration(3);
    EXPECT_EQ(declaration.operator->(), nullptr);
    Map_element element(declaration);
    EXPECT_EQ(element.operator->(), nullptr);
    Map_element copy(element);
    copy = element;
    EXPECT_EQ(copy.operator->(), nullptr);
    Access_map map("no such file");
    EXPECT_EQ(map.operator->(), nullptr);
    EXPECT_EQ(map.get_tag(), miNULLTAG);
    EXPECT_EQ(map.store(), miNULLTAG);
    Edit_map edit(declaration);
    EXPECT_EQ(edit.operator->(), nullptr);
    Map_lookup lookup(map);
    EXPECT_EQ(lookup.operator->(), nullptr);
    Map_iterator iterator(map);
    EXPECT_EQ(iterator.operator->(), nullptr);
    Access_interface access;
    EXPECT_EQ(access.operator->(), nullptr);
}

TEST(MapHeader, BoxDistanceIsZeroInsideAndSquaredOutside) {
    const float point[3] = {1.0f, 2.0f, 3.0f};
    const Plain functor(point);
    const Map_distance_base& distance = functor;
    const float inside_min[3] = {0, 0, 0};
    const float inside_max[3] = {4, 4, 4};
    EXPECT_EQ(distance(inside_min, inside_max), 0.0f);
    const float right_min[3] = {3, 0, 0};
    const float right_max[3] = {4, 4, 4};
    EXPECT_EQ(distance(right_min, right_max), 4.0f);
    const float corner_min[3] = {-2, 4, 6};
    const float corner_max[3] = {-1, 5, 7};
    EXPECT_EQ(distance(corner_min, corner_max), 4.0f + 4.0f + 9.0f);
    const float face_max[3] = {1, 2, 3};
    EXPECT_EQ(distance(inside_min, face_max), 0.0f);
}

TEST(MapHeader, AFunctorIsItsTableItsPointAndThenTheDerivedMembers) {
    const float point[3] = {1.0f, 2.0f, 3.0f};
    const Plain functor(point);
    float stored[3];
    std::memcpy(stored, reinterpret_cast<const char*>(&functor) + sizeof(void*), sizeof stored);
    EXPECT_EQ(stored[0], 1.0f);
    EXPECT_EQ(stored[2], 3.0f);
    EXPECT_EQ(functor.get_point()[1], 2.0f);
    EXPECT_EQ(functor.get_dimension(), 3u);
    EXPECT_EQ(Map_distance<6>::DIMENSION, 6u);
}

TEST(MapHeader, AnInheritedBoxDistanceIsRecognized) {
    const float point[3] = {1.0f, 2.0f, 3.0f};
    const Plain functor(point);
    EXPECT_EQ(map_euclidean_point(functor), functor.get_point());
    const Map_quad_distance<3> quad(point);
    EXPECT_EQ(map_euclidean_point(quad), quad.get_point());
}

TEST(MapHeader, ABoxDistanceReplacedAnywhereInTheHierarchyIsNotTakenForTheInheritedOne) {
    const float point[3] = {1.0f, 2.0f, 3.0f};
    const BelowOwnBox functor(point);
    EXPECT_EQ(map_euclidean_point(functor), nullptr);
}

TEST(MapHeader, FieldTypesCompare) {
    EXPECT_TRUE(Map_field_type() == Map_field_type::Undefined);
    EXPECT_TRUE(Map_field_type(Map_field_type::Vector) != Map_field_type::Color);
    EXPECT_EQ(Map_field_type(Map_field_type::String).get_type(), Map_field_type::String);
}

} // namespace
