#include "host/scene/substitution.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

using namespace vx::scene;
using testing::ElementsAre;

namespace {

TEST(Substitution, ReplacesRegistryNamesRecursively) {
    Substitution s;
    s.set_registry("{ROOT}", "/opt/{SITE}");
    s.set_registry("{SITE}", "here");
    EXPECT_EQ(s.substitute("{ROOT}/lib/a.so"), "/opt/here/lib/a.so");
}

TEST(Substitution, UnknownNamesStayAsTheyAre) {
    const Substitution s;
    EXPECT_EQ(s.substitute("a{NOBODY}b"), "a{NOBODY}b");
    EXPECT_EQ(s.substitute("a{b"), "a{b");
    EXPECT_EQ(s.substitute("a}b$"), "a}b$");
}

TEST(Substitution, TheLastValueOfAnEntryWins) {
    Substitution s;
    s.set_registry("{A}", "1");
    s.set_registry("{A}", "2");
    EXPECT_EQ(s.substitute("{A}"), "2");
}

TEST(Substitution, EnvironmentInBothSpellings) {
    ::setenv("VX_SCENE_TEST", "value", 1);
    ::unsetenv("VX_SCENE_NONE");
    const Substitution s;
    EXPECT_EQ(s.substitute("a${VX_SCENE_TEST}b"), "avalueb");
    EXPECT_EQ(s.substitute("a{$VX_SCENE_TEST}b"), "avalueb");
    EXPECT_EQ(s.substitute("a${VX_SCENE_NONE}b"), "ab");
    EXPECT_EQ(s.substitute("${?VX_SCENE_TEST}"), "1");
    EXPECT_EQ(s.substitute("${?VX_SCENE_NONE}"), "");
}

TEST(Substitution, AnEntryThatNamesItselfEnds) {
    Substitution s;
    s.set_registry("{A}", "x{A}");
    const std::string result = s.substitute("{A}");
    EXPECT_TRUE(result.starts_with("xxxx"));
    EXPECT_TRUE(result.ends_with("{A}"));
}

TEST(Substitution, EntriesThatDoubleEachOtherEndWithoutFillingMemory) {
    Substitution s;
    for (int i = 0; i < 40; ++i) {
        const std::string next = "{A" + std::to_string(i + 1) + "}";
        s.set_registry("{A" + std::to_string(i) + "}", next + next);
    }
    s.set_registry("{A40}", "");
    EXPECT_LT(s.substitute("{A0}").size(), 1000000u);
    s.set_registry("{A40}", std::string(1000, 'x'));
    EXPECT_LT(s.substitute("{A0}").size(), 1000000u);
}

TEST(PathRules, BuiltInOnesMakeUnixNames) {
    ::unsetenv("MI_RAY_SUBSTITUTE");
    const Substitution s;
    EXPECT_EQ(s.path("base.dll"), "base.so");
    EXPECT_EQ(s.path("base.obj"), "base.o");
    EXPECT_EQ(s.path("base.lib"), "base.a");
    EXPECT_EQ(s.path("C:\\shaders\\my.dll"), "/shaders/my.so");
    EXPECT_EQ(s.path("a.dll.txt"), "a.dll.txt");
    EXPECT_EQ(s.path("xdll"), "xdll");
}

TEST(PathRules, TheEnvironmentReplacesTheBuiltInOnes) {
    ::setenv("MI_RAY_SUBSTITUTE", "/^\\/old/ :^old:new:", 1);
    EXPECT_EQ(Substitution{}.path("old/a.dll"), "new/a.dll");
    ::unsetenv("MI_RAY_SUBSTITUTE");
}

TEST(PathRules, SpecialCharactersOfSearchTexts) {
    EXPECT_EQ(apply_path_rules("/a/b/", "banana"), "bbnbnb");
    EXPECT_EQ(apply_path_rules("/^b/x/", "bb"), "xb");
    EXPECT_EQ(apply_path_rules("/`b/x/", "bb"), "xb");
    EXPECT_EQ(apply_path_rules("/b$/x/", "bb"), "bx");
    EXPECT_EQ(apply_path_rules("/a?c/x/", "abcadc"), "xx");
    EXPECT_EQ(apply_path_rules("/[0-9]/#/", "a1b22"), "a#b##");
    EXPECT_EQ(apply_path_rules(":^/mnt/x:/y:", "/mnt/x/mnt/x"), "/y/mnt/x");
    EXPECT_EQ(apply_path_rules("/a/b/ /b/c/", "a"), "c");
    EXPECT_EQ(apply_path_rules("/^/pre-/", "x"), "pre-x");
    EXPECT_EQ(apply_path_rules("/$/.so/", "x"), "x.so");
}

TEST(PathRules, AListThatDoesNotParseIsAppliedAsFarAsItDoes) {
    EXPECT_EQ(apply_path_rules("/a/b/ /c/d", "ac"), "bc");
    EXPECT_EQ(apply_path_rules("", "ac"), "ac");
    EXPECT_EQ(apply_path_rules("/", "ac"), "ac");
    EXPECT_EQ(apply_path_rules("///", "ac"), "ac");
}

TEST(PathList, SplitsAtColonsAndSemicolons) {
    EXPECT_THAT(split_path_list("a:b;;c:"), ElementsAre("a", "b", "c"));
    EXPECT_TRUE(split_path_list("").empty());
}

TEST(Variables, SetAndClear) {
    Substitution s;
    EXPECT_EQ(s.variable("a"), "");
    s.set_variable("a", "t");
    EXPECT_EQ(s.variable("a"), "t");
    s.set_variable("a", std::nullopt);
    EXPECT_EQ(s.variable("a"), "");
}

} // namespace
