#include "host/render/json_line.h"

#include <gtest/gtest.h>

namespace vx::render {

TEST(JsonLine, MembersKeepTheirOrder) {
    EXPECT_EQ(json_line({{"event", "end"}, {"b", -3}, {"a", "x\"y"}, {"d", {"1", "\\"}}}),
              R"({"event":"end","b":-3,"a":"x\"y","d":["1","\\"]})");
}

TEST(JsonLine, IsOneLineOfUtf8) {
    EXPECT_EQ(json_line({{"a", "1\n2\xff"}}), "{\"a\":\"1\\n2\xef\xbf\xbd\"}");
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
