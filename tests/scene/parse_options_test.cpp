#include "tests/scene/recorder.h"

#include <gtest/gtest.h>

using namespace vx::scene;

namespace {

Options options(const std::string& items) {
    Reading r = read("options \"o\"\n" + items + "\nend options\n");
    EXPECT_TRUE(r.messages.empty()) << items << ": " << r.message();
    return r.scene.options["o"];
}

std::string message(const std::string& items) {
    return read("options \"o\" " + items + " end options\n").message();
}

TEST(Options, StartFromTheRenderersValues) {
    const Options o = options("");
    EXPECT_TRUE(o.trace);
    EXPECT_EQ(o.min_samples, -2);
    EXPECT_EQ(o.max_samples, 0);
    EXPECT_EQ(o.contrast, (Color{0.1f, 0.1f, 0.1f, 0.1f}));
    EXPECT_EQ(o.filter.kind, FilterKind::box);
    EXPECT_EQ(o.filter.width, 1);
    EXPECT_EQ(o.shadow, ShadowMode::on);
    EXPECT_EQ(o.face, Face::both);
    EXPECT_FALSE(o.motion);
}

TEST(Options, OneSampleNumberGivesTwoBelowIt) {
    const Options o = options("samples 2");
    EXPECT_EQ(o.min_samples, 0);
    EXPECT_EQ(o.max_samples, 2);
}

TEST(Options, TwoAndFourSampleNumbers) {
    const Options two = options("samples -1 3");
    EXPECT_EQ(two.min_samples, -1);
    EXPECT_EQ(two.max_samples, 3);
    EXPECT_EQ(two.default_min_samples, -128);
    const Options four = options("samples -1 3 0 1");
    EXPECT_EQ(four.default_min_samples, 0);
    EXPECT_EQ(four.default_max_samples, 1);
}

TEST(Options, TraceDepthWithOneTwoAndThreeNumbers) {
    const Options one = options("trace depth 3");
    EXPECT_EQ(one.reflection_depth, 3);
    EXPECT_EQ(one.refraction_depth, 3);
    EXPECT_EQ(one.trace_depth, 6);
    const Options two = options("trace depth 3 1");
    EXPECT_EQ(two.refraction_depth, 1);
    EXPECT_EQ(two.trace_depth, 4);
    EXPECT_EQ(options("trace depth 3 1 2").trace_depth, 2);
    EXPECT_EQ(options("trace depth 2147483647").refraction_depth, 2147483647);
}

TEST(Options, MissingAlphaOfContrastIsTheMeanOfTheOthers) {
    EXPECT_FLOAT_EQ(options("contrast .1 .2 .3").contrast.a, 0.2f);
    EXPECT_FLOAT_EQ(options("contrast .1 .2 .3 .9").contrast.a, 0.9f);
    EXPECT_FLOAT_EQ(options("time contrast .1 .2 .3").time_contrast.a, 0.2f);
}

TEST(Options, FiltersTakeTheirOwnSizeWhenNoneOrZeroIsGiven) {
    struct Row {
        const char* text;
        FilterKind kind;
        float width, height;
    };
    const Row rows[] = {{"filter box", FilterKind::box, 1, 1},
                        {"filter triangle 0", FilterKind::triangle, 2, 2},
                        {"filter gauss", FilterKind::gauss, 3, 3},
                        {"filter mitchell 5", FilterKind::mitchell, 5, 5},
                        {"filter lanczos 0 6", FilterKind::lanczos, 4, 6},
                        {"filter clip mitchell 2 3", FilterKind::mitchell, 2, 3}};
    for (const Row& row : rows) {
        const Filter f = options(row.text).filter;
        EXPECT_EQ(f.kind, row.kind) << row.text;
        EXPECT_EQ(f.width, row.width) << row.text;
        EXPECT_EQ(f.height, row.height) << row.text;
    }
    EXPECT_TRUE(options("filter clip lanczos").filter.clip);
}

TEST(Options, ShadowFaceAndSwitches) {
    EXPECT_EQ(options("shadow off").shadow, ShadowMode::off);
    EXPECT_EQ(options("shadow sort").shadow, ShadowMode::sort);
    EXPECT_EQ(options("shadow segments").shadow, ShadowMode::segments);
    EXPECT_EQ(options("face front").face, Face::front);
    EXPECT_FALSE(options("lens off").lens);
    EXPECT_FALSE(options("output false").output);
    EXPECT_TRUE(options("autovolume true").autovolume);
    EXPECT_FALSE(options("displace presample off displace off").displace);
    EXPECT_TRUE(options("lightmap only").lightmap);
}

TEST(Options, AShutterTurnsMotionBlurOn) {
    const Options one = options("shutter 0.5");
    EXPECT_TRUE(one.motion);
    EXPECT_EQ(one.shutter, 0.5f);
    EXPECT_EQ(one.shutter_delay, 0);
    const Options two = options("shutter 0.25 0.75 motion steps 3");
    EXPECT_EQ(two.shutter_delay, 0.25f);
    EXPECT_EQ(two.shutter, 0.75f);
    EXPECT_EQ(two.motion_steps, 3);
    EXPECT_FALSE(options("shutter 0").motion);
}

TEST(Options, StringOptionsOfEachTypeTheLastOneWins) {
    const Options o = options("\"a\" off \"b\" \"text\" \"c\" 3 \"d\" 1.5 \"e\" 1 2 3 \"f\" 1 2 "
                              "3 4 \"a\" on");
    EXPECT_EQ(std::get<bool>(o.strings.at("a")), true);
    EXPECT_EQ(std::get<std::string>(o.strings.at("b")), "text");
    const auto& c = std::get<std::vector<Number>>(o.strings.at("c"));
    EXPECT_EQ(c, (std::vector<Number>{{3, NumberKind::integer}}));
    const auto& d = std::get<std::vector<Number>>(o.strings.at("d"));
    EXPECT_EQ(d, (std::vector<Number>{{1.5, NumberKind::real}}));
    EXPECT_EQ(std::get<std::vector<Number>>(o.strings.at("e")).size(), 3u);
    EXPECT_EQ(std::get<std::vector<Number>>(o.strings.at("f")).size(), 4u);
}

// The string after the number is always the type of the frame buffer, and may be empty.
TEST(Options, FrameBufferWithoutATypeTakesTheNextString) {
    const Options o = options("frame buffer 0 \"\" \"a\" on frame buffer 1 \"+rgba_fp\"");
    EXPECT_EQ(o.strings.size(), 1u);
}

TEST(Options, UnsupportedOptionsAreReadSilently) {
    const Options o = options(R"(
        caustic on  caustic accuracy 64 0.5  caustic scale 1 1 1  caustic filter cone 1.1
        globillum off globillum 3 globillum importance 1 2
        finalgather on  finalgather fastlookup finalgather accuracy view 100 1 0.1
        finalgather trace depth 1 1 2 1  finalgather filter 1  finalgather rebuild freeze
        finalgather file "a.fg" finalgather file ["a", "b"] finalgather secondary scale 1 1 1 1
        finalgather presample density 1.5 finalgather falloff 1 2
        photon trace depth 5 5 10  photon autovolume on
        photonmap file "x" photonmap rebuild on photonmap only
        photonvol accuracy 30 1.0
        shadowmap detail shadowmap bias 0.1 shadowmap rebuild merge shadowmap window
        acceleration bsp  acceleration large bsp  bsp size 10 bsp depth 40 bsp shadow on
        shading samples 1.0  samples collect 4 samples motion 1  luminance weight ntsc
        field odd  contour store "cs" () contour contrast "cc" ( "x" 1 )
        approximate displace fine view length 0.5 0 5 all
        diagnostic samples on  hardware off  task size 32  colorclip rgb gamma 2.2
        state "s" ( "a" 1 )
        attribute "extra" 1
        jitter 0.5)");
    EXPECT_EQ(o.jitter, 0.5f);
    EXPECT_EQ(o.task_size, 32);
    EXPECT_EQ(o.colorclip, ColorClip::rgb);
    EXPECT_EQ(o.gamma, 2.2f);
    EXPECT_EQ(o.state.size(), 1u);
}

TEST(Options, OtherSpacesAreAWarning) {
    EXPECT_TRUE(options("object space").strings.empty());
    EXPECT_EQ(message("camera space"),
              "warning: test.mi:1:13: only object space is supported; using it instead");
}

TEST(Options, ErrorsNameFoundAndExpectedTokens) {
    EXPECT_EQ(message("jumble"),
              "error: test.mi:1:13: expected an option or 'end options', found 'jumble'");
    EXPECT_EQ(message("samples 1.5"), "error: test.mi:1:21: expected an integer, found '1.5'");
    EXPECT_EQ(message("shadow maybe"), "error: test.mi:1:20: expected 'on', 'off', 'sort' or "
                                       "'segments', found 'maybe'");
    EXPECT_EQ(message("face 3"),
              "error: test.mi:1:18: expected 'front', 'back' or 'both', found '3'");
    EXPECT_EQ(message("filter none"), "error: test.mi:1:20: expected 'box', 'triangle', 'gauss', "
                                      "'mitchell' or 'lanczos', found 'none'");
    EXPECT_EQ(message("samples 3 1"),
              "error: test.mi:1:21: the minimum number of samples is greater than the maximum");
    EXPECT_EQ(message("trace depth 3000000000"),
              "error: test.mi:1:25: the integer does not fit in 32 bits");
    EXPECT_EQ(message("\"a\" maybe"), "error: test.mi:1:17: expected a value of the string option: "
                                      "'on', 'off', a string or numbers, found 'maybe'");
}

TEST(Options, SeveralErrorsOfABlockAreReported) {
    const Reading r = read("options \"o\"\n  samples x\n  jitter on\n  face both\n  shadow 1\nend "
                           "options\noptions \"p\" jitter 1 end options\n");
    EXPECT_EQ(r.errors, 3u);
    EXPECT_EQ(r.messages.at(1), "error: test.mi:3:10: expected a number, found 'on'");
    EXPECT_EQ(r.scene.options.count("o"), 0u);
    EXPECT_EQ(r.scene.options.count("p"), 1u);
}

TEST(Options, IncrementalChangesKeepTheRest) {
    const Reading r = read("options \"o\" samples 1 2 jitter 1 \"a\" 1 end options\n"
                           "incremental options \"o\" jitter 0.5 \"b\" 2 end options\n");
    EXPECT_TRUE(r.good) << r.message();
    const Options& o = r.scene.options.at("o");
    EXPECT_TRUE(o.incremental);
    EXPECT_EQ(o.jitter, 0.5f);
    EXPECT_EQ(o.max_samples, 2);
    EXPECT_EQ(o.strings.size(), 2u);
}

TEST(Options, AWholeDefinitionStartsAnew) {
    const Reading r = read("options \"o\" samples 1 2 end options\n"
                           "options \"o\" jitter 0.5 end options\n");
    EXPECT_TRUE(r.good);
    EXPECT_EQ(r.scene.options.at("o").max_samples, 0);
}

} // namespace
