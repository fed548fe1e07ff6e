// Tests of directives, the lines that begin with a dollar sign.
#include "tests/scene/folder.h"
#include "tests/scene/recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

using namespace vx::scene;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

std::vector<std::string> echoes(const std::string& text) {
    return read(text).scene.echoes;
}

Reading read_file(const std::string& path, ReaderSettings settings = {}) {
    Reading reading;
    Diagnostics diagnostics([&](const Diagnostic& d) { reading.messages.push_back(format(d)); });
    Substitution substitution;
    Reader reader(reading.scene, diagnostics, substitution, std::move(settings));
    reading.good = reader.read_file(path);
    reading.errors = diagnostics.errors();
    return reading;
}

TEST(Conditions, DefinedMeansNotEmpty) {
    EXPECT_THAT(echoes("set \"a\" \"t\"\nset \"b\"\n$ifdef \"a\"\necho \"1\"\n$endif\n"
                       "$ifndef \"a\"\necho \"2\"\n$endif\n$ifdef \"b\"\necho \"3\"\n$endif\n"
                       "$ifndef \"c\"\necho \"4\"\n$endif\n"),
                ElementsAre("1", "4"));
}

TEST(Conditions, CompareWithConstants) {
    EXPECT_THAT(echoes("set \"a\" \"x\"\n$ifeq \"a\" \"x\"\necho \"1\"\n$endif\n"
                       "$ifneq \"a\" \"x\"\necho \"2\"\n$endif\n$ifneq \"a\" \"a\"\necho "
                       "\"3\"\n$endif\n"),
                ElementsAre("1", "3"));
}

TEST(Conditions, ElseAndJoinedElseNeedOneEndif) {
    const std::string text = "$ifeq \"k\" \"1\"\necho \"one\"\n$elseifeq \"k\" \"2\"\necho "
                             "\"two\"\n$elseifdef \"k\"\necho \"any\"\n$else\necho "
                             "\"none\"\n$endif\necho \"end\"\n";
    EXPECT_THAT(echoes("set \"k\" \"1\"\n" + text), ElementsAre("one", "end"));
    EXPECT_THAT(echoes("set \"k\" \"2\"\n" + text), ElementsAre("two", "end"));
    EXPECT_THAT(echoes("set \"k\" \"3\"\n" + text), ElementsAre("any", "end"));
    EXPECT_THAT(echoes(text), ElementsAre("none", "end"));
}

TEST(Conditions, NestedOnesAreCountedInInactiveBranches) {
    EXPECT_THAT(echoes("$ifdef \"no\"\n$ifdef \"x\"\n$else\necho \"a\"\n$endif\n$else\n$ifndef "
                       "\"no\"\necho \"b\"\n$endif\n$endif\n"),
                ElementsAre("b"));
}

TEST(Conditions, NothingIsParsedInAnInactiveBranch) {
    EXPECT_THAT(echoes("$ifdef \"no\"\n ??? \"unclosed\n$endif\necho \"a\""), ElementsAre("a"));
}

TEST(Conditions, KeysMayBeRegistryNamesAndEnvironmentReferences) {
    ::setenv("VX_SCENE_TEST", "v", 1);
    ::unsetenv("VX_SCENE_NONE");
    EXPECT_THAT(echoes("registry \"{R}\" value \"x\" end registry\n"
                       "$ifdef \"{R}\"\necho \"1\"\n$endif\n$ifdef \"{Q}\"\necho \"2\"\n$endif\n"
                       "$ifeq \"${VX_SCENE_TEST}\" \"v\"\necho \"3\"\n$endif\n"
                       "$ifdef \"${VX_SCENE_NONE}\"\necho \"4\"\n$endif\n"
                       "$ifdef \"${?VX_SCENE_TEST}\"\necho \"5\"\n$endif\n"
                       "$ifeq \"{R}\" \"{R}\"\necho \"6\"\n$endif\n"),
                ElementsAre("1", "3", "5", "6"));
}

