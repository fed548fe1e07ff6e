// Which baked points a search keeps, and at which distance.
#include "src/reader/my_distance.h"

#include "tests/reader/counted_maths.h"
#include "tests/reader/read_instance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using vx::stub::Element;
using vx::stub::MapContent;
using vx::stub::Maps;
using vx::test::BakedPoint;
using vx::test::content_of;
using vx::test::frame_file;
using vx::test::maths_calls;
using vx::test::ReadInstance;

constexpr float rejected = 1e36F;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

class MyDistanceTest : public testing::Test, protected ReadInstance {
  protected:
    Maps maps{renderer};

    // What the functor says of `point`, for an instance that has loaded a map with that point.
    float of(const BakedPoint& point) { return of(content_of({point})); }
    float of(const MapContent& content) {
        maps.files[frame_file] = content;
        start();
        state.point = query;
        state.normal = normal;
        const auto record = make_record();
        const My_distance distance(&state, params.minAngle, params.maxAngle, record.get());
        maths_calls = {};
        const Element element(content);
        const mi::shader_v3::Map_distance_base& as_search_sees_it = distance;
        return as_search_sees_it(&element);
    }
    // The same for a point at distance 1 whose normal has this cosine to the surface's.
    float of_cosine(float cosine) { return of({.position = {0, 0, 1}, .normal = {0, 0, cosine}}); }

    miVector query = {0, 0, 0};
    miVector normal = {0, 0, 1};
};

TEST_F(MyDistanceTest, InheritsAllButTheElementDistance) {
    maps.files[frame_file] = content_of({{}});
    start();
    state.point = {1, 2, 3};
    const auto record = make_record();
    const My_distance distance(&state, 0, 180, record.get());
    EXPECT_EQ(distance.get_dimension(), 3u);
    EXPECT_EQ(distance.get_point()[0], 1);
    EXPECT_EQ(distance.get_point()[1], 2);
    EXPECT_EQ(distance.get_point()[2], 3);
    const float min[3] = {2, 0, 0};
    const float max[3] = {4, 9, 1};
    EXPECT_EQ(distance(min, max), 1.0F + 0.0F + 4.0F);
    // So that a search may drop boxes by itself.
    EXPECT_EQ(mi::shader_v3::map_euclidean_point(distance), distance.get_point());
}

TEST_F(MyDistanceTest, CarriesWhatTheStateSays) {
    start();
    state.point = {1, 2, 3};
    state.normal = {4, 5, 6};
    state.dir = {7, 8, 9};
    const auto record = make_record();
    const My_distance distance(&state, 90, 180, record.get());
    EXPECT_EQ(distance.m_normal.y, 5);
    EXPECT_EQ(distance.m_direction.z, 9);
    EXPECT_EQ(distance.m_minAngle, 90.0F * 3.1415927F / 180.0F);
    EXPECT_EQ(distance.m_maxAngle, 3.1415927F);
    EXPECT_EQ(distance.m_record, record.get());
    // One block behind the inherited point, in this order.
    const auto* const start_of_data = reinterpret_cast<const char*>(distance.get_point());
    EXPECT_EQ(reinterpret_cast<const char*>(&distance.m_normal) - start_of_data, 12);
    EXPECT_EQ(reinterpret_cast<const char*>(&distance.m_direction) - start_of_data, 24);
    EXPECT_EQ(reinterpret_cast<const char*>(&distance.m_minAngle) - start_of_data, 36);
    EXPECT_EQ(reinterpret_cast<const char*>(&distance.m_maxAngle) - start_of_data, 40);
    EXPECT_EQ(reinterpret_cast<const char*>(&distance.m_record) - start_of_data, 48);
}

// ---- distance ----

TEST_F(MyDistanceTest, ReturnsTheSquaredDistance) {
    query = {1, 1, 1};
    EXPECT_EQ(of({.position = {2, 1.5F, 1}}), 1.25F);
    EXPECT_EQ(of({.position = {1, 1, 1}}), 0.0F);
}

TEST_F(MyDistanceTest, PointExactlyAtTheRadiusIsKept) {
    EXPECT_EQ(of({.position = {0, 2, 0}}), 4.0F);
    EXPECT_EQ(of({.position = {0, std::nextafter(2.0F, 3.0F), 0}}), rejected);
}

