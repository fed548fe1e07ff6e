#include "cache/verbs/sequence.h"
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

TEST(FrameNames, AllFieldsMeanTheSame) {
    for (const char* field : {"####", "@@@@", "%04d", "$F4"}) {
        const std::string pattern = std::string("dir/a.") + field + ".pdc";
        EXPECT_TRUE(has_frame_field(pattern)) << field;
        EXPECT_EQ(name_of_frame(pattern, 7), "dir/a.0007.pdc") << field;
        EXPECT_EQ(name_of_frame(pattern, 12345), "dir/a.12345.pdc") << field;
        EXPECT_EQ(name_of_frame(pattern, -7), "dir/a.-007.pdc") << field;
    }
    for (const char* field : {"#", "%d", "%01d", "$F", "$F1"}) {
        EXPECT_EQ(name_of_frame(std::string("a") + field, 7), "a7") << field;
        EXPECT_EQ(name_of_frame(std::string("a") + field + "b", 12), "a12b") << field;
    }
    EXPECT_EQ(name_of_frame("a##b###", 7), "a##b007"); // the last one counts
}

TEST(FrameNames, OtherSignsAreNoFields) {
    for (const char* name :
         {"a", "me@home", "100%", "a%", "a%0", "a%04", "a%04x", "a%x", "$a", "$", ""}) {
        EXPECT_FALSE(has_frame_field(name)) << name;
        EXPECT_EQ(name_of_frame(name, 3), name);
    }
}

TEST(ExistingFrames, AreThoseOfTheFilesInOrder) {
    const TestFolder folder;
    for (const char* name : {"s.0010.pdc", "s.0002.pdc", "s.12.pdc", "s.0003.ply", "t.0001.pdc"})
        folder.put(name, "");
    for (const char* field : {"####", "@@@@", "%04d", "$F4"}) {
        EXPECT_EQ(existing_frames(folder.path(std::string("s.") + field + ".pdc")),
                  (std::vector<int>{2, 10}))
            << field;
    }
    EXPECT_TRUE(existing_frames(folder.path("u.####.pdc")).empty());
    EXPECT_THROW(existing_frames("a.####/b.pdc"), UsageError);
}

TEST(MissingFrames, FollowTheStepOfTheSequence) {
    EXPECT_EQ(missing_frames({1, 2, 4, 7}), (std::vector<int>{3, 5, 6}));
    EXPECT_EQ(missing_frames({1, 3, 5}), std::vector<int>{});
    EXPECT_EQ(missing_frames({2, 4, 10}), (std::vector<int>{6, 8}));
    EXPECT_EQ(missing_frames({5}), std::vector<int>{});
    EXPECT_EQ(missing_frames({}), std::vector<int>{});
}

TEST(FrameRanges, JoinNeighbors) {
    EXPECT_EQ(frame_ranges({1, 2, 3, 7, 9, 10}), "1-3, 7, 9-10");
    EXPECT_EQ(frame_ranges({}), "");
}

class Steps : public testing::Test {
  protected:
    Steps() {
        for (const char* name : {"a.1", "a.2", "a.3", "b.1", "b.3"})
            folder.put(name, "");
        session.quiet = true;
    }
    std::vector<int> frames(const std::vector<Step>& steps) {
        std::vector<int> out;
        for (const Step& step : steps)
            out.push_back(step.frame);
        return out;
    }
    TestFolder folder;
    Session session;
    SequenceOptions options;
};

TEST_F(Steps, PairTheFramesOfTwoSequences) {
    const auto steps =
        options.steps(session, {folder.path("a.#"), folder.path("b.#")}, folder.path("c.$F"));
    EXPECT_EQ(frames(steps), (std::vector<int>{1, 3}));
    EXPECT_EQ(steps[1].inputs, (std::vector<std::string>{folder.path("a.3"), folder.path("b.3")}));
    EXPECT_EQ(steps[1].output, folder.path("c.3"));
    EXPECT_TRUE(session.failed); // b.2 is missing
}

TEST_F(Steps, NamesWithoutAFieldBelongToEveryFrame) {
    const auto steps = options.steps(session, {folder.path("a.#"), "x"});
    EXPECT_EQ(frames(steps), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(steps[2].inputs[1], "x");
    EXPECT_FALSE(session.failed);
}

TEST_F(Steps, KeepTheOrderOfFramesThatAreAskedFor) {
    options.frames = "3,1,9";
    EXPECT_EQ(frames(options.steps(session, {folder.path("a.#")})), (std::vector<int>{3, 1}));
    EXPECT_TRUE(session.failed);
}

TEST_F(Steps, OfOneOutputTakeAllFrames) {
    const auto steps = options.steps(session, {"x", folder.path("a.#")}, "out", true);
    ASSERT_EQ(steps.size(), 1U);
    EXPECT_EQ(steps[0].inputs, (std::vector<std::string>{"x", folder.path("a.1"),
                                                         folder.path("a.2"), folder.path("a.3")}));
}

TEST_F(Steps, NeedAFieldInBothNamesOrInNeither) {
    EXPECT_THROW((void)options.steps(session, {folder.path("a.#")}, "out"), UsageError);
    EXPECT_THROW((void)options.steps(session, {"x"}, "out.#"), UsageError);
    EXPECT_THROW((void)options.steps(session, {"x"}, "out.#", true), UsageError);
    EXPECT_THROW((void)options.steps(session, {folder.path("n.#")}), FileError);
}

} // namespace
} // namespace vx::cache
