#include "host/scene/frame_list.h"

#include <gtest/gtest.h>

namespace vx::scene {

TEST(FrameList, RangesStepsAndLists) {
    std::vector<int> frames;
    EXPECT_EQ(parse_frame_list("1-3", frames), "");
    EXPECT_EQ(frames, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(parse_frame_list("1-9x4,20,5", frames), "");
    EXPECT_EQ(frames, (std::vector<int>{1, 5, 9, 20, 5}));
    EXPECT_EQ(parse_frame_list("-3--1,+7", frames), "");
    EXPECT_EQ(frames, (std::vector<int>{-3, -2, -1, 7}));
    EXPECT_EQ(parse_frame_list("1-1000000", frames), "");
    EXPECT_EQ(frames.size(), 1000000u);
}

TEST(FrameList, MalformedAndEndlessLists) {
    std::vector<int> frames;
    for (const char* const text :
         {"", ",", "1,", "a", "1-", "3-1", "1-2x0", "1-2x", "1x2x3", "1.5", "1000000001"})
        EXPECT_EQ(parse_frame_list(text, frames),
                  std::string("'") + text + "' is not like 1-100, 1-100x2 or 1,5,9");
    EXPECT_EQ(parse_frame_list("1-1000001", frames), "more than a million frames");
}

} // namespace vx::scene
