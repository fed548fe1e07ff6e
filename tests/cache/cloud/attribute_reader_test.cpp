#include "cache/cloud/attribute_reader.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <limits>

namespace vx::cache {
namespace {

std::vector<std::int32_t> integers_of(AttributeReader& reader, std::int64_t n) {
    std::vector<std::int32_t> out(static_cast<std::size_t>(n));
    std::memcpy(out.data(), reader.read(0, n), out.size() * 4);
    return out;
}

TEST(AttributeReader, CountsTheValuesThatTheTypeCannotHold) {
    MemoryCloud cloud(3);
    cloud.add<double>("a", 1, {0.5, 0.1, 1e300});
    AttributeReader reader(cloud, 0, Type::float32);
    float out[3];
    std::memcpy(out, reader.read(0, 3), sizeof out);
    EXPECT_EQ(out[0], 0.5f);
    EXPECT_EQ(out[1], 0.1f);
    EXPECT_EQ(reader.changed(), 2);
    EXPECT_EQ(reader.converted(), 3);
    reader.read(0, 1);
    EXPECT_EQ(reader.changed(), 2);
    EXPECT_EQ(reader.converted(), 4);
}

// 2^32 + 1 and 5 * 10^9 lose a multiple of 2^32; not-a-number becomes -2^63, whose low bits are 0.
TEST(AttributeReader, WrapsLabelsToTheirLow32Bits) {
    MemoryCloud cloud(5);
    cloud.add<double>(
        "a", 1, {4294967297.0, 7.9, -1.0, 2147483648.0, std::numeric_limits<double>::quiet_NaN()});
    cloud.add<std::int64_t>("b", 1, {5000000000, -1, 3, 4, 5});
    AttributeReader a(cloud, 0, Type::int32, IntegerRule::wrap);
    EXPECT_EQ(integers_of(a, 5), (std::vector<std::int32_t>{1, 7, -1, -2147483647 - 1, 0}));
    EXPECT_EQ(a.changed(), 4);
    AttributeReader b(cloud, 1, Type::int32, IntegerRule::wrap);
    EXPECT_EQ(integers_of(b, 5), (std::vector<std::int32_t>{705032704, -1, 3, 4, 5}));
    EXPECT_EQ(b.changed(), 1);
    AttributeReader clamped(cloud, 1, Type::int32);
    EXPECT_EQ(integers_of(clamped, 5)[0], 2147483647);
}

TEST(TypedReader, RepeatsASingleValueForEveryPoint) {
    MemoryCloud cloud(4);
    cloud.add<float>("a", 2, {1, 2}, true);
    cloud.add<double>("b", 1, {10, 11, 12, 13});
    TypedReader<double> a(cloud, 0);
    const auto pairs = a.read(2, 2);
    EXPECT_EQ(std::vector<double>(pairs.begin(), pairs.end()), (std::vector<double>{1, 2, 1, 2}));
    TypedReader<double> b(cloud, 1);
    const auto rest = b.read(1, 3);
    EXPECT_EQ(std::vector<double>(rest.begin(), rest.end()), (std::vector<double>{11, 12, 13}));
    EXPECT_TRUE(b.read(4, 0).empty());
}

} // namespace
} // namespace vx::cache
