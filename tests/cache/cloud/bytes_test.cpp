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

TEST(SwapWords, TurnsEveryWordOfAnyNumberAtAnyPlace) {
    for (const std::size_t size : {4U, 8U}) {
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
