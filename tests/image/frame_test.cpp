#include "host/image/frame.h"

#include <gtest/gtest.h>

using namespace vx::image;

namespace {

Sample at(float x, float y, float grey) {
    Sample s;
    s.x = x;
    s.y = y;
    s.color = {grey, grey, grey, 1.0f};
    return s;
}

} // namespace

TEST(Frame, PixelIsTheMeanOfItsSamples) {
    Tile tile({0, 0, 2, 1}, Filter(FilterKind::box, 1, 1), false);
    tile.add(at(0.25f, 0.5f, 1.0f), 0.5f);
    tile.add(at(0.75f, 0.5f, 3.0f), 0.5f);
    tile.add(at(1.5f, 0.5f, 10.0f), 1.0f);
    Frame frame(2, 1, false);
    frame.merge(tile);
    EXPECT_FLOAT_EQ(frame.color(0, 0).r, 2.0f);
    EXPECT_FLOAT_EQ(frame.color(1, 0).g, 10.0f);
    EXPECT_FLOAT_EQ(frame.color(1, 0).a, 1.0f);
}

TEST(Frame, PixelWithoutSamplesIsTransparentBlack) {
    const Frame frame(1, 1, true);
    EXPECT_EQ(frame.color(0, 0).a, 0.0f);
    EXPECT_EQ(frame.depth(0, 0, false), kNoDepth);
    EXPECT_EQ(frame.label(0, 0), 0u);
}

TEST(Frame, WideFilterReachesIntoTheNeighbouringTile) {
    const Filter triangle(FilterKind::triangle, 2, 2);
    Tile left({0, 0, 1, 1}, triangle, false);
    Tile right({1, 0, 2, 1}, triangle, false);
    left.add(at(0.75f, 0.5f, 4.0f), 1.0f);
    right.add(at(1.5f, 0.5f, 8.0f), 1.0f);
    Frame frame(2, 1, false);
    frame.merge(left);
    frame.merge(right);
    // Pixel 1: weights 1 - 0.75 = 0.25 and 1.
    EXPECT_FLOAT_EQ(frame.color(1, 0).r, (0.25f * 4.0f + 8.0f) / 1.25f);
    // Pixel 0: the other sample lies a whole pixel away and does not count.
    EXPECT_FLOAT_EQ(frame.color(0, 0).r, 4.0f);
}

TEST(Frame, DepthNormalAndLabelComeFromTheSampleNearestToTheCenter) {
    Tile tile({0, 0, 1, 1}, Filter(FilterKind::box, 1, 1), true);
    Sample a = at(0.1f, 0.1f, 0);
    a.depth = 2.0f;
    a.label = 7;
    a.normal = {1, 0, 0};
    Sample b = at(0.6f, 0.5f, 0);
    b.depth = 4.0f;
    b.label = 4000000000u;
    b.normal = {0, 1, 0};
    tile.add(a, 0.5f);
    tile.add(b, 0.5f);
    Frame frame(1, 1, true);
    frame.merge(tile);
    EXPECT_EQ(frame.depth(0, 0, false), 4.0f);
    EXPECT_EQ(frame.depth(0, 0, true), 3.0f);
    EXPECT_EQ(frame.label(0, 0), 4000000000u);
    EXPECT_EQ(frame.normal(0, 0, false).y, 1.0f);
    EXPECT_EQ(frame.normal(0, 0, true).x, 0.5f);
}

TEST(Frame, InterpolatedDepthLeavesOutSamplesThatSawNothing) {
    Tile tile({0, 0, 1, 1}, Filter(FilterKind::box, 1, 1), true);
    Sample hit = at(0.1f, 0.1f, 0);
    hit.depth = 5.0f;
    tile.add(hit, 0.5f);
    tile.add(at(0.5f, 0.5f, 0), 0.5f);
    Frame frame(1, 1, true);
    frame.merge(tile);
    EXPECT_EQ(frame.depth(0, 0, true), 5.0f);
    EXPECT_EQ(frame.depth(0, 0, false), kNoDepth);
}
