// One call of the reader on a cloud of a few points.
#pragma once

#include "src/reader/lookup.h"
#include "tests/reader/counted_maths.h"
#include "tests/reader/read_instance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vx::test {

class LookupTest : public testing::Test, protected ReadInstance {
  protected:
    stub::Maps maps{renderer};

    // One call for a cloud of these points, with a new instance.
    ReadResult read(const std::vector<BakedPoint>& points) { return read(content_of(points)); }
    ReadResult read(const stub::MapContent& content) {
        maps.files[kFrameFile] = content;
        start();
        state.normal = normal;
        const auto record = make_record();
        renderer.clear_calls();
        maths_calls.powf = 0;
        ReadResult result = {{9, 9, 9, 9}, 9};
        returned = ReadPoints(&result, &state, block(), *record);
        return result;
    }
    void SetUp() override { maths_calls = {}; }
    void TearDown() override {
        EXPECT_THAT(renderer.left_over(), testing::IsEmpty());
        EXPECT_THAT(maps.left_over(), testing::IsEmpty());
        maths_calls = {};
    }

    miVector normal = {0, 0, 1};
    miBoolean returned = -1;
};

inline void expect_color(const ReadResult& result, float r, float g, float b) {
    EXPECT_EQ(result.outColor.r, r);
    EXPECT_EQ(result.outColor.g, g);
    EXPECT_EQ(result.outColor.b, b);
    EXPECT_EQ(result.outColor.a, 0.0f);
}

inline void expect_nan(const ReadResult& result) {
    EXPECT_TRUE(std::isnan(result.outColor.r));
    EXPECT_TRUE(std::isnan(result.outColor.g));
    EXPECT_TRUE(std::isnan(result.outColor.b));
    EXPECT_EQ(result.outColor.a, 0.0f);
}

// At distance 1 of a radius of 2 the falloff is exactly 1 - (3/4 - 2/8) = 1/2.
inline BakedPoint half_way(miVector color = {1, 1, 1}) {
    return {.position = {1, 0, 0}, .color = color};
}

} // namespace vx::test
