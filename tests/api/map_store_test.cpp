// Maps stored by shaders are elements of the scene database.
#include "host/api/map_store.h"
#include "maps/interface.h"
#include "tests/api/api_test.h"

#include <atomic>
#include <memory>
#include <optional>
#include <set>
#include <thread>

using namespace vx;
using namespace vx::testing;
using namespace mi::shader_v3;
using ::testing::IsEmpty;

namespace {

// A map of one point with the single field 0, which is `value`.
std::unique_ptr<Edit_map> map_of(int value) {
    Map_declaration declaration(3);
    declaration->append_field("value", Map_field_type::Integer);
    auto map = std::make_unique<Edit_map>(declaration);
    Map_element element(declaration);
    element->set(0u, value);
    (*map)->append(element);
    (*map)->consolidate();
    return map;
}

// The value of the only point of a map; -1 if the tag is not a map.
int value_of(miTag tag) {
    const Access_map map(tag);
    if (map->is_empty()) return -1;
    Map_element element;
    int value = -1;
    map->get(0, element);
    element->get(0u, value);
    return value;
}

class ApiMapStore : public ApiTest {
  protected:
    void SetUp() override {
        ApiTest::SetUp();
        api::store_maps_in_database();
    }
    void TearDown() override { maps::set_map_store(nullptr); }

    std::uint32_t pins(miTag tag) {
        context.settle_pins();
        return context.database.pins(tag);
    }
};

} // namespace

TEST_F(ApiMapStore, AStoredMapIsAnElementThatAnotherInstanceFindsByItsTag) {
    const miTag text = context.database.create_string("x");
    const miTag other = shader("other", "test_black");
    miTag tag = miNULLTAG;
    inside([&](void*, miState*, void*) {
        const auto map = map_of(7);
        tag = map->store();
        EXPECT_EQ(map->get_tag(), tag);
        EXPECT_EQ(map->store(), tag);
        return miTRUE;
    });
    runner = shader("another runner", "test_run");
    inside([&](void*, miState*, void*) {
        EXPECT_EQ(mi_db_type(tag), miSCENE_MAP);
        EXPECT_EQ(value_of(tag), 7);
        EXPECT_EQ(Edit_map(tag)->size(), 1u);
        // Other elements still exist.
        EXPECT_EQ(mi_db_type(text), miSCENE_STRING);
        EXPECT_EQ(mi_db_type(other), miSCENE_FUNCTION);
        return miTRUE;
    });
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ApiMapStore, WrappersPinTheElementUntilTheyEnd) {
    inside([&](void*, miState*, void*) {
        auto map = map_of(7);
        const miTag tag = map->store();
        EXPECT_EQ(pins(tag), 1u);
        {
            const Access_map access(tag);
            const Edit_map edit(tag);
            EXPECT_EQ(pins(tag), 3u);
            map.reset();
            EXPECT_EQ(pins(tag), 2u);
            // Another wrapper of the map outlives the wrapper that stored it.
            EXPECT_EQ(access->size(), 1u);
            EXPECT_EQ(access.operator->(), edit.operator->());
        }
        EXPECT_EQ(pins(tag), 0u);
        EXPECT_EQ(value_of(tag), 7);
        EXPECT_EQ(pins(tag), 0u);
        return miTRUE;
    });
    EXPECT_THAT(context.database.left_over_pins(false), IsEmpty());
}

TEST_F(ApiMapStore, AChangeThroughOneWrapperShowsThroughAnother) {
    inside([&](void*, miState*, void*) {
        const auto map = map_of(7);
        const Access_map access(map->store());
        Edit_map edit(access.get_tag());
        Map_element element{Map_declaration(edit)};
        edit->append(element);
        EXPECT_EQ(access->size(), 2u);
        return miTRUE;
    });
}

TEST_F(ApiMapStore, TagsThatNameNoMapGiveAnEmptyMapAndNoPin) {
    const miTag text = context.database.create_string("x");
    inside([&](void*, miState*, void*) {
        for (const miTag tag : {miTag{miNULLTAG}, text, runner, miTag{99999}, miTag{0xFFFFFFFFu}}) {
            const Access_map access(tag);
            EXPECT_TRUE(access->is_empty()) << tag;
            EXPECT_EQ(access.get_tag(), miTag{miNULLTAG}) << tag;
            Edit_map edit(tag);
            EXPECT_TRUE(edit->is_empty()) << tag;
            EXPECT_EQ(edit.get_tag(), miTag{miNULLTAG}) << tag;
            EXPECT_EQ(pins(tag), 0u) << tag;
        }
        return miTRUE;
    });
    EXPECT_FALSE(context.aborted());
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ApiMapStore, ThreadsStoreAndReadAtOnce) {
    constexpr int kThreads = 4, kMaps = 200;
    std::vector<std::vector<miTag>> tags(kThreads);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kMaps; ++i) {
                tags[static_cast<std::size_t>(t)].push_back(map_of(t * kMaps + i)->store());
                const miTag text = context.database.create_string("x");
                if (mi_db_type(text) != miSCENE_STRING) ++wrong;
                if (value_of(tags[static_cast<std::size_t>(t)].back()) != t * kMaps + i) ++wrong;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    std::set<miTag> distinct;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kMaps; ++i) {
            const miTag tag = tags[static_cast<std::size_t>(t)][static_cast<std::size_t>(i)];
            distinct.insert(tag);
            EXPECT_EQ(context.database.type(tag), miSCENE_MAP);
            EXPECT_EQ(value_of(tag), t * kMaps + i);
        }
    EXPECT_EQ(distinct.size(), static_cast<std::size_t>(kThreads * kMaps));
    context.settle_pins();
    EXPECT_THAT(context.database.left_over_pins(false), IsEmpty());
}

// Without the fixture, which has a renderer of its own.
TEST(ApiMapStoreEnd, AWrapperThatOutlivesTheRendererKeepsItsMap) {
    std::optional<shading::Context> renderer(std::in_place);
    api::store_maps_in_database();
    const auto map = map_of(7);
    const miTag tag = map->store();
    auto access = std::make_unique<Access_map>(tag);
    EXPECT_EQ(renderer->database.type(tag), miSCENE_MAP);
    renderer.reset();
    EXPECT_EQ((*access)->size(), 1u);
    access.reset();
    EXPECT_EQ((*map)->size(), 1u);
    maps::set_map_store(nullptr);
}
