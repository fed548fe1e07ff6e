#include "cache/cloud/error.h"
#include "cache/cloud/file.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <thread>

namespace vx::cache {
namespace {

std::string reason(const std::string& path) {
    try {
        const InputFile file(path);
    } catch (const FileError& why) {
        return why.text();
    }
    return "";
}

TEST(InputFile, ReadsAnywhereAndNamesWhereItEnds) {
    const TestFolder folder;
    const InputFile file(folder.put("a", "0123456789"));
    EXPECT_EQ(file.size(), 10);
    char out[4] = {};
    file.read(3, out, 3);
    EXPECT_STREQ(out, "345");
    EXPECT_EQ(file.read_some(8, out, 3), 2U);
    try {
        file.read(8, out, 3);
        FAIL();
    } catch (const FileError& why) {
        EXPECT_EQ(why.text(), folder.path("a") + ": byte 8: the file ends too early");
    }
}

TEST(InputFile, RefusesDirectoriesDevicesAndMissingFiles) {
    const TestFolder folder;
    EXPECT_EQ(reason(folder.path("no")), folder.path("no") + ": No such file or directory");
    EXPECT_EQ(reason(folder.path("")), folder.path("") + ": Is a directory");
    EXPECT_EQ(reason("/dev/null"), "/dev/null: neither a file nor a pipe");
}

TEST(InputFile, APipeIsReadAtAnyOffset) {
    const TestFolder folder;
    const std::string name = folder.path("pipe");
    ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(name) << "abcdef"; });
    const InputFile file(name);
    writer.join();
    char out[3] = {};
    file.read(4, out, 2);
    EXPECT_STREQ(out, "ef");
    EXPECT_EQ(file.size(), 6);
}

TEST(ByteReader, LinesAndBytesAndWhereTheyStand) {
    const TestFolder folder;
    const InputFile file(folder.put("a", "one\r\n\ntwo"));
    ByteReader reader(file, 0, file.size());
    std::string_view line;
    EXPECT_EQ(reader.peek(), 'o');
    EXPECT_EQ(reader.get(), 'o');
    EXPECT_EQ(reader.offset(), 1);
    ASSERT_TRUE(reader.line(line, 10));
    EXPECT_EQ(line, "ne");
    EXPECT_EQ(reader.offset(), 5);
    ASSERT_TRUE(reader.line(line, 10));
    EXPECT_EQ(line, "");
    ASSERT_TRUE(reader.line(line, 10));
    EXPECT_EQ(line, "two");
    EXPECT_FALSE(reader.line(line, 10));
    EXPECT_EQ(reader.get(), -1);
}

TEST(ByteReader, LinesBeyondTheLimitAreErrorsAtTheirStart) {
    const TestFolder folder;
    const InputFile file(folder.put("a", "ab\n" + std::string(200000, 'x') + "\nlast"));
    ByteReader reader(file, 0, file.size());
    std::string_view line;
    ASSERT_TRUE(reader.line(line, 100));
    try {
        reader.line(line, 199999);
        FAIL();
    } catch (const FileError& why) {
        EXPECT_EQ(why.offset, 3);
    }
    ByteReader again(file, 3, file.size());
    ASSERT_TRUE(again.line(line, 200000));
    EXPECT_EQ(line.size(), 200000U);
    ASSERT_TRUE(again.line(line, 100));
    EXPECT_EQ(line, "last");
}

} // namespace
} // namespace vx::cache
