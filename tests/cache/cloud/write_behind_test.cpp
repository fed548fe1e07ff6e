#include "cache/cloud/error.h"
#include "cache/cloud/write_behind.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <fcntl.h>

namespace vx::cache {
namespace {

TEST(WriteBehind, WritesBlocksAtTheirPlaces) {
    const TestFolder folder;
    const std::string name = folder.path("a");
    const Descriptor file(::open(name.c_str(), O_RDWR | O_CREAT, 0600));
    WriteBehind behind(file, name);
    std::vector<char> block;
    for (int i = 0; i < 50; ++i) {
        block.assign(1000, static_cast<char>('A' + i));
        behind.put(1000 * i, block, 1000);
        EXPECT_GE(block.size(), 1000U);
    }
    behind.wait();
    const std::string got = folder.get("a");
    ASSERT_EQ(got.size(), 50000U);
    for (std::size_t i = 0; i < got.size(); ++i)
        ASSERT_EQ(got[i], static_cast<char>('A' + i / 1000));
}

TEST(WriteBehind, AFailureIsThrownByALaterCallAndByEveryOneAfterIt) {
    const std::string name = "full";
    const Descriptor file(::open("/dev/full", O_WRONLY));
    WriteBehind behind(file, name);
    std::vector<char> block(10, 'x');
    behind.put(70, block, 10);
    for (int i = 0; i < 2; ++i) {
        try {
            behind.wait();
            FAIL();
        } catch (const FileError& why) {
            EXPECT_EQ(why.text(), "full: byte 70: No space left on device");
        }
    }
    EXPECT_THROW(behind.put(80, block, 10), FileError);
}

} // namespace
} // namespace vx::cache
