#include "cache/cloud/parallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace vx::cache {
namespace {

TEST(RunWorkers, CallsEachOnceAndTheFirstHere) {
    std::atomic<int> sum = 0;
    std::thread::id first;
    run_workers(4, [&](int worker) {
        sum += 1 << worker;
        if (worker == 0) first = std::this_thread::get_id();
    });
    EXPECT_EQ(sum, 15);
    EXPECT_EQ(first, std::this_thread::get_id());
}

TEST(RunWorkers, RethrowsAfterAllWorkersHaveEnded) {
    std::atomic<int> ended = 0;
    EXPECT_THROW(run_workers(3,
                             [&](int worker) {
                                 if (worker == 2) throw std::runtime_error("two");
                                 ++ended;
                             }),
                 std::runtime_error);
    EXPECT_EQ(ended, 2);
}

} // namespace
} // namespace vx::cache
