#include "tests/scene/recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vx::scene;
using testing::ElementsAre;

namespace {

const std::string kHead = "light \"l\" end light\ncamera \"c\" end camera\n"
                          "material \"m\" end material\nmaterial \"n\" end material\n";

Instance instance(const std::string& items) {
    Reading r = read(kHead + "instance \"i\" \"l\" " + items + " end instance\n");
    EXPECT_TRUE(r.messages.empty()) << items << ": " << r.message();
    return r.scene.instances["i"];
}

std::string message(const std::string& text) {
    return read(kHead + text).message();
}

TEST(Instance, ASingleMaterialIsNotAListOfOne) {
    const Instance one = instance("material \"m\"");
    EXPECT_FALSE(one.material_list);
    EXPECT_THAT(one.materials, ElementsAre("m"));
    const Instance list = instance("material [ \"m\" ]");
    EXPECT_TRUE(list.material_list);
    EXPECT_THAT(list.materials, ElementsAre("m"));
    EXPECT_THAT(instance("material [ \"m\", \"n\", \"m\" ]").materials, ElementsAre("m", "n", "m"));
    EXPECT_TRUE(instance("material [ ]").material_list);
    EXPECT_TRUE(instance("material \"m\" material").materials.empty());
    EXPECT_TRUE(instance("override material \"m\"").override_material);
}

TEST(Instance, TransformIsTheMatrixAsWritten) {
    const Instance i = instance("transform 1 0 0 0 0 2 0 0 0 0 3 0 -2 -4 -3 1");
    EXPECT_EQ(i.transform.value(), (Matrix{1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 3, 0, -2, -4, -3, 1}));
    EXPECT_FALSE(instance("").transform.has_value());
}

// The matrix in the scene transforms world space to local space, so vertices need its inverse. The
// test uses a rotation about z by 90 degrees and a translation, whose inverse is known.
TEST(Instance, AVertexReachesTheWorldThroughTheInverse) {
    // local = world * M with M: x' = y + 1, y' = -x + 2, z' = z + 3.
    const Instance i = instance("transform 0 -1 0 0  1 0 0 0  0 0 1 0  1 2 3 1");
    const Matrix& m = i.transform.value();
    const float world[3] = {5, 6, 7};
    float local[3];
    for (std::size_t k = 0; k < 3; ++k)
        local[k] = world[0] * m[k] + world[1] * m[4 + k] + world[2] * m[8 + k] + m[12 + k];
    EXPECT_EQ(local[0], 7);  // y + 1
    EXPECT_EQ(local[1], -3); // -x + 2
    EXPECT_EQ(local[2], 10);
}

TEST(Instance, ASingularMatrixBecomesTheIdentityWithAWarning) {
    const Reading r = read(kHead + "instance \"i\" \"l\" transform 1 0 0 0 2 0 0 0 0 0 1 0 0 0 0 1 "
                                   "end instance");
    EXPECT_EQ(r.message(),
              "warning: test.mi:5:28: the matrix is singular; using the identity instead");
    EXPECT_EQ(r.scene.instances.at("i").transform.value(), kIdentityMatrix);
}

TEST(Instance, TinyAndHugeScalesAreNotSingular) {
    instance("transform 1e-5 0 0 0 0 1e-5 0 0 0 0 1e-5 0 0 0 0 1");
    instance("transform 1e6 0 0 0 0 1e6 0 0 0 0 1e6 0 0 0 0 1");
}

TEST(Instance, FlagsHaveTheirBits) {
    const InstanceFlags none = instance("").flags;
    EXPECT_EQ(none.visible, Switch::unset);
    EXPECT_EQ(none.shadow, 0);
    EXPECT_FALSE(none.face.has_value());
    const InstanceFlags f =
        instance("visible off select on hardware shadowmap off shadow off trace off reflection 5 "
                 "transparency 3 caustic off globillum finalgather 4 face back")
            .flags;
    EXPECT_EQ(f.visible, Switch::off);
    EXPECT_EQ(f.select, Switch::on);
    EXPECT_EQ(f.hardware, Switch::on);
    EXPECT_EQ(f.shadow, 6);
    EXPECT_EQ(f.refraction, 12);
    EXPECT_EQ(f.reflection, 5);
    EXPECT_EQ(f.transparency, 3);
    EXPECT_EQ(f.globillum, 3);
    EXPECT_EQ(f.finalgather, 4);
    EXPECT_EQ(f.face, Face::back);
    EXPECT_EQ(instance("shadow on").flags.shadow, 3);
    EXPECT_EQ(instance("trace on").flags.reflection, 3);
}

TEST(Instance, LightsInclusiveExclusiveAndForShadows) {
    const Instance i =
        instance("light [ \"a\", \"b\" ] light shadow \"exclusive\" [ \"c\" \"d\" ]");
    EXPECT_FALSE(i.lights.value().exclusive);
    EXPECT_THAT(i.lights.value().lights, ElementsAre("a", "b"));
    EXPECT_TRUE(i.shadow_lights.value().exclusive);
    EXPECT_THAT(i.shadow_lights.value().lights, ElementsAre("c", "d"));
    EXPECT_TRUE(instance("light [ ]").lights.has_value());
    EXPECT_FALSE(instance("").lights.has_value());
}

TEST(Instance, MotionTagHideAndParameters) {
    const Instance i = instance("motion transform 1 0 0 0 0 1 0 0 0 0 1 0 1 0 0 1 tag 7 hide on "
                                "approximate [ ] ( \"x\" 1 )");
    EXPECT_EQ(i.motion, MotionKind::transform);
    EXPECT_EQ(i.motion_transform[12], 1);
    EXPECT_EQ(i.label, 7u);
    EXPECT_TRUE(i.hide);
    EXPECT_EQ(instance("motion off").motion, MotionKind::off);
    EXPECT_EQ(instance("motion transform").motion, MotionKind::inherit);
}

TEST(Instance, IncrementalChangesKeepTheRestAndBareWordsRemove) {
    const Reading r = read(kHead + "instance \"i\" \"l\" transform 1 0 0 0 0 1 0 0 0 0 1 0 5 0 0 1 "
                                   "material [ \"m\" ] shadow on end instance\n"
                                   "incremental instance \"i\" hide on end instance\n");
    EXPECT_TRUE(r.good) << r.message();
    const Instance& i = r.scene.instances.at("i");
    EXPECT_EQ(i.item, "l");
    EXPECT_EQ(i.transform.value()[12], 5);
    EXPECT_TRUE(i.material_list);
    EXPECT_TRUE(i.hide);
    const Reading bare =
        read(kHead + "instance \"i\" \"l\" transform 1 0 0 0 0 1 0 0 0 0 1 0 5 0 0 "
                     "1 end instance\nincremental instance \"i\" \"c\" transform "
                     "end instance\n");
    EXPECT_FALSE(bare.scene.instances.at("i").transform.has_value());
    EXPECT_EQ(bare.scene.instances.at("i").item, "c");
}

TEST(Instance, GeometryShadersAreKeptWithAWarning) {
    const Reading r = read("instance \"i\" geometry \"mib_geo_cube\" () end instance\n");
    EXPECT_EQ(
        r.message(),
        "warning: test.mi:1:14: geometry shaders are not supported; their instances are empty");
    EXPECT_EQ(r.scene.instances.at("i").geometry_shaders.size(), 1u);
}

TEST(Instance, Errors) {
    EXPECT_EQ(message("instance \"i\" \"none\" end instance"),
              "error: test.mi:5:14: there is no camera, light, object or instgroup 'none'");
    EXPECT_EQ(message("instance \"i\" \"m\" end instance"),
              "error: test.mi:5:14: 'm' is a material, which cannot be instanced");
    EXPECT_EQ(message("instance \"i\" end instance"),
              "error: test.mi:5:10: instance 'i' has no item");
    EXPECT_EQ(message("instance \"i\" \"l\" material \"x\" end instance"),
              "error: test.mi:5:27: there is no material 'x'");
    EXPECT_EQ(message("instance \"i\" \"l\" material [ \"m\" \"n\" ] end instance"),
              "error: test.mi:5:33: expected ',' or ']', found \"n\"");
    EXPECT_EQ(message("instance \"i\" \"l\" light \"some\" [ ] end instance"),
              "error: test.mi:5:24: expected \"exclusive\" or '[', found \"some\"");
    EXPECT_EQ(message("instance \"i\" \"l\" reflection 16 end instance"),
              "error: test.mi:5:29: expected an integer from 0 to 15, found '16'");
    EXPECT_EQ(message("instance \"m\" \"l\" end instance"),
              "error: test.mi:5:10: 'm' is already a material");
    EXPECT_EQ(message("instance \"i\" \"l\" transform 1 2 end instance"),
              "error: test.mi:5:32: expected a number, found 'end'");
}

TEST(InstGroup, MembersNestingAndReplacement) {
    const Reading r = read(kHead + "instance \"a\" \"l\" end instance\ninstance \"b\" \"c\" end "
                                   "instance\ninstgroup \"g\" merge 0.1 tag 3 \"a\" \"b\" end "
                                   "instgroup\ninstance \"gi\" \"g\" end instance\ninstgroup "
                                   "\"w\" \"gi\" \"gi\" end instgroup\n");
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_THAT(r.scene.groups.at("g").members, ElementsAre("a", "b"));
    EXPECT_EQ(r.scene.groups.at("g").label, 3u);
    EXPECT_THAT(r.scene.groups.at("w").members, ElementsAre("gi", "gi"));
    const Reading again =
        read(kHead + "instance \"a\" \"l\" end instance\ninstance \"b\" \"c\" end "
                     "instance\ninstgroup \"g\" \"a\" end instgroup\nincremental "
                     "instgroup \"g\" \"b\" end instgroup\n");
    EXPECT_THAT(again.scene.groups.at("g").members, ElementsAre("b"));
}

TEST(InstGroup, MemberThatIsNotAnInstanceIsAnError) {
    const Reading r = read(kHead + "instance \"a\" \"l\" end instance\ninstgroup \"g\" \"l\" \"a\" "
                                   "end instgroup\n");
    EXPECT_EQ(r.message(), "error: test.mi:6:15: there is no instance 'l'");
    EXPECT_THAT(r.scene.groups.at("g").members, ElementsAre("a"));
}

} // namespace
