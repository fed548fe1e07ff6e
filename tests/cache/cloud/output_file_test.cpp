#include "cache/cloud/error.h"
#include "cache/cloud/file.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace vx::cache {
namespace {

TEST(OutputFile, AppearsAtCommitAndNotBefore) {
    const TestFolder folder;
    OutputFile out(folder.path("a"), false);
    out.write("hello");
    EXPECT_FALSE(std::filesystem::exists(folder.path("a")));
    out.commit();
    EXPECT_EQ(folder.get("a"), "hello");
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a"}));
}

TEST(OutputFile, WithoutCommitNothingStays) {
    const TestFolder folder;
    { OutputFile(folder.path("a"), false).write("hello"); }
    EXPECT_TRUE(folder.names().empty());
}

TEST(OutputFile, ReplacesOnlyIfForcedAndKeepsFilesCreatedMeanwhile) {
    const TestFolder folder;
    folder.put("a", "mine");
    EXPECT_THROW(OutputFile(folder.path("a"), false), FileError);
    OutputFile late(folder.path("b"), false);
    late.write("ours");
    folder.put("b", "theirs");
    EXPECT_THROW(late.commit(), FileError);
    EXPECT_EQ(folder.get("b"), "theirs");
    OutputFile forced(folder.path("a"), true);
    forced.write("new");
    forced.commit();
    EXPECT_EQ(folder.get("a"), "new");
}

TEST(OutputFile, ReplacesTheFileThatALinkLeadsTo) {
    const TestFolder folder;
    folder.put("real", "old");
    std::filesystem::create_symlink("real", folder.path("link"));
    OutputFile out(folder.path("link"), true);
    out.write("new");
    out.commit();
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
    EXPECT_EQ(folder.get("real"), "new");
}

TEST(OutputFile, BlocksRunsAndPlacesComeOutInOrder) {
    const TestFolder folder;
    std::string want;
    OutputFile out(folder.path("a"), false);
    // Small, as large as a block, larger than two, and filled in place.
    for (const std::size_t bytes : {3U, 2097152U, 5U, 5000000U, 1U, 2097150U, 100U}) {
        std::string some(bytes, static_cast<char>('a' + want.size() % 23));
        some.back() = '|';
        if (bytes == 100) {
            std::copy(some.begin(), some.end(), out.extend(bytes));
        } else {
            out.write(some);
        }
        want += some;
        EXPECT_EQ(out.position(), std::ssize(want));
    }
    out.flush();
    out.write_at(1, "XYZ", 3);
    want.replace(1, 3, "XYZ");
    out.write("end");
    out.commit();
    EXPECT_EQ(folder.get("a"), want + "end");
}

TEST(OutputFile, AFullDeviceIsAnErrorAtTheByte) {
    OutputFile out("/dev/full", false);
    out.write("hello");
    try {
        out.commit();
        FAIL();
    } catch (const FileError& why) {
        EXPECT_EQ(why.text(), "/dev/full: byte 0: No space left on device");
    }
}

TEST(OutputFile, GetsTheAccessRightsOfAnyNewFile) {
    const TestFolder folder;
    const mode_t mask = ::umask(027);
    OutputFile out(folder.path("a"), false);
    out.commit();
    ::umask(mask);
    struct stat status {};
    ASSERT_EQ(::stat(folder.path("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

} // namespace
} // namespace vx::cache
