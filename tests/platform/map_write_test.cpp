// Calls of map declarations and elements for each type of field.
#include "src/platform/map_write.h"

#include "tests/renderer_stub/map_stub.h"
#include "tests/renderer_stub/renderer_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using mi::shader_v3::Edit_map;
using mi::shader_v3::Map_declaration;
using mi::shader_v3::Map_element;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vx::stub::Maps;
using vx::stub::Renderer;
using namespace map_write;

TEST(MapWrite, FieldsOfEachKindComeBackAsTheyWereSet) {
    Renderer renderer;
    Maps maps(renderer);
    {
        Map_declaration declaration(3);
        AddField(declaration, "v", FieldType::Vector);
        AddField(declaration, "s", FieldType::Scalar);
        AddField(declaration, "i", FieldType::Integer);
        EXPECT_EQ(FieldId(declaration, "v"), 0u);
        EXPECT_EQ(FieldId(declaration, "i"), 2u);
        Edit_map map(declaration);
        Map_element element(declaration);
        SetPosition(element, {1, 2, 3});
        SetField(element, FieldId(declaration, "v"), miVector{4, 5, 6});
        SetField(element, FieldId(declaration, "s"), 0.5f);
        SetField(element, FieldId(declaration, "i"), -7);
        ASSERT_TRUE(map->append(element).is_ok());
        map->write("m", true);
    }
    const auto& written = maps.written.at(0);
    EXPECT_THAT(written.fields, ElementsAre("v vector", "s scalar", "i integer"));
    EXPECT_THAT(written.elements.at(0).position, ElementsAre(1, 2, 3));
    EXPECT_THAT(
        written.elements.at(0).fields,
        ElementsAre(Pair("i", "integer -7"), Pair("s", "scalar 0.5"), Pair("v", "vector 4 5 6")));
    EXPECT_THAT(renderer.left_over(), IsEmpty());
    EXPECT_THAT(maps.left_over(), IsEmpty());
}

TEST(MapWrite, WrapperWithoutAnInterfaceHoldsNothing) {
    Renderer renderer;
    Maps maps(renderer);
    Map_declaration there(3);
    EXPECT_TRUE(HoldsObject(there));
    maps.has_interface = false;
    Map_declaration missing(3);
    EXPECT_FALSE(HoldsObject(missing));
}

} // namespace
