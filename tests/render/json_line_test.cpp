#include "host/render/json_line.h"

#include <gtest/gtest.h>

namespace vx::render {

TEST(JsonLine, MembersInOrder) {
    EXPECT_EQ(JsonLine("end")
                  .text("a", "x\"y")
                  .count("b", -3)
                  .seconds("c", 1.23456)
                  .list("d", {"1", "\\"})
                  .list("e", {})
                  .line(),
              R"({"event":"end","a":"x\"y","b":-3,"c":1.235,"d":["1","\\"],"e":[]})");
}

TEST(JsonLine, ControlCharactersAndUtf8) {
    EXPECT_EQ(json_string("a\n\x01\x7f"), "\"a\\u000a\\u0001\x7f\"");
    // One character of each length.
    EXPECT_EQ(json_string("\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"),
              "\"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\"");
    // A continuation byte alone, a cut character, too long a form of '/', a surrogate, beyond the
    // last character.
    EXPECT_EQ(json_string("\x80|"), "\"\\ufffd|\"");
    EXPECT_EQ(json_string("\xe2\x82"), "\"\\ufffd\\ufffd\"");
    EXPECT_EQ(json_string("\xc0\xaf"), "\"\\ufffd\\ufffd\"");
    EXPECT_EQ(json_string("\xed\xa0\x80"), "\"\\ufffd\\ufffd\\ufffd\"");
    EXPECT_EQ(json_string("\xf4\x90\x80\x80"), "\"\\ufffd\\ufffd\\ufffd\\ufffd\"");
}

TEST(JsonLine, Messages) {
    EXPECT_EQ(json_message("RC 0.3 warning: shader: odd"),
              R"({"event":"message","level":"warning","module":"RC","text":"shader: odd"})");
    // Without a thread, and without the usual parts.
    EXPECT_EQ(json_message("IMG 0 error: x"),
              R"({"event":"message","level":"error","module":"IMG","text":"x"})");
    EXPECT_EQ(json_message("odd"), R"({"event":"message","level":"","module":"odd","text":""})");
    EXPECT_EQ(json_message(""), R"({"event":"message","level":"","module":"","text":""})");
}

} // namespace vx::render
