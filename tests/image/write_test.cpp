#include "host/image/write.h"

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

namespace fs = std::filesystem;
using namespace vx::image;

namespace {

class WritePicture : public testing::Test {
  protected:
    void SetUp() override {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        folder = fs::path(testing::TempDir()) / (std::string("vx_write_") + test->name());
        fs::remove_all(folder);
        fs::create_directories(folder);
    }
    void TearDown() override {
        fs::permissions(folder, fs::perms::owner_all);
        fs::remove_all(folder);
    }

    // 3 x 2 pixels: gray value x + 10 y, alpha 0.5.
    static Frame picture(float scale = 1.0f) {
        Tile tile({0, 0, 3, 2}, Filter(FilterKind::box, 1, 1), true);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 3; ++x) {
                Sample s;
                s.x = static_cast<float>(x) + 0.5f;
                s.y = static_cast<float>(y) + 0.5f;
                const float v = scale * static_cast<float>(x + 10 * y);
                s.color = {v, 2 * v, 3 * v, 0.5f};
                s.depth = static_cast<float>(1 + x);
                s.normal = {0, 0, 1};
                s.label = 16777217u + static_cast<miUint>(x); // not exact in a float
                tile.add(s, 1.0f);
            }
        Frame frame(3, 2, true);
        frame.merge(tile);
        return frame;
    }

    static std::vector<float> read(const fs::path& path, OIIO::ImageSpec& spec) {
        const auto in = OIIO::ImageInput::open(path.string());
        EXPECT_TRUE(in) << OIIO::geterror();
        if (!in) return {};
        spec = in->spec();
        std::vector<float> values(spec.image_pixels() * static_cast<std::size_t>(spec.nchannels));
        EXPECT_TRUE(in->read_image(0, 0, 0, -1, OIIO::TypeDesc::FLOAT, values.data()));
        return values;
    }

    std::size_t files() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }

    fs::path folder;
};

} // namespace

TEST_F(WritePicture, FloatsKeepEveryValueAndTheTopLineComesFirst) {
    const auto error =
        write_picture(picture(), {folder / "a.exr", "",
                                  PixelType{Channels::rgba, Depth::single, true}, "", 0, 0});
    ASSERT_FALSE(error) << *error;
    OIIO::ImageSpec spec;
    const auto v = read(folder / "a.exr", spec);
    ASSERT_EQ(v.size(), 24u);
    EXPECT_EQ(spec.format, OIIO::TypeDesc::FLOAT);
    EXPECT_EQ(v[0], 10.0f); // x 0, y 1: the upper line
    EXPECT_EQ(v[4 * 2 + 2], 36.0f);
    EXPECT_EQ(v[4 * 3 + 0], 0.0f);
    EXPECT_EQ(v[4 * 5 + 1], 4.0f);
    EXPECT_EQ(v[3], 0.5f);
    EXPECT_EQ(files(), 1u);
}

TEST_F(WritePicture, IntegersClipAndTakeGammaButNotForAlpha) {
    WriteRequest r{
        folder / "a.png", "png", PixelType{Channels::rgba, Depth::bits8, true}, "", 0, 0};
    r.gamma = 2.0f;
    ASSERT_FALSE(write_picture(picture(0.25f), r));
    OIIO::ImageSpec spec;
    const auto in = OIIO::ImageInput::open((folder / "a.png").string());
    ASSERT_TRUE(in);
    OIIO::ImageSpec raw;
    raw.attribute("oiio:UnassociatedAlpha", 1);
    const auto plain = OIIO::ImageInput::open((folder / "a.png").string(), &raw);
    std::vector<unsigned char> v(24);
    ASSERT_TRUE(plain->read_image(0, 0, 0, -1, OIIO::TypeDesc::UINT8, v.data()));
    EXPECT_EQ(v[0], 255); // 2.5 clips
    // x 1, y 0: 0.25, 0.5, 0.75 with gamma 2.
    EXPECT_EQ(v[16], std::lround(255 * std::sqrt(0.25)));
    EXPECT_EQ(v[17], std::lround(255 * std::sqrt(0.5)));
    EXPECT_EQ(v[18], std::lround(255 * std::sqrt(0.75)));
    EXPECT_EQ(v[19], 128);
}

TEST_F(WritePicture, NotANumberBecomesBlackInIntegerFormats) {
    Tile tile({0, 0, 1, 1}, Filter(FilterKind::box, 1, 1), false);
    Sample s;
    s.x = s.y = 0.5f;
    s.color = {std::numeric_limits<float>::quiet_NaN(), -1.0f,
               std::numeric_limits<float>::infinity(), 1.0f};
    tile.add(s, 1.0f);
    Frame frame(1, 1, false);
    frame.merge(tile);
    ASSERT_FALSE(write_picture(
        frame, {folder / "a.png", "png", PixelType{Channels::rgb, Depth::bits8, true}, "", 0, 0}));
    OIIO::ImageSpec spec;
    const auto v = read(folder / "a.png", spec);
    EXPECT_EQ(v[0], 0.0f);
    EXPECT_EQ(v[1], 0.0f);
    EXPECT_EQ(v[2], 1.0f);
}

