// Many threads on one instance: the record and the map are only read.
#include "src/reader/reader.h"
#include "tests/reader/cloud_file.h"
#include "tests/reader/read_instance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <thread>

namespace {

using vx::test::BakedPoint;
using vx::test::CloudFile;
using vx::test::ReadInstance;

TEST(ReaderThreads, SixteenThreadsReadOneInstance) {
    std::mt19937 engine(5);
    std::uniform_real_distribution<float> between(-1, 1);
    std::vector<BakedPoint> cloud(4000);
    for (BakedPoint& point : cloud) {
        point.position = {between(engine), between(engine), 0.1f * between(engine)};
        point.color = {between(engine), between(engine), between(engine)};
        point.normal = {0.1f * between(engine), 0, -1};
        point.label = point.position[0] > 0 ? 1 : 2;
        point.opacity = 0.5f;
    }
    const CloudFile file(cloud);
    ReadInstance instance;
    instance.file_name = file.name();
    instance.labels = "0-1";
    instance.params.frame = 1;
    instance.params.radius = 0.2f;
    instance.params.useLabels = miTRUE;
    instance.params.useOpacity = miTRUE;
    instance.params.facing = 1;
    instance.params.minAngle = 100;
    instance.params.falloff = {0, 1, 2, 0};
    instance.start();
    InitReadInstance(&instance.state, instance.block());

    constexpr int kCalls = 400;
    const auto read = [&](int call) {
        // A renderer's threads have states of their own, and one parameter block.
        miState state = instance.state;
        const float turn = 0.05f * static_cast<float>(call);
        state.point = {0.7f * std::cos(turn), 0.7f * std::sin(turn), -0.05f};
        ReadResult result = {};
        EXPECT_EQ(ReadCloud(&result, &state, instance.block()), miTRUE);
        return result;
    };
    std::vector<ReadResult> alone;
    for (int call = 0; call < kCalls; ++call)
        alone.push_back(read(call));
    ASSERT_GT(alone[0].pointCount, 0);

    std::vector<std::vector<ReadResult>> together(16);
    {
        std::vector<std::jthread> threads;
        for (auto& results : together) {
            threads.emplace_back([&results, &read] {
                for (int call = 0; call < kCalls; ++call)
                    results.push_back(read(call));
            });
        }
    }
    for (const auto& results : together)
        // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): the bits count
        EXPECT_EQ(std::memcmp(results.data(), alone.data(), kCalls * sizeof(ReadResult)), 0);
    ExitReadInstance(&instance.state);
}

} // namespace
