// The parts of the stand-in that decide whether a test passes: what is left over, misuse, child
// states, searches and written maps.
#include "tests/renderer_stub/map_stub.h"
#include "tests/renderer_stub/renderer_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using mi::shader_v3::Map_field_type;
using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::Hit;
using vx::stub::MapContent;
using vx::stub::Maps;
using vx::stub::Renderer;

TEST(RendererStub, ReportsPinsLocksAndStringsLeftOver) {
    Renderer renderer;
    const miTag text = renderer.add_string("");
    mi_db_access(text);
    mi_db_access(text);
    mi_db_unpin(text);
    miLock held;
    miLock free;
    mi_init_lock(&held);
    mi_init_lock(&free);
    mi_lock(held);
    mi_mem_strdup("input");
    EXPECT_THAT(renderer.left_over(),
                testing::UnorderedElementsAre("element 1 pinned 1 times", "lock 1 held", "lock 2",
                                              "copy of 'input'"));
    mi_unlock(held);
}

TEST(RendererStub, MisuseFailsTheTestOrThrows) {
    Renderer renderer;
    EXPECT_NONFATAL_FAILURE(mi_db_unpin(renderer.add_string("")), "unpinned without a pin");
    EXPECT_THROW(mi_db_access(99), std::logic_error);
    miLock lock;
    mi_init_lock(&lock);
    mi_lock(lock);
    EXPECT_THROW(mi_lock(lock), std::logic_error);
    EXPECT_NONFATAL_FAILURE(
        {
            miLock second;
            mi_init_lock(&second);
            mi_lock(second);
            mi_delete_lock(&second);
        },
        "deleted while held");
    mi_unlock(lock);
    EXPECT_THROW(mi_unlock(lock), std::logic_error);
}

TEST(RendererStub, EachTraceReplacesTheChildState) {
    Renderer renderer;
    renderer.probes = {Hit{.point = {1, 2, 3}, .instance = 5, .dist = 7}};
    miState state = renderer.new_state(miNULLTAG);
    miVector dir = {0, 0, -1};
    miVector org = {0, 0.5f, 0};
    ASSERT_TRUE(mi_trace_probe(&state, &dir, &org));
    EXPECT_EQ(state.child->point.y, 2);
    EXPECT_EQ(state.child->org.y, 0.5f);
    EXPECT_EQ(state.child->instance, 5u);
    EXPECT_EQ(state.child->parent, &state);
    EXPECT_FALSE(mi_trace_probe(&state, &dir, &org));
    EXPECT_EQ(state.child, nullptr);
}

TEST(MapStub, SearchTriesEveryPointAndSortsByDistance) {
    Renderer renderer;
    Maps maps(renderer);
    MapContent content;
    content.positions = {{0, 0, 3}, {0, 0, 1}, {0, 0, 2}};
    content.add("size", std::vector<float>{30, 10, 20});
    maps.files["a"] = content;
    {
        const mi::shader_v3::Access_map map("a");
        mi::shader_v3::Map_lookup lookup(map);
        const float origin[3] = {0, 0, 0};
        lookup->search(mi::shader_v3::Map_quad_distance<3>(origin), 2, 9);
        ASSERT_EQ(lookup->size(), 2u);
        float size = 0;
        EXPECT_TRUE(lookup->get(0, size).is_ok());
        EXPECT_EQ(size, 10);
        lookup->next();
        EXPECT_EQ(lookup->get_squared_distance(), 4);
        lookup->search(mi::shader_v3::Map_quad_distance<3>(origin), 9, 4);
        EXPECT_EQ(lookup->size(), 2u) << "the element at the limit counts";
        EXPECT_THAT(maps.left_over(), ElementsAre("access 1", "lookup"));
    }
    EXPECT_THAT(maps.left_over(), IsEmpty());
}

TEST(MapStub, KeepsWrittenMaps) {
    Renderer renderer;
    Maps maps(renderer);
    mi::shader_v3::Map_declaration declaration(2);
    declaration->append_field("size", Map_field_type::Scalar);
    mi::shader_v3::Edit_map map(declaration);
    mi::shader_v3::Map_element element(declaration);
    const float position[2] = {0.5f, -1};
    element->set_position(position);
    element->set(0, 3.0f);
    EXPECT_NONFATAL_FAILURE(element->set(0, 3), "not of type integer");
    element->set(0, 3.0f);
    map->consolidate(0.5f);
    map->append(element);
    map->write("a", true);
    map->consolidate(0.5f);
    map->write("b", true);
    ASSERT_EQ(maps.written.size(), 2u);
    EXPECT_FALSE(maps.written[0].consolidated) << "an element was appended afterwards";
    EXPECT_TRUE(maps.written[1].consolidated);
    EXPECT_THAT(maps.written[0].elements.at(0).position, ElementsAre(0.5f, -1));
    EXPECT_EQ(maps.written[0].elements.at(0).fields.at("size"), "scalar 3");
    EXPECT_THAT(maps.left_over(), ElementsAre("declaration", "element", "map"));
}

} // namespace
