// Declarations through the interface.
#include "tests/maps/helpers.h"

namespace {

using namespace vx::maps::test;

TEST(Declaration, FieldsAreNumberedInOrder) {
    const Map_declaration declaration = cloud_declaration();
    EXPECT_EQ(declaration->get_dimension(), 3u);
    ASSERT_EQ(declaration->get_field_count(), 4u);
    EXPECT_EQ(declaration->get_field_id("normalPP"), 0u);
    Map_status status;
    EXPECT_EQ(declaration->get_field_id("tag", &status), 3u);
    EXPECT_TRUE(status.is_ok());
    EXPECT_STREQ(declaration->get_field_name(2), "opacityPP");
    EXPECT_TRUE(declaration->get_field_type(1) == Map_field_type::Vector);
    EXPECT_EQ(declaration->get_field_length(1), 1u);
    EXPECT_FALSE(declaration->is_field_global(1));
    EXPECT_TRUE(declaration->has_field("rgbPP"));
}

TEST(Declaration, AnUnknownFieldIsReported) {
    const Map_declaration declaration = cloud_declaration();
    Map_status status;
    EXPECT_EQ(declaration->get_field_id("nothing", &status), map_no_such_field);
    EXPECT_TRUE(status == Map_status::No_such_field);
    EXPECT_FALSE(declaration->has_field("nothing"));
    EXPECT_FALSE(declaration->has_field(nullptr));
    EXPECT_EQ(declaration->get_field_id(nullptr), map_no_such_field);
    EXPECT_EQ(declaration->get_field_name(4), nullptr);
    EXPECT_TRUE(declaration->get_field_type(4) == Map_field_type::Undefined);
    EXPECT_EQ(declaration->get_field_length(map_no_such_field), 0u);
    EXPECT_FALSE(declaration->is_field_global(4));
}

TEST(Declaration, EveryKindOfField) {
    Map_declaration declaration(2);
    using T = Map_field_type;
    EXPECT_TRUE(declaration->append_field("i", T::Integer).is_ok());
    EXPECT_TRUE(declaration->append_field("s", T::Scalar).is_ok());
    EXPECT_TRUE(declaration->append_field("v", T::Vector).is_ok());
    EXPECT_TRUE(declaration->append_field("c", T::Color).is_ok());
    EXPECT_TRUE(declaration->append_field("t", T::Transform).is_ok());
    EXPECT_TRUE(declaration->append_field("ia", T::Integer_array, 5).is_ok());
    EXPECT_TRUE(declaration->append_field("sa", T::Scalar_array, 2).is_ok());
    EXPECT_TRUE(declaration->append_field("gs", T::String, 12, true).is_ok());
    EXPECT_TRUE(declaration->append_field("gt", T::Transform, 0, true).is_ok());
    EXPECT_EQ(declaration->get_field_length(5), 5u);
    EXPECT_EQ(declaration->get_field_length(7), 12u);
    EXPECT_TRUE(declaration->is_field_global(8));
}

TEST(Declaration, InvalidFields) {
    Map_declaration declaration(3);
    using T = Map_field_type;
    EXPECT_TRUE(declaration->append_field("", T::Scalar) == Map_status::Field_name_empty);
    EXPECT_TRUE(declaration->append_field(nullptr, T::Scalar) == Map_status::Field_name_empty);
    EXPECT_TRUE(declaration->append_field(std::string(255, 'a').c_str(), T::Scalar).is_ok());
    EXPECT_TRUE(declaration->append_field(std::string(256, 'a').c_str(), T::Scalar) ==
                Map_status::Field_name_too_long);
    EXPECT_TRUE(declaration->append_field("two words", T::Scalar) ==
                Map_status::Field_name_illegal);
    EXPECT_TRUE(declaration->append_field("quo\"te", T::Scalar) == Map_status::Field_name_illegal);
    EXPECT_TRUE(declaration->append_field("a", T::Undefined) == Map_status::Field_undefined);
    EXPECT_TRUE(declaration->append_field("a", T::Scalar_array, 0) == Map_status::Field_null_array);
    EXPECT_TRUE(declaration->append_field("a", T::Scalar_array, (1u << 20) + 1) ==
                Map_status::Out_of_bounds);
    EXPECT_TRUE(declaration->append_field("a", T::String, 8) == Map_status::Field_illegal);
    EXPECT_TRUE(declaration->append_field("a", T::Scalar).is_ok());
    EXPECT_TRUE(declaration->append_field("a", T::Color) == Map_status::Field_illegal);
    EXPECT_EQ(declaration->get_field_count(), 2u);
}

TEST(Declaration, DimensionOutsideOneToSixIsRefused) {
    for (const miUint dimension : {0u, 7u, 1000u}) {
        Map_declaration declaration(dimension);
        EXPECT_EQ(declaration->get_dimension(), 0u);
        EXPECT_TRUE(declaration->append_field("a", Map_field_type::Scalar) ==
                    Map_status::Wrong_dimension);
        const Edit_map map(declaration);
        EXPECT_FALSE(map->has_declaration());
        const Map_element element(declaration);
        EXPECT_FALSE(element->has_declaration());
    }
    for (miUint dimension = 1; dimension <= 6; ++dimension) {
        EXPECT_EQ(Map_declaration(dimension)->get_dimension(), dimension);
    }
}

TEST(Declaration, CopiesAreIndependent) {
    Map_declaration declaration = cloud_declaration();
    Edit_map map(declaration);
    Map_status status = Map_status::Failure;
    Map_declaration of_map(map, &status);
    EXPECT_TRUE(status.is_ok());
    EXPECT_TRUE(of_map->is_equal(declaration.operator->()));
    EXPECT_TRUE(of_map->append_field("more", Map_field_type::Scalar).is_ok());
    EXPECT_FALSE(of_map->is_equal(declaration.operator->()));
    EXPECT_FALSE(Map_declaration(map)->has_field("more"));
    Map_declaration assigned(1);
    assigned = of_map;
    EXPECT_TRUE(assigned->is_equal(of_map.operator->()));
    const Map_declaration& same_one = assigned;
    assigned = same_one;
    EXPECT_TRUE(assigned->has_field("more"));
    EXPECT_FALSE(assigned->is_equal(nullptr));
    const Map_element element(declaration);
    EXPECT_TRUE(Map_declaration(element)->is_equal(declaration.operator->()));
}

TEST(Declaration, ObjectsWithoutOneGiveNoCopy) {
    const Edit_map map;
    Map_status status;
    const Map_declaration of_map(map, &status);
    EXPECT_TRUE(status == Map_status::No_declaration);
    EXPECT_EQ(of_map.operator->(), nullptr);
    const Map_element element;
    const Map_declaration of_element(element, &status);
    EXPECT_TRUE(status == Map_status::No_declaration);
    EXPECT_EQ(of_element.operator->(), nullptr);
}

} // namespace
