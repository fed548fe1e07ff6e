#include "tests/scene/recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vx::scene;
using testing::ElementsAre;

namespace {

const std::string kWorld = "options \"o\" end options\ncamera \"c\" end camera\ninstance \"ci\" "
                           "\"c\" end instance\ninstgroup \"w\" \"ci\" end instgroup\n";

TEST(Commands, VerboseLevels) {
    EXPECT_THAT(read("verbose on verbose off verbose 3 verbose 99 verbose -1").scene.levels,
                ElementsAre(5, 2, 3, 7, 0));
}

TEST(Commands, LinksAreSubstituted) {
    EXPECT_THAT(
        read("registry \"{L}\" value \"lib\" end registry link \"{L}/base.dll\"").scene.links,
        ElementsAre("lib/base.so"));
}

TEST(Commands, VersionsAreComparedNumberByNumber) {
    ReaderSettings settings;
    settings.version = "3.9.1";
    EXPECT_TRUE(read("min version \"3.9\" version \"3.9.1\" max version \"3.10\"", settings)
                    .messages.empty());
    EXPECT_EQ(read("min version \"3.10\"", settings).message(),
              "warning: test.mi:1:13: the scene requires version 3.10 or later of the renderer; "
              "this is version 3.9.1");
    EXPECT_EQ(read("max version \"2.1\"", settings).message(),
              "warning: test.mi:1:13: the scene requires version 2.1 or earlier of the renderer; "
              "this is version 3.9.1");
}

TEST(Commands, ShellCommandsAreNotRunAndSourceIsRefused) {
    EXPECT_EQ(read("system \"rm x\"").message(),
              "warning: test.mi:1:8: shell commands are not supported; ignored");
    EXPECT_EQ(read("code \"x.c\"").message(),
              "error: test.mi:1:6: C source is not supported; link a shared library instead");
}

TEST(Commands, ObsoleteOnesAreRead) {
    const Reading r = read("touch \"x\" debug \"a\" \"b\" debug \"c\" root \"r\" memory 100 gui "
                           "\"g\" { control \"x\" ( \"a\" 1 ) { } } echo \"on\"");
    EXPECT_EQ(r.message(), "warning: test.mi:1:44: 'memory' has no effect");
    EXPECT_THAT(r.scene.echoes, ElementsAre("on"));
}

TEST(Commands, TheFirstVersionOfScenesIsRejectedClearly) {
    EXPECT_EQ(read("frame 1\n view\n end view\nend frame\necho \"on\"").message(),
              "error: test.mi:1:1: 'frame' and 'view' are not supported: scenes of version 1 "
              "cannot be read");
}

TEST(Commands, DeleteForgetsAName) {
    const Reading r = read("light \"l\" end light delete \"l\" light \"l\" end light");
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_THAT(r.scene.events, ElementsAre("light l", "delete l", "light l"));
    EXPECT_EQ(read("delete \"x\"").message(),
              "error: test.mi:1:8: there is no element 'x' to delete");
}

TEST(Commands, RenderRunsInPlaceAndReadingContinues) {
    const Reading r = read(kWorld + "render \"w\" \"ci\" \"o\"\nincremental camera \"c\" frame 2 "
                                    "end camera\nrender \"w\" \"ci\" \"o\"\n");
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_THAT(r.scene.events, ElementsAre("options o", "camera c", "instance ci", "instgroup w",
                                            "render w ci o", "camera c", "render w ci o"));
}

TEST(Commands, AReceiverMayStopAtARender) {
    Reading r;
    r.scene.go_on = false;
    read_into(r, kWorld + "render \"w\" \"ci\" \"o\"\nrender \"w\" \"ci\" \"o\"\n");
    EXPECT_EQ(std::count(r.scene.events.begin(), r.scene.events.end(), "render w ci o"), 1);
}

TEST(Commands, NothingIsRenderedAfterAnError) {
    const Reading r = read(kWorld + "jumble\nrender \"w\" \"ci\" \"o\"\n");
    EXPECT_EQ(r.errors, 1u);
    EXPECT_EQ(std::count(r.scene.events.begin(), r.scene.events.end(), "render w ci o"), 0);
}

TEST(Commands, RenderChecksItsNames) {
    EXPECT_EQ(read(kWorld + "render \"x\" \"ci\" \"o\"").message(),
              "error: test.mi:5:8: there is no instgroup 'x'");
    EXPECT_EQ(read(kWorld + "render \"w\" \"c\" \"o\"").message(),
              "error: test.mi:5:12: there is no instance 'c'");
    EXPECT_EQ(read(kWorld + "render \"w\" \"ci\" \"c\"").message(),
              "error: test.mi:5:17: there are no options 'c'");
    EXPECT_EQ(read(kWorld + "light \"l\" end light instance \"li\" \"l\" end instance render \"w\" "
                            "\"li\" \"o\"")
                  .message(),
              "error: test.mi:5:63: instance 'li' is not an instance of a camera");
}

TEST(Commands, CallRunsShaders) {
    const Reading r = read(kWorld + "call \"a\" () \"b\" () , \"ci\" \"o\" call \"c\" ()");
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_EQ(r.scene.events.at(4), "call 2 ci o");
    EXPECT_EQ(r.scene.events.at(5), "call 1  ");
}

TEST(Elements, PrivateAndSessionAreDropped) {
    EXPECT_TRUE(
        read("private options \"o\" end options session depth 1 light \"l\" end light").good);
    EXPECT_EQ(read("private echo \"x\"").message(),
              "error: test.mi:1:9: expected an element such as 'camera', found 'echo'");
}

TEST(Elements, OtherKindsAreSkippedWithOneWarningEach) {
    const Reading r = read(R"(lightprofile "a" format ies file "x" end lightprofile
        lightprofile "b" end lightprofile
        colorprofile "c" space 1 end colorprofile
        spectrum "d" 1 2 3 4 end spectrum
        assembly "e" box 0 0 0 1 1 1 file "y" end assembly
        map "f" "decl" ( "x" ) end map
        echo "on")");
    EXPECT_EQ(r.errors, 0u) << r.message();
    EXPECT_EQ(r.warnings, 5u);
    EXPECT_THAT(r.scene.echoes, ElementsAre("on"));
}

TEST(Elements, ANameBelongsToOneKind) {
    EXPECT_EQ(read("light \"x\" end light\noptions \"x\" end options").message(),
              "error: test.mi:2:9: 'x' is already a light");
}

TEST(Elements, IncrementalNeedsSomethingToChange) {
    EXPECT_EQ(read("incremental camera \"c\" end camera").message(),
              "error: test.mi:1:20: there is no camera 'c' to change");
}

TEST(Namespaces, PrefixDefinitionsAndUses) {
    const Reading r = read(R"(material "global" end material
        light "l" end light
        namespace "a"
            declare shader color "d" ( light "p", string "t" ) end declare
            light "l" end light
            instance "li" "l" end instance
            shader "s" "d" ( "p" "li", "t" "li" )
            material "m" = "s" end material
            instance "x" "::l" material [ "m", "global" ] end instance
            namespace "b" light "k" end light end namespace
        end namespace
        instance "y" "a::b::k" end instance)");
    EXPECT_TRUE(r.messages.empty()) << r.message();
    EXPECT_EQ(r.scene.instances.at("a::li").item, "a::l");
    EXPECT_EQ(r.scene.instances.at("a::x").item, "l");
    EXPECT_THAT(r.scene.instances.at("a::x").materials, ElementsAre("a::m", "global"));
    const auto& call = std::get<ShaderCall>(r.scene.shaders.at("a::s").shaders.at(0));
    EXPECT_EQ(std::get<std::string>(call.parameters.at(0).value.content), "a::li");
    // A string is not a keyword.
    EXPECT_EQ(std::get<std::string>(call.parameters.at(1).value.content), "li");
    EXPECT_EQ(r.scene.instances.at("y").item, "a::b::k");
}

TEST(Namespaces, ConnectionsToMembersKeepTheirMember) {
    const Reading r = read("namespace \"a\" shader \"r\" \"d\" () shader \"s\" \"e\" ( \"c\" = "
                           "\"r.out\", \"d\" = \"other.out\" ) end namespace");
    const auto& call = std::get<ShaderCall>(r.scene.shaders.at("a::s").shaders.at(0));
    EXPECT_EQ(std::get<Connection>(call.parameters.at(0).value.content).name, "a::r.out");
    EXPECT_EQ(std::get<Connection>(call.parameters.at(1).value.content).name, "other.out");
}

TEST(Statements, Errors) {
    EXPECT_EQ(read("12").message(), "error: test.mi:1:1: expected a statement, found '12'");
    EXPECT_EQ(read("end options").message(),
              "error: test.mi:1:1: expected a statement, found 'end' and 'options'");
    EXPECT_EQ(read("verbose maybe").message(),
              "error: test.mi:1:9: expected 'on', 'off' or a level from 0 to 7, found 'maybe'");
    EXPECT_EQ(read("link base").message(),
              "error: test.mi:1:6: expected the name of a library, found 'base'");
    EXPECT_EQ(read("registry \"{A}\" value \"x\"").message(),
              "error: test.mi:1:25: expected 'end registry', found the end of the file");
    EXPECT_EQ(read("options").message(),
              "error: test.mi:1:8: expected the name of the options, found the end of the file");
}

} // namespace
