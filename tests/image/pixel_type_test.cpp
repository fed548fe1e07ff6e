#include "host/image/pixel_type.h"

#include <gtest/gtest.h>

using namespace vx::image;

TEST(PixelType, NamesOfColorsWithTheirDepths) {
    EXPECT_EQ(parse_pixel_type("rgb"), (PixelType{Channels::rgb, Depth::bits8, true}));
    EXPECT_EQ(parse_pixel_type("rgba_16"), (PixelType{Channels::rgba, Depth::bits16, true}));
    EXPECT_EQ(parse_pixel_type("rgba_h"), (PixelType{Channels::rgba, Depth::half, true}));
    EXPECT_EQ(parse_pixel_type("a_fp"), (PixelType{Channels::alpha, Depth::single, true}));
    EXPECT_EQ(parse_pixel_type("+rgb_fp"), (PixelType{Channels::rgb, Depth::single, true}));
    EXPECT_EQ(parse_pixel_type("rgbe"), (PixelType{Channels::rgb, Depth::single, true}));
}

TEST(PixelType, OtherBuffersAreNotInterpolatedUnlessAskedFor) {
    EXPECT_EQ(parse_pixel_type("z"), (PixelType{Channels::depth, Depth::single, false}));
    EXPECT_EQ(parse_pixel_type("+z"), (PixelType{Channels::depth, Depth::single, true}));
    EXPECT_EQ(parse_pixel_type("-n"), (PixelType{Channels::normal, Depth::single, false}));
    EXPECT_EQ(parse_pixel_type("tag"), (PixelType{Channels::label, Depth::single, false}));
    EXPECT_EQ(parse_pixel_type("m"), (PixelType{Channels::motion, Depth::single, false}));
}

TEST(PixelType, OtherNamesAreNotTypes) {
    for (const char* const name : {"", "+", "rgbx", "rgba_", "rgba_8", "_fp", "z_fp", "RGB"})
        EXPECT_FALSE(parse_pixel_type(name)) << name;
}

TEST(PixelType, FormatsHaveABestType) {
    EXPECT_EQ(best_pixel_type("png").channels, Channels::rgba);
    EXPECT_EQ(best_pixel_type("exr").depth, Depth::half);
    EXPECT_EQ(best_pixel_type("jpg").channels, Channels::rgb);
    EXPECT_EQ(writer_name("tif"), "tiff");
    EXPECT_EQ(writer_name("png"), "png");
}
