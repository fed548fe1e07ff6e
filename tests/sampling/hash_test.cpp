#include "host/sampling/hash.h"

#include <gtest/gtest.h>

namespace vx::sampling {
namespace {

// Vectors published with the hash function.
TEST(Hash, TextsHaveThePublishedValues) {
    EXPECT_EQ(hash_text(""), 0xcbf29ce484222325ULL);
    EXPECT_EQ(hash_text("a"), 0xaf63dc4c8601ec8cULL);
    EXPECT_EQ(hash_text("foobar"), 0x85944171f73967e8ULL);
}

} // namespace
} // namespace vx::sampling
