#include "cache/verbs/session.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

TEST(Frames, RangesStepsAndLists) {
    EXPECT_EQ(Frames::parse("1-3").numbers, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(Frames::parse("1-9x4,20").numbers, (std::vector<int>{1, 5, 9, 20}));
    EXPECT_EQ(Frames::parse("-2--1").numbers, (std::vector<int>{-2, -1}));
    for (const char* bad : {"", "a", "1-", "3-1", "1-3x0", "1,,2", "1-9999999", "99999999999"})
        EXPECT_THROW(Frames::parse(bad), UsageError) << bad;
}

TEST(FrameNames, ArePaddedToTheSigns) {
    EXPECT_EQ(name_of_frame("a.####.pdc", 7), "a.0007.pdc");
    EXPECT_EQ(name_of_frame("a.#.pdc", 12345), "a.12345.pdc");
    EXPECT_TRUE(has_frame_field("a.#"));
    EXPECT_FALSE(has_frame_field("a"));
}

TEST(ExpandFrames, FindsTheFilesThatAreThereInOrder) {
    const TestFolder folder;
    for (const char* name : {"s.0010.pdc", "s.0002.pdc", "s.12.pdc", "s.0003.ply", "t.0001.pdc"})
        folder.put(name, "");
    const auto names = expand_frames(folder.path("s.####.pdc"), "");
    ASSERT_EQ(names.size(), 2U);
    EXPECT_EQ(names[0].name, folder.path("s.0002.pdc"));
    EXPECT_EQ(names[1].frame, 10);
    EXPECT_THROW(expand_frames(folder.path("u.####.pdc"), ""), FileError);
    EXPECT_EQ(expand_frames(folder.path("u.####.pdc"), "5")[0].name, folder.path("u.0005.pdc"));
    EXPECT_EQ(expand_frames("plain", "1-9").size(), 1U);
}

TEST(ParseNumbers, AsManyAsAreAskedFor) {
    EXPECT_EQ(parse_numbers("1,-2.5,3e2", 3, "--a"), (std::vector<double>{1, -2.5, 300}));
    EXPECT_EQ(parse_numbers("1", 0, "--a"), std::vector<double>{1});
    for (const char* bad : {"1,2", "1,2,3,4", "1,2,", "1,2,x", "1 2 3", "1,2,nan"})
        EXPECT_THROW(parse_numbers(bad, 3, "--a"), UsageError) << bad;
}

} // namespace
} // namespace vx::cache
