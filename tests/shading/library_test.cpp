#include "host/shading/library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using vx::shading::Libraries;

namespace {

class LibraryTest : public testing::Test {
  protected:
    void SetUp() override {
        root = fs::temp_directory_path() / ("vx_library_test_" + std::to_string(getpid()));
        fs::create_directories(root / "a");
        fs::create_directories(root / "b");
    }
    void TearDown() override {
        unsetenv("MI_LIBRARY_PATH");
        fs::remove_all(root);
    }
    void copy_to(const std::string& directory, const std::string& name) const {
        fs::copy_file(VX_TEST_SHADERS, root / directory / name,
                      fs::copy_options::overwrite_existing);
    }
    fs::path root;
    Libraries libraries;
};

} // namespace

TEST_F(LibraryTest, AbsolutePathIsTakenAsItIs) {
    EXPECT_EQ(libraries.load(VX_TEST_SHADERS), "");
    EXPECT_NE(libraries.symbol("test_constant"), nullptr);
    EXPECT_NE(libraries.symbol("test_constant_version"), nullptr);
    EXPECT_EQ(libraries.symbol("test_constant_init"), nullptr);
}

TEST_F(LibraryTest, GivenDirectoriesComeBeforeTheEnvironmentBeforeTheBuiltInOnes) {
    copy_to("a", "x.so");
    copy_to("b", "x.so");
    libraries.add_built_in_directory((root / "b").string());
    EXPECT_EQ(libraries.load("x.so"), "");
    EXPECT_THAT(libraries.loaded(), testing::ElementsAre((root / "b" / "x.so").string()));

    Libraries second;
    second.add_built_in_directory((root / "b").string());
    setenv("MI_LIBRARY_PATH", ("/nowhere;" + (root / "a").string()).c_str(), 1);
    EXPECT_EQ(second.load("x.so"), "");
    EXPECT_THAT(second.loaded(), testing::ElementsAre((root / "a" / "x.so").string()));

    Libraries third;
    third.add_directory((root / "b").string());
    EXPECT_EQ(third.load("x.so"), "");
    EXPECT_THAT(third.loaded(), testing::ElementsAre((root / "b" / "x.so").string()));
}

TEST_F(LibraryTest, TheSameFileIsAttachedOnce) {
    copy_to("a", "x.so");
    fs::create_symlink(root / "a" / "x.so", root / "a" / "y.so");
    libraries.add_directory((root / "a").string());
    EXPECT_EQ(libraries.load("x.so"), "");
    EXPECT_EQ(libraries.load("x.so"), "");
    EXPECT_EQ(libraries.load("y.so"), "");
    EXPECT_EQ(libraries.loaded().size(), 1u);
}

TEST_F(LibraryTest, MissingLibraryIsReportedWithTheSearchedPlaces) {
    libraries.add_directory("/some/place");
    EXPECT_EQ(libraries.load("none.so"),
              "there is no library \"none.so\" (tried /some/place/none.so, none.so)");
    EXPECT_EQ(libraries.load("/none.so"), "there is no library \"/none.so\" (tried /none.so)");
}

TEST_F(LibraryTest, InvalidLibraryIsRefusedWithTheReason) {
    std::ofstream(root / "a" / "text.so") << "not a library";
    const std::string why = libraries.load((root / "a" / "text.so").string());
    EXPECT_THAT(why, testing::HasSubstr("text.so"));
    EXPECT_TRUE(libraries.loaded().empty());
}

TEST_F(LibraryTest, SystemLibrariesAreNotSearched) {
    EXPECT_NE(libraries.load("libm.so.6"), "");
}
