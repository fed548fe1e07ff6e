#include "cache/reader/small_renderer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vx::cache {
namespace {

using testing::HasSubstr;

std::string text_of(miTag tag) {
    std::string text = static_cast<const char*>(mi_db_access(tag));
    mi_db_unpin(tag);
    return text;
}

TEST(SmallRenderer, StringsAreFoundByTheirTags) {
    SmallRenderer renderer;
    const miTag first = renderer.add_string("one");
    const void* const address = mi_db_access(first);
    const miTag second = renderer.add_string("two");
    for (int i = 0; i < 100; ++i)
        renderer.add_string("more");
    EXPECT_EQ(text_of(first), "one");
    EXPECT_EQ(text_of(second), "two");
    EXPECT_EQ(mi_db_access(first), address);
    EXPECT_NE(first, miNULLTAG);
    EXPECT_FALSE(renderer.error().has_value());
}

TEST(SmallRenderer, UnknownElementsAreErrors) {
    for (const miTag tag : {miTag{0}, miTag{2}, miTag{4000000000}}) {
        SmallRenderer renderer;
        renderer.add_string("one");
        EXPECT_EQ(text_of(tag), "") << tag;
        ASSERT_TRUE(renderer.error().has_value()) << tag;
        EXPECT_EQ(*renderer.error(),
                  "the shader uses element " + std::to_string(tag) + ", which does not exist");
    }
    SmallRenderer renderer;
    mi_db_unpin(1);
    EXPECT_TRUE(renderer.error().has_value());
}

TEST(SmallRenderer, KeepsTheUserPointerOfTheInstance) {
    SmallRenderer renderer;
    int value = 0;
    void** address = nullptr;
    ASSERT_EQ(mi_query(miQ_FUNC_USERPTR, nullptr, miNULLTAG, &address), miTRUE);
    EXPECT_EQ(*address, nullptr);
    *address = &value;
    void** again = nullptr;
    ASSERT_EQ(mi_query(miQ_FUNC_USERPTR, nullptr, miNULLTAG, &again), miTRUE);
    EXPECT_EQ(*again, &value);
    EXPECT_FALSE(renderer.error().has_value());
}

TEST(SmallRenderer, OtherQueriesAreErrorsThatLeaveTheResult) {
    SmallRenderer renderer;
    int result = 7;
    EXPECT_EQ(mi_query(miQ_FUNC_DECL, nullptr, miNULLTAG, &result), miFALSE);
    EXPECT_EQ(result, 7);
    EXPECT_THAT(renderer.error().value_or(""), HasSubstr("query 54 is not supported"));
}

TEST(SmallRenderer, EvaluatedConnectionsAreErrors) {
    SmallRenderer renderer;
    int parameter = 0;
    EXPECT_EQ(mi_phen_eval(nullptr, &parameter), &parameter);
    EXPECT_THAT(renderer.error().value_or(""), HasSubstr("connection"));
}

TEST(SmallRenderer, TheFirstErrorIsKept) {
    SmallRenderer renderer;
    mi_db_access(9);
    mi_phen_eval(nullptr, nullptr);
    EXPECT_THAT(renderer.error().value_or(""), HasSubstr("element 9"));
}

TEST(SmallRenderer, MessagesAreTakenInTheirOrder) {
    SmallRenderer renderer;
    mi_warning("%s: %d", "a", 1);
    mi_info("b");
    const auto messages = renderer.take_messages();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].level + " " + messages[0].text, "warning a: 1");
    EXPECT_EQ(messages[1].level + " " + messages[1].text, "info b");
    EXPECT_TRUE(renderer.take_messages().empty());
}

TEST(SmallRenderer, SubstitutesNothingAndCutsToTheCapacity) {
    const SmallRenderer renderer;
    char buffer[8] = "xxxxxxx";
    mi_string_substitute(buffer, "{A}bcd", 5);
    EXPECT_STREQ(buffer, "{A}b");
    EXPECT_EQ(buffer[5], 'x');
    mi_string_substitute(buffer, "y", -1);
    EXPECT_STREQ(buffer, "{A}b");
}

TEST(SmallRenderer, WithoutOneTheInterfaceFailsQuietly) {
    { const SmallRenderer gone; }
    EXPECT_EQ(SmallRenderer::current(), nullptr);
    EXPECT_EQ(text_of(1), "");
    void** address = nullptr;
    EXPECT_EQ(mi_query(miQ_FUNC_USERPTR, nullptr, miNULLTAG, &address), miFALSE);
    mi_warning("nobody listens");
}

} // namespace
} // namespace vx::cache
