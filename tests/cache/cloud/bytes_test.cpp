#include "cache/cloud/bytes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vx::cache {
namespace {

std::string counted(std::size_t bytes) {
    std::string out;
    for (std::size_t i = 0; i < bytes; ++i)
        out += static_cast<char>(i * 7 + 1);
    return out;
}

TEST(Load, ValuesOfBothOrdersAtAnyPlace) {
    const unsigned char bytes[] = {0xff, 0x01, 0x02, 0x03, 0x84, 0x3f, 0xf8, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(load<std::uint32_t>(bytes + 1), 0x84030201U);
    EXPECT_EQ(load<std::uint32_t>(bytes + 1, true), 0x01020384U);
    EXPECT_EQ(load<std::int16_t>(bytes + 3), static_cast<std::int16_t>(0x8403));
    EXPECT_EQ(load<std::uint8_t>(bytes + 4, true), 0x84);
    EXPECT_EQ(load<double>(bytes + 5, true), 1.5);
}

TEST(LittleEndianAt, TakesBytesBeyondTheEndAsZero) {
    const std::string bytes = "\x01\x02\x83";
    EXPECT_EQ(little_endian_at(bytes, 0, 2), 0x0201U);
    EXPECT_EQ(little_endian_at(bytes, 1, 2), 0x8302U);
    EXPECT_EQ(little_endian_at(bytes, 2, 8), 0x83U);
    EXPECT_EQ(little_endian_at(bytes, 3, 4), 0U);
}

TEST(AppendEndian, WritesTheLowBytesInTheirOrder) {
    std::string out = "a";
    append_little_endian(out, 0x1122334455667788U, 3);
    append_big_endian(out, 0x1122334455667788U, 3);
    append_big_endian(out, 0x1122334455667788U, 8);
    EXPECT_EQ(out, "a\x88\x77\x66\x66\x77\x88\x11\x22\x33\x44\x55\x66\x77\x88");
}

TEST(SwapWords, TurnsEveryWordOfAnyNumberAtAnyPlace) {
    for (const std::size_t size : {1U, 2U, 4U, 8U}) {
        for (std::size_t count = 0; count < 40; ++count) {
            for (std::size_t shift = 0; shift < 3; ++shift) {
                const std::string before = counted(shift + count * size + 5);
                std::string after = before;
                swap_words(after.data() + shift, count, size);
                EXPECT_EQ(after.substr(0, shift), before.substr(0, shift));
                EXPECT_EQ(after.substr(shift + count * size), before.substr(shift + count * size));
                for (std::size_t i = 0; i < count * size; ++i) {
                    const std::size_t word = i / size;
                    const std::size_t mirrored = word * size + (size - 1 - i % size);
                    ASSERT_EQ(after[shift + i], before[shift + mirrored]) << count << " " << i;
                }
            }
        }
    }
}

TEST(Scatter, PutsItemsOfEverySizeIntoRows) {
    for (const std::size_t bytes : {1U, 2U, 4U, 8U, 12U, 16U, 24U, 32U, 40U}) {
        const std::size_t stride = bytes + 3;
        const std::size_t count = 9;
        const std::string in = counted(bytes * count);
        std::string out(stride * count, '.');
        scatter(in.data(), bytes, out.data() + 2, stride, count - 1);
        EXPECT_EQ(out.substr(0, 2), "..");
        for (std::size_t i = 0; i + 1 < count; ++i) {
            EXPECT_EQ(out.substr(2 + i * stride, bytes), in.substr(i * bytes, bytes));
            EXPECT_EQ(out.substr(2 + i * stride + bytes, 3), "...");
        }
    }
}

} // namespace
} // namespace vx::cache
