#include "host/scene/diagnostics.h"

#include <gtest/gtest.h>

using namespace vx::scene;

namespace {

struct Log {
    std::vector<std::string> lines;
    Diagnostics diagnostics{[this](const Diagnostic& d) { lines.push_back(format(d)); }};
};

TEST(Diagnostics, NamesFileLineAndColumn) {
    Log log;
    const auto file = log.diagnostics.add_file("a.mi");
    log.diagnostics.error({file, 3, 7}, "expected a number, found 'x'");
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0], "a.mi:3:7: expected a number, found 'x'");
}

TEST(Diagnostics, NamesTheChainOfIncludesInnermostFirst) {
    Log log;
    const auto a = log.diagnostics.add_file("a.mi");
    const auto b = log.diagnostics.add_file("b.mi", {a, 2, 1});
    const auto c = log.diagnostics.add_file("c.mi", {b, 9, 1});
    log.diagnostics.error({c, 1, 1}, "wrong");
    EXPECT_EQ(log.lines.at(0), "c.mi:1:1: wrong (included from b.mi:9:1, a.mi:2:1)");
}

TEST(Diagnostics, AMessageWithoutPlaceIsOnlyText) {
    Log log;
    log.diagnostics.warning({}, "odd");
    EXPECT_EQ(log.lines.at(0), "odd");
}

TEST(Diagnostics, ReportsAKindOnceAndCounts) {
    Log log;
    EXPECT_TRUE(log.diagnostics.warning_once("hair", {}, "no hair"));
    EXPECT_FALSE(log.diagnostics.warning_once("hair", {}, "no hair"));
    EXPECT_TRUE(log.diagnostics.warning_once("fur", {}, "no fur"));
    EXPECT_EQ(log.lines.size(), 2u);
    EXPECT_EQ(log.diagnostics.warnings(), 2u);
    EXPECT_EQ(log.diagnostics.errors(), 0u);
    log.diagnostics.error({}, "x");
    EXPECT_EQ(log.diagnostics.errors(), 1u);
}

TEST(Diagnostics, AFileThatClaimsToIncludeItselfGivesNoEndlessChain) {
    Log log;
    const auto a = log.diagnostics.add_file("a.mi", {1, 1, 1});
    log.diagnostics.error({a, 1, 1}, "wrong");
    EXPECT_EQ(log.lines.at(0), "a.mi:1:1: wrong");
}

} // namespace
