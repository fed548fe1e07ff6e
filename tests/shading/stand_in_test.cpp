#include "host/shading/stand_in.h"

#include "tests/shading/fake_trace.h"
#include "tests/shading/rig.h"

using namespace vx;
using namespace vx::testing;

namespace {

class StandIn : public ::testing::Test, protected Rig {
  protected:
    void SetUp() override {
        fake_trace() = {};
        stand_in = shader("s", "nobody_knows", {set("color", numbers(1, 2, 3))});
    }
    miTag stand_in = miNULLTAG;
};

} // namespace

TEST_F(StandIn, IsReportedOncePerName) {
    shader("t", "nobody_knows");
    shader("u", "nor_this");
    EXPECT_THAT(findings,
                ::testing::ElementsAre(
                    "warning: shader \"nobody_knows\" is not declared; a stand-in is used for it",
                    "warning: shader \"nor_this\" is not declared; a stand-in is used for it"));
}

TEST_F(StandIn, SurfaceIsGreyLambertOfAllLights) {
    context.lights = {5, 6};
    fake_trace().light = {1, 0.5f, 0.25f, 1};
    fake_trace().cosine = 0.5f;
    EXPECT_THAT(run(stand_in, miSHADER_MATERIAL), IsColor(0.5, 0.25, 0.125, 1));
    fake_trace().samples_per_light = 4;
    EXPECT_THAT(run(stand_in, miSHADER_MATERIAL), IsColor(0.5, 0.25, 0.125, 1));
}

TEST_F(StandIn, SurfaceWithoutLightIsBlack) {
    EXPECT_THAT(run(stand_in, miSHADER_MATERIAL), IsColor(0, 0, 0, 1));
    context.lights = {5};
    fake_trace().samples_per_light = 0;
    EXPECT_THAT(run(stand_in, miSHADER_MATERIAL), IsColor(0, 0, 0, 1));
}

TEST_F(StandIn, LightIsWhiteAndCastsAShadowRay) {
    EXPECT_THAT(run(stand_in, miSHADER_LIGHT), IsColor(1, 1, 1, 1));
    EXPECT_EQ(fake_trace().shadow_rays, 1);
}

TEST_F(StandIn, ShadowShaderLetsNothingThrough) {
    miColor c = {1, 1, 1, 1};
    EXPECT_FALSE(shading::call_list(context, stand_in, &c, &state, miSHADER_SHADOW));
    EXPECT_THAT(c, IsColor(0, 0, 0, 0));
}

TEST_F(StandIn, LensPassesTheEyeRayOn) {
    EXPECT_THAT(run(stand_in, miSHADER_LENS), IsColor(0.125, 0.25, 0.5, 1));
    EXPECT_EQ(fake_trace().eye_rays, 1);
}

TEST_F(StandIn, VolumeLeavesTheColorAndEnvironmentHasNone) {
    miColor c = {1, 2, 3, 4};
    EXPECT_TRUE(shading::call_list(context, stand_in, &c, &state, miSHADER_VOLUME));
    EXPECT_THAT(c, IsColor(1, 2, 3, 4));
    EXPECT_FALSE(shading::call_list(context, stand_in, &c, &state, miSHADER_ENVIRONMENT));
}

TEST_F(StandIn, ConnectedValueIsConstantGreyAlsoForAMemberOfItsResult) {
    load();
    EXPECT_THAT(run(shader("a", "test_constant", {set("value", connection("s"))})),
                IsColor(0.5, 0.5, 0.5, 1));
    EXPECT_THAT(run(shader("b", "test_constant", {set("value", connection("s.outColor"))})),
                IsColor(0.5, 0.5, 0.5, 1));
    builder.finish();
    EXPECT_EQ(diagnostics.errors(), 0u);
}

TEST_F(StandIn, ALaterDeclarationServesLaterShaders) {
    builder.on_declare(declaration("nobody_knows", Type::color, {}));
    EXPECT_FALSE(function(shader("later", "nobody_knows")).declaration->built_in.has_value());
}

TEST_F(StandIn, PhenomenonGetsAStandIn) {
    scene::Declaration d = declaration("phen", Type::scalar, {});
    d.kind = scene::DeclarationKind::phenomenon;
    builder.on_declare(d);
    EXPECT_TRUE(function(shader("p", "phen")).declaration->built_in.has_value());
}
