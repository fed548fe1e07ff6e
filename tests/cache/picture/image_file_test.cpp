#include "cache/picture/image_file.h"

#include <gtest/gtest.h>

using namespace vx::cache;

TEST(ImageFormat, FollowsFromTheExtension) {
    EXPECT_EQ(image_format_of_name("a.png"), ImageFormat::png);
    EXPECT_EQ(image_format_of_name("a.b/c.EXR"), ImageFormat::exr);
    EXPECT_FALSE(image_format_of_name("a.jpg"));
    EXPECT_FALSE(image_format_of_name("png"));
    EXPECT_FALSE(image_format_of_name(""));
    EXPECT_FALSE(image_format_of_name("a.png.gz"));
}
