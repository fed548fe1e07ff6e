// Big-endian values in blocks.
#include "src/points/big_endian.h"

#include "tests/points/pdc_bytes.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using pdc_bytes::Bytes;

constexpr std::size_t kDoublesPerBlock = kStageBytes / sizeof(double);

TEST(BigEndian, IntsAreFourBytesMostSignificantFirst) {
    const pdc_bytes::File f = pdc_bytes::file_of("");
    WriteBigEndianInt(f.get(), 0x01020304);
    WriteBigEndianInt(f.get(), -2);
    EXPECT_EQ(pdc_bytes::contents(f.get()), std::string("\x01\x02\x03\x04\xff\xff\xff\xfe", 8));
}

TEST(BigEndian, IntsReadBack) {
    const pdc_bytes::File f = pdc_bytes::file_of(std::string("\x80\x00\x00\x00\x00\x00\x01", 7));
    std::int32_t v = 0;
    EXPECT_TRUE(ReadBigEndianInt(f.get(), v));
    EXPECT_EQ(v, INT32_MIN);
    EXPECT_FALSE(ReadBigEndianInt(f.get(), v));
    EXPECT_EQ(v, INT32_MIN) << "a short read stores nothing";
}

TEST(BigEndian, AValueAroundEachBlockBorderArrives) {
    for (const std::size_t n : {std::size_t{0}, std::size_t{1}, kDoublesPerBlock - 1,
                                kDoublesPerBlock, kDoublesPerBlock + 1, 3 * kDoublesPerBlock + 7}) {
        const pdc_bytes::File f = pdc_bytes::file_of("");
        WriteBigEndian<double>(f.get(), n,
                               [](std::size_t i) { return 0.5 * static_cast<double>(i); });
        Bytes expected;
        for (std::size_t i = 0; i < n; ++i)
            expected.f64(0.5 * static_cast<double>(i));
        ASSERT_EQ(pdc_bytes::contents(f.get()), expected.text) << n;

        std::rewind(f.get());
        std::vector<double> back;
        EXPECT_TRUE(ReadBigEndian<double>(f.get(), n, [&](std::size_t i, double v) {
            EXPECT_EQ(i, back.size());
            back.push_back(v);
        }));
        ASSERT_EQ(back.size(), n);
        for (std::size_t i = 0; i < n; ++i)
            ASSERT_EQ(back[i], 0.5 * static_cast<double>(i));
    }
}

TEST(BigEndian, AShortReadStoresTheWholeValuesBeforeIt) {
    const std::size_t whole = kDoublesPerBlock + 3;
    Bytes b;
    for (std::size_t i = 0; i < whole; ++i)
        b.f64(static_cast<double>(i));
    b.raw("\x40\x00\x00");
    const pdc_bytes::File f = pdc_bytes::file_of(b.text);
    std::vector<double> back;
    EXPECT_FALSE(ReadBigEndian<double>(f.get(), whole + 1,
                                       [&](std::size_t, double v) { back.push_back(v); }));
    ASSERT_EQ(back.size(), whole);
    EXPECT_EQ(back.back(), static_cast<double>(whole - 1));
}

TEST(BigEndian, NullStreamIsNotRead) {
    const auto never = [](std::size_t) -> double {
        ADD_FAILURE();
        return 0;
    };
    WriteBigEndian<double>(nullptr, 4, never);
    WriteBigEndianInt(nullptr, 4);
    EXPECT_FALSE(ReadBigEndian<double>(nullptr, 1, [](std::size_t, double) { ADD_FAILURE(); }));
    EXPECT_TRUE(ReadBigEndian<double>(nullptr, 0, [](std::size_t, double) { ADD_FAILURE(); }))
        << "no value, no read, no test";
    std::int32_t v = 7;
    EXPECT_FALSE(ReadBigEndianInt(nullptr, v));
    EXPECT_EQ(v, 7);
}

} // namespace
