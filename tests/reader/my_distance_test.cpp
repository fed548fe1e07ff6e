// Which baked points a search keeps, and at which distance.
#include "src/reader/my_distance.h"

#include "tests/reader/distance_fixture.h"

#include <cmath>
#include <limits>

namespace {

using vx::stub::Element;
using vx::stub::MapContent;
using vx::test::BakedPoint;
using vx::test::content_of;
using vx::test::kFrameFile;
using vx::test::MyDistanceTest;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST_F(MyDistanceTest, InheritsAllButTheElementDistance) {
    maps.files[kFrameFile] = content_of({{}});
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
    EXPECT_EQ(distance(min, max), 1.0f + 0.0f + 4.0f);
    // So that a search may drop boxes by itself.
    EXPECT_EQ(mi::shader_v3::map_euclidean_point(distance), distance.get_point());
}

TEST_F(MyDistanceTest, CopiesTheMembersOfTheState) {
    start();
    state.point = {1, 2, 3};
    state.normal = {4, 5, 6};
    state.dir = {7, 8, 9};
    const auto record = make_record();
    const My_distance distance(&state, 90, 180, record.get());
    EXPECT_EQ(vx::stub::text_of(distance.m_normal), "4 5 6");
    EXPECT_EQ(vx::stub::text_of(distance.m_direction), "7 8 9");
    EXPECT_EQ(distance.m_minAngle, 3.1415927f / 2);
    EXPECT_EQ(distance.m_maxAngle, 3.1415927f);
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
    EXPECT_EQ(of({.position = {2, 1.5f, 1}}), 1.25f);
    EXPECT_EQ(of({.position = {1, 1, 1}}), 0.0f);
}

TEST_F(MyDistanceTest, PointExactlyAtTheRadiusIsKept) {
    EXPECT_EQ(of({.position = {2, 0, 0}}), 4.0f);
    EXPECT_EQ(of({.position = {0, 2, 0}}), 4.0f);
    EXPECT_EQ(of({.position = {0, 0, -2}}), 4.0f);
    EXPECT_EQ(of({.position = {0, std::nextafter(2.0f, 3.0f), 0}}), kRejected);
}

TEST_F(MyDistanceTest, RejectsAfterEachAxis) {
    EXPECT_EQ(of({.position = {3, 0, 0}}), kRejected);
    EXPECT_EQ(of({.position = {0, -3, 0}}), kRejected);
    EXPECT_EQ(of({.position = {0, 0, 3}}), kRejected);
    EXPECT_EQ(of({.position = {1.5f, 1.5f, 1.5f}}), kRejected);
    // The later axes are not looked at any more: they would make the sum no number, which passes.
    EXPECT_EQ(of({.position = {3, kNan, 0}}), kRejected);
    EXPECT_EQ(of({.position = {1.5f, 1.5f, kNan}}), kRejected);
    EXPECT_TRUE(std::isnan(of({.position = {1, 1, kNan}})));
}

TEST_F(MyDistanceTest, AddsTheAxesInOrder) {
    int telling = 0;
    for (int i = 1; i < 40; ++i) {
        const float a = 0.025f * static_cast<float>(i);
        const float b = 0.2f;
        const float c = 0.7f;
        EXPECT_EQ(of({.position = {a, b, c}}), a * a + b * b + c * c);
        if (a * a + b * b + c * c != c * c + b * b + a * a) ++telling;
    }
    EXPECT_GT(telling, 0) << "another order would have passed";
}

// ---- labels ----

TEST_F(MyDistanceTest, LabelsCountOnlyWhenAskedFor) {
    labels = "3-5";
    EXPECT_EQ(of({.label = 9}), 0.0f);
    for (const int use : {1, 2, -1}) {
        params.useLabels = use;
        EXPECT_EQ(of({.label = 9}), kRejected) << use;
        EXPECT_EQ(of({.label = 3}), 0.0f) << use;
        EXPECT_EQ(of({.label = 5}), 0.0f) << use;
    }
}

TEST_F(MyDistanceTest, LabelIsReadBeforeThePosition) {
    params.useLabels = miTRUE;
    labels = "1";
    MapContent content = content_of({{.label = 2}});
    maps.files[kFrameFile] = content;
    start();
    const auto record = make_record();
    const My_distance distance(&state, 0, 180, record.get());
    content.positions.clear(); // reading a position now would crash
    const Element element(content);
    ASSERT_EQ(element.get_position(), nullptr);
    EXPECT_EQ(distance(&element), kRejected);
}

TEST_F(MyDistanceTest, EmptyLabelListRejectsEverything) {
    params.useLabels = miTRUE;
    EXPECT_EQ(of({.label = 0}), kRejected);
}

TEST_F(MyDistanceTest, PointsOfAMapWithoutTagHaveNoLabel) {
    params.useLabels = miTRUE;
    labels = "0-9";
    MapContent content;
    content.positions = {{0, 0, 0}};
    content.add("rgbPP", std::vector<miVector>{{1, 1, 1}});
    EXPECT_EQ(of(content), kRejected);
    params.useLabels = miFALSE;
    EXPECT_EQ(of(content), 0.0f);
}

// ---- facing ----

TEST_F(MyDistanceTest, FacingModeKeepsOnlyPointsBeforeTheSurface) {
    params.facing = 1;
    EXPECT_EQ(of({.position = {1, 1, 0.25f}}), 2.0625f);
    EXPECT_EQ(of({.position = {1, 1, -0.25f}}), kRejected);
}

TEST_F(MyDistanceTest, FacingModeMeasuresFromTheQueryPointOnEveryAxis) {
    params.facing = 1;
    query = {5, 6, 7};
    normal = {1, 0, 0};
    EXPECT_EQ(of({.position = {5.5f, 6, 7}}), 0.25f);
    EXPECT_EQ(of({.position = {4.5f, 6, 7}}), kRejected);
    normal = {0, 1, 0};
    EXPECT_EQ(of({.position = {5, 6.5f, 7}}), 0.25f);
    EXPECT_EQ(of({.position = {5, 5.5f, 7}}), kRejected);
    normal = {0, 0, 1};
    EXPECT_EQ(of({.position = {5, 6, 7.5f}}), 0.25f);
    EXPECT_EQ(of({.position = {5, 6, 6.5f}}), kRejected);
}

TEST_F(MyDistanceTest, FacingModeRejectsTheTangentPlaneAndTheQueryPointItself) {
    params.facing = 1;
    EXPECT_EQ(of({.position = {1, 1, 0}}), kRejected);
    EXPECT_EQ(of({.position = {0, 0, 0}}), kRejected);
    normal = {1, 1, 0};
    EXPECT_EQ(of({.position = {1, -1, 0.5f}}), kRejected);
    EXPECT_EQ(of({.position = {1, std::nextafter(-1.0f, 0.0f), 0}}),
              1 + std::nextafter(1.0f, 0.0f) * std::nextafter(1.0f, 0.0f));
}

TEST_F(MyDistanceTest, FacingModeRejectsANanNormal) {
    params.facing = 1;
    normal = {0, kNan, 1};
    EXPECT_EQ(of({.position = {0, 0, 1}}), kRejected);
}

TEST_F(MyDistanceTest, FacingModeIsOnForExactlyOne) {
    for (const int facing : {0, 2, -1}) {
        params.facing = facing;
        EXPECT_EQ(of({.position = {0, 0, -1}}), 1.0f) << facing;
    }
}

TEST_F(MyDistanceTest, FacingModeMeasuresTheDirectionNotTheDistance) {
    // Without normalising, the product 1e-20 * 1e-30 would round to nothing.
    params.facing = 1;
    normal = {0, 0, 1e-30f};
    EXPECT_EQ(of({.position = {0, 0, 1e-20f}}), 1e-20f * 1e-20f);
}

TEST_F(MyDistanceTest, FacingModeLooksAtTheCurrentNormalOnly) {
    params.facing = 1;
    normal = {0, 0, -1};
    EXPECT_EQ(of({.position = {0, 0, -1}, .normal = {0, 0, 1}}), 1.0f);
    EXPECT_EQ(of({.position = {0, 0, 1}, .normal = {0, 0, 1}}), kRejected);
}

// ---- reasons ----

// Every point fails exactly the tests of its name.
class RejectionTest : public MyDistanceTest {
  protected:
    void SetUp() override {
        MyDistanceTest::SetUp();
        params.useLabels = miTRUE;
        labels = "1";
        params.facing = 1;
        params.maxAngle = 90;
    }
    const BakedPoint kept{.position = {0, 0, 1}, .normal = {0, 0, 1}, .label = 1};
    const BakedPoint behind{.position = {0, 0, -1}, .normal = {0, 0, 1}, .label = 1};
    const BakedPoint outside_cone{.position = {0, 0, 1}, .normal = {0, 0, -1}, .label = 1};
    const BakedPoint unlisted{.position = {0, 0, 1}, .normal = {0, 0, 1}, .label = 2};
    const BakedPoint far{.position = {0, 0, 3}, .normal = {0, 0, 1}, .label = 1};
};

TEST_F(RejectionTest, NamesTheTestThatAPointFails) {
    EXPECT_EQ(rejection_of(kept), Rejection::None);
    EXPECT_EQ(rejection_of(behind), Rejection::Facing);
    EXPECT_EQ(rejection_of(outside_cone), Rejection::Cone);
    EXPECT_EQ(rejection_of(unlisted), Rejection::Label);
    EXPECT_EQ(rejection_of(far), Rejection::Distance);
    for (const BakedPoint& point : {behind, outside_cone, unlisted, far})
        EXPECT_EQ(of(point), kRejected);
    EXPECT_EQ(of(kept), 1.0f);
}

TEST_F(RejectionTest, NamesTheFirstOfSeveralTests) {
    BakedPoint point = behind;
    point.normal = outside_cone.normal;
    EXPECT_EQ(rejection_of(point), Rejection::Cone);
    point.label = unlisted.label;
    EXPECT_EQ(rejection_of(point), Rejection::Label);
    point.position = {0, 0, -3};
    EXPECT_EQ(rejection_of(point), Rejection::Distance);
}

TEST_F(RejectionTest, ParametersSwitchTestsOff) {
    params.maxAngle = 180;
    EXPECT_EQ(rejection_of(outside_cone), Rejection::None);
    params.useLabels = miFALSE;
    EXPECT_EQ(rejection_of(unlisted), Rejection::None);
    params.facing = 0;
    EXPECT_EQ(rejection_of(behind), Rejection::None);
}

TEST_F(RejectionTest, DistancesThatNoSearchFindsAreTooFar) {
    BakedPoint point = kept;
    point.position = {0, 0, kNan};
    EXPECT_EQ(rejection_of(point), Rejection::Distance);
    // Within the radius, and at the squared distance that stands for rejection, or just below.
    params.radius = 2e18f;
    point.position = {0, 0, std::sqrt(1e36f)};
    ASSERT_EQ(of(point), kRejected);
    EXPECT_EQ(rejection_of(point), Rejection::Distance);
    point.position = {0, 0, std::nextafter(std::sqrt(1e36f), 0.0f)};
    ASSERT_LT(of(point), kRejected);
    EXPECT_EQ(rejection_of(point), Rejection::None);
}

} // namespace
