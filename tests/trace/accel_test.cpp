#include "host/trace/accel.h"

#include <gtest/gtest.h>

#include <limits>

using namespace vx::trace;

namespace {

constexpr unsigned kAllRays =
    mask_eye | mask_transparent | mask_reflect | mask_refract | mask_shadow | mask_probe;

// A square of two triangles in the plane z = `z`, from -1 to 1, front towards +z.
vx::scene::Mesh square(float z) {
    vx::scene::Mesh m;
    m.positions = {{-1, -1, z}, {1, -1, z}, {1, 1, z}, {-1, 1, z}};
    m.triangles = {{0, 1, 2}, {0, 2, 3}};
    m.triangle_material = {-1, -1};
    return m;
}

Placement placed(const vx::scene::Mesh& mesh, const Matrix& to_world = kIdentity,
                 unsigned mask = kAllRays) {
    Placement p;
    p.mesh = &mesh;
    p.to_world = to_world;
    p.to_local = to_world.inverse();
    p.at_origin = to_world == kIdentity;
    p.mask = mask;
    return p;
}

Matrix moved(float x, float y, float z) {
    return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z, 1};
}

Ray down(float x, float y) {
    Ray r;
    r.origin = {x, y, 10};
    r.direction = {0, 0, -1};
    r.mask = mask_eye;
    return r;
}

} // namespace

TEST(Accel, FindsTheFirstSurfaceAndItsTriangle) {
    const auto near_mesh = square(1);
    const auto far_mesh = square(0);
    const std::vector<Placement> placements{placed(far_mesh), placed(near_mesh)};
    const Accel accel(placements);
    Hit hit;
    ASSERT_TRUE(accel.intersect(down(-0.5f, 0.5f), hit));
    EXPECT_EQ(hit.primitive.placement, 1u);
    EXPECT_EQ(hit.primitive.triangle, 1u);
    EXPECT_FLOAT_EQ(hit.distance, 9.0f);
    EXPECT_FALSE(accel.intersect(down(2, 0), hit));
    EXPECT_EQ(accel.triangle_count(), 4u);
}

TEST(Accel, RaysHitVisibleObjectsOnly) {
    const auto mesh = square(0);
    const std::vector<Placement> placements{placed(mesh, kIdentity, mask_reflect | mask_probe)};
    const Accel accel(placements);
    Hit hit;
    Ray ray = down(0.5f, 0);
    for (const unsigned mask : {mask_eye, mask_transparent, mask_refract, mask_shadow}) {
        ray.mask = mask;
        EXPECT_FALSE(accel.intersect(ray, hit)) << mask;
        EXPECT_FALSE(accel.occluded(ray)) << mask;
    }
    for (const unsigned mask : {mask_reflect, mask_probe}) {
        ray.mask = mask;
        EXPECT_TRUE(accel.intersect(ray, hit)) << mask;
        EXPECT_TRUE(accel.occluded(ray)) << mask;
    }
}

TEST(Accel, SharedMeshesAreInstancedAndMasksHoldPerInstance) {
    const auto mesh = square(0);
    const std::vector<Placement> placements{placed(mesh, moved(0, 0, 3), mask_shadow),
                                            placed(mesh, moved(0, 0, 2)), placed(mesh)};
    const Accel accel(placements);
    Hit hit;
    ASSERT_TRUE(accel.intersect(down(0.5f, 0.2f), hit));
    EXPECT_EQ(hit.primitive.placement, 1u);
    EXPECT_EQ(hit.primitive.triangle, 0u);
    EXPECT_FLOAT_EQ(hit.distance, 8.0f);
    Ray ray = down(0.5f, 0.2f);
    ray.mask = mask_shadow;
    std::vector<Hit> hits;
    accel.all(ray, hits, 100);
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(hits[0].primitive.placement, 0u);
    EXPECT_EQ(hits[2].primitive.placement, 2u);
    accel.all(ray, hits, 2);
    EXPECT_EQ(hits.size(), 2u);
}

TEST(Accel, IgnoredTriangleDoesNotExistInThatInstanceOnly) {
    const auto mesh = square(0);
    const std::vector<Placement> placements{placed(mesh, moved(0, 0, 2)), placed(mesh)};
    const Accel accel(placements);
    const Primitive ignored{0, 0};
    Ray ray = down(0.5f, 0.2f);
    ray.ignore = &ignored;
    Hit hit;
    ASSERT_TRUE(accel.intersect(ray, hit));
    EXPECT_EQ(hit.primitive.placement, 1u);
}

TEST(Accel, EyeRaysSeeOnlyTheFaceThatExists) {
    const auto mesh = square(0);
    const auto other = square(-1);
    Matrix turned = kIdentity; // half a turn about x: the front looks down
    turned[1][1] = turned[2][2] = -1;
    Matrix mirrored = kIdentity;
    mirrored[0][0] = -1;
    for (const bool shared : {false, true})
        for (const auto& [matrix, front_up] :
             {std::pair{kIdentity, true}, std::pair{turned, false}, std::pair{mirrored, true}}) {
            std::vector<Placement> placements{placed(mesh, matrix)};
            placements[0].eye_face = miFACE_FRONT;
            // A second placement far away makes both instances.
            if (shared) placements.push_back(placed(mesh, moved(100, 0, 0)));
            const Accel accel(placements);
            Ray ray = down(0.5f, 0.2f);
            ray.faces = true;
            Hit hit;
            EXPECT_EQ(accel.intersect(ray, hit), front_up) << shared;
            ray.origin.z = -10;
            ray.direction.z = 1;
            EXPECT_EQ(accel.intersect(ray, hit), !front_up) << shared;
            ray.faces = false;
            EXPECT_TRUE(accel.intersect(ray, hit));
        }
}

TEST(Accel, LimitsOfTheRayHold) {
    const auto mesh = square(0);
    const std::vector<Placement> placements{placed(mesh)};
    const Accel accel(placements);
    Hit hit;
    Ray ray = down(0.5f, 0.2f);
    ray.far_limit = 9.9f;
    EXPECT_FALSE(accel.intersect(ray, hit));
    ray.far_limit = 10.1f;
    EXPECT_TRUE(accel.intersect(ray, hit));
    ray.near_limit = 10.05f;
    EXPECT_FALSE(accel.intersect(ray, hit));
}

TEST(Accel, EmptyScenesAndMeshesAndBadRaysAreHarmless) {
    const Accel none(std::vector<Placement>{});
    Hit hit;
    EXPECT_FALSE(none.intersect(down(0, 0), hit));
    const vx::scene::Mesh empty;
    const std::vector<Placement> placements{placed(empty)};
    const Accel accel(placements);
    EXPECT_FALSE(accel.intersect(down(0, 0), hit));
    EXPECT_FALSE(accel.occluded(down(0, 0)));
    const auto mesh = square(0);
    const std::vector<Placement> one{placed(mesh)};
    const Accel full(one);
    Ray ray = down(0, 0);
    ray.direction.x = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(full.intersect(ray, hit));
    ray = down(0, 0);
    ray.origin.y = std::numeric_limits<float>::infinity();
    EXPECT_FALSE(full.intersect(ray, hit));
}

TEST(Accel, HandlesOfPrimitivesAreNeverNullAndComeBack) {
    for (const Primitive p : {Primitive{0, 0}, Primitive{7, 4000000000u}, Primitive{4000000u, 1}}) {
        EXPECT_NE(p.handle(), nullptr);
        EXPECT_EQ(Primitive::from_handle(p.handle()), p);
    }
}
