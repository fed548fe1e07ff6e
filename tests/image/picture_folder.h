// A folder for the pictures of one test, and a frame to fill them with.
#pragma once

#include "host/image/frame.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

namespace vx::test {

class PictureFolder : public testing::Test {
  protected:
    void SetUp() override {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        folder = std::filesystem::path(testing::TempDir()) /
                 fmt::format("vx_{}_{}_{}", test->test_suite_name(), test->name(), ::getpid());
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    static std::string slurp(const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void put(const std::string& name, const std::string& text) const {
        std::ofstream(folder / name, std::ios::binary) << text;
    }
    [[nodiscard]] std::size_t files() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder),
                                                      std::filesystem::directory_iterator()));
    }

    std::filesystem::path folder;
};

// Line y counts from below. The left half of the picture has an alpha of 0, the right half of 0.6.
inline miColor ramp(int x, int y, int width, int height) {
    const float u = (static_cast<float>(x) + 0.5f) / static_cast<float>(width);
    const float v = (static_cast<float>(y) + 0.5f) / static_cast<float>(height);
    return {0.2f + 0.6f * u, 0.2f + 0.6f * v, 0.5f, 2 * x < width ? 0.0f : 0.6f};
}

inline image::Frame ramp_frame(int width, int height) {
    image::Tile tile({0, 0, width, height}, image::Filter(image::FilterKind::box, 1, 1), true);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            image::Sample s;
            s.x = static_cast<float>(x) + 0.5f;
            s.y = static_cast<float>(y) + 0.5f;
            s.color = ramp(x, y, width, height);
            s.depth = 1.0f;
            tile.add(s, 1.0f);
        }
    image::Frame frame(width, height, true);
    frame.merge(tile);
    return frame;
}

} // namespace vx::test
