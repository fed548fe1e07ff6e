// The order in which an instance releases its memory, also after a failed init.
#include "tests/writer/lens_scene.h"
#include "tests/writer/watched_heap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::test::blocks_held;
using vx::test::LensScene;
using vx::test::LimitedNew;
using vx::test::WatchedBlock;

TEST(Release, CacheThenLabelsThenLockThenGridThenRecord) {
    LensScene scene(1, 1);
    WriteInstanceData& data = scene.make({.use_labels = 1, .labels = "1"});
    scene.renderer.probes = {scene.hit_at(scene.tagged(1), {0, 0, 0})};
    scene.renderer.shadings = {{}};
    miColor result = {};
    WriteLens(&result, &scene.state);
    ASSERT_EQ(data.pdc->header.particleCount, 1);

    const WatchedBlock record(&data, "record");
    const WatchedBlock rows(data.grid.rows.data(), "rows");
    const WatchedBlock labels(data.labelValues, "labels");
    const WatchedBlock cache(data.pdc, "cache");
    const WatchedBlock opacities(data.pdc->slots[kSlotOpacity].floats.data(), "opacities");
    const WatchedBlock positions(data.pdc->slots[kSlotPosition].vectors.data(), "positions");
    const WatchedBlock normals(data.pdc->slots[kSlotNormal].vectors.data(), "normals");
    scene.renderer.clear_calls();
    scene.exit();
    EXPECT_THAT(scene.renderer.calls(),
                ElementsAre("query(51)", "delete(normals)", "delete(positions)",
                            "delete(opacities)", "delete(cache)", "free(labels)", "delete_lock(1)",
                            "delete(rows)", "delete(record)"));
}

TEST(Release, WithoutCacheAndLabelsReleasesTheOthers) {
    LensScene scene;
    WriteInstanceData& data = scene.make({});
    const WatchedBlock record(&data, "record");
    const WatchedBlock rows(data.grid.rows.data(), "rows");
    scene.exit();
    EXPECT_THAT(scene.renderer.calls(),
                ElementsAre("query(51)", "delete_lock(1)", "delete(rows)", "delete(record)"));
}

TEST(Release, EveryLabelListIsFreed) {
    LensScene scene;
    scene.set_up({.use_labels = 1, .labels = "1-20,30"});
    const long before = blocks_held();
    InitWriteInstance(&scene.state, scene.params());
    EXPECT_EQ(blocks_held(), before + 1);
    scene.exit();
    EXPECT_EQ(blocks_held(), before);
}

TEST(Release, FailedInitReleasesEverythingAndRethrows) {
    LensScene scene(1000, 1000); // the rows take 8 MB
    scene.set_up({.use_labels = 1, .labels = "1-9"});
    const long before = blocks_held();
    {
        const LimitedNew limited(1 << 20);
        EXPECT_THROW(InitWriteInstance(&scene.state, scene.params()), std::bad_alloc);
    }
    EXPECT_EQ(blocks_held(), before);
    EXPECT_EQ(*scene.renderer.user_pointer(scene.state.shader), nullptr);
    EXPECT_THAT(scene.renderer.calls_starting_with("delete_lock"), testing::SizeIs(1));
    EXPECT_THAT(scene.renderer.messages(), IsEmpty());
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

} // namespace
