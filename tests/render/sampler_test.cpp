#include "host/render/sampler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

using namespace vx::render;
using vx::image::Filter;
using vx::image::FilterKind;
using vx::image::Frame;
using vx::image::Sample;

namespace {

SamplingSettings settings(int w, int h, int min_level, int max_level) {
    SamplingSettings s;
    s.width = w;
    s.height = h;
    s.window = {0, 0, w, h};
    s.min_level = min_level;
    s.max_level = max_level;
    s.threads = 1;
    return s;
}

Sample shaded(const EyeRequest& r, float gray) {
    Sample s;
    s.x = r.x;
    s.y = r.y;
    s.color = {gray, gray, gray, 1.0f};
    return s;
}

float disc(float x, float y) {
    return std::hypot(x - 50.0f, y - 40.0f) < 23.3f ? 1.0f : 0.0f;
}

Frame render(const SamplingSettings& s, const std::function<float(float, float)>& scene,
             std::atomic<int>* rays = nullptr) {
    SamplingCalls calls;
    calls.eye = [&](const EyeRequest& r) {
        if (rays != nullptr) ++*rays;
        return shaded(r, scene(r.x, r.y));
    };
    bool complete = false;
    Frame frame = render_frame(s, calls, complete);
    EXPECT_TRUE(complete);
    return frame;
}

bool equal(const Frame& a, const Frame& b) {
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.color(x, y).r != b.color(x, y).r) return false;
    return true;
}

} // namespace

TEST(Sampler, OneSamplePerPixelIsAtTheCenter) {
    std::atomic<int> rays{0};
    const Frame frame = render(
        settings(70, 40, 0, 0),
        [](float x, float y) {
            EXPECT_EQ(x - std::floor(x), 0.5f);
            return x + 100.0f * y;
        },
        &rays);
    EXPECT_EQ(rays, 70 * 40);
    EXPECT_FLOAT_EQ(frame.color(69, 39).r, 69.5f + 3950.0f);
    EXPECT_FLOAT_EQ(frame.color(0, 0).r, 0.5f + 50.0f);
}

TEST(Sampler, FixedLevelTakesFourToTheLevelSamples) {
    std::atomic<int> rays{0};
    const Frame frame = render(
        settings(10, 10, 2, 2), [](float x, float) { return x; }, &rays);
    EXPECT_EQ(rays, 1600);
    EXPECT_NEAR(frame.color(3, 3).r, 3.5f, 1e-5f);
}

TEST(Sampler, AdaptiveEdgesComeCloseToFullSamplingWithFewRays) {
    std::atomic<int> all{0};
    std::atomic<int> some{0};
    const Frame full = render(settings(100, 80, 2, 2), disc, &all);
    const Frame adaptive = render(settings(100, 80, 0, 2), disc, &some);
    EXPECT_LT(some, all / 5);
    // Refinement can miss only details between the first samples; a disc this large has none.
    for (int y = 0; y < 80; ++y)
        for (int x = 0; x < 100; ++x)
            EXPECT_NEAR(full.color(x, y).r, adaptive.color(x, y).r, 1e-5f) << x << ", " << y;
}

TEST(Sampler, EdgesAlongTileBordersAreRefinedToo) {
    SamplingSettings s = settings(96, 16, 0, 2);
    s.tile_size = 32;
    // The edge lies left of the center of pixel 32, the first of a tile. Only the comparison with
    // the neighboring tile detects it.
    const auto scene = [](float x, float) { return x < 32.3f ? 1.0f : 0.0f; };
    const Frame frame = render(s, scene);
    EXPECT_FLOAT_EQ(frame.color(31, 8).r, 1.0f);
    EXPECT_FLOAT_EQ(frame.color(32, 8).r, 0.25f);
    EXPECT_FLOAT_EQ(frame.color(33, 8).r, 0.0f);
}

TEST(Sampler, NegativeLevelsInterpolateBetweenBlocksAndRefineAtEdges) {
    std::atomic<int> rays{0};
    const Frame smooth = render(
        settings(64, 64, -2, 0), [](float x, float y) { return 0.001f * x + 0.0005f * y; }, &rays);
    EXPECT_LT(rays, 64 * 64 / 5);
    EXPECT_NEAR(smooth.color(13, 29).r, 0.001f * 13.5f + 0.0005f * 29.5f, 1e-6f);

    const Frame edge = render(settings(64, 64, -2, 0), disc);
    EXPECT_EQ(edge.color(50, 40).r, 1.0f);
    EXPECT_EQ(edge.color(1, 1).r, 0.0f);
    EXPECT_EQ(edge.color(28, 40).r, disc(28.5f, 40.5f));
    EXPECT_EQ(edge.color(25, 40).r, disc(25.5f, 40.5f));
}

TEST(Sampler, SamePictureWithAnyNumberOfThreads) {
    for (const FilterKind kind : {FilterKind::box, FilterKind::mitchell}) {
        SamplingSettings s = settings(150, 90, -1, 2);
        s.jitter = 1.0f;
        s.filter = Filter(kind, 0, 0);
        const Frame one = render(s, disc);
        for (const int threads : {2, 16}) {
            s.threads = threads;
            EXPECT_TRUE(equal(one, render(s, disc))) << threads << " threads";
        }
    }
}