// The parser reads the token after the variable name to check for a value.
TEST(Conditions, SeeVariablesOfTheLineBefore) {
    EXPECT_THAT(echoes("set \"a\" \"x\"\nset \"a\"\n$ifdef \"a\"\necho \"1\"\n$else\necho "
                       "\"2\"\n$endif\n"),
                ElementsAre("2"));
}

TEST(Conditions, ErrorsNameThePlace) {
    EXPECT_EQ(read("echo \"a\"\n$endif\n").message(), "error: test.mi:2:1: $endif without $if");
    EXPECT_EQ(read("$else\n").message(), "error: test.mi:1:1: $else without $if");
    EXPECT_EQ(read("\n$ifdef \"a\"\n").message(), "error: test.mi:2:1: $if without $endif");
    EXPECT_EQ(read("$ifndef \"a\"\n$else\n$else\n$endif\n").message(),
              "error: test.mi:3:1: $else after $else");
    EXPECT_EQ(read("$ifdef a\n$endif\n").message(),
              "error: test.mi:1:1: expected a quoted key after $ifdef");
    EXPECT_EQ(read("$ifeq \"a\"\n$endif\n").message(),
              "error: test.mi:1:1: expected a quoted key and a quoted constant after $ifeq");
    EXPECT_EQ(read("$nonsense\n").message(), "error: test.mi:1:1: unknown directive '$nonsense'");
}

TEST(Conditions, CodeIsRefusedAndSkipped) {
    const Reading r = read("$code\nint x; ???\n$end code\necho \"a\"\n");
    EXPECT_EQ(r.message(),
              "error: test.mi:1:1: $code is not supported; link a shared library instead");
    EXPECT_THAT(r.scene.echoes, ElementsAre("a"));
}

TEST(Include, PastesAFileAndNestsAndNamesTheChain) {
    const Folder folder;
    folder.write("c.mi", "echo \"c\"\nnonsense\n");
    folder.write("b.mi", "echo \"b1\"\n$include \"c.mi\"\necho \"b2\"\n");
    const auto a = folder.write("a.mi", "$include \"b.mi\"\necho \"a\"\n");
    const Reading r = read_file(a);
    EXPECT_THAT(r.scene.echoes, ElementsAre("b1", "c", "b2", "a"));
    EXPECT_EQ(r.message(), folder.path("c.mi") +
                               ":2:1: expected a statement, found 'nonsense' (included from " +
                               folder.path("b.mi") + ":2:1, " + a + ":1:1)");
}

TEST(Include, MayStandInsideABlock) {
    const Folder folder;
    folder.write("o.mi", "samples 1 2\n");
    const Reading r =
        read_file(folder.write("a.mi", "options \"o\"\n$include \"o.mi\"\njitter 1\nend options"));
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_EQ(r.scene.options.at("o").max_samples, 2);
    EXPECT_EQ(r.scene.options.at("o").jitter, 1);
}

TEST(Include, AngleBracketsTakeTheIncludePathFirst) {
    const Folder folder;
    folder.write("x.mi", "echo \"beside\"\n");
    folder.write("inc/x.mi", "echo \"path\"\n");
    ReaderSettings settings;
    settings.include_directories = {folder.path("inc")};
    const auto angle = folder.write("a.mi", "$include <x.mi>\n");
    const auto quote = folder.write("b.mi", "$include \"x.mi\"\n");
    EXPECT_THAT(read_file(angle, settings).scene.echoes, ElementsAre("path"));
    EXPECT_THAT(read_file(quote, settings).scene.echoes, ElementsAre("beside"));
}

TEST(Include, PathComesFromSettingsThenEnvironmentThenBuiltIn) {
    const Folder folder;
    folder.write("env/x.mi", "echo \"env\"\n");
    folder.write("built/x.mi", "echo \"built\"\n");
    folder.write("built/y.mi", "echo \"built y\"\n");
    ::setenv("MI_RAY_INCPATH", (folder.path("none") + ":" + folder.path("env")).c_str(), 1);
    ReaderSettings settings;
    settings.built_in_includes = {folder.path("built")};
    const auto a = folder.write("a.mi", "$include <x.mi>\n$include <y.mi>\n");
    EXPECT_THAT(read_file(a, settings).scene.echoes, ElementsAre("env", "built y"));
    ::unsetenv("MI_RAY_INCPATH");
}

