// Which angles between the normals of a surface and of a baked point the functor keeps.
#include "tests/reader/distance_fixture.h"

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

namespace {

using vx::stub::MapContent;
using vx::test::MyDistanceTest;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kPi = 3.1415927f;

class ConeTest : public MyDistanceTest {
  protected:
    My_distance with_limits(float min_degrees, float max_degrees) {
        return {&state, min_degrees, max_degrees, nullptr};
    }
};

// ---- degrees and radians ----

// degrees * pi / 180 with one rounding per step. The product of two floats is exact in double
// precision, and rounding a quotient to double first does not change its rounding to float.
float radians_of(float degrees) {
    const auto product = static_cast<float>(double{degrees} * double{kPi});
    return static_cast<float>(double{product} / 180.0);
}

TEST_F(ConeTest, DegreesAreMultipliedByPiAndThenDividedBy180) {
    int telling = 0;
    for (int step = -720; step <= 1440; ++step) {
        const float degrees = 0.25f * static_cast<float>(step);
        const float expected = radians_of(degrees);
        EXPECT_EQ(with_limits(degrees, 0).m_minAngle, expected) << degrees;
        EXPECT_EQ(with_limits(0, degrees).m_maxAngle, expected) << degrees;
        if (expected != degrees * (kPi / 180.0f) && expected != degrees / 180.0f * kPi) ++telling;
    }
    EXPECT_GT(telling, 100) << "another order would have passed";
}

// A cosine whose angle is exactly `angle`, if single precision has one.
std::optional<float> cosine_of(float angle) {
    float cosine = std::nextafter(std::cos(angle), 1.0f);
    for (int i = 0; i < 3; ++i) {
        if (std::acos(cosine) == angle) return cosine;
        cosine = std::nextafter(cosine, -1.0f);
    }
    return std::nullopt;
}

// For some angles another order of the operations gives a limit that is one bit lower. Points whose
// angle is exactly one of the two limits tell the difference.
TEST_F(ConeTest, LastBitOfALimitDecides) {
    int lower = 0;
    int upper = 0;
    for (int whole = 1; whole < 180; ++whole) {
        const auto degrees = static_cast<float>(whole);
        const float limit = radians_of(degrees);
        const float other = degrees * (kPi / 180.0f);
        if (!(other < limit)) continue;
        if (const std::optional<float> cosine = cosine_of(other)) {
            params.minAngle = degrees;
            params.maxAngle = 180;
            EXPECT_EQ(of_cosine(*cosine), kRejected) << degrees;
            ++lower;
        }
        if (const std::optional<float> cosine = cosine_of(limit)) {
            params.minAngle = 0;
            params.maxAngle = degrees;
            EXPECT_EQ(of_cosine(*cosine), 1.0f) << degrees;
            ++upper;
        }
    }
    EXPECT_GT(lower, 0);
    EXPECT_GT(upper, 0);
}

// A cosine so close to that of 10 degrees that the angle has to be computed; it is 10.00003
// degrees.
constexpr float kBarelyTenDegrees = 0.984807f;

// ---- when there is a cone ----

TEST_F(ConeTest, WholeRangeOfAnglesMakesNoConeTestAndNoAcosf) {
    params.minAngle = 0;
    params.maxAngle = 180;
    for (const float cosine : {-1.0f, 0.0f, 0.5f, 1.0f, kNan}) {
        EXPECT_EQ(of_cosine(cosine), 1.0f) << cosine;
        EXPECT_EQ(acosf_calls(), 0) << cosine;
    }
}

TEST_F(ConeTest, RangeBeyondTheSphereIsNotACone) {
    params.minAngle = -20;
    params.maxAngle = 360;
    EXPECT_EQ(of_cosine(0.3f), 1.0f);
    EXPECT_EQ(acosf_calls(), 0);
}

TEST_F(ConeTest, SmallestLimitsMakeACone) {
    params.minAngle = 1e-30f;
    EXPECT_EQ(of_cosine(0.5f), 1.0f);
    EXPECT_EQ(of_cosine(1.0f), kRejected);
    params.minAngle = 0;
    params.maxAngle = std::nextafter(180.0f, 0.0f);
    EXPECT_EQ(of_cosine(0.5f), 1.0f);
    EXPECT_EQ(of_cosine(-1.0f), kRejected);
}

TEST_F(ConeTest, OneLimitAloneIsACone) {
    params.minAngle = 60;
    EXPECT_EQ(of_cosine(0.9f), kRejected);
    EXPECT_EQ(of_cosine(-1.0f), 1.0f);
    params.minAngle = 0;
    params.maxAngle = 60;
    EXPECT_EQ(of_cosine(0.9f), 1.0f);
    EXPECT_EQ(of_cosine(0.0f), kRejected);
}

TEST_F(ConeTest, NanLimitIsNoLimit) {
    params.minAngle = kNan;
    EXPECT_EQ(of_cosine(0.5f), 1.0f);
    EXPECT_EQ(acosf_calls(), 0);
    params.maxAngle = 60;
    EXPECT_EQ(of_cosine(0.9f), 1.0f);
    EXPECT_EQ(of_cosine(0.0f), kRejected);
    params.minAngle = 60;
    params.maxAngle = kNan;
    EXPECT_EQ(of_cosine(0.9f), kRejected);
    EXPECT_EQ(of_cosine(0.0f), 1.0f);
}

TEST_F(ConeTest, PointsBeyondTheRadiusOrOfOtherLabelsCostNoAcosf) {
    params.minAngle = 10;
    EXPECT_EQ(of({.position = {0, 0, 3}, .normal = {0, 0, kBarelyTenDegrees}}), kRejected);
    EXPECT_EQ(acosf_calls(), 0);
    params.useLabels = miTRUE;
    labels = "1";
    EXPECT_EQ(of({.normal = {0, 0, kBarelyTenDegrees}, .label = 2}), kRejected);
    EXPECT_EQ(acosf_calls(), 0);
    EXPECT_EQ(of({.normal = {0, 0, kBarelyTenDegrees}, .label = 1}), 0.0f);
    EXPECT_EQ(acosf_calls(), 1);
}

TEST_F(ConeTest, ComesBeforeFacing) {
    params.minAngle = 10;
    params.facing = 1;
    EXPECT_EQ(of({.position = {0, 0, -1}, .normal = {0, 0, kBarelyTenDegrees}}), kRejected);
    EXPECT_EQ(acosf_calls(), 1);
}

// ---- which angles it keeps ----

TEST_F(ConeTest, KeepsAnglesBetweenItsLimits) {
    params.minAngle = 30;
    params.maxAngle = 90;
    EXPECT_EQ(of_cosine(0.9f), kRejected); // 25.8 degrees
    EXPECT_EQ(of_cosine(0.8f), 1.0f);      // 36.9
    EXPECT_EQ(of_cosine(0.01f), 1.0f);
    EXPECT_EQ(of_cosine(-0.01f), kRejected);
    EXPECT_EQ(of_cosine(-1.0f), kRejected);
    EXPECT_EQ(of_cosine(1.0f), kRejected);
    EXPECT_EQ(acosf_calls(), 0) << "all of them are far from the limits";
}

// The angle between directions with this cosine, as the functor defines it.
float angle_of(float cosine) {
    if (cosine <= -0.9999f) return kPi;
    return cosine < 0.9999f ? std::acos(cosine) : 0.0f;
}

// Limits of every kind, and cosines over the whole range and close to each limit.
TEST_F(ConeTest, KeepsWhatTheAngleItselfDecides) {
    constexpr float kLimits[] = {-30.0f, 0.0f,   1e-3f,   0.5f,   0.81f,  10.0f,  60.0f,  89.9f,
                                 90.0f,  120.0f, 179.19f, 179.5f, 179.9f, 180.0f, 400.0f, kNan};
    std::vector<float> cosines = {kNan};
    for (int i = -120; i <= 120; ++i)
        cosines.push_back(static_cast<float>(i) / 100.0f);
    for (const float limit : kLimits) {
        for (int i = -60; i <= 60; ++i)
            cosines.push_back(std::cos(radians_of(limit)) + static_cast<float>(i) * 5e-7f);
    }
    std::vector<MapContent> contents;
    for (const float cosine : cosines)
        contents.push_back(
            vx::test::content_of({{.position = {0, 0, 1}, .normal = {0, 0, cosine}}}));
    const std::vector<vx::stub::Element> elements(contents.begin(), contents.end());
    maps.files[vx::test::kFrameFile] = contents.front();
    start();
    state.normal = {0, 0, 1};
    const auto record = make_record();
    int near_limits = 0;
    for (const float min : kLimits) {
        for (const float max : kLimits) {
            const My_distance distance(&state, min, max, record.get());
            const bool is_cone = radians_of(min) > 0.0f || radians_of(max) < kPi;
            for (std::size_t i = 0; i < cosines.size(); ++i) {
                const float angle = angle_of(cosines[i]);
                const bool outside = angle < radians_of(min) || angle > radians_of(max);
                const float expected = is_cone && outside ? kRejected : 1.0f;
                ASSERT_EQ(distance(&elements[i]), expected)
                    << cosines[i] << " between " << min << " and " << max;
            }
            near_limits += acosf_calls();
        }
    }
    EXPECT_GT(near_limits, 100);
}

TEST_F(ConeTest, AngleExactlyAtALimitIsKept) {
    // acosf(0) and 90 * pi / 180 are the same float.
    ASSERT_EQ(std::acos(0.0f), radians_of(90));
    params.minAngle = 90;
    EXPECT_EQ(of_cosine(0.0f), 1.0f);
    EXPECT_EQ(of_cosine(1e-6f), kRejected);
    params.minAngle = 0;
    params.maxAngle = 90;
    EXPECT_EQ(of_cosine(0.0f), 1.0f);
    EXPECT_EQ(of_cosine(-1e-6f), kRejected);
}

TEST_F(ConeTest, NearThePolesTheAngleIsExactAndAcosfIsNotCalled) {
    params.maxAngle = 0.5f;
    // 0.9999 is 0.81 degrees, but counts as none.
    EXPECT_EQ(of_cosine(0.9999f), 1.0f);
    EXPECT_EQ(of_cosine(2.0f), 1.0f);
    EXPECT_EQ(acosf_calls(), 0);
    EXPECT_EQ(of_cosine(std::nextafter(0.9999f, 0.0f)), kRejected);

    params.minAngle = 179.5f;
    params.maxAngle = 180;
    EXPECT_EQ(of_cosine(-0.9999f), 1.0f);
    EXPECT_EQ(of_cosine(-2.0f), 1.0f);
    EXPECT_EQ(acosf_calls(), 0);
    EXPECT_EQ(of_cosine(std::nextafter(-0.9999f, 0.0f)), kRejected);
}

TEST_F(ConeTest, AtThePolesTheAngleIsZeroOrPiToTheBit) {
    params.maxAngle = 0;
    EXPECT_EQ(of_cosine(0.9999f), 1.0f);
    params.maxAngle = -1e-30f;
    EXPECT_EQ(of_cosine(0.9999f), kRejected);

    params.minAngle = 180;
    params.maxAngle = 180;
    EXPECT_EQ(of_cosine(-0.9999f), 1.0f);
    params.minAngle = 0;
    params.maxAngle = std::nextafter(180.0f, 0.0f);
    EXPECT_EQ(of_cosine(-0.9999f), kRejected);
    params.minAngle = std::nextafter(180.0f, 200.0f);
    params.maxAngle = 360;
    EXPECT_EQ(of_cosine(-0.9999f), kRejected);
}

TEST_F(ConeTest, NanCosineCountsAsTheSameDirection) {
    params.maxAngle = 10;
    EXPECT_EQ(of_cosine(kNan), 1.0f);
    params.minAngle = 1;
    EXPECT_EQ(of_cosine(kNan), kRejected);
    EXPECT_EQ(acosf_calls(), 0);
}

TEST_F(ConeTest, NormalsAreUsedAsTheyAre) {
    // 0.5 * 1 is 60 degrees although the two directions are the same.
    params.minAngle = 50;
    params.maxAngle = 70;
    normal = {0, 0, 0.5f};
    EXPECT_EQ(of_cosine(1.0f), 1.0f);
    normal = {0, 0, 1};
    EXPECT_EQ(of_cosine(1.0f), kRejected);
}

TEST_F(ConeTest, PointsOfAMapWithoutNormalsAreAtARightAngle) {
    MapContent content;
    content.positions = {{0, 0, 1}};
    content.add("rgbPP", std::vector<miVector>{{1, 1, 1}});
    normal = {0.5f, 0.5f, 0.5f};
    params.minAngle = 90;
    params.maxAngle = 90;
    EXPECT_EQ(of(content), 1.0f);
    params.minAngle = 0;
    params.maxAngle = 80;
    EXPECT_EQ(of(content), kRejected);
}

} // namespace
