#include "cache/cloud/label_set.h"
#include "src/names/label_list.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <limits>
#include <random>

namespace vx::cache {
namespace {

// The shaders' own answer.
bool is_listed(const std::string& text, std::int32_t label) {
    int* labels = nullptr;
    const int count = parse_label_list(text.c_str(), &labels);
    const bool found = in_label_list(labels, count, label) != 0;
    std::free(labels);
    return found;
}

TEST(LabelSet, HoldsWhatTheShadersListHolds) {
    std::mt19937 random(7);
    const auto number = [&random] { return std::to_string(random() % 120); };
    const std::string others[] = {"",   "x",   "-3",    " 5",     "+6",    "7x",
                                  "8-", "9-x", "1-2-3", "12 -14", "12- 14"};
    for (int round = 0; round < 500; ++round) {
        std::string text;
        for (auto items = random() % 5; items > 0; --items) {
            const auto kind = random() % 3;
            text += kind == 0   ? number()
                    : kind == 1 ? number() + "-" + number()
                                : others[random() % std::size(others)];
            if (items > 1 || random() % 4 == 0) text += ',';
        }
        const LabelSet set(text);
        for (std::int32_t label = -5; label < 125; ++label)
            ASSERT_EQ(set.holds(label), is_listed(text, label)) << "'" << text << "' " << label;
    }
}

TEST(LabelSet, NumbersAreCutAsInTheShaders) {
    for (const char* text :
         {"4294967299", "4294967299-4294967301", "99999999999999999999", "-9223372036854775809",
          "2147483647", "2147483648", "3 4", "7x-9", "1--2"}) {
        for (const std::int32_t label : {-1, 0, 1, 2, 3, 4, 5, 7, 8, 9, 2147483647}) {
            EXPECT_EQ(LabelSet(text).holds(label), is_listed(text, label)) << text << " " << label;
        }
    }
}

TEST(LabelSet, RangesOfAllLabelsTakeNoMemory) {
    const LabelSet all("0-2147483647,5-6");
    EXPECT_TRUE(all.holds(0));
    EXPECT_TRUE(all.holds(std::numeric_limits<std::int32_t>::max()));
    EXPECT_FALSE(all.holds(-1));
    const LabelSet two("10-20,15-30,40-50");
    for (const std::int32_t in : {10, 20, 25, 30, 40, 50})
        EXPECT_TRUE(two.holds(in)) << in;
    for (const std::int32_t out : {9, 31, 39, 51})
        EXPECT_FALSE(two.holds(out)) << out;
}

TEST(LabelSet, FindsItsLabelsInACloud) {
    MemoryCloud cloud(6);
    cloud.add<double>("tag", 1, {7.9, 3, 3, -1, 4294967297.0, 12});
    EXPECT_EQ(LabelSet("0-9").found_in(cloud), (std::vector<std::int32_t>{1, 3, 7}));
    MemoryCloud none(2);
    EXPECT_EQ(LabelSet("0-9").found_in(none), (std::vector<std::int32_t>{0}));
}

} // namespace
} // namespace vx::cache
