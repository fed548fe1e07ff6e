// File names of frames from string parameters.
#include "src/names/frame_names.h"

#include "tests/renderer_stub/renderer_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::Renderer;

// ---- MakeFrameFileName ----

TEST(MakeFrameFileName, LeadingZerosKeepTheWidth) {
    EXPECT_EQ(MakeFrameFileName("shot.0001.pdc", "pdc", 12), "shot.0012.pdc");
}

TEST(MakeFrameFileName, LongerNumberIsWrittenInFull) {
    EXPECT_EQ(MakeFrameFileName("shot.0001.pdc", "pdc", 12345), "shot.12345.pdc");
}

TEST(MakeFrameFileName, OneDigitIsNotPadded) {
    EXPECT_EQ(MakeFrameFileName("shot.1.pdc", "pdc", 12), "shot.12.pdc");
}

TEST(MakeFrameFileName, TrailingZerosAreNoPadding) {
    EXPECT_EQ(MakeFrameFileName("shot.1200.pdc", "pdc", 7), "shot.7.pdc");
}

TEST(MakeFrameFileName, UnderscoreAndMapType) {
    EXPECT_EQ(MakeFrameFileName("shot_001.mrmap", "mrmap", 7), "shot_007.mrmap");
}

TEST(MakeFrameFileName, NumberAtTheEndOfTheStem) {
    EXPECT_EQ(MakeFrameFileName("shot001.pdc", "pdc", 1234), "shot1234.pdc");
}

TEST(MakeFrameFileName, OnlyTheLastFiveDigitsAreTheFrame) {
    EXPECT_EQ(MakeFrameFileName("take1234567.pdc", "pdc", 8), "take128.pdc");
}

TEST(MakeFrameFileName, DirectoryStays) {
    EXPECT_EQ(MakeFrameFileName("/cache/old.0100.pdc", "pdc", 3), "/cache/old.0003.pdc");
}

TEST(MakeFrameFileName, NoFrameFieldIsEmpty) {
    EXPECT_EQ(MakeFrameFileName("shot.pdc", "pdc", 3), "");
}

TEST(MakeFrameFileName, OtherExtensionIsEmpty) {
    EXPECT_EQ(MakeFrameFileName("shot.0001.map", "mrmap", 3), "");
}

TEST(MakeFrameFileName, ExtensionOfOtherCaseIsEmpty) {
    EXPECT_EQ(MakeFrameFileName("shot.0001.PDC", "pdc", 3), "");
}

TEST(MakeFrameFileName, EmptyNameIsEmpty) {
    EXPECT_EQ(MakeFrameFileName("", "pdc", 3), "");
    EXPECT_EQ(MakeFrameFileName("", "", 3), "");
}

TEST(MakeFrameFileName, NumberBehindTheTypeIsRefusedByTheExtensionTest) {
    EXPECT_EQ(MakeFrameFileName("shot.pdc.0001", "pdc", 3), "");
}

TEST(MakeFrameFileName, LeadingZerosKeepTheirWidthForEveryFrame) {
    EXPECT_EQ(MakeFrameFileName("a.0001.pdc", "pdc", 0), "a.0000.pdc");
    EXPECT_EQ(MakeFrameFileName("a.0001.pdc", "pdc", 1000), "a.1000.pdc");
}

TEST(MakeFrameFileName, NoLeadingZerosGiveUnpaddedNumbers) {
    EXPECT_EQ(MakeFrameFileName("a.1000.pdc", "pdc", 5), "a.5.pdc");
}

TEST(MakeFrameFileName, FrameZero) {
    EXPECT_EQ(MakeFrameFileName("a.1.pdc", "pdc", 0), "a.0.pdc");
}

TEST(MakeFrameFileName, NegativeFrame) {
    EXPECT_EQ(MakeFrameFileName("a.001.pdc", "pdc", -4), "a.0-4.pdc");
}

// ---- GetTagString ----

TEST(GetTagString, ReleasesTheElementBeforeItSubstitutes) {
    Renderer renderer;
    const miTag tag = renderer.add_string("shot.0001.pdc");
    EXPECT_EQ(GetTagString(tag), "shot.0001.pdc");
    EXPECT_THAT(renderer.calls(), ElementsAre("db_access(1)", "db_unpin(1)",
                                              "string_substitute(shot.0001.pdc, 1000)"));
    EXPECT_THAT(renderer.left_over(), IsEmpty());
}

TEST(GetTagString, AppliesSubstitutions) {
    Renderer renderer;
    renderer.substitutions["{CACHE}"] = "/fast/disk";
    EXPECT_EQ(GetTagString(renderer.add_string("{CACHE}/a.{N}.pdc")), "/fast/disk/a.{N}.pdc");
}

TEST(GetTagString, EmptyStringStaysEmpty) {
    Renderer renderer;
    EXPECT_EQ(GetTagString(renderer.add_string("")), "");
}

TEST(GetTagString, LongTextIsCutToTheBuffer) {
    Renderer renderer;
    EXPECT_EQ(GetTagString(renderer.add_string(std::string(5000, 'x'))), std::string(999, 'x'));
    EXPECT_EQ(GetTagString(renderer.add_string(std::string(999, 'y'))), std::string(999, 'y'));
}

TEST(GetTagString, LongSubstitutionIsCutToTheBuffer) {
    Renderer renderer;
    renderer.substitutions["{X}"] = std::string(2000, 'x');
    EXPECT_EQ(GetTagString(renderer.add_string("a{X}")), "a" + std::string(998, 'x'));
}

TEST(GetTagString, ResultOfTheSubstitutionIsNotUsed) {
    Renderer renderer;
    const miTag tag = renderer.add_string("a.{N}.pdc");
    for (const int result : {-1, 0, 1, 3, 7, 1000, 1001, INT_MIN, INT_MAX}) {
        renderer.on_substitute = [result](char* buffer, const char* text, int capacity) {
            EXPECT_STREQ(text, "a.{N}.pdc");
            EXPECT_EQ(capacity, 1000);
            std::memcpy(buffer, "a.0001.pdc", 11);
            return result;
        };
        EXPECT_EQ(GetTagString(tag), "a.0001.pdc") << result;
    }
}

TEST(GetTagString, TextAfterTheFirstZeroIsIgnored) {
    Renderer renderer;
    const miTag tag = renderer.add_string("abc");
    renderer.on_substitute = [](char* buffer, const char* /*text*/, int capacity) {
        std::memset(buffer, 'x', static_cast<size_t>(capacity));
        buffer[3] = '\0';
        return capacity;
    };
    EXPECT_EQ(GetTagString(tag), "xxx");
}

TEST(GetTagString, BufferWithoutATerminatorIsTakenWhole) {
    Renderer renderer;
    const miTag tag = renderer.add_string("abc");
    renderer.on_substitute = [](char* buffer, const char* /*text*/, int capacity) {
        std::memset(buffer, 'x', static_cast<size_t>(capacity));
        return capacity;
    };
    EXPECT_EQ(GetTagString(tag), std::string(1000, 'x'));
}

TEST(GetTagString, BufferThatIsNotWrittenIsEmpty) {
    Renderer renderer;
    const miTag tag = renderer.add_string("abc");
    renderer.on_substitute = [](char* /*buffer*/, const char* /*text*/, int /*capacity*/) {
        return 3;
    };
    EXPECT_EQ(GetTagString(tag), "");
}

} // namespace