TEST(Sampler, JitterStaysInItsCellAndDiffersBetweenPixels) {
    SamplingSettings s = settings(32, 32, 1, 1);
    s.jitter = 1.0f;
    std::set<float> fractions;
    SamplingCalls calls;
    int number = 0;
    calls.eye = [&](const EyeRequest& r) {
        fractions.insert(r.x - std::floor(r.x));
        ++number;
        return shaded(r, 0.0f);
    };
    bool complete = false;
    (void)render_frame(s, calls, complete);
    EXPECT_EQ(number, 32 * 32 * 4);
    EXPECT_GT(fractions.size(), 3000u);
    EXPECT_GE(*fractions.begin(), 0.0f);
    EXPECT_LT(*fractions.rbegin(), 1.0f);
}

TEST(Sampler, KeysOfAllRaysDiffer) {
    std::set<std::uint64_t> keys;
    SamplingCalls calls;
    int number = 0;
    calls.eye = [&](const EyeRequest& r) {
        keys.insert(r.key);
        ++number;
        return shaded(r, disc(r.x, r.y));
    };
    bool complete = false;
    SamplingSettings s = settings(100, 80, 0, 2);
    s.tile_size = 1024; // a single tile, so that no border is sampled twice
    (void)render_frame(s, calls, complete);
    EXPECT_EQ(keys.size(), static_cast<std::size_t>(number));
}

TEST(Sampler, FirstRayEndsBeforeAnyOtherStarts) {
    SamplingSettings s = settings(64, 64, 0, 0);
    s.threads = 4;
    std::atomic<bool> first_done{false};
    std::atomic<int> firsts{0};
    std::atomic<int> early{0};
    std::atomic<int> rays{0};
    SamplingCalls calls;
    calls.eye = [&](const EyeRequest& r) {
        ++rays;
        if (r.first) {
            ++firsts;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            first_done = true;
        } else if (!first_done) {
            ++early;
        }
        return shaded(r, 0.0f);
    };
    bool complete = false;
    (void)render_frame(s, calls, complete);
    EXPECT_EQ(firsts, 1);
    EXPECT_EQ(early, 0);
    EXPECT_EQ(rays, 64 * 64) << "the first ray counts for its pixel and is not sent twice";
}

TEST(Sampler, WindowOnlyIsRendered) {
    SamplingSettings s = settings(100, 80, 0, 0);
    s.window = {33, 21, 70, 50};
    std::atomic<int> rays{0};
    const Frame frame = render(
        s, [](float, float) { return 1.0f; }, &rays);
    EXPECT_EQ(rays, 37 * 29);
    EXPECT_EQ(frame.color(33, 21).a, 1.0f);
    EXPECT_EQ(frame.color(69, 49).a, 1.0f);
    EXPECT_EQ(frame.color(32, 21).a, 0.0f);
    EXPECT_EQ(frame.color(70, 49).a, 0.0f);
}

TEST(Sampler, PixelsOfAWindowAreThoseOfTheWholePicture) {
    SamplingSettings s = settings(100, 80, 0, 1);
    s.jitter = 1.0f;
    const Frame whole = render(s, disc);
    s.window = {20, 10, 80, 70};
    const Frame part = render(s, disc);
    // Exclude the outermost pixels: in the whole image they have neighbors outside the window.
    for (int y = 11; y < 69; ++y)
        for (int x = 21; x < 79; ++x)
            ASSERT_EQ(whole.color(x, y).r, part.color(x, y).r) << x << ", " << y;
}

TEST(Sampler, ExceptionsOfRaysComeOutAfterAllThreadsHaveEnded) {
    SamplingSettings s = settings(200, 200, 0, 0);
    s.threads = 4;
    SamplingCalls calls;
    std::atomic<int> inside{0};
    calls.eye = [&](const EyeRequest& r) -> Sample {
        ++inside;
        const bool bad = r.x > 100.0f && r.y > 100.0f;
        --inside;
        if (bad) throw std::runtime_error("broken shader");
        return shaded(r, 0.0f);
    };
    bool complete = true;
    EXPECT_THROW((void)render_frame(s, calls, complete), std::runtime_error);
    EXPECT_EQ(inside, 0);
}

TEST(Sampler, CancelEndsTheFrameEarly) {
    SamplingSettings s = settings(500, 500, 0, 0);
    s.threads = 2;
    std::atomic<int> rays{0};
    SamplingCalls calls;
    calls.eye = [&](const EyeRequest& r) {
        ++rays;
        return shaded(r, 0.0f);
    };
    calls.cancelled = [&] { return rays > 1000; };
    bool complete = true;
    (void)render_frame(s, calls, complete);
    EXPECT_FALSE(complete);
    EXPECT_LT(rays, 5000);
}

TEST(Sampler, AbsurdLevelsAreLimited) {
    std::atomic<int> rays{0};
    (void)render(
        settings(2, 2, -100, -100), [](float, float) { return 1.0f; }, &rays);
    EXPECT_LE(rays, 16);
    SamplingSettings s = settings(1, 1, 0, 1000);
    const Frame frame = render(s, [](float, float) { return 0.5f; });
    EXPECT_EQ(frame.color(0, 0).r, 0.5f);
}
