#include "cache/verbs/typos.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

TEST(NearestWord, IsAtMostAThirdOfTheLettersAway) {
    const std::vector<std::string> words{"filter", "info", "diff", "--labels"};
    EXPECT_EQ(nearest_word("filtr", words), "filter");     // one letter is missing
    EXPECT_EQ(nearest_word("fliter", words), "filter");    // two are exchanged
    EXPECT_EQ(nearest_word("infos", words), "info");       // one too many
    EXPECT_EQ(nearest_word("duff", words), "diff");        // another letter
    EXPECT_EQ(nearest_word("--lable", words), "--labels"); // two changes of seven letters
    EXPECT_EQ(nearest_word("into", words), "info");
    EXPECT_EQ(nearest_word("inof", words), "info");
    EXPECT_EQ(nearest_word("duct", words), ""); // three changes of four letters
    EXPECT_EQ(nearest_word("", words), "");
}

class FindTypo : public testing::Test {
  protected:
    FindTypo() {
        CLI::App* const filter = app.add_subcommand("filter");
        filter->add_option("--labels", text);
        filter->add_flag("-f,--force", flag);
        app.add_subcommand("info");
    }
    CLI::App app;
    std::string text;
    bool flag = false;
};

TEST_F(FindTypo, NamesTheVerb) {
    EXPECT_EQ(find_typo(app, {"filtr", "--lables"}),
              "unknown verb 'filtr'; did you mean 'filter'?");
    EXPECT_EQ(find_typo(app, {"bake"}), "unknown verb 'bake'");
}

TEST_F(FindTypo, NamesTheOptionOfTheVerb) {
    EXPECT_EQ(find_typo(app, {"filter", "-f", "a", "--lables=3"}),
              "unknown option '--lables' of filter; did you mean '--labels'?");
    EXPECT_EQ(find_typo(app, {"info", "--labels", "3"}), "unknown option '--labels' of info");
    EXPECT_EQ(find_typo(app, {"--hlep", "info"}),
              "unknown option '--hlep'; did you mean '--help'?");
}

TEST_F(FindTypo, LeavesNumbersNamesAndWhatIsRightAlone) {
    EXPECT_EQ(find_typo(app, {"filter", "-f", "-0.5", "-", "a", "--labels", "3"}), "");
    EXPECT_EQ(find_typo(app, {"filter", "--", "--lables"}), "");
    EXPECT_EQ(find_typo(app, {}), "");
}

} // namespace
} // namespace vx::cache
