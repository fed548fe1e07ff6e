// The stand-in's maps for writers: that they record, keep, refuse and count.
#include "tests/renderer_stub/map_writing.h"

#include "tests/renderer_stub/map_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace {

using mi::shader_v3::Edit_map;
using mi::shader_v3::Map_declaration;
using mi::shader_v3::Map_element;
using mi::shader_v3::Map_field_type;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using vx::stub::Maps;
using vx::stub::Renderer;

TEST(MapWriting, RecordsAndKeepsWhatIsWritten) {
    Renderer renderer;
    Maps maps(renderer);
    {
        Map_declaration declaration(2);
        declaration->append_field("size", Map_field_type::Scalar);
        Edit_map map(declaration);
        Map_element element(declaration);
        const float position[2] = {0.5f, -1};
        element->set_position(position);
        element->set(0, 3.0f);
        EXPECT_TRUE(map->append(element).is_ok());
        EXPECT_EQ(map->size(), 1u);
        map->consolidate(0.25f);
        map->write("a", false, mi::shader_v3::Map_base::Open_ASCII);
        EXPECT_THAT(maps.left_over(),
                    UnorderedElementsAre("1 declarations", "1 elements", "1 maps"));
    }
    EXPECT_THAT(renderer.calls(),
                ElementsAre("get_interface(3)", "createMapDeclaration(2)", "release",
                            "append_field(size, scalar)", "get_interface(3)", "createMap()",
                            "release", "get_interface(3)", "createMapElement()", "release",
                            "set_position(0.5 -1)", "set(size, 3)", "append()", "consolidate(0.25)",
                            "write(a, quiet, format 2)", "element destroyed", "map destroyed",
                            "declaration destroyed"));
    ASSERT_EQ(maps.written.size(), 1u);
    EXPECT_EQ(maps.written[0].file_name, "a");
    EXPECT_EQ(maps.written[0].dimension, 2u);
    EXPECT_TRUE(maps.written[0].consolidated);
    EXPECT_THAT(maps.written[0].elements.at(0).position, ElementsAre(0.5f, -1));
    EXPECT_EQ(maps.written[0].elements.at(0).fields.at("size"), "scalar 3");
    EXPECT_THAT(maps.left_over(), IsEmpty());
}

TEST(MapWriting, RefusesTheAppendThatWasAskedFor) {
    Renderer renderer;
    Maps maps(renderer);
    maps.refuse_append = 1;
    Map_declaration declaration(3);
    Edit_map map(declaration);
    Map_element element(declaration);
    EXPECT_TRUE(map->append(element).is_ok());
    EXPECT_FALSE(map->append(element).is_ok());
    EXPECT_EQ(map->size(), 1u);
}

TEST(MapWriting, AppendAfterConsolidatingIsSeen) {
    Renderer renderer;
    Maps maps(renderer);
    Map_declaration declaration(3);
    Edit_map map(declaration);
    Map_element element(declaration);
    map->consolidate(0.6f);
    map->append(element);
    map->write("a", true);
    EXPECT_FALSE(maps.written.at(0).consolidated);
}

TEST(MapWriting, QuietElementsAreOnlyCounted) {
    Renderer renderer;
    Maps maps(renderer);
    maps.quiet_elements = true;
    Map_declaration declaration(3);
    Edit_map map(declaration);
    Map_element element(declaration);
    renderer.clear_calls();
    for (int i = 0; i < 5; ++i)
        map->append(element);
    EXPECT_THAT(renderer.calls(), IsEmpty());
    map->write("a", true);
    EXPECT_EQ(maps.written.at(0).count, 5u);
}

TEST(MapWriting, MapsWithoutADeclarationThrow) {
    Renderer renderer;
    Maps maps(renderer);
    EXPECT_THROW(vx::stub::new_map(nullptr), std::logic_error);
    EXPECT_THROW(vx::stub::new_element(nullptr), std::logic_error);
}

} // namespace
