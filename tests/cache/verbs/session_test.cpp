#include "cache/verbs/session.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

TEST(ParseNumbers, AsManyAsAreAskedFor) {
    EXPECT_EQ(parse_numbers("1,-2.5,3e2", 3, "--a"), (std::vector<double>{1, -2.5, 300}));
    EXPECT_EQ(parse_numbers("1", 0, "--a"), std::vector<double>{1});
    for (const char* bad : {"1,2", "1,2,3,4", "1,2,", "1,2,x", "1 2 3", "1,2,nan"})
        EXPECT_THROW(parse_numbers(bad, 3, "--a"), UsageError) << bad;
}

} // namespace
} // namespace vx::cache
