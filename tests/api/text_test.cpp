#include "tests/api/api_test.h"

using namespace vx;
using namespace vx::testing;

using ApiText = ApiTest;

TEST_F(ApiText, WithoutARegistryTextsAreCopied) {
    char buffer[100];
    EXPECT_EQ(mi_string_substitute(buffer, "{A}/b", 100), 5);
    EXPECT_STREQ(buffer, "{A}/b");
}

TEST_F(ApiText, NamesAreReplaced) {
    context.substitute = [](std::string_view text) {
        return "/tree" + std::string(text.substr(3));
    };
    char buffer[100];
    EXPECT_EQ(mi_string_substitute(buffer, "{A}/b", 100), 7);
    EXPECT_STREQ(buffer, "/tree/b");
}

TEST_F(ApiText, LongTextsAreTruncatedAndTerminated) {
    char buffer[] = "########";
    EXPECT_EQ(mi_string_substitute(buffer, "abcdefgh", 5), 4);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(buffer[5], '#');
    EXPECT_EQ(mi_string_substitute(buffer, "abc", 4), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(mi_string_substitute(buffer, "abc", 1), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(ApiText, NothingIsWrittenWithoutRoom) {
    char buffer[] = "##";
    EXPECT_EQ(mi_string_substitute(buffer, "abc", 0), 0);
    EXPECT_EQ(mi_string_substitute(nullptr, "abc", 10), 0);
    EXPECT_STREQ(buffer, "##");
    EXPECT_EQ(mi_string_substitute(buffer, nullptr, 2), 0);
    EXPECT_STREQ(buffer, "");
}
