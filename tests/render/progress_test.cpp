#include "host/render/progress.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using vx::render::Progress;
using vx::render::progress_text;

TEST(Progress, TextContainsFractionRateAndTimeLeft) {
    EXPECT_EQ(progress_text("frame 7", 25, 100, 5'000'000, 2.0),
              "frame 7: 25%, 2.50 M rays/s, 6 s left");
    EXPECT_EQ(progress_text("frame 1", 1, 100, 3000, 1.0),
              "frame 1: 1%, 3 k rays/s, 1 min 39 s left");
    EXPECT_EQ(progress_text("frame 1", 1, 1000, 50, 10.0),
              "frame 1: 0%, 5 rays/s, 2 h 46 min left");
    EXPECT_EQ(progress_text("frame 1", 100, 100, 300, 1.0), "frame 1: 100%, 300 rays/s");
}

TEST(Progress, NoneReportsNothing) {
    std::vector<std::string> lines;
    Progress progress(Progress::Style::none, [&](const std::string& l) { lines.push_back(l); });
    progress.start("frame 1");
    for (std::uint64_t i = 0; i <= 10; ++i)
        progress.update(i, 10, i);
    progress.finish();
    EXPECT_TRUE(lines.empty());
}

TEST(Progress, ShortFramesLeaveNoLinesInALog) {
    std::vector<std::string> lines;
    Progress progress(Progress::Style::lines, [&](const std::string& l) { lines.push_back(l); });
    progress.start("frame 1");
    for (std::uint64_t i = 0; i <= 10; ++i)
        progress.update(i, 10, i);
    EXPECT_TRUE(lines.empty());
}

TEST(Progress, LongFramesLeaveOneLinePerTenthAtMost) {
    std::vector<std::string> lines;
    Progress progress(Progress::Style::lines, [&](const std::string& l) { lines.push_back(l); });
    progress.start("frame 1");
    std::this_thread::sleep_for(std::chrono::milliseconds(2050));
    for (std::uint64_t i = 0; i <= 100; ++i)
        progress.update(i, 100, i);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].find("frame 1: 10%"), 0u) << lines[0];
}

TEST(Progress, TheCallbackMayCallFinish) {
    int lines = 0;
    Progress* self = nullptr;
    Progress progress(Progress::Style::lines, [&](const std::string&) {
        self->finish();
        ++lines;
    });
    self = &progress;
    progress.start("frame 1");
    std::this_thread::sleep_for(std::chrono::milliseconds(2050));
    progress.update(5, 10, 5);
    EXPECT_EQ(lines, 1);
}
