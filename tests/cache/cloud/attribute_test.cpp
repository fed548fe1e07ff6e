#include "cache/cloud/attribute.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vx::cache {
namespace {

constexpr double kNanValue = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();

template <typename To, typename From>
struct Converted {
    std::vector<To> values;
    std::int64_t changed;
};
template <typename To, typename From>
Converted<To, From> convert(const std::vector<From>& in) {
    Converted<To, From> out{std::vector<To>(in.size()), 0};
    out.changed =
        convert_values(type_of<From>(), in.data(), type_of<To>(), out.values.data(), in.size());
    return out;
}

TEST(Attribute, TypesHaveTheirSizesAndNames) {
    EXPECT_EQ(type_size(Type::int32), 4U);
    EXPECT_EQ(type_size(Type::float32), 4U);
    EXPECT_EQ(type_size(Type::int64), 8U);
    EXPECT_EQ(type_size(Type::float64), 8U);
    EXPECT_EQ(type_name(Type::int64), "int64");
    EXPECT_EQ(type_of<std::int32_t>(), Type::int32);
    EXPECT_EQ(type_of<float>(), Type::float32);
    EXPECT_EQ(type_of<std::int64_t>(), Type::int64);
    EXPECT_EQ(type_of<double>(), Type::float64);
    EXPECT_EQ((Attribute{"a", Type::float64, 3, false}.bytes()), 24U);
}

TEST(Attribute, AreFoundByName) {
    const std::vector<Attribute> some{{"a", Type::int32, 1, false}, {"b", Type::int32, 1, false}};
    EXPECT_EQ(find_attribute(some, "b"), 1);
    EXPECT_EQ(find_attribute(some, "c"), -1);
}

TEST(ConvertValues, ToIntegersCutsTowardZeroAndAtTheRange) {
    const auto to32 =
        convert<std::int32_t, double>({1.9, -1.9, 2147483647.0, 2147483648.0, -2147483648.0,
                                       -2147483649.0, kInfinite, kNanValue});
    EXPECT_EQ(to32.values,
              (std::vector<std::int32_t>{1, -1, 2147483647, 2147483647, -2147483647 - 1,
                                         -2147483647 - 1, 2147483647, 0}));
    EXPECT_EQ(to32.changed, 6);
    const auto to64 = convert<std::int64_t, double>({9223372036854775808.0, -1e30, 0.0});
    EXPECT_EQ(to64.values,
              (std::vector<std::int64_t>{std::numeric_limits<std::int64_t>::max(),
                                         std::numeric_limits<std::int64_t>::min(), 0}));
    EXPECT_EQ(to64.changed, 2);
}

TEST(ConvertValues, NanConvertsBetweenFloatsUnchanged) {
    const auto c = convert<float, double>({kNanValue, kInfinite, 0.5, 0.1, 1e300});
    EXPECT_TRUE(std::isnan(c.values[0]));
    EXPECT_EQ(c.values[1], std::numeric_limits<float>::infinity());
    EXPECT_EQ(c.values[3], 0.1f);
    EXPECT_EQ(c.changed, 2); // 0.1 is rounded, 1e300 becomes infinite
}

TEST(ConvertValues, IntegersThatFloatsCannotHoldAreCounted) {
    EXPECT_EQ((convert<float, std::int32_t>({16777216, 16777217, -16777217}).changed), 2);
    EXPECT_EQ((convert<double, std::int64_t>(
                   {9007199254740992, 9007199254740993, std::numeric_limits<std::int64_t>::max()})
                   .changed),
              2);
    EXPECT_EQ((convert<std::int32_t, std::int64_t>({5000000000, -5000000000, 7}).values),
              (std::vector<std::int32_t>{2147483647, -2147483647 - 1, 7}));
}

TEST(ConvertValues, TheSameTypeIsCopied) {
    const auto c = convert<double, double>({kNanValue, 2.0});
    EXPECT_TRUE(std::isnan(c.values[0]));
    EXPECT_EQ(c.values[1], 2.0);
    EXPECT_EQ(c.changed, 0);
}

} // namespace
} // namespace vx::cache
