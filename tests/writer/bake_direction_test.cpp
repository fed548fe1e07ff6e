// Directions of samples, exact to the bit.
#include "src/writer/bake_pass.h"

#include "tests/writer/lens_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace {

using testing::ElementsAre;
using vx::stub::Probe;
using vx::stub::text_of;
using vx::test::LensScene;

TEST(BakeDirection, PassesThroughTheSamplesOfTheImagePlane) {
    LensScene scene(4, 3);
    scene.renderer.camera.focal = 1.5f;
    scene.renderer.camera.aperture = 1.25f;
    scene.renderer.camera.aspect = 4.0f / 3.0f;
    WriteInstanceData& data = scene.make({.jitter = 1, .samples = 2});
    const double position[2][2] = {{0.25, 0.75}, {0.875, 0.125}};
    scene.renderer.on_sample = [&](int index, int /*n*/) {
        return std::array{position[index][0], position[index][1]};
    };
    std::vector<miVector> directions;
    scene.renderer.on_probe = [&](miState*, const miVector& dir, const miVector&) {
        directions.push_back(dir);
        return Probe();
    };
    BakePass(&scene.state, &data);
    ASSERT_EQ(directions.size(), 24u);
    size_t at = 0;
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            for (const auto& sample : position) {
                // A plane 1.25 wide and 0.9375 high at distance 1.5, from its lower left corner.
                const double px = -0.625 + (x + sample[0]) * 1.25 / 4;
                const double py = -0.46875 + (y + sample[1]) * 0.9375 / 3;
                const double length = std::sqrt(px * px + py * py + 1.5 * 1.5);
                EXPECT_NEAR(directions[at].x, px / length, 1e-6);
                EXPECT_NEAR(directions[at].y, py / length, 1e-6);
                EXPECT_NEAR(directions[at].z, -1.5 / length, 1e-6);
                ++at;
            }
        }
    }
}

// The values come from exact rational arithmetic, rounded to single precision after each step:
// u = (x + sample) / width, (u - 0.5) * aperture, for y also / aspect, then all three times the
// reciprocal of the length. For these samples, double precision in one of the steps, another order
// of the factors, or a division by the length changes at least one of the 27 numbers.
TEST(BakeDirection, StepsAreRoundedToSinglePrecision) {
    LensScene scene(7, 3);
    scene.renderer.camera.focal = 1.1f;
    scene.renderer.camera.aperture = 1.7f;
    scene.renderer.camera.aspect = 1.3f;
    scene.renderer.on_sample = [](int, int) { return std::array{0.603, 0.422}; };
    WriteInstanceData& data = scene.make({.jitter = 1});
    std::vector<miVector> directions;
    scene.renderer.on_probe = [&](miState*, const miVector& dir, const miVector&) {
        directions.push_back(dir);
        return Probe();
    };
    BakePass(&scene.state, &data);
    ASSERT_EQ(directions.size(), 21u);
    const struct {
        size_t x, y;
        miVector direction;
    } expected[] = {
        {0, 0, {-0x1.039366p-1f, -0x1.5abc32p-2f, -0x1.95d7aap-1f}},
        {1, 0, {-0x1.7009d0p-2f, -0x1.7762c6p-2f, -0x1.b7608ep-1f}},
        {6, 0, {0x1.10ea90p-1f, -0x1.545a68p-2f, -0x1.8e5f5ep-1f}},
        {0, 1, {-0x1.13c760p-1f, -0x1.aa78e6p-6f, -0x1.af2cf4p-1f}},
        {1, 1, {-0x1.8b6a98p-2f, -0x1.d2e9a8p-6f, -0x1.d80fe2p-1f}},
        {6, 1, {0x1.214610p-1f, -0x1.a1a4aep-6f, -0x1.a63fcep-1f}},
        {0, 2, {-0x1.07aa6ep-1f, 0x1.2d3b1cp-2f, -0x1.9c3caep-1f}},
        {1, 2, {-0x1.76dcf6p-2f, 0x1.470438p-2f, -0x1.bf865cp-1f}},
        {6, 2, {0x1.150e54p-1f, 0x1.2783eap-2f, -0x1.946a4ap-1f}},
    };
    for (const auto& [x, y, direction] : expected)
        EXPECT_EQ(text_of(directions[7 * y + x]), text_of(direction)) << x << ' ' << y;
}

TEST(BakeDirection, IsTurnedFromCameraSpace) {
    LensScene scene(1, 1);
    // The camera looks along +x.
    const miMatrix turned = {0, 0, 1, 0, 0, 1, 0, 0, -1, 0, 0, 0, 3, 4, 5, 1};
    std::copy(std::begin(turned), std::end(turned), scene.renderer.camera_to_internal);
    WriteInstanceData& data = scene.make({});
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"),
                ElementsAre("trace_probe(org 0 0 5, dir 1 0 0)"));
}

TEST(BakeDirection, OfNoLengthIsNotNormalized) {
    LensScene scene(1, 1);
    scene.renderer.camera.focal = 0;
    scene.renderer.camera.aperture = 0;
    WriteInstanceData& data = scene.make({});
    BakePass(&scene.state, &data);
    EXPECT_THAT(scene.renderer.calls_starting_with("trace_probe"),
                ElementsAre("trace_probe(org 0 0 5, dir 0 0 0)"));
}

TEST(BakeDirection, OrthographicWindowAndOffsetAreIgnored) {
    const auto probes = [](bool special) {
        LensScene scene(2, 1);
        WriteInstanceData& data = scene.make({});
        if (special) {
            scene.renderer.camera.orthographic = miTRUE;
            scene.renderer.camera.window = {1, 0, 1, 0};
            scene.renderer.camera.x_offset = 10;
        }
        BakePass(&scene.state, &data);
        return scene.renderer.calls_starting_with("trace_probe");
    };
    EXPECT_EQ(probes(true), probes(false));
}

} // namespace
