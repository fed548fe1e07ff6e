#include "cache/formats/names.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

using Names = std::vector<std::string>;

TEST(NameSet, NumbersNamesThatAreInUse) {
    NameSet set;
    EXPECT_EQ(set.add("a"), "a");
    EXPECT_EQ(set.add("a"), "a_2");
    EXPECT_EQ(set.add("a_3"), "a_3");
    EXPECT_EQ(set.add("a"), "a_4");
    EXPECT_TRUE(set.contains("a_4"));
    EXPECT_FALSE(set.contains("a_5"));
}

TEST(NameSet, TriesEachNumberOnce) {
    NameSet set;
    int tries = 0;
    constexpr int kNames = 1000;
    for (int i = 0; i < kNames; ++i) {
        set.insert(set.first_free("a", [&](const std::string& name) {
            ++tries;
            return !set.contains(name);
        }));
    }
    // All but the first name: once rejected for the name before, once accepted.
    EXPECT_LE(tries, 2 * kNames);
}

TEST(AddNames, NamesThatNeedNoCleaningStay) {
    NameSet set;
    const auto clean = [](const std::string& name) { return name.substr(0, name.find(' ')); };
    EXPECT_EQ(add_names(set, {"a 1", "a", "b 2", "a_2", "c"}, clean),
              (Names{"a_3", "a", "b", "a_2", "c"}));
}

Names renamed(const Names& names, const std::unordered_map<std::string, std::string>& map) {
    std::vector<Attribute> attributes;
    for (const std::string& name : names)
        attributes.push_back({name, Type::int32, 1, false});
    rename_attributes(attributes, map);
    Names out;
    for (const Attribute& a : attributes)
        out.push_back(a.name);
    return out;
}

TEST(RenameAttributes, RenamesAllAtOnceOrNone) {
    EXPECT_EQ(renamed({"a", "b", "c"}, {{"a", "b"}, {"b", "a"}}), (Names{"b", "a", "c"}));
    EXPECT_EQ(renamed({"a", "b", "c"}, {{"a", "x"}, {"b", "c"}}), (Names{"a", "b", "c"}));
    EXPECT_EQ(renamed({"a"}, {{"z", "x"}}), (Names{"a"}));
}

TEST(PercentEncoding, KeepsEveryByte) {
    std::string all;
    for (int c = 0; c < 256; ++c)
        all += static_cast<char>(c);
    const std::string encoded = percent_encoded(all);
    EXPECT_EQ(encoded.find_first_of(std::string(" \t\n\r\0", 5)), std::string::npos);
    EXPECT_EQ(percent_decoded(encoded), all);
    EXPECT_EQ(percent_encoded("a b%"), "a%20b%25");
    EXPECT_EQ(percent_encoded("Rf", true), "%52%66");
    for (const char* bad : {"%", "%4", "a%g0", "%0g", "%-1"})
        EXPECT_FALSE(percent_decoded(bad).has_value()) << bad;
}

} // namespace
} // namespace vx::cache
