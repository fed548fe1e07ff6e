#include "cache/picture/scene_camera.h"

#include "cache/cloud/error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <unistd.h>

using namespace vx::cache;
using testing::HasSubstr;

namespace {

// A scene file that is gone with the test.
class SceneFile {
  public:
    explicit SceneFile(const std::string& text) {
        static int number = 0;
        m_path = std::filesystem::temp_directory_path() /
                 ("scene_camera_test_" + std::to_string(::getpid()) + "_" +
                  std::to_string(number++) + ".mi");
        std::ofstream(m_path) << text;
    }
    SceneFile(const SceneFile&) = delete;
    SceneFile& operator=(const SceneFile&) = delete;
    ~SceneFile() {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
    std::string name() const { return m_path.string(); }

  private:
    std::filesystem::path m_path;
};

constexpr const char* kTwoCameras = R"(
options "opt" end options
camera "wide" focal 0.5 aperture 2 aspect 2 resolution 200 100 clip 0.25 50 end camera
camera "flat" focal infinity aperture 10 aspect 1 resolution 64 32 offset 3 -2 end camera
instance "wideInst" "wide" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -5 1 end instance
instance "flatInst" "flat" end instance
instgroup "inner" "wideInst" end instgroup
instance "innerInst" "inner" transform 1 0 0 0 0 1 0 0 0 0 1 0 -7 0 0 1 end instance
instgroup "world" "innerInst" "flatInst" end instgroup
)";

std::string why(const std::string& text) {
    try {
        (void)read_scene_camera(text, 0, 0);
    } catch (const FileError& error) {
        return error.text();
    }
    return "";
}

} // namespace

TEST(SceneCamera, IsThatOfTheFirstRenderCommandAndStandsInItsGroups) {
    const SceneFile scene(
        std::string(kTwoCameras) +
        "render \"world\" \"wideInst\" \"opt\"\nrender \"world\" \"flatInst\" \"opt\"\n");
    const SceneCamera found = read_scene_camera(scene.name(), 0, 0);
    EXPECT_EQ(found.instance, "wideInst");
    const Camera& c = found.camera;
    EXPECT_FALSE(c.orthographic);
    EXPECT_EQ(c.width, 200);
    EXPECT_EQ(c.height, 100);
    EXPECT_FLOAT_EQ(static_cast<float>(c.near_limit), 0.25f);
    // From the parent to the camera: x by -7 in the group, z by -5 in the instance.
    const Vec p = transform_point(c.to_camera, {7, 0, 5});
    EXPECT_EQ(p, (Vec{0, 0, 0}));
    // A plane of 2 x 1 at distance 0.5: a quarter of its width is 0.5 beside the axis.
    const Camera::Position at = c.project({8, 0.5, 4});
    EXPECT_NEAR(at.x, 100 + 50, 1e-9);
    EXPECT_NEAR(at.y, 50 + 25, 1e-9);
}

TEST(SceneCamera, CanBeNamedByInstanceOrByCamera) {
    const SceneFile scene(std::string(kTwoCameras) + "render \"world\" \"wideInst\" \"opt\"\n");
    for (const char* name : {":flatInst", ":flat"}) {
        const SceneCamera found = read_scene_camera(scene.name() + name, 0, 0);
        EXPECT_EQ(found.instance, "flatInst");
        EXPECT_TRUE(found.camera.orthographic);
        // 10 units wide, 64 pixels; shifted by 3 to the right and 2 down.
        const Camera::Position at = found.camera.project({0, 0, -1});
        EXPECT_NEAR(at.x, 32 + 3, 1e-6);
        EXPECT_NEAR(at.y, 16 - 2, 1e-6);
    }
}

TEST(SceneCamera, AnotherSizeStretchesThePictureAsARenderDoes) {
    const SceneFile scene(std::string(kTwoCameras) + "render \"world\" \"wideInst\" \"opt\"\n");
    const Camera c = read_scene_camera(scene.name(), 400, 400).camera;
    EXPECT_EQ(c.width, 400);
    const Camera::Position at = c.project({8, 0.5, 4});
    EXPECT_NEAR(at.x, 300, 1e-9);
    EXPECT_NEAR(at.y, 300, 1e-9);
}

TEST(SceneCamera, WithoutARenderCommandTheOnlyOneIsTaken) {
    const SceneFile scene(
        "camera \"c\" resolution 8 8 end camera\ninstance \"i\" \"c\" end instance\n");
    EXPECT_EQ(read_scene_camera(scene.name(), 0, 0).instance, "i");
}

TEST(SceneCamera, OfSeveralWithoutARenderCommandOneHasToBeNamed) {
    const SceneFile scene(kTwoCameras);
    EXPECT_THAT(why(scene.name()), HasSubstr("'flatInst', 'wideInst'"));
    EXPECT_EQ(read_scene_camera(scene.name() + ":wide", 0, 0).instance, "wideInst");
}

TEST(SceneCamera, UnknownNameListsTheCameras) {
    const SceneFile scene(kTwoCameras);
    EXPECT_THAT(why(scene.name() + ":nobody"), HasSubstr("there is no camera instance 'nobody'"));
    EXPECT_THAT(why(scene.name() + ":nobody"), HasSubstr("'flatInst', 'wideInst'"));
}

TEST(SceneCamera, AnErrorElsewhereInTheSceneDoesNotHideTheCamera) {
    const SceneFile scene("instance \"lost\" \"nothing\" end instance\n"
                          "camera \"c\" resolution 8 8 end camera\n"
                          "instance \"i\" \"c\" end instance\n");
    EXPECT_EQ(read_scene_camera(scene.name(), 0, 0).instance, "i");
}

TEST(SceneCamera, UnreadableScenesGiveTheReason) {
    EXPECT_THAT(why("no_such_scene.mi"), HasSubstr("no_such_scene.mi"));
    const SceneFile broken("camera \"c\" aperture");
    EXPECT_THAT(why(broken.name()), HasSubstr(broken.name()));
    const SceneFile empty("\n");
    EXPECT_THAT(why(empty.name()), HasSubstr("there is no camera instance"));
}