TEST_F(WritePicture, DepthsOfTheTypeNamesReachTheFile) {
    OIIO::ImageSpec spec;
    ASSERT_FALSE(
        write_picture(picture(), {folder / "a.tif", "tif",
                                  PixelType{Channels::rgb, Depth::bits16, true}, "", 0, 0}));
    read(folder / "a.tif", spec);
    EXPECT_EQ(spec.format, OIIO::TypeDesc::UINT16);
    EXPECT_EQ(spec.nchannels, 3);
    ASSERT_FALSE(
        write_picture(picture(), {folder / "a.exr", "exr",
                                  PixelType{Channels::rgba, Depth::half, true}, "zip", 0, 0}));
    read(folder / "a.exr", spec);
    EXPECT_EQ(spec.format, OIIO::TypeDesc::HALF);
    EXPECT_EQ(spec.get_string_attribute("compression"), "zip");
    ASSERT_FALSE(
        write_picture(picture(), {folder / "a.jpg", "jpg",
                                  PixelType{Channels::rgba, Depth::bits8, true}, "", 90, 0}));
    read(folder / "a.jpg", spec);
    EXPECT_EQ(spec.nchannels, 3) << "JPEG has no alpha";
}

TEST_F(WritePicture, DepthNormalAndLabelBuffers) {
    OIIO::ImageSpec spec;
    ASSERT_FALSE(
        write_picture(picture(), {folder / "z.exr", "exr", parse_pixel_type("z"), "", 0, 0}));
    const auto z = read(folder / "z.exr", spec);
    ASSERT_EQ(spec.nchannels, 1);
    EXPECT_EQ(spec.channelnames[0], "Z");
    EXPECT_EQ(z[2], 3.0f);
    ASSERT_FALSE(
        write_picture(picture(), {folder / "n.exr", "exr", parse_pixel_type("n"), "", 0, 0}));
    const auto n = read(folder / "n.exr", spec);
    ASSERT_EQ(spec.nchannels, 3);
    EXPECT_EQ(n[2], 1.0f);
}

TEST_F(WritePicture, LabelsKeepAllThirtyTwoBitsWhereTheFormatHasThem) {
    for (const char* const name : {"t.exr", "t.tif"}) {
        ASSERT_FALSE(
            write_picture(picture(), {folder / name, "", parse_pixel_type("tag"), "", 0, 0}));
        const auto in = OIIO::ImageInput::open((folder / name).string());
        ASSERT_TRUE(in);
        EXPECT_EQ(in->spec().format, OIIO::TypeDesc::UINT32);
        std::vector<std::uint32_t> v(6);
        ASSERT_TRUE(in->read_image(0, 0, 0, -1, OIIO::TypeDesc::UINT32, v.data()));
        EXPECT_EQ(v[1], 16777218u) << name;
    }
}

TEST_F(WritePicture, UnknownFormatIsAnErrorAndLeavesNoFile) {
    const auto error =
        write_picture(picture(), {folder / "sub" / "a.xyz", "", std::nullopt, "", 0, 0});
    ASSERT_TRUE(error);
    EXPECT_NE(error->find("xyz"), std::string::npos);
    EXPECT_EQ(files(), 0u);
    EXPECT_TRUE(write_picture(picture(), {folder / "a", "", std::nullopt, "", 0, 0}));
    EXPECT_FALSE(can_write("xyz"));
    EXPECT_FALSE(can_write(""));
    EXPECT_TRUE(can_write("jpg"));
}

TEST_F(WritePicture, MissingFoldersAreMade) {
    ASSERT_FALSE(
        write_picture(picture(), {folder / "x" / "y" / "a.png", "", std::nullopt, "", 0, 0}));
    EXPECT_TRUE(fs::exists(folder / "x" / "y" / "a.png"));
}

TEST_F(WritePicture, FailureLeavesTheOldPictureAndNoNewFolders) {
    std::ofstream(folder / "file") << "not a folder";
    EXPECT_TRUE(
        write_picture(picture(), {folder / "file" / "x" / "a.png", "", std::nullopt, "", 0, 0}));

    // The name is taken by a folder.
    fs::create_directories(folder / "taken.png" / "inside");
    const auto error =
        write_picture(picture(), {folder / "taken.png", "png", std::nullopt, "", 0, 0});
    ASSERT_TRUE(error);
    EXPECT_TRUE(fs::exists(folder / "taken.png" / "inside"));
    EXPECT_EQ(files(), 2u) << "no partial file stays";
}

TEST_F(WritePicture, ExistingPictureIsReplacedAtOnce) {
    ASSERT_FALSE(write_picture(picture(), {folder / "a.png", "", std::nullopt, "", 0, 0}));
    ASSERT_FALSE(write_picture(picture(0.0f), {folder / "a.png", "", std::nullopt, "", 0, 0}));
    OIIO::ImageSpec spec;
    const auto v = read(folder / "a.png", spec);
    EXPECT_EQ(v[0], 0.0f);
    EXPECT_EQ(files(), 1u);
}
