#include "cache/formats/format.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

using Numbers = std::vector<double>;

struct Read {
    CloudPtr cloud;
    Findings findings;
};
Read read(const std::string& body, std::optional<double> time = std::nullopt) {
    const TestFolder folder;
    const std::string path =
        folder.put("a.usda", "#usda 1.0\ndef Points \"p\"\n{\n" + body + "}\n");
    Read out;
    OpenOptions options;
    options.time = time;
    out.cloud = open_cloud(path, out.findings, options).cloud;
    return out;
}
std::string reason(const std::string& body) {
    try {
        read(body);
    } catch (const FileError& why) {
        return why.text().substr(why.text().rfind("byte"));
    }
    return "";
}

const char* const kOverTime = "    point3f[] points.timeSamples = {\n"
                              "        1: [(1, 0, 0)],\n        2: [(2, 0, 0)],\n"
                              "        4.5: [(4, 0, 0)],\n    }\n";

TEST(Usda, FirstTimeSampleIsReadWithANote) {
    const Read r = read(kOverTime);
    EXPECT_EQ(values_of<double>(*r.cloud, "position"), (Numbers{1, 0, 0}));
    ASSERT_EQ(r.findings.size(), 1U);
    EXPECT_EQ(r.findings[0].severity, Severity::warning);
    EXPECT_EQ(r.findings[0].offset, 41); // of the name
    EXPECT_EQ(r.findings[0].text,
              "'position' has values at 3 times; those of time 1 are read, --time chooses others");
}

TEST(Usda, ATimeTakesTheLastValuesUpToIt) {
    const auto x_at = [](double time) {
        return values_of<double>(*read(kOverTime, time).cloud, "position")[0];
    };
    EXPECT_EQ(x_at(0), 1); // before all: the first
    EXPECT_EQ(x_at(1), 1);
    EXPECT_EQ(x_at(4.4), 2);
    EXPECT_EQ(x_at(4.5), 4);
    EXPECT_EQ(x_at(100), 4);
    EXPECT_EQ(read(kOverTime, 2).findings[0].severity, Severity::note);
}

TEST(Usda, TimesInAnyOrderSpacingAndWithoutValues) {
    const Read r = read("    float[] a.timeSamples = { 3:[3], -1 : [1], 2: None, -2:None, }\n"
                        "    point3f[] points.timeSamples = {7: [(7, 7, 7)]}\n"
                        "    double b.timeSamples = {1:0.5, 0:0.25}\n"
                        "    float[] gone.timeSamples = {1: None}\n"
                        "    float[] none.timeSamples = None\n");
    EXPECT_EQ(values_of<double>(*r.cloud, "a"), (Numbers{1}));
    EXPECT_EQ(values_of<double>(*r.cloud, "b"), (Numbers{0.25}));
    EXPECT_EQ(r.cloud->find("gone"), -1);
    EXPECT_EQ(r.cloud->find("none"), -1);
    EXPECT_EQ(r.findings.size(), 2U); // not for what has one time
}

TEST(Usda, ValuesOverTimeAreStrongerThanTheOneThatIsNot) {
    for (const char* body : {"    point3f[] points = [(9, 9, 9)]\n"
                             "    point3f[] points.timeSamples = {1: [(1, 0, 0), (2, 0, 0)]}\n",
                             "    point3f[] points.timeSamples = {1: [(1, 0, 0), (2, 0, 0)]}\n"
                             "    point3f[] points = [(9, 9, 9)]\n"}) {
        const Read r = read(body);
        EXPECT_EQ(values_of<double>(*r.cloud, "position"), (Numbers{1, 0, 0, 2, 0, 0}));
    }
}

TEST(Usda, OneValueForAllIsDeclaredBesideTheTimes) {
    const Read r = read("    float[] widths (\n        interpolation = \"constant\"\n    )\n"
                        "    float[] widths.timeSamples = {1: [0.5]}\n"
                        "    point3f[] points = [(0, 0, 0)]\n");
    EXPECT_TRUE(r.cloud->attributes[0].single);
    EXPECT_EQ(values_of<double>(*r.cloud, "radius"), (Numbers{0.25}));
}

TEST(Usda, DamagedTimesAreErrorsAtTheirPlace) {
    // 27 bytes before the body.
    EXPECT_EQ(reason("point3f[] points.timeSamples = {one: [(1, 0, 0)]}\n"),
              "byte 59: expected the time of a value here");
    EXPECT_EQ(reason("point3f[] points.timeSamples = {1 [(1, 0, 0)]}\n"),
              "byte 61: expected ':' here");
    EXPECT_EQ(reason("point3f[] points.timeSamples = {1: [(1, 0)]}\n"),
              "byte 68: expected ',' here");
    EXPECT_EQ(reason("point3f[] points.timeSamples = {1: [(1, 0, 0)] 2: None}\n"),
              "byte 74: expected ',' here");
}

TEST(Usda, NumbersThatTheTypeCannotHoldAreErrors) {
    EXPECT_EQ(reason("int[] a = [1, 2147483648]\n"), "byte 41: '2147483648' is not a valid int32");
    EXPECT_EQ(reason("int64[] a = [2147483648, 0.5]\n"), "byte 52: '0.5' is not a valid int64");
    EXPECT_EQ(reason("float[] a = [1, x]\n"), "byte 43: 'x' is not a number");
}

TEST(Usda, TheSameAttributeTwiceIsAnError) {
    EXPECT_EQ(reason("float[] a = [1]\nfloat[] a = [2]\npoint3f[] points = [(0,0,0)]\n"),
              "byte 51: attribute 'a' is declared twice");
}

} // namespace
} // namespace vx::cache
