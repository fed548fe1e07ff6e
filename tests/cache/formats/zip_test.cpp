#include "cache/cloud/error.h"
#include "cache/formats/zip.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

// What the directory's place and the local headers say of entries of any size, without their bytes.
TEST(Zip, WrittenEntriesReadBack) {
    const TestFolder folder;
    ZipEntry a{"a.npy", 0, 0x12345678u, 5, 5, 0, 0, {}};
    std::string bytes = zip_local_header(a) + "hello";
    ZipEntry b{"b.npy", 0, 7, 0, 0, std::ssize(bytes), 0, {}};
    b.comment = "a note";
    bytes += zip_local_header(b);
    bytes += zip_directory({a, b}, std::ssize(bytes));
    const InputFile file(folder.put("a.npz", bytes));
    const auto entries = read_zip(file);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].name, "a.npy");
    EXPECT_EQ(entries[0].crc, 0x12345678u);
    EXPECT_EQ(entries[0].size, 5);
    EXPECT_EQ(bytes.substr(static_cast<std::size_t>(entries[0].data), 5), "hello");
    EXPECT_EQ(entries[1].size, 0);
    EXPECT_EQ(entries[0].comment, "");
    EXPECT_EQ(entries[1].comment, "a note");
}

// By the format's description: the 32-bit fields are full and the extra field of kind 1 has the
// size twice; the directory's own 64-bit record follows where it begins beyond 4 GiB.
TEST(Zip, SizesAndPlacesBeyond32Bits) {
    const ZipEntry far{"f", 0, 1, 5000000000, 5000000000, 6000000000, 0, {}};
    const std::string text = zip_directory({far}, 11000000000);
    EXPECT_EQ(text.substr(20, 8), std::string(8, '\xff')); // both sizes
    EXPECT_EQ(text.substr(42, 4), std::string(4, '\xff')); // the header's offset
    const std::string extra = text.substr(46 + 1, 28);
    EXPECT_EQ(extra.substr(0, 4), std::string("\x01\x00\x18\x00", 4));
    EXPECT_EQ(extra.substr(4, 8), std::string("\x00\xf2\x05\x2a\x01\x00\x00\x00", 8));
    EXPECT_EQ(extra.substr(20, 8), std::string("\x00\xbc\xa0\x65\x01\x00\x00\x00", 8));
    EXPECT_NE(text.find("PK\x06\x06"), std::string::npos);
    EXPECT_NE(text.find("PK\x06\x07"), std::string::npos);
}

std::string reason(const std::string& bytes) {
    const TestFolder folder;
    const InputFile file(folder.put("a.npz", bytes));
    try {
        read_zip(file);
    } catch (const FileError& why) {
        return why.what();
    }
    return "";
}

TEST(Zip, DirectoriesThatLieAreErrors) {
    ZipEntry a{"a", 0, 0, 5, 5, 0, 0, {}};
    const std::string body = zip_local_header(a) + "hello";
    const auto with = [&](const ZipEntry& entry) {
        return body + zip_directory({entry}, std::ssize(body));
    };
    EXPECT_EQ(reason(with(a)), "");
    ZipEntry large = a;
    large.packed = large.size = 4000;
    EXPECT_EQ(reason(with(large)),
              "'a' has 4000 bytes by the directory, which the file cannot hold");
    ZipEntry outside = a;
    outside.header = 4000;
    EXPECT_EQ(reason(with(outside)), "'a' is outside the file");
    EXPECT_EQ(reason(body), "the archive's directory is missing at its end");
    EXPECT_EQ(reason(body + zip_directory({a}, std::ssize(body) + 100)),
              "the directory is outside the file");
}

} // namespace
} // namespace vx::cache
