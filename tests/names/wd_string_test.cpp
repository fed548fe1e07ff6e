// Parts of strings, extensions, and the analysis of file names.
#include "src/names/wd_string.h"

#include <gtest/gtest.h>

#include <ostream>
#include <type_traits>

namespace {

struct Fields {
    int layout;
    std::string base;
    int digits;
    int zeros;
    int padding;
    bool operator==(const Fields&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Fields& f) {
    return out << "layout " << f.layout << " base '" << f.base << "' digits " << f.digits
               << " zeros " << f.zeros << " padding " << f.padding;
}

Fields fields(const CWdFilename& name) {
    return {name.m_nFrameType, name.m_sBase, name.m_nDigits, name.m_nZeros, name.m_nPadding};
}

const Fields kUntouched = {-1, "", 0, 0, 1};

Fields analyzed(const char* name, const char* type) {
    CWdFilename file{CWdString(name)};
    const bool found = file.SetType(type);
    EXPECT_EQ(found, file.m_nFrameType != -1) << name;
    return fields(file);
}

// ---- CWdString ----

TEST(WdString, IsAStandardString) {
    EXPECT_TRUE((std::is_base_of_v<std::string, CWdString>));
    EXPECT_EQ(sizeof(CWdString), sizeof(std::string));
    const CWdString text("abc");
    EXPECT_EQ(text + "d", "abcd");
    EXPECT_EQ(text.size(), 3u);
}

TEST(WdString, RTrimCutsAtTheLastOccurrence) {
    EXPECT_EQ(CWdString("a.b.c").RTrim('.'), "a.b");
}

TEST(WdString, RTrimWithoutOccurrenceIsEmptyNotTheWhole) {
    EXPECT_EQ(CWdString("abc").RTrim('.'), "");
    EXPECT_EQ(CWdString("").RTrim('.'), "");
}

TEST(WdString, RTrimOfATrailingDotLeavesTheRest) {
    EXPECT_EQ(CWdString("shot.").RTrim('.'), "shot");
}

TEST(WdString, RTrimLeavesTheObjectAlone) {
    const CWdString name("a.b");
    (void)name.RTrim('.');
    (void)name.RTrim('.', '.');
    EXPECT_EQ(name, "a.b");
}

TEST(WdString, RTrimBetweenTheLastTwoDots) {
    EXPECT_EQ(CWdString("shot.0012.pdc").RTrim('.', '.'), "0012");
}

TEST(WdString, RTrimBetweenUnderscoreAndDot) {
    EXPECT_EQ(CWdString("shot_0012.pdc").RTrim('_', '.'), "0012");
}

TEST(WdString, RTrimBetweenAdjacentDotsIsEmpty) {
    EXPECT_EQ(CWdString("shot..pdc").RTrim('.', '.'), "");
}

TEST(WdString, RTrimBetweenWithoutTheFirstIsEmpty) {
    EXPECT_EQ(CWdString("shot.pdc").RTrim('_', '.'), "");
}

TEST(WdString, RTrimBetweenWithoutTheLastIsEmpty) {
    EXPECT_EQ(CWdString("shot_pdc").RTrim('_', '.'), "");
    EXPECT_EQ(CWdString("").RTrim('_', '.'), "");
}

TEST(WdString, RTrimBetweenWithTheLastAtTheStartIsEmptyWhereverTheFirstIs) {
    EXPECT_EQ(CWdString(".a_b").RTrim('_', '.'), "");
    EXPECT_EQ(CWdString(".").RTrim('.', '.'), "");
}

TEST(WdString, RTrimBetweenTheFirstCharacterAndNothingBeforeItIsEmpty) {
    EXPECT_EQ(CWdString(".abc").RTrim('.', '.'), "");
}

TEST(WdString, RTrimBetweenTakesAFirstThatTouchesTheLast) {
    EXPECT_EQ(CWdString("x_a_.b").RTrim('_', '.'), "");
    EXPECT_EQ(CWdString("shot.1..pdc").RTrim('.', '.'), "");
}

TEST(WdString, RTrimBetweenTakesTheNearestFirstBeforeTheLast) {
    EXPECT_EQ(CWdString("a_b_c.d_e").RTrim('_', '.'), "c");
}

// ---- the extension ----

TEST(WdFilename, ExtensionFollowsTheLastDot) {
    EXPECT_EQ(CWdFilename(CWdString("shot.0012.pdc")).GetExtension(), "pdc");
}

TEST(WdFilename, ExtensionOfANameWithoutDotIsEmpty) {
    EXPECT_EQ(CWdFilename(CWdString("pdc")).GetExtension(), "");
}

TEST(WdFilename, ExtensionOfANameThatEndsInADotIsEmpty) {
    EXPECT_EQ(CWdFilename(CWdString("shot.")).GetExtension(), "");
}

TEST(WdFilename, ExtensionDoesNotStopAtDirectories) {
    EXPECT_EQ(CWdFilename(CWdString("dir.old/shot")).GetExtension(), "old/shot");
}

// ---- the analysis ----

TEST(WdFilename, AFreshNameHasInitialFields) {
    const CWdFilename name(CWdString("/dir/shot.0012.pdc"));
    EXPECT_EQ(fields(name), kUntouched);
    EXPECT_EQ(name, "/dir/shot.0012.pdc");
}

TEST(WdFilename, Layout0NumberBetweenDots) {
    EXPECT_EQ(analyzed("shot.0012.pdc", "pdc"), (Fields{0, "shot", 4, 2, 4}));
}

TEST(WdFilename, Layout1NumberBehindTheType) {
    EXPECT_EQ(analyzed("shot.pdc.0012", "pdc"), (Fields{1, "shot", 4, 2, 4}));
}

TEST(WdFilename, Layout2NumberAtTheEndOfTheStem) {
    EXPECT_EQ(analyzed("shot0012.pdc", "pdc"), (Fields{2, "shot", 4, 2, 4}));
}

TEST(WdFilename, Layout3NumberBehindAnUnderscore) {
    EXPECT_EQ(analyzed("shot_0012.pdc", "pdc"), (Fields{3, "shot", 4, 2, 4}));
}

TEST(WdFilename, Layout0KeepsDotsOfTheBase) {
    EXPECT_EQ(analyzed("a.b.0012.pdc", "pdc"), (Fields{0, "a.b", 4, 2, 4}));
}

TEST(WdFilename, NumberWithoutLeadingZerosKeepsPaddingAt1) {
    EXPECT_EQ(analyzed("shot.1200.pdc", "pdc"), (Fields{0, "shot", 4, 0, 1}));
    EXPECT_EQ(analyzed("shot.pdc.1200", "pdc"), (Fields{1, "shot", 4, 0, 1}));
    EXPECT_EQ(analyzed("shot1200.pdc", "pdc"), (Fields{2, "shot", 4, 0, 1}));
    EXPECT_EQ(analyzed("shot_1200.pdc", "pdc"), (Fields{3, "shot", 4, 0, 1}));
}

TEST(WdFilename, NumberOfZerosOnlyCountsThemAll) {
    EXPECT_EQ(analyzed("shot.0000.pdc", "pdc"), (Fields{0, "shot", 4, 4, 4}));
}

TEST(WdFilename, WordThatEndsInADigitIsLayout2) {
    EXPECT_EQ(analyzed("shot.take2.pdc", "pdc"), (Fields{2, "shot.take", 1, 0, 1}));
}

TEST(WdFilename, NoNumberIsFalse) {
    EXPECT_EQ(analyzed("shot.pdc", "pdc"), kUntouched);
}

TEST(WdFilename, UnderscoreWithoutNumberIsFalse) {
    EXPECT_EQ(analyzed("shot_.pdc", "pdc"), kUntouched);
}

TEST(WdFilename, Layout1OfAnotherTypeIsFalse) {
    EXPECT_EQ(analyzed("shot.pdc.0012", "mrmap"), kUntouched);
}

TEST(WdFilename, Layout1WithAnEmptyNumber) {
    EXPECT_EQ(analyzed("shot.pdc.", "pdc"), (Fields{1, "shot", 0, 0, 1}));
}

TEST(WdFilename, ExtensionComparisonIsExact) {
    EXPECT_EQ(analyzed("shot.0012.PDC", "pdc"), kUntouched);
    EXPECT_EQ(analyzed("shot.0012.pdcx", "pdc"), kUntouched);
    EXPECT_EQ(analyzed("shot.0012.pd", "pdc"), kUntouched);
}

TEST(WdFilename, DotOfADirectoryCountsButItsFieldIsNotANumber) {
    EXPECT_EQ(analyzed("./shot.pdc", "pdc"), kUntouched);
}

TEST(WdFilename, TypeAloneIsFalse) {
    EXPECT_EQ(analyzed("pdc", "pdc"), kUntouched);
    EXPECT_EQ(analyzed("", "pdc"), kUntouched);
}

TEST(WdFilename, Layout2TakesAtMostFiveDigits) {
    EXPECT_EQ(analyzed("take1234567.pdc", "pdc"), (Fields{2, "take12", 5, 0, 1}));
    EXPECT_EQ(analyzed("take12345.pdc", "pdc"), (Fields{2, "take", 5, 0, 1}));
    EXPECT_EQ(analyzed("take1200045.pdc", "pdc"), (Fields{2, "take12", 5, 3, 5}));
}

TEST(WdFilename, OtherLayoutsTakeAnyNumberOfDigits) {
    EXPECT_EQ(analyzed("shot.0123456.pdc", "pdc"), (Fields{0, "shot", 7, 1, 7}));
    EXPECT_EQ(analyzed("shot_0123456.pdc", "pdc"), (Fields{3, "shot", 7, 1, 7}));
}

TEST(WdFilename, Layout2OfDigitsOnlyHasAnEmptyBase) {
    EXPECT_EQ(analyzed("0012.pdc", "pdc"), (Fields{2, "", 4, 2, 4}));
}

TEST(WdFilename, EmptyStemIsFalse) {
    EXPECT_EQ(analyzed(".pdc", "pdc"), kUntouched);
}

TEST(WdFilename, Layout0WinsOverLayout3) {
    EXPECT_EQ(analyzed("shot_01.0012.pdc", "pdc"), (Fields{0, "shot_01", 4, 2, 4}));
}

TEST(WdFilename, Layout3WinsOverLayout2) {
    EXPECT_EQ(analyzed("shot_0012.pdc", "pdc"), (Fields{3, "shot", 4, 2, 4}));
}

TEST(WdFilename, Layout3WithAnEmptyBase) {
    EXPECT_EQ(analyzed("_0012.pdc", "pdc"), (Fields{3, "", 4, 2, 4}));
}

TEST(WdFilename, Layout3AlsoWithSeveralDots) {
    EXPECT_EQ(analyzed("shot.v_07.pdc", "pdc"), (Fields{3, "shot.v", 2, 1, 2}));
}

TEST(WdFilename, DigitsAre0To9) {
    EXPECT_EQ(analyzed("a.09.pdc", "pdc"), (Fields{0, "a", 2, 1, 2}));
    EXPECT_EQ(analyzed("a.90.pdc", "pdc"), (Fields{0, "a", 2, 0, 1}));
    EXPECT_EQ(analyzed("a./.pdc", "pdc"), kUntouched); // the character before 0
    EXPECT_EQ(analyzed("a.:.pdc", "pdc"), kUntouched); // the character after 9
    EXPECT_EQ(analyzed("a.1b2.pdc", "pdc"), (Fields{2, "a.1b", 1, 0, 1}));
    EXPECT_EQ(analyzed("a_1b2.pdc", "pdc"), (Fields{2, "a_1b", 1, 0, 1}));
    EXPECT_EQ(analyzed("a.pdc.1b2", "pdc"), kUntouched);
}

TEST(WdFilename, SignsAndBlanksAreNoDigits) {
    EXPECT_EQ(analyzed("shot.-012.pdc", "pdc"), (Fields{2, "shot.-", 3, 1, 3}));
    EXPECT_EQ(analyzed("shot. 12.pdc", "pdc"), (Fields{2, "shot. ", 2, 0, 1}));
    EXPECT_EQ(analyzed("shot.pdc.+1", "pdc"), kUntouched);
}

TEST(WdFilename, NumberBehindAForeignExtensionIsFalse) {
    EXPECT_EQ(analyzed("shot.0012.map", "pdc"), kUntouched);
    EXPECT_EQ(analyzed("shot..0012", "pdc"), kUntouched);
    EXPECT_EQ(analyzed("shot.0012", "pdc"), kUntouched);
}

TEST(WdFilename, Layout1WithAnEmptyBase) {
    EXPECT_EQ(analyzed(".pdc.7", "pdc"), (Fields{1, "", 1, 0, 1}));
}

TEST(WdFilename, EmptyTypeMatchesOnlyAnEmptyExtension) {
    EXPECT_EQ(analyzed("shot", ""), kUntouched);
    EXPECT_EQ(analyzed("shot.12.", ""), (Fields{0, "shot", 2, 0, 1}));
    EXPECT_EQ(analyzed("shot..12", ""), kUntouched); // the type between the dots must not be empty
}

TEST(WdFilename, FailedAnalysisKeepsEarlierResults) {
    CWdFilename name(CWdString("shot.0012.pdc"));
    ASSERT_TRUE(name.SetType("pdc"));
    EXPECT_FALSE(name.SetType("mrmap"));
    EXPECT_EQ(fields(name), (Fields{0, "shot", 4, 2, 4}));
}

TEST(WdFilename, PaddingOfAnEarlierAnalysisStaysWithoutLeadingZeros) {
    CWdFilename name(CWdString("shot.1200.pdc"));
    name.m_nPadding = 6;
    ASSERT_TRUE(name.SetType("pdc"));
    EXPECT_EQ(name.m_nPadding, 6);
}

// ---- the name for another frame ----

CWdString made_up(const char* name, const char* type, int padding, int frame) {
    CWdFilename file{CWdString(name)};
    file.SetType(type);
    return file.MakeUpFrame(type, padding, frame);
}

TEST(MakeUpFrame, WritesEachLayout) {
    EXPECT_EQ(made_up("shot.0012.pdc", "pdc", 1, 7), "shot.0007.pdc");
    EXPECT_EQ(made_up("shot.pdc.0012", "pdc", 1, 7), "shot.pdc.0007");
    EXPECT_EQ(made_up("shot0012.pdc", "pdc", 1, 7), "shot0007.pdc");
    EXPECT_EQ(made_up("shot_0012.pdc", "pdc", 1, 7), "shot_0007.pdc");
}

TEST(MakeUpFrame, WithoutAnalysisIsEmpty) {
    EXPECT_EQ(CWdFilename(CWdString("shot.0012.pdc")).MakeUpFrame("pdc", 4, 7), "");
}

TEST(MakeUpFrame, AfterAFailedAnalysisIsEmpty) {
    EXPECT_EQ(made_up("shot.pdc", "pdc", 4, 7), "");
}

TEST(MakeUpFrame, ArgumentPadsANumberWithoutLeadingZeros) {
    EXPECT_EQ(made_up("shot.1200.pdc", "pdc", 6, 7), "shot.000007.pdc");
    EXPECT_EQ(made_up("shot.1200.pdc", "pdc", 0, 7), "shot.7.pdc");
    EXPECT_EQ(made_up("shot.1200.pdc", "pdc", -5, 7), "shot.7.pdc");
}

TEST(MakeUpFrame, LeadingZerosOverruleTheArgument) {
    EXPECT_EQ(made_up("shot.0012.pdc", "pdc", 8, 7), "shot.0007.pdc");
}

TEST(MakeUpFrame, NumberIsNeverCut) {
    EXPECT_EQ(made_up("shot.01.pdc", "pdc", 1, 123456), "shot.123456.pdc");
}

TEST(MakeUpFrame, ZerosStandBeforeTheMinusSign) {
    EXPECT_EQ(made_up("shot.0001.pdc", "pdc", 1, -5), "shot.00-5.pdc");
    EXPECT_EQ(made_up("a.001.pdc", "pdc", 1, -4), "a.0-4.pdc");
}

TEST(MakeUpFrame, ExtensionOfTheResultIsAlwaysTheArgument) {
    CWdFilename file{CWdString("shot.0012.pdc")};
    ASSERT_TRUE(file.SetType("pdc"));
    EXPECT_EQ(file.MakeUpFrame("mrmap", 1, 7), "shot.0007.mrmap");
}

TEST(MakeUpFrame, LeavesTheObjectAlone) {
    CWdFilename file{CWdString("shot.0012.pdc")};
    ASSERT_TRUE(file.SetType("pdc"));
    (void)file.MakeUpFrame("mrmap", 9, 7);
    EXPECT_EQ(file, "shot.0012.pdc");
    EXPECT_EQ(fields(file), (Fields{0, "shot", 4, 2, 4}));
}

TEST(MakeUpFrame, LeastAndGreatestFrames) {
    EXPECT_EQ(made_up("a.1.pdc", "pdc", 1, 2147483647), "a.2147483647.pdc");
    EXPECT_EQ(made_up("a.1.pdc", "pdc", 1, -2147483647 - 1), "a.-2147483648.pdc");
}

TEST(MakeUpFrame, EmptyNumberOfLayout1) {
    EXPECT_EQ(made_up("shot.pdc.", "pdc", 1, 7), "shot.pdc.7");
}

} // namespace
