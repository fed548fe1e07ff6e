#include "tests/scene/recorder.h"

#include <gtest/gtest.h>

using namespace vx::scene;

namespace {

Camera camera(const std::string& items) {
    Reading r = read("camera \"c\"\n" + items + "\nend camera\n");
    EXPECT_TRUE(r.messages.empty()) << items << ": " << r.message();
    return r.scene.cameras["c"];
}

std::string message(const std::string& items) {
    return read("camera \"c\" " + items + " end camera\n").message();
}

TEST(Camera, FocalInfinityIsOrthographic) {
    EXPECT_FALSE(camera("focal 1.5").orthographic);
    EXPECT_EQ(camera("focal 1.5").focal, 1.5f);
    const Camera c = camera("focal infinity aperture 20");
    EXPECT_TRUE(c.orthographic);
    EXPECT_EQ(c.focal, 1);
    EXPECT_EQ(c.aperture, 20);
}

TEST(Camera, AllPlainItems) {
    const Camera c = camera("focal 2 aperture 1.41732 aspect 1.5 resolution 30 20 offset 0.5 -1 "
                            "window 1 2 10 12 clip 0.1 100 dof 5 0.1 frame 12 0.5 field 1");
    EXPECT_EQ(c.aperture, 1.41732f);
    EXPECT_EQ(c.x_resolution, 30);
    EXPECT_EQ(c.y_resolution, 20);
    EXPECT_EQ(c.y_offset, -1);
    EXPECT_EQ(c.window.value().xl, 1);
    EXPECT_EQ(c.window.value().yh, 12);
    EXPECT_EQ(c.clip_far, 100);
    EXPECT_EQ(c.dof.value()[1], 0.1f);
    EXPECT_EQ(c.frame, 12);
    EXPECT_EQ(c.frame_time, 0.5f);
    EXPECT_EQ(c.field, 1);
    EXPECT_EQ(camera("frame 3").frame_time, 0);
    EXPECT_FALSE(camera("").window.has_value());
}

TEST(Camera, OutputFilesWithAndWithoutTypeAndSettings) {
    const Camera c = camera(R"(output "rgba" "png" "a.png"
        output "png" "b.png"
        output "rgb" "jpg" quality 90 "c.jpg"
        output "rgba_h" "exr" compress "zip" dpi 72 "d.exr"
        output "tif" even "e.tif")");
    ASSERT_EQ(c.outputs.size(), 5u);
    EXPECT_EQ(c.outputs[0].types, "rgba");
    EXPECT_EQ(c.outputs[0].format, "png");
    EXPECT_EQ(c.outputs[0].file, "a.png");
    EXPECT_EQ(c.outputs[1].types, "");
    EXPECT_EQ(c.outputs[1].format, "png");
    EXPECT_EQ(c.outputs[2].quality, 90);
    EXPECT_EQ(c.outputs[2].file, "c.jpg");
    EXPECT_EQ(c.outputs[3].compression, "zip");
    EXPECT_EQ(c.outputs[3].types, "rgba_h");
    EXPECT_EQ(c.outputs[4].format, "tif");
    EXPECT_EQ(c.outputs[4].file, "e.tif");
}

TEST(Camera, OutputShadersWithAndWithoutTypes) {
    const Camera c = camera(R"(output "+rgba_fp,z" "post" ( "x" 1 ) output "plain" ( ))");
    ASSERT_EQ(c.outputs.size(), 2u);
    EXPECT_EQ(c.outputs[0].types, "+rgba_fp,z");
    EXPECT_EQ(std::get<ShaderCall>(c.outputs[0].shader.at(0)).declaration, "post");
    EXPECT_EQ(c.outputs[1].types, "");
    EXPECT_EQ(c.outputs[1].shader.size(), 1u);
}

TEST(Camera, ABareOutputDropsAllBeforeIt) {
    const Camera c = camera("output \"png\" \"a.png\" output output \"png\" \"b.png\"");
    ASSERT_EQ(c.outputs.size(), 1u);
    EXPECT_EQ(c.outputs[0].file, "b.png");
}

TEST(Camera, FrameBuffersAreKnownByName) {
    const Camera c = camera(R"(
        framebuffer "main" datatype "rgba" filename "a.exr" filetype "exr" compression "zip"
            primary on user off
        framebuffer "depth" datatype "z" filtering off
        framebuffer "main" filename "b.exr" quality 3)");
    ASSERT_EQ(c.framebuffers.size(), 2u);
    EXPECT_EQ(c.framebuffers[0].filename, "b.exr");
    EXPECT_EQ(c.framebuffers[0].filetype, "exr");
    EXPECT_EQ(c.framebuffers[0].primary, true);
    EXPECT_EQ(c.framebuffers[0].quality, 3);
    EXPECT_EQ(c.framebuffers[1].filtering, false);
    EXPECT_EQ(c.framebuffers[1].filename, "");
}

TEST(Camera, RepeatedListsGrowAndBareOnesAreRemoved) {
    EXPECT_EQ(camera("lens \"a\" () \"b\" () lens \"c\" ()").lens.size(), 3u);
    EXPECT_EQ(camera("lens \"a\" () lens").lens.size(), 0u);
    EXPECT_EQ(camera("lens \"a\" () lens lens \"b\" ()").lens.size(), 1u);
    EXPECT_EQ(camera("environment \"e\" () volume \"v\" ()").volume.size(), 1u);
}

TEST(Camera, AnIncrementalListTakesThePlaceOfTheOneBefore) {
    const Reading r = read("camera \"c\" lens \"a\" () frame 1 environment \"e\" () end camera\n"
                           "incremental camera \"c\" lens \"b\" () \"d\" () frame 2 end camera\n");
    EXPECT_TRUE(r.good) << r.message();
    const Camera& c = r.scene.cameras.at("c");
    EXPECT_EQ(c.lens.size(), 2u);
    EXPECT_EQ(std::get<ShaderCall>(c.lens.at(0)).declaration, "b");
    EXPECT_EQ(c.environment.size(), 1u);
    EXPECT_EQ(c.frame, 2);
}

TEST(Camera, PassesAreSkippedWithOneWarning) {
    const Reading r = read(R"(camera "c"
        pass "rgba" write "a" pass prep samples 2 "rgba" read "a" write "b" "sh" ( "x" 1 )
        pass merge "rgba" read ["a", "b"] write "c" pass null pass delete "x" pass mask on
        frame 4
        end camera)");
    EXPECT_EQ(r.message(), "warning: test.mi:2:14: render passes are not supported; ignored");
    EXPECT_EQ(r.scene.cameras.at("c").frame, 4);
}

TEST(Camera, Errors) {
    EXPECT_EQ(message("resolution 0 10"), "error: test.mi:1:23: expected a number of pixels from 1 "
                                          "to 65536, found '0'");
    EXPECT_EQ(message("resolution 10 99999999"),
              "error: test.mi:1:26: expected a number of pixels from 1 to 65536, found '99999999'");
    EXPECT_EQ(message("focal 0"),
              "error: test.mi:1:18: expected 'infinity' or a distance greater than 0, found '0'");
    EXPECT_EQ(message("aperture -1"),
              "error: test.mi:1:21: expected a width greater than 0, found '-1'");
    EXPECT_EQ(message("output \"png\""),
              "error: test.mi:1:25: expected the format and the name of an output file, found "
              "'end'");
    EXPECT_EQ(message("zoom 1"),
              "error: test.mi:1:12: expected a camera item or 'end camera', found 'zoom'");
}

} // namespace