TEST_F(MyDistanceTest, RejectsAfterEachAxis) {
    EXPECT_EQ(of({.position = {3, 0, 0}}), rejected);
    EXPECT_EQ(of({.position = {0, -3, 0}}), rejected);
    EXPECT_EQ(of({.position = {0, 0, 3}}), rejected);
    EXPECT_EQ(of({.position = {1.5F, 1.5F, 1.5F}}), rejected);
    // The later axes are not looked at any more: they would make the sum no number, which passes.
    EXPECT_EQ(of({.position = {3, nan, 0}}), rejected);
    EXPECT_EQ(of({.position = {1.5F, 1.5F, nan}}), rejected);
    EXPECT_TRUE(std::isnan(of({.position = {1, 1, nan}})));
}

TEST_F(MyDistanceTest, AddsTheAxesInOrder) {
    int telling = 0;
    for (int i = 1; i < 40; ++i) {
        const float a = 0.025F * static_cast<float>(i);
        const float b = 0.2F;
        const float c = 0.7F;
        EXPECT_EQ(of({.position = {a, b, c}}), a * a + b * b + c * c);
        if (a * a + b * b + c * c != c * c + b * b + a * a) ++telling;
    }
    EXPECT_GT(telling, 0) << "another order would have passed";
}

// ---- labels ----

TEST_F(MyDistanceTest, LabelsCountOnlyWhenAskedFor) {
    labels = "3-5";
    EXPECT_EQ(of({.label = 9}), 0.0F);
    params.useLabels = 2;
    EXPECT_EQ(of({.label = 9}), rejected);
    EXPECT_EQ(of({.label = 3}), 0.0F);
    EXPECT_EQ(of({.label = 5}), 0.0F);
}

TEST_F(MyDistanceTest, EmptyLabelListRejectsEverything) {
    params.useLabels = miTRUE;
    EXPECT_EQ(of({.label = 0}), rejected);
}

TEST_F(MyDistanceTest, PointsOfAMapWithoutTagHaveNoLabel) {
    params.useLabels = miTRUE;
    labels = "0-9";
    MapContent content;
    content.positions = {{0, 0, 0}};
    content.add("rgbPP", std::vector<miVector>{{1, 1, 1}});
    EXPECT_EQ(of(content), rejected);
    params.useLabels = miFALSE;
    EXPECT_EQ(of(content), 0.0F);
}

// ---- cone ----

TEST_F(MyDistanceTest, WholeRangeOfAnglesMakesNoConeTestAndNoAcosf) {
    params.minAngle = 0;
    params.maxAngle = 180;
    for (const float cosine : {-1.0F, 0.0F, 0.5F, 1.0F, nan})
        EXPECT_EQ(of_cosine(cosine), 1.0F);
    EXPECT_EQ(maths_calls.acosf, 0);
}

TEST_F(MyDistanceTest, RangeBeyondTheWholeIsNoConeEither) {
    params.minAngle = -20;
    params.maxAngle = 360;
    EXPECT_EQ(of_cosine(0.3F), 1.0F);
    EXPECT_EQ(maths_calls.acosf, 0);
}

TEST_F(MyDistanceTest, ConeKeepsAnglesBetweenItsLimits) {
    params.minAngle = 30;
    params.maxAngle = 90;
    EXPECT_EQ(of_cosine(0.9F), rejected); // 25.8 degrees
    EXPECT_EQ(of_cosine(0.8F), 1.0F);     // 36.9
    EXPECT_EQ(maths_calls.acosf, 1);
    EXPECT_EQ(of_cosine(0.01F), 1.0F);
    EXPECT_EQ(of_cosine(-0.01F), rejected);
    EXPECT_EQ(of_cosine(-1.0F), rejected);
    EXPECT_EQ(of_cosine(1.0F), rejected);
}

TEST_F(MyDistanceTest, AngleExactlyAtALimitIsKept) {
    // acosf(0) and 90 * pi / 180 are the same float.
    ASSERT_EQ(std::acos(0.0F), 90.0F * 3.1415927F / 180.0F);
    params.minAngle = 90;
    EXPECT_EQ(of_cosine(0.0F), 1.0F);
    EXPECT_EQ(of_cosine(1e-6F), rejected);
    params.minAngle = 0;
    params.maxAngle = 90;
    EXPECT_EQ(of_cosine(0.0F), 1.0F);
    EXPECT_EQ(of_cosine(-1e-6F), rejected);
}

