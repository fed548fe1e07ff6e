#include "cache/formats/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vx::cache {
namespace {

TEST(ParseDouble, TakesWholeNumbersOnly) {
    EXPECT_EQ(parse_double("1.5"), 1.5);
    EXPECT_EQ(parse_double("+2e3"), 2000);
    EXPECT_EQ(parse_double("-inf"), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(parse_double("nan").value()));
    for (const char* bad : {"", " 1", "1 ", "1,5", "0x10", "+-1", "++1", "1e", "one", "-"})
        EXPECT_FALSE(parse_double(bad).has_value()) << bad;
}

TEST(ParseDouble, BeyondTheRangeIsInfiniteOrZero) {
    EXPECT_EQ(parse_double("1e999"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(parse_double("-1e999"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(parse_double("1e-999"), 0.0);
    EXPECT_TRUE(std::signbit(parse_double("-1e-999").value()));
}

TEST(ParseInt, TakesWholeIntegersInRangeOnly) {
    EXPECT_EQ(parse_int("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(parse_int("+7"), 7);
    for (const char* bad : {"", "9223372036854775808", "1.0", "1e3", " 1", "+-1"})
        EXPECT_FALSE(parse_int(bad).has_value()) << bad;
}

TEST(AppendNumber, IsTheShortestThatReadsBack) {
    std::string text;
    append_number(text, 0.1);
    text += ' ';
    append_number(text, 0.1f);
    text += ' ';
    append_number(text, -std::numeric_limits<double>::quiet_NaN());
    text += ' ';
    append_number(text, -std::numeric_limits<double>::infinity());
    text += ' ';
    append_number(text, std::int64_t{-5});
    EXPECT_EQ(text, "0.1 0.1 nan -inf -5");
}

TEST(AppendValue, TakesTheTypesValueOfThatNumber) {
    const float values[] = {1.5f, -2.25f};
    std::string text;
    append_value(text, Type::float32, reinterpret_cast<const std::byte*>(values), 1);
    EXPECT_EQ(text, "-2.25");
}

std::vector<double> doubles_of(const GuessedColumn& column, std::int64_t first, std::int64_t n) {
    std::vector<double> out(static_cast<std::size_t>(n));
    column.read(first, n, out.data());
    return out;
}

TEST(GuessedColumn, IsAnIntegerUntilOneIsNot) {
    SpoolBudget budget;
    GuessedColumn column(budget);
    EXPECT_TRUE(column.append("1"));
    EXPECT_EQ(column.type(), Type::int32);
    EXPECT_TRUE(column.append("3000000000"));
    EXPECT_EQ(column.type(), Type::int64);
    EXPECT_TRUE(column.append("2.5"));
    EXPECT_EQ(column.type(), Type::float64);
    EXPECT_TRUE(column.append(""));
    EXPECT_FALSE(column.append("four"));
    EXPECT_EQ(column.size(), 4);
    EXPECT_EQ(doubles_of(column, 0, 3), (std::vector<double>{1, 3e9, 2.5}));
    EXPECT_EQ(doubles_of(column, 1, 2), (std::vector<double>{3e9, 2.5}));
    EXPECT_TRUE(std::isnan(doubles_of(column, 3, 1)[0]));
}

TEST(GuessedColumn, NarrowsIntegersThatFit) {
    SpoolBudget budget;
    GuessedColumn column(budget);
    column.append("-2147483648");
    column.append("2147483647");
    ASSERT_EQ(column.type(), Type::int32);
    std::int32_t out[2] = {};
    column.read(0, 2, out);
    EXPECT_EQ(out[0], std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(out[1], std::numeric_limits<std::int32_t>::max());
}

TEST(GuessedColumn, CountsWholeNumbersThatDoublesCannotHold) {
    const auto inexact = [](std::initializer_list<const char*> texts) {
        SpoolBudget budget;
        GuessedColumn column(budget);
        for (const char* text : texts)
            EXPECT_TRUE(column.append(text)) << text;
        return column.inexact();
    };
    // 2^53 and what lies next to it.
    EXPECT_EQ(inexact({"9007199254740991", "9007199254740992", "-9007199254740992"}), 0);
    EXPECT_EQ(inexact({"9007199254740993", "-9007199254740993", "9007199254740994"}), 2);
    EXPECT_EQ(inexact({"0.5", "9007199254740993", "9007199254740994", "+9007199254740995"}), 2);
    EXPECT_EQ(inexact({"9223372036854775807", "-9223372036854775808"}), 1);
    EXPECT_EQ(inexact({"100000000000000000001", "1e20", "1e300", "inf", "-inf", "nan"}), 1);
}

TEST(Words, SplitsAtBlanksAndKeepsOffsets) {
    Words words("  one\ttwo\r ");
    EXPECT_EQ(words.next(), "one");
    EXPECT_EQ(words.offset(), 2U);
    EXPECT_EQ(words.next(), "two");
    EXPECT_EQ(words.offset(), 6U);
    EXPECT_EQ(words.next(), "");
    EXPECT_EQ(words.next(), "");
}

} // namespace
} // namespace vx::cache
