// The checksum of binary map files.
#include "maps/checksum.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using vx::maps::Checksum;

std::uint64_t sum_of(const std::vector<unsigned char>& bytes) {
    Checksum checksum;
    checksum.add(bytes.data(), bytes.size());
    return checksum.value();
}

// The definition, computed one lane after the other and each word bit by bit.
std::uint64_t by_definition(const std::vector<unsigned char>& bytes) {
    const auto mix = [](std::uint64_t h, std::uint64_t w) {
        const std::uint64_t m = (h ^ w) * 11400714819323198485u;
        return m << 29 | m >> 35;
    };
    std::uint64_t sum = bytes.size();
    for (std::uint64_t lane = 0; lane < 8; ++lane) {
        std::uint64_t h = 11400714819323198485u * (lane + 1);
        for (std::size_t at = lane * 8; at < bytes.size(); at += 64) {
            std::uint64_t word = 0;
            for (std::size_t i = 0; i < 8; ++i)
                word |= std::uint64_t{bytes[at + i]} << (8 * i);
            h = mix(h, word);
        }
        sum = mix(sum, h);
    }
    return sum;
}

TEST(Checksum, FollowsItsDefinition) {
    std::vector<unsigned char> bytes(64 * 7);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(i * 37);
    EXPECT_EQ(sum_of(bytes), by_definition(bytes));
    EXPECT_EQ(sum_of({}), by_definition({}));
}

TEST(Checksum, IsTheSameInPieces) {
    std::vector<unsigned char> bytes(256, 7);
    Checksum checksum;
    checksum.add(bytes.data(), 64);
    checksum.add(bytes.data() + 64, 192);
    EXPECT_EQ(checksum.value(), sum_of(bytes));
}

TEST(Checksum, EveryChangeOfOneByteChangesIt) {
    std::vector<unsigned char> bytes(192, 0);
    const std::uint64_t before = sum_of(bytes);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        for (unsigned value = 1; value < 256; ++value) {
            bytes[i] = static_cast<unsigned char>(value);
            EXPECT_NE(sum_of(bytes), before);
        }
        bytes[i] = 0;
    }
}

TEST(Checksum, TwoTopBitsInOneLaneDoNotCancel) {
    std::vector<unsigned char> bytes(192, 0);
    const std::uint64_t before = sum_of(bytes);
    bytes[7] = 0x80;
    bytes[64 + 7] = 0x80;
    EXPECT_NE(sum_of(bytes), before);
}

TEST(Checksum, ZerosAtTheEndCount) {
    EXPECT_NE(sum_of(std::vector<unsigned char>(64, 0)),
              sum_of(std::vector<unsigned char>(128, 0)));
}

} // namespace