TEST_F(MyDistanceTest, OneLimitAloneIsACone) {
    params.minAngle = 60;
    EXPECT_EQ(of_cosine(0.9F), rejected);
    EXPECT_EQ(of_cosine(-1.0F), 1.0F);
    params.minAngle = 0;
    params.maxAngle = 60;
    EXPECT_EQ(of_cosine(0.9F), 1.0F);
    EXPECT_EQ(of_cosine(0.0F), rejected);
}

TEST_F(MyDistanceTest, NearThePolesTheAngleIsExactAndAcosfIsNotCalled) {
    params.maxAngle = 0.5F;
    // 0.9999 is 0.81 degrees, but counts as none.
    EXPECT_EQ(of_cosine(0.9999F), 1.0F);
    EXPECT_EQ(of_cosine(2.0F), 1.0F);
    EXPECT_EQ(maths_calls.acosf, 0);
    EXPECT_EQ(of_cosine(std::nextafter(0.9999F, 0.0F)), rejected);
    EXPECT_EQ(maths_calls.acosf, 1);

    params.minAngle = 179.5F;
    params.maxAngle = 180;
    EXPECT_EQ(of_cosine(-0.9999F), 1.0F);
    EXPECT_EQ(of_cosine(-2.0F), 1.0F);
    EXPECT_EQ(maths_calls.acosf, 0);
    EXPECT_EQ(of_cosine(std::nextafter(-0.9999F, 0.0F)), rejected);
    EXPECT_EQ(maths_calls.acosf, 1);
}

TEST_F(MyDistanceTest, CosineThatIsNoNumberCountsAsTheSameDirection) {
    params.maxAngle = 10;
    EXPECT_EQ(of_cosine(nan), 1.0F);
    params.minAngle = 1;
    EXPECT_EQ(of_cosine(nan), rejected);
    EXPECT_EQ(maths_calls.acosf, 0);
}

TEST_F(MyDistanceTest, NormalsAreUsedAsTheyAre) {
    // 0.5 * 1 is 60 degrees although the two directions are the same.
    params.minAngle = 50;
    params.maxAngle = 70;
    normal = {0, 0, 0.5F};
    EXPECT_EQ(of_cosine(1.0F), 1.0F);
    normal = {0, 0, 1};
    EXPECT_EQ(of_cosine(1.0F), rejected);
}

TEST_F(MyDistanceTest, PointsOfAMapWithoutNormalsAreAtARightAngle) {
    MapContent content;
    content.positions = {{0, 0, 1}};
    content.add("rgbPP", std::vector<miVector>{{1, 1, 1}});
    params.maxAngle = 80;
    EXPECT_EQ(of(content), rejected);
    params.maxAngle = 100;
    EXPECT_EQ(of(content), 1.0F);
}

// ---- facing ----

TEST_F(MyDistanceTest, FacingModeKeepsOnlyPointsBeforeTheSurface) {
    params.facing = 1;
    EXPECT_EQ(of({.position = {1, 1, 0.25F}}), 2.0625F);
    EXPECT_EQ(of({.position = {1, 1, -0.25F}}), rejected);
}

TEST_F(MyDistanceTest, FacingModeRejectsTheTangentPlaneAndTheQueryPointItself) {
    params.facing = 1;
    EXPECT_EQ(of({.position = {1, 1, 0}}), rejected);
    EXPECT_EQ(of({.position = {0, 0, 0}}), rejected);
}

TEST_F(MyDistanceTest, FacingModeIsOnForExactlyOne) {
    for (const int facing : {0, 2, -1}) {
        params.facing = facing;
        EXPECT_EQ(of({.position = {0, 0, -1}}), 1.0F) << facing;
    }
}

TEST_F(MyDistanceTest, FacingModeMeasuresTheDirectionNotTheDistance) {
    // Without normalising, the product 1e-20 * 1e-30 would round to nothing.
    params.facing = 1;
    normal = {0, 0, 1e-30F};
    EXPECT_EQ(of({.position = {0, 0, 1e-20F}}), 1e-20F * 1e-20F);
}

TEST_F(MyDistanceTest, FacingModeLooksAtTheCurrentNormalOnly) {
    params.facing = 1;
    normal = {0, 0, -1};
    EXPECT_EQ(of({.position = {0, 0, -1}, .normal = {0, 0, 1}}), 1.0F);
    EXPECT_EQ(of({.position = {0, 0, 1}, .normal = {0, 0, 1}}), rejected);
}

} // namespace
