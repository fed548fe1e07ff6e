// The record walk.
#include "src/points/pdc_walk.h"

#include "tests/points/pdc_bytes.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <unistd.h>
#include <utility>

namespace {

using pdc_bytes::Bytes;
using pdc_bytes::File;

TEST(PdcDataSize, FollowsTheTableOfTypeCodes) {
    constexpr std::int64_t kSingle[] = {4, -1, 8, -1, 24, -1};
    constexpr std::int64_t kEach[] = {-1, 4, -1, 8, -1, 24};
    for (int code = 0; code < 6; ++code) {
        EXPECT_EQ(IsPerParticleCode(code), code % 2 == 1);
        for (const int n : {0, 1, 1000, std::numeric_limits<int>::max()}) {
            const std::int64_t expected = code % 2 == 1 ? kEach[code] * n : kSingle[code];
            EXPECT_EQ(PdcDataSize(code, n), expected) << code << " of " << n;
        }
    }
}

TEST(PdcDataSize, IsUnknownForOtherCodesAndNegativeCounts) {
    EXPECT_EQ(PdcDataSize(6, 10), -1);
    EXPECT_EQ(PdcDataSize(-1, 10), -1);
    EXPECT_EQ(PdcDataSize(5, -1), -1);
    EXPECT_EQ(PdcDataSize(4, -1), 24) << "one value does not depend on the count";
}

TEST(PdcWalk, SeesEveryTypeCodeWithOffsetsAndSizes) {
    Bytes b;
    b.header(3, 6);
    b.record("a", 0).i32(1);
    b.record("bb", 1).i32(1).i32(2).i32(3);
    b.record("ccc", 2).f64(1);
    b.record("", 3).doubles({1, 2, 3});
    b.record(std::string_view("e\0e", 3), 4).doubles({1, 2, 3});
    b.record("f", 5).doubles({1, 2, 3, 4, 5, 6, 7, 8, 9});
    const File f = pdc_bytes::file_of(b.text);
    CPdcWalk walk(f.get());
    ASSERT_TRUE(walk.ReadHeader());
    EXPECT_EQ(std::string(walk.header.magic, 4), "PDC ");
    EXPECT_EQ(walk.header.particleCount, 3);
    EXPECT_EQ(walk.header.attributeCount, 6);
    const std::string names[] = {"a", "bb", "ccc", "", std::string("e\0e", 3), "f"};
    constexpr std::int64_t kOffsets[] = {37, 51, 74, 90, 125, 158};
    constexpr std::int64_t kSizes[] = {4, 12, 8, 24, 24, 72};
    for (int i = 0; i < 6; ++i) {
        ASSERT_TRUE(walk.NextRecord()) << i;
        EXPECT_EQ(walk.name, names[i]);
        EXPECT_EQ(walk.code, i);
        EXPECT_EQ(walk.dataOffset, kOffsets[i]);
        EXPECT_EQ(walk.dataSize, kSizes[i]);
        EXPECT_EQ(std::ftell(f.get()), kOffsets[i]);
        ASSERT_TRUE(walk.SkipData());
        EXPECT_EQ(walk.lastSkippedSize, kSizes[i]);
    }
    EXPECT_EQ(walk.Remaining(), 0);
    EXPECT_FALSE(walk.NextRecord());
    EXPECT_EQ(walk.error, PdcError::ShortRecord);
    EXPECT_EQ(walk.errorOffset, static_cast<std::int64_t>(b.text.size()));
}

TEST(PdcWalk, StartsWhereTheStreamStands) {
    Bytes b;
    b.raw("xyz").header(1, 1).record("a", 2).f64(4);
    const File f = pdc_bytes::file_of(b.text);
    (void)std::fseek(f.get(), 3, SEEK_SET);
    CPdcWalk walk(f.get());
    EXPECT_EQ(walk.Remaining(), 28 + 9 + 8);
    ASSERT_TRUE(walk.ReadHeader());
    ASSERT_TRUE(walk.NextRecord());
    EXPECT_EQ(walk.dataOffset, 37);
    walk.MarkDataRead();
    EXPECT_EQ(walk.Remaining(), 0);
}

TEST(PdcWalk, AnUnknownCodeRepeatsTheSizeOfTheLastSkippedRecord) {
    Bytes b;
    b.header(2, 3).record("u", 9).record("k", 3).doubles({1, 2}).record("u", -4);
    b.raw(std::string(16, '?')).raw("end");
    const File f = pdc_bytes::file_of(b.text);
    CPdcWalk walk(f.get());
    ASSERT_TRUE(walk.ReadHeader());
    ASSERT_TRUE(walk.NextRecord());
    EXPECT_EQ(walk.dataSize, -1);
    ASSERT_TRUE(walk.SkipData());
    EXPECT_EQ(walk.lastSkippedSize, 0) << "nothing was skipped before";
    ASSERT_TRUE(walk.NextRecord());
    EXPECT_EQ(walk.name, "k");
    ASSERT_TRUE(walk.SkipData());
    ASSERT_TRUE(walk.NextRecord());
    EXPECT_EQ(walk.code, -4);
    ASSERT_TRUE(walk.SkipData());
    EXPECT_EQ(walk.Remaining(), 3);
}

TEST(PdcWalk, SkippingPastTheEndSucceeds) {
    const File f = pdc_bytes::file_of(Bytes().header(1000, 1).record("u", 5).text);
    CPdcWalk walk(f.get());
    ASSERT_TRUE(walk.ReadHeader());
    ASSERT_TRUE(walk.NextRecord());
    EXPECT_TRUE(walk.SkipData());
    EXPECT_EQ(walk.Remaining(), 0);
    EXPECT_FALSE(walk.NextRecord());
}

TEST(PdcWalk, ReportsErrorAndOffset) {
    struct Row {
        const char* what;
        Bytes bytes;
        PdcError error;
        std::int64_t offset;
    };
    const Row table[] = {
        {"nothing at all", Bytes(), PdcError::ShortHeader, 4},
        {"header cut in the particle count", Bytes().raw(Bytes().header(1, 1).text.substr(0, 22)),
         PdcError::ShortHeader, 20},
        {"no record", Bytes().header(1, 1), PdcError::ShortRecord, 28},
        {"negative name length", Bytes().header(1, 1).i32(-1).i32(2).f64(0),
         PdcError::BadNameLength, 28},
        {"name longer than the file", Bytes().header(1, 1).i32(13).i32(2).f64(0),
         PdcError::BadNameLength, 28},
        {"name up to the end", Bytes().header(1, 1).i32(3).raw("abc"), PdcError::ShortRecord, 35},
        {"type code cut", Bytes().header(1, 1).i32(1).raw("abc"), PdcError::ShortRecord, 33},
        {"negative count skipped", Bytes().header(-1, 1).record("a", 1), PdcError::BadParticleCount,
         37},
    };
    for (const Row& row : table) {
        const File f = pdc_bytes::file_of(row.bytes.text);
        CPdcWalk walk(f.get());
        EXPECT_FALSE(walk.ReadHeader() && walk.NextRecord() && walk.SkipData()) << row.what;
        EXPECT_EQ(walk.error, row.error) << row.what;
        EXPECT_EQ(walk.errorOffset, row.offset) << row.what;
    }
}

TEST(PdcWalk, StartsWithZeros) {
    const File f = pdc_bytes::file_of("1234567");
    const CPdcWalk walk(f.get());
    EXPECT_EQ(std::string(walk.header.magic, 4), std::string(4, '\0'));
    EXPECT_EQ(walk.header.particleCount, 0);
    EXPECT_EQ(walk.header.attributeCount, 0);
    EXPECT_EQ(walk.name, "");
    EXPECT_EQ(walk.code, 0);
    EXPECT_EQ(walk.dataOffset, 0);
    EXPECT_EQ(walk.dataSize, 0);
    EXPECT_EQ(walk.lastSkippedSize, 0);
    EXPECT_EQ(walk.error, PdcError::None);
    EXPECT_EQ(walk.errorOffset, 0);
    EXPECT_EQ(walk.Remaining(), 7);
}

TEST(PdcWalk, NullStreamFails) {
    CPdcWalk walk(nullptr);
    EXPECT_EQ(walk.Remaining(), -1);
    EXPECT_FALSE(walk.ReadHeader());
    EXPECT_EQ(walk.error, PdcError::ShortHeader);
    EXPECT_EQ(walk.errorOffset, 0);
}

TEST(PdcWalk, CanHoldUpToTheRestOfTheFile) {
    const File f = pdc_bytes::file_of(Bytes().header(1, 1).raw("abc").text);
    CPdcWalk walk(f.get());
    EXPECT_TRUE(walk.CanHold(31));
    EXPECT_FALSE(walk.CanHold(32));
    ASSERT_TRUE(walk.ReadHeader());
    EXPECT_TRUE(walk.CanHold(3));
    EXPECT_FALSE(walk.CanHold(4));
    EXPECT_TRUE(CPdcWalk(nullptr).CanHold(INT64_MAX)) << "a size that is unknown";
}

TEST(PdcWalk, ARecordWithoutDataIsSkipped) {
    const File f = pdc_bytes::file_of(Bytes().header(0, 2).record("u", 3).record("v", 2).text);
    CPdcWalk walk(f.get());
    ASSERT_TRUE(walk.ReadHeader());
    ASSERT_TRUE(walk.NextRecord());
    EXPECT_EQ(walk.dataSize, 0);
    EXPECT_TRUE(walk.SkipData());
    ASSERT_TRUE(walk.NextRecord());
    EXPECT_EQ(walk.name, "v");
}

TEST(PdcWalk, AStreamThatStandsPastItsEndHasNoKnownSize) {
    const File f = pdc_bytes::file_of("1234567");
    for (const long at : {7L, 8L, 100L}) {
        ASSERT_EQ(std::fseek(f.get(), at, SEEK_SET), 0);
        EXPECT_EQ(CPdcWalk(f.get()).Remaining(), -1) << at;
    }
}

// Seeks to the end and not back.
TEST(PdcWalk, AStreamThatDoesNotSeekBackHasNoKnownSize) {
    const cookie_io_functions_t functions = {nullptr, nullptr,
                                             [](void*, off64_t* offset, int whence) {
                                                 if (whence == SEEK_END) *offset = 1000;
                                                 return whence == SEEK_SET ? -1 : 0;
                                             },
                                             nullptr};
    int nothing = 0;
    const File f(fopencookie(&nothing, "rb", functions));
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(CPdcWalk(f.get()).Remaining(), -1);
}

TEST(PdcWalk, SizeOfADeviceIsUnknown) {
    const File f(std::fopen("/dev/zero", "rb"));
    ASSERT_NE(f, nullptr);
    CPdcWalk walk(f.get());
    EXPECT_EQ(walk.Remaining(), -1);
    EXPECT_TRUE(walk.ReadHeader());
    EXPECT_TRUE(walk.NextRecord());
    EXPECT_EQ(walk.name, "");
}

TEST(ReadGrowing, GivesExactlyTheBytesThatWereAskedFor) {
    std::string all;
    for (int i = 0; i < 10000; ++i)
        all += static_cast<char>(i % 251);
    for (const std::size_t n : {0U, 1U, 4095U, 4096U, 4097U, 8192U, 9999U, 10000U}) {
        const File f = pdc_bytes::file_of(all);
        std::string bytes = "left from before";
        EXPECT_TRUE(ReadGrowing(f.get(), n, bytes)) << n;
        EXPECT_EQ(bytes, all.substr(0, n)) << n;
        EXPECT_EQ(std::ftell(f.get()), static_cast<long>(n));
    }
}

TEST(ReadGrowing, FailsWhereTheStreamEnds) {
    for (const std::size_t held : {0U, 1U, 4095U, 4096U, 5000U}) {
        const File f = pdc_bytes::file_of(std::string(held, 'x'));
        std::string bytes;
        EXPECT_FALSE(ReadGrowing(f.get(), held + 1, bytes)) << held;
    }
}

TEST(PdcErrorText, DescribesTheError) {
    const std::pair<PdcError, const char*> table[] = {
        {PdcError::None, "no error"},
        {PdcError::ShortHeader, "the file ends inside the header"},
        {PdcError::ShortRecord, "the file ends where an attribute's name and type code should be"},
        {PdcError::BadNameLength,
         "an attribute's name length is negative or more than the file holds"},
        {PdcError::BadParticleCount,
         "an attribute has a value for each of a negative number of particles"},
        {PdcError::DataPastEnd, "an attribute's values are more than the file holds"},
        {PdcError::BadAttributeCount, "the attributes are more than the file can hold"},
        {PdcError::SeekFailed, "an attribute cannot be skipped in this stream"},
        {PdcError::OutOfMemory, "not enough memory"},
        {static_cast<PdcError>(99), "unknown error"},
    };
    for (const auto& [error, text] : table)
        EXPECT_STREQ(PdcErrorText(error), text);
}

TEST(PdcWalk, SizeOfAPipeIsUnknownAndSkippingFails) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string bytes = Bytes().header(1, 1).record("a", 2).f64(1).text;
    ASSERT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(ends[1]);
    const File f(fdopen(ends[0], "rb"));
    CPdcWalk walk(f.get());
    EXPECT_EQ(walk.Remaining(), -1);
    ASSERT_TRUE(walk.ReadHeader());
    ASSERT_TRUE(walk.NextRecord());
    EXPECT_EQ(walk.name, "a");
    EXPECT_FALSE(walk.SkipData());
    EXPECT_EQ(walk.error, PdcError::SeekFailed);
}

} // namespace
