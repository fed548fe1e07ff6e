// Label lists: the text "1,3,5-7" and membership.
#include "src/names/label_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> parsed(const char* text) {
    int* labels = nullptr;
    const int count = parse_label_list(text, &labels);
    EXPECT_EQ(labels == nullptr, count == 0) << text;
    std::vector<int> values(labels, labels + count);
    free(labels);
    return values;
}

TEST(LabelList, EmptyTextAndEmptyItemsGiveNothing) {
    EXPECT_THAT(parsed(""), IsEmpty());
    EXPECT_THAT(parsed(","), IsEmpty());
    EXPECT_THAT(parsed(",,,"), IsEmpty());
}

TEST(LabelList, EmptyItemsAmongOthersAreIgnored) {
    EXPECT_THAT(parsed(",1,,2,"), ElementsAre(1, 2));
}

TEST(LabelList, SingleNumber) {
    EXPECT_THAT(parsed("3"), ElementsAre(3));
}

TEST(LabelList, RepeatedNumberCountsOnce) {
    EXPECT_THAT(parsed("3,3,3"), ElementsAre(3));
}

TEST(LabelList, RangeIsInclusive) {
    EXPECT_THAT(parsed("5-7"), ElementsAre(5, 6, 7));
}

TEST(LabelList, NumberInsideAnEarlierRangeIsDropped) {
    EXPECT_THAT(parsed("1-3,2"), ElementsAre(1, 2, 3));
}

TEST(LabelList, FirstOccurrenceKeepsItsPlace) {
    EXPECT_THAT(parsed("4,1-3,,2,9-7,x,5-6"), ElementsAre(4, 1, 2, 3, 5, 6));
}

TEST(LabelList, ReversedRangeIsDroppedNotSwapped) {
    EXPECT_THAT(parsed("5-3"), IsEmpty());
}

TEST(LabelList, NegativeValuesAreDropped) {
    EXPECT_THAT(parsed("-1"), IsEmpty());
    EXPECT_THAT(parsed("-2"), IsEmpty());
    EXPECT_THAT(parsed("0--1"), IsEmpty());
    EXPECT_THAT(parsed("2--3"), IsEmpty());
    EXPECT_THAT(parsed("-1-5"), IsEmpty());
    EXPECT_THAT(parsed("-2-5"), IsEmpty());
    EXPECT_THAT(parsed("-3-5"), IsEmpty());
}

TEST(LabelList, ZeroIsAValidLabel) {
    EXPECT_THAT(parsed("0"), ElementsAre(0));
}

TEST(LabelList, RangeOfOne) {
    EXPECT_THAT(parsed("7-7"), ElementsAre(7));
}

TEST(LabelList, ItemsWithoutANumberAreDropped) {
    EXPECT_THAT(parsed("x"), IsEmpty());
    EXPECT_THAT(parsed("-"), IsEmpty());
    EXPECT_THAT(parsed("a-3"), IsEmpty());
    EXPECT_THAT(parsed(" "), IsEmpty());
    EXPECT_THAT(parsed("x,2,-,3"), ElementsAre(2, 3));
}

TEST(LabelList, RangeWithoutSecondNumberIsDropped) {
    EXPECT_THAT(parsed("3-"), IsEmpty());
    EXPECT_THAT(parsed("3-x"), IsEmpty());
}

TEST(LabelList, TextBehindANumberIsIgnored) {
    EXPECT_THAT(parsed("7x"), ElementsAre(7));
    EXPECT_THAT(parsed("3 -5"), ElementsAre(3));
    EXPECT_THAT(parsed("3 "), ElementsAre(3));
}

TEST(LabelList, TextBehindARangeIsIgnored) {
    EXPECT_THAT(parsed("2-4z"), ElementsAre(2, 3, 4));
    EXPECT_THAT(parsed("2-4-9"), ElementsAre(2, 3, 4));
}