TEST(Include, NamesAreSubstituted) {
    const Folder folder;
    folder.write("inc/x.mi", "echo \"x\"\n");
    const auto a = folder.write("a.mi", "registry \"{I}\" value \"" + folder.path("inc") +
                                            "\" end registry\n$include \"{I}/x.mi\"\n");
    EXPECT_THAT(read_file(a).scene.echoes, ElementsAre("x"));
}

TEST(Include, AFileIncludedTwiceUnderItsGuardDeclaresOnce) {
    const Folder folder;
    folder.write("d.mi", "declare shader color \"f\" (scalar \"x\") version 1 end declare\n");
    const std::string guarded = "$ifndef \"d.mi\"\n$include \"d.mi\"\nset \"d.mi\" \"t\"\n$endif\n";
    const Reading r = read_file(folder.write("a.mi", guarded + guarded));
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_THAT(r.scene.events, ElementsAre("declare f"));
}

TEST(Include, AMissingFileIsNamed) {
    EXPECT_EQ(read("$include \"a/none.mi\"\n").message(),
              "error: test.mi:1:1: cannot find include file 'a/none.mi'");
    EXPECT_EQ(read("$include none\n").message(),
              "error: test.mi:1:1: expected \"file\" or <file> after $include");
}

TEST(Include, AMissingFileThatMayDeclareALibraryIsAWarning) {
    const Reading r = read("$include \"paint.mi\"\n$include <a/paint.mi>\nverbose 3\n");
    EXPECT_TRUE(r.good);
    EXPECT_THAT(r.messages,
                ElementsAre("warning: test.mi:1:1: cannot find include file 'paint.mi'",
                            "warning: test.mi:2:1: cannot find include file 'a/paint.mi'"));
}

TEST(Include, AFileThatIncludesItselfIsOneError) {
    const Folder folder;
    const auto a = folder.write("a.mi", "$include \"a.mi\"\necho \"never\"\n");
    const Reading r = read_file(a);
    EXPECT_EQ(r.errors, 1u);
    EXPECT_THAT(r.message(), HasSubstr("include files are nested more than 64 levels deep"));
}

TEST(Include, FilesThatIncludeEachOtherTwiceEnd) {
    const Folder folder;
    for (int i = 0; i < 30; ++i) {
        const std::string next = "$include \"" + std::to_string(i + 1) + ".mi\"\n";
        folder.write(std::to_string(i) + ".mi", next + next);
    }
    folder.write("30.mi", "");
    const Reading r = read_file(folder.path("0.mi"));
    EXPECT_THAT(r.message(), HasSubstr("too many include files"));
}

TEST(Registry, LookupCarriesOutInOrder) {
    const Folder folder;
    folder.write("x.mi", "echo \"in x\"\n");
    const auto a = folder.write("a.mi", "registry \"{ROOT}\" value \"/lib\" end registry\n"
                                        "registry \"{START}\"\n  link \"{ROOT}/base.dll\"\n"
                                        "  echo \"before\" mi \"x.mi\" echo \"after\"\n"
                                        "end registry\n$lookup \"{START}\"\necho \"end\"\n");
    const Reading r = read_file(a);
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_THAT(r.scene.links, ElementsAre("/lib/base.so"));
    EXPECT_THAT(r.scene.echoes, ElementsAre("before", "in x", "after", "end"));
}

TEST(Registry, UnknownEntriesAreErrorsButRendererOnesAreLeftAlone) {
    EXPECT_EQ(read("$lookup \"{X}\"\n").message(),
              "error: test.mi:1:1: there is no registry entry '{X}'");
    EXPECT_TRUE(read("$lookup \"{_MI_REG_X}\"\n").messages.empty());
}

TEST(Registry, EntriesThatLookUpThemselvesEnd) {
    const Folder folder;
    folder.write("x.mi", "$lookup \"{S}\"\n");
    const auto a = folder.write("a.mi", "registry \"{S}\" mi \"x.mi\" end registry\n$lookup "
                                        "\"{S}\"\n");
    EXPECT_EQ(read_file(a).errors, 1u);
}

} // namespace
