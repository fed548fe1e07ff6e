#include "host/scene/reader.h"

#include "tests/scene/recorder.h"
#include "tests/scene/sample_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vx::scene;
using testing::ElementsAre;

namespace {

TEST(Reader, ReadsTheSampleScene) {
    const Reading r = read(sample_scene());
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_TRUE(r.messages.empty()) << r.message();
    EXPECT_THAT(r.scene.events,
                ElementsAre("link vx_pc.so", "options opt", "camera cam", "light lamp",
                            "instance lampInst", "shader slope", "shader slopeTag",
                            "material slopeMtl", "material floorMtl", "object tent",
                            "instance tentInst", "instance camInst", "instgroup world",
                            "render world camInst opt"));
}

TEST(Reader, TheTentHasTheCountsOfItsText) {
    const Reading r = read(tent_object);
    const Mesh& mesh = r.scene.objects.at("tent").mesh.value();
    EXPECT_EQ(mesh.source_vectors, 11u);
    EXPECT_EQ(mesh.source_vertices, 10u);
    EXPECT_EQ(mesh.source_polygons, 3u);
    EXPECT_EQ(mesh.triangles.size(), 4u);
    EXPECT_THAT(mesh.triangle_material, ElementsAre(0, 0, 1, 1));
    const auto& t = mesh.triangles[0];
    EXPECT_EQ(mesh.positions[t[0]], (Vec3{-1, 0, 1}));
    EXPECT_EQ(mesh.positions[t[1]], (Vec3{1, 0, 1}));
    EXPECT_EQ(mesh.positions[t[2]], (Vec3{0, 1, 0}));
    EXPECT_EQ(mesh.normals[t[0]], (Vec3{0, 0.70711f, 0.70711f}));
    EXPECT_EQ(mesh.textures.at(0)[t[2]], (Vec3{0.5f, 1, 0}));
}

} // namespace
