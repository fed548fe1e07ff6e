#include "host/shading/messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using vx::shading::Level;
using vx::shading::Messages;
using vx::shading::verbosity_bits;

namespace {

struct Captured {
    Captured() {
        messages.set_sink([this](Level, std::string_view line) { lines.emplace_back(line); });
        messages.set_bits(miERR_ALL);
    }
    Messages messages;
    std::vector<std::string> lines;
};

} // namespace

TEST(Messages, LinesHaveModuleHostThreadLevelAndText) {
    Captured c;
    c.messages.write(Level::info, "RC", 3, "vx_pc_write - V. 1");
    c.messages.write(Level::warning, "LINK", -1, "no thread");
    EXPECT_THAT(c.lines, testing::ElementsAre("RC 0.3 info: vx_pc_write - V. 1",
                                              "LINK 0 warning: no thread"));
}

TEST(Messages, NewlinesBecomeBlanksAndTrailingOnesGo) {
    Captured c;
    c.messages.write(Level::error, "RC", 0, "one\ntwo\r\nthree\n\n");
    EXPECT_THAT(c.lines, testing::ElementsAre("RC 0.0 error: one two  three"));
}

TEST(Messages, VerbosityNumbersAddOneClassEach) {
    EXPECT_EQ(verbosity_bits(0), miERR_NONE);
    EXPECT_EQ(verbosity_bits(1), miERR_FATAL);
    EXPECT_EQ(verbosity_bits(2), miERR_FATAL | miERR_ERROR);
    EXPECT_EQ(verbosity_bits(3), miERR_DEFAULT);
    EXPECT_EQ(verbosity_bits(4), miERR_DEFAULT | miERR_PROGRESS);
    EXPECT_EQ(verbosity_bits(5), miERR_DEFAULT | miERR_PROGRESS | miERR_INFO);
    EXPECT_EQ(verbosity_bits(6), miERR_ALL & ~miERR_VDEBUG);
    EXPECT_EQ(verbosity_bits(7), miERR_ALL);
    EXPECT_EQ(verbosity_bits(99), miERR_ALL);
    EXPECT_EQ(verbosity_bits(-1), miERR_NONE);
}

TEST(Messages, OnlyShownLevelsReachTheSink) {
    Captured c;
    c.messages.set_level(3);
    c.messages.write(Level::info, "RC", 0, "hidden");
    c.messages.write(Level::warning, "RC", 0, "shown");
    EXPECT_THAT(c.lines, testing::ElementsAre("RC 0.0 warning: shown"));
}

TEST(Messages, LevelOfTheCommandLineStays) {
    Captured c;
    c.messages.fix_level(2);
    c.messages.set_level(6);
    EXPECT_EQ(c.messages.bits(), miERR_FATAL | miERR_ERROR);
}

TEST(Messages, WithoutASinkLinesGoToStandardError) {
    Messages messages;
    testing::internal::CaptureStderr();
    messages.write(Level::error, "RC", 1, "to stderr");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "RC 0.1 error: to stderr\n");
}

TEST(Messages, LinesOfManyThreadsStayWhole) {
    Captured c;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&c, t] {
            for (int i = 0; i < 200; ++i)
                c.messages.write(Level::info, "RC", t, std::string(50, static_cast<char>('a' + t)));
        });
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_EQ(c.lines.size(), 800u);
    for (const std::string& line : c.lines) {
        const char letter = line.back();
        EXPECT_EQ(line,
                  "RC 0." + std::to_string(letter - 'a') + " info: " + std::string(50, letter));
    }
}
