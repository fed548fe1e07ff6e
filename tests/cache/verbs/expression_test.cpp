#include "cache/cloud/error.h"
#include "cache/verbs/expression.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vx::cache {
namespace {

class Expressions : public testing::Test {
  protected:
    Expressions() : cloud(3) {
        cloud.add<double>("position", 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
        cloud.add<float>("opacityPP", 1, {0.25f, 0.5f, 1});
        cloud.add<std::int32_t>("tag", 1, {1, 2, 4});
        cloud.add<double>("primvars:my-value", 1, {10, 20, 30});
        cloud.add<double>("one", 2, {6, 7}, true);
    }
    std::vector<double> results(const std::string& text, int width = 1, int component = 0) {
        Expression expression(cloud, "--x", text, width, component);
        const auto values = expression.evaluate(0, 3);
        return {values.begin(), values.end()};
    }
    std::string error(const std::string& text) {
        try {
            (void)results(text);
        } catch (const std::exception& why) {
            return why.what();
        }
        return "";
    }
    MemoryCloud cloud;
};

using Values = std::vector<double>;

TEST_F(Expressions, UseTheAttributesOfEachPoint) {
    EXPECT_EQ(results("tag*10 + opacityPP"), (Values{10.25, 20.5, 41}));
    EXPECT_EQ(results("position.y - position.x"), (Values{1, 1, 1}));
    EXPECT_EQ(results("position.b + position.2"), (Values{6, 12, 18}));
    EXPECT_EQ(results("primvars_my_value"), (Values{10, 20, 30}));
    EXPECT_EQ(results("one.y + tag"), (Values{8, 9, 11}));
    EXPECT_EQ(results("3"), (Values{3, 3, 3}));
}

TEST_F(Expressions, CompareAndJoin) {
    EXPECT_EQ(results("opacityPP >= 0.5 && position.y < 8 && tag != 4"), (Values{0, 1, 0}));
    EXPECT_EQ(results("tag == 1 || tag == 4"), (Values{1, 0, 1}));
    EXPECT_EQ(results("!(tag == 1)"), (Values{0, 1, 1}));
    EXPECT_EQ(results("tag <= 2 ? 5 : 6"), (Values{5, 5, 6}));
}

TEST_F(Expressions, WholeVectorsStandForOneComponent) {
    EXPECT_EQ(results("position*2", 3, 1), (Values{4, 10, 16}));
    EXPECT_EQ(results("position*position.x", 3, 2), (Values{3, 24, 63}));
}

TEST_F(Expressions, RunsStartAnywhere) {
    Expression expression(cloud, "--x", "tag");
    EXPECT_EQ(expression.evaluate(1, 2)[1], 4);
    EXPECT_EQ(expression.evaluate(0, 1)[0], 1);
}

TEST_F(Expressions, MistakesHaveAColumn) {
    EXPECT_NE(error("tag = 4").find("column 5: "), std::string::npos) << error("tag = 4");
    EXPECT_NE(error("tag + nothing*2").find("column 7: there is no attribute 'nothing'"),
              std::string::npos);
    EXPECT_NE(error("tag + position").find("column 7: 'position' has 3 values"), std::string::npos);
    EXPECT_NE(error("position.x + position.w").find("column 14: "), std::string::npos);
    EXPECT_NE(error("(tag + 1").find("column 9: "), std::string::npos) << error("(tag + 1");
    EXPECT_NE(error("tag + * 2").find("column 7: "), std::string::npos) << error("tag + * 2");
    EXPECT_NE(error("max(1, 2), tag").find("column 10: "), std::string::npos);
    EXPECT_NE(error("").find("column 1: "), std::string::npos) << error("");
    EXPECT_THROW(results("tag +"), UsageError);
    EXPECT_THROW(results("nothing"), FileError);
}

TEST(SplitExpressions, AtCommasOutsideParentheses) {
    EXPECT_EQ(split_expressions("1,max(2,3),x"), (std::vector<std::string>{"1", "max(2,3)", "x"}));
    EXPECT_EQ(split_expressions("1"), std::vector<std::string>{"1"});
}

} // namespace
} // namespace vx::cache
