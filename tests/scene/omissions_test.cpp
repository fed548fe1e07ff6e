#include "host/scene/omissions.h"

#include <gtest/gtest.h>

namespace vx::scene {

TEST(Omissions, LinesAreInTheOrderOfKindsWithSortedNames) {
    Omissions omissions;
    EXPECT_TRUE(omissions.empty());
    EXPECT_TRUE(omissions.lines().empty());
    omissions.add(Omission::shader_warning, "s");
    omissions.add(Omission::texture, "\"b\"");
    omissions.add(Omission::texture, "\"a\"", 3);
    omissions.add(Omission::texture, "\"a\"");
    EXPECT_FALSE(omissions.empty());
    EXPECT_EQ(omissions.lines(),
              (std::vector<std::string>{"unreadable textures: \"a\" (4 times), \"b\"",
                                        "warnings from shaders: s"}));
}

TEST(Omissions, LongListsAndNamesAreCut) {
    Omissions omissions;
    for (int i = 0; i < 9; ++i)
        omissions.add(Omission::geometry, std::string(1, static_cast<char>('a' + i)));
    EXPECT_EQ(omissions.lines().front(),
              "objects without geometry: a, b, c, d, e, f, g, h, and 1 more");
    Omissions one;
    one.add(Omission::geometry, std::string(101, 'x'));
    one.add(Omission::geometry, std::string(100, 'y'));
    EXPECT_EQ(one.lines().front(), "objects without geometry: " + std::string(100, 'x') + "..., " +
                                       std::string(100, 'y'));
}

} // namespace vx::scene