TEST(LabelList, BlanksAroundNumbers) {
    EXPECT_THAT(parsed(" 8 , 9"), ElementsAre(8, 9));
    EXPECT_THAT(parsed("\t3- 5"), ElementsAre(3, 4, 5));
}

TEST(LabelList, PlusSignIsAccepted) {
    EXPECT_THAT(parsed("+3,5-+6"), ElementsAre(3, 5, 6));
}

TEST(LabelList, NumbersAreDecimalWithAnyPrefix) {
    EXPECT_THAT(parsed("010"), ElementsAre(10));
    EXPECT_THAT(parsed("0x10"), ElementsAre(0)); // "x10" is text after a number
    EXPECT_THAT(parsed("08-011"), ElementsAre(8, 9, 10, 11));
    EXPECT_THAT(parsed("0-0x2"), ElementsAre(0));
}

TEST(LabelList, NoOtherSeparator) {
    EXPECT_THAT(parsed("1;2"), ElementsAre(1));
    EXPECT_THAT(parsed("1 2"), ElementsAre(1));
}

TEST(LabelList, RangeUpToTheLargestIntEnds) {
    EXPECT_THAT(parsed("2147483645-2147483647"), ElementsAre(2147483645, 2147483646, 2147483647));
    EXPECT_THAT(parsed("2147483647"), ElementsAre(INT_MAX));
}

TEST(LabelList, NumbersAreCutToTheirLow32Bits) {
    EXPECT_THAT(parsed("4294967297"), ElementsAre(1));
    EXPECT_THAT(parsed("4294967298-4"), ElementsAre(2, 3, 4));
    EXPECT_THAT(parsed("2147483648"), IsEmpty()); // the low bits are negative
    EXPECT_THAT(parsed("99999999999999999999"), IsEmpty());
}

TEST(LabelList, FirstAllocationIsZeroed) {
    int* labels = nullptr;
    ASSERT_EQ(parse_label_list("7", &labels), 1);
    EXPECT_THAT(std::vector<int>(labels, labels + 5), ElementsAre(7, 0, 0, 0, 0));
    free(labels);
}

TEST(LabelList, SixthValueReallocates) {
    EXPECT_THAT(parsed("1-5,6"), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST(LabelList, ExistingArrayIsReused) {
    auto* labels = static_cast<int*>(calloc(5, sizeof(int)));
    labels[0] = 3;
    ASSERT_EQ(parse_label_list("3,4", &labels), 2); // previous contents have no effect
    EXPECT_EQ(labels[0], 3);
    EXPECT_EQ(labels[1], 4);
    free(labels);
}

TEST(LabelList, ExistingArrayIsKeptWithoutAnyValue) {
    auto* const before = static_cast<int*>(calloc(5, sizeof(int)));
    int* labels = before;
    EXPECT_EQ(parse_label_list("x", &labels), 0);
    EXPECT_EQ(labels, before);
    free(labels);
}

TEST(LabelList, ManyValues) {
    const std::vector<int> values = parsed("0-2999");
    ASSERT_EQ(values.size(), 3000u);
    for (int i = 0; i < 3000; ++i)
        EXPECT_EQ(values[static_cast<size_t>(i)], i);
}

TEST(LabelList, MembershipLooksAtTheFirstCountEntries) {
    const int labels[] = {4, 1, 9};
    EXPECT_EQ(in_label_list(labels, 3, 4), 1);
    EXPECT_EQ(in_label_list(labels, 3, 9), 1);
    EXPECT_EQ(in_label_list(labels, 2, 9), 0);
    EXPECT_EQ(in_label_list(labels, 3, 0), 0);
}

TEST(LabelList, MembershipOfAnEmptyListReadsNothing) {
    EXPECT_EQ(in_label_list(nullptr, 0, 0), 0);
    EXPECT_EQ(in_label_list(nullptr, 0, 7), 0);
    EXPECT_EQ(in_label_list(nullptr, -1, 7), 0);
}

} // namespace
