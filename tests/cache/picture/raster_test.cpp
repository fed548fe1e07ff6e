#include "cache/picture/raster.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

using namespace vx::cache;

namespace {

constexpr Color kBlack{0, 0, 0};
constexpr Color kWhite{1, 1, 1};
constexpr double kPi = 3.14159265358979323846;

Camera square(int size, bool orthographic, double plane) {
    Camera c;
    c.width = c.height = size;
    c.orthographic = orthographic;
    c.set_plane(plane, 1, 0, 0);
    return c;
}

Picture drawn(const Camera& camera, const std::vector<Disc>& discs, int samples = 1) {
    Picture picture(camera.width, camera.height, kBlack);
    DiscRaster raster(camera, samples, 0, camera.height);
    for (const Disc& d : discs)
        raster.draw(d);
    raster.resolve(picture, kBlack);
    return picture;
}

double covered(const Picture& picture) {
    double sum = 0;
    for (const Color& c : picture.pixels)
        sum += static_cast<double>(c[0]);
    return sum;
}

// Whether the line of sight through a pixel's center meets the disc: plane, then distance.
bool ray_meets(const Camera& c, const Disc& d, double x, double y) {
    const Vec n = normalized(d.normal);
    const double cx = x * c.scale_x + c.shift_x;
    const double cy = y * c.scale_y + c.shift_y;
    const Vec origin = c.orthographic ? Vec{cx, cy, 0} : Vec(0.0);
    const Vec along = c.orthographic ? Vec{0, 0, -1} : Vec{cx, cy, -c.focal};
    const double t = n.dot(d.center - origin) / n.dot(along);
    return t > 0 && length(origin + along * t - d.center) <= d.radius;
}

} // namespace

TEST(DiscRaster, ATiltedDiscIsAnEllipse) {
    // Orthographic, a pixel to a unit: radius 40, turned by 60 degrees about the x axis, is an
    // ellipse of half axes 40 and 20.
    const Camera c = square(100, true, 100);
    const Disc d{{0.3, -0.2, -50}, {0, std::sin(kPi / 3), std::cos(kPi / 3)}, 40, kWhite};
    const Picture p = drawn(c, {d});
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 100; ++x) {
            const double u = (x + 0.5 - 50 - 0.3) / 40;
            const double v = (99 - y + 0.5 - 50 + 0.2) / 20;
            ASSERT_EQ(p.at(x, y) == kWhite, u * u + v * v <= 1) << x << ' ' << y;
        }
    }
}

TEST(DiscRaster, TheAreaOfATiltedDiscIsThatOfItsEllipse) {
    const Camera c = square(200, true, 200);
    for (const double degrees : {0.0, 30.0, 75.0}) {
        const double a = degrees * kPi / 180;
        const Disc d{{0, 0, -500}, {std::sin(a) * 0.6, std::sin(a) * 0.8, std::cos(a)}, 60, kWhite};
        EXPECT_NEAR(covered(drawn(c, {d}, 4)), kPi * 60 * 60 * std::cos(a), 12) << degrees;
    }
}

TEST(DiscRaster, PerspectiveDiscsCoverTheIntersectedSamples) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> unit(-1, 1);
    const Camera c = square(64, false, 1.2);
    int seen = 0;
    for (int i = 0; i < 300; ++i) {
        Disc d{{unit(random) * 3, unit(random) * 3, -5 + unit(random)},
               {unit(random), unit(random), unit(random)},
               1.2 + unit(random),
               kWhite};
        const Vec n = normalized(d.normal);
        // Those that are widened because they are seen edge-on have a test of their own.
        if (std::abs(n.dot(normalized(d.center))) < 0.3) continue;
        const Picture p = drawn(c, {d});
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 64; ++x) {
                const bool meets = ray_meets(c, d, x + 0.5, 63 - y + 0.5);
                ASSERT_EQ(p.at(x, y) == kWhite, meets) << i << ": " << x << ' ' << y;
                seen += meets ? 1 : 0;
            }
        }
    }
    EXPECT_GT(seen, 10000);
}

TEST(DiscRaster, APointAtAKnownPlaceLandsInItsPixel) {
    // A quarter of the plane's width to the right and upwards, in any depth.
    const Camera c = square(40, false, 1);
    for (const double depth : {2.0, 100.0}) {
        const Disc d{{0.2625 * depth, 0.2375 * depth, -depth}, Vec(0.0), 0, kWhite};
        const Picture p = drawn(c, {d});
        EXPECT_EQ(p.at(30, 10), kWhite); // 0.7625 * 40 = 30.5, and line 40 - 1 - 29
        EXPECT_EQ(covered(p), 1);
    }
}

TEST(DiscRaster, NearestDiscWinsInAnyOrder) {
    const Color red{1, 0, 0};
    const Color green{0, 1, 0};
    for (const bool orthographic : {false, true}) {
        const Camera c = square(20, orthographic, orthographic ? 20 : 1);
        const double size = orthographic ? 5 : 1;
        const Disc near{{0, 0, -10}, {0, 0, 1}, size, red};
        const Disc far{{0, 0, -20}, {0, 0, 1}, 2 * size, green};
        EXPECT_EQ(drawn(c, {near, far}).at(10, 10), red);
        EXPECT_EQ(drawn(c, {far, near}).at(10, 10), red);
    }
}

TEST(DiscRaster, DiscsThatCrossAreEachInFrontOnTheirSide) {
    const Camera c = square(40, true, 40);
    const double s = std::sqrt(0.5);
    // Rises to the left (its normal leans to the right), and the other way round.
    const Disc left{{0, 0, -50}, {s, 0, s}, 20, {1, 0, 0}};
    const Disc right{{0, 0, -50}, {-s, 0, s}, 20, {0, 1, 0}};
    const Picture p = drawn(c, {left, right});
    EXPECT_EQ(p.at(12, 20), (Color{1, 0, 0}));
    EXPECT_EQ(p.at(27, 20), (Color{0, 1, 0}));
}

TEST(DiscRaster, OverlappingDiscsOfASurfaceMeetHalfway) {
    const Camera c = square(40, true, 40);
    const Disc left{{-5, 0, -50}, {0, 0, 1}, 12, {1, 0, 0}};
    const Disc right{{5, 0, -50}, {0, 0, 1}, 12, {0, 1, 0}};
    for (const auto& discs : {std::vector{left, right}, std::vector{right, left}}) {
        const Picture p = drawn(c, discs);
        EXPECT_EQ(p.at(18, 20), (Color{1, 0, 0}));
        EXPECT_EQ(p.at(21, 20), (Color{0, 1, 0}));
    }
}

TEST(DiscRaster, BothSidesAreSeenAndNormalsNeedNoLength) {
    const Camera c = square(30, false, 1);
    const Disc d{{0, 0.2, -4}, {0.3, 0.2, 1}, 1, kWhite};
    Disc turned = d;
    turned.normal = d.normal * -25;
    EXPECT_EQ(drawn(c, {d}).pixels, drawn(c, {turned}).pixels);
}

TEST(DiscRaster, WithoutANormalADiscFacesTheEye) {
    const Camera c = square(100, true, 100);
    EXPECT_NEAR(covered(drawn(c, {{{0, 0, -50}, Vec(0.0), 30, kWhite}}, 4)), kPi * 900, 8);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NEAR(covered(drawn(c, {{{0, 0, -50}, {nan, 0, 1}, 30, kWhite}}, 4)), kPi * 900, 8);
}

TEST(DiscRaster, EdgeOnADiscIsALineOfOnePixel) {
    const Camera c = square(100, true, 100);
    const Picture p = drawn(c, {{{0, 0, -50}, {0, 1, 0}, 30, kWhite}}, 4);
    // An ellipse of half axes 30 and 0.5.
    EXPECT_NEAR(covered(p), kPi * 30 * 0.5, 2);
}

TEST(DiscRaster, ADiscWithoutASizeIsADotOfOnePixel) {
    for (const double radius : {0.0, 1e-9, -3.0, std::numeric_limits<double>::quiet_NaN()}) {
        const Camera c = square(10, true, 10);
        EXPECT_NEAR(covered(drawn(c, {{{0.5, 0.5, -5}, Vec(0.0), radius, kWhite}}, 8)), kPi / 4,
                    0.05);
    }
}

TEST(DiscRaster, BehindTheCameraNothingIsSeen) {
    const Camera c = square(10, false, 1);
    Picture picture(10, 10, kBlack);
    DiscRaster raster(c, 1, 0, 10);
    EXPECT_FALSE(raster.draw({{0, 0, 5}, {0, 0, 1}, 1, kWhite}));
    EXPECT_FALSE(raster.draw({{0, 0, 0}, {0, 0, 1}, 1, kWhite}));
    // Reaches from in front to behind.
    EXPECT_FALSE(raster.draw({{0, -1, -1}, {0, 1, 0.1}, 5, kWhite}));
    EXPECT_TRUE(raster.draw({{0, 0, -5}, {0, 0, 1}, 1, kWhite}));
}

TEST(DiscRaster, NearerThanTheNearLimitNothingIsSeen) {
    Camera c = square(10, false, 1);
    c.near_limit = 3;
    DiscRaster raster(c, 1, 0, 10);
    EXPECT_FALSE(raster.draw({{0, 0, -2.9}, {0, 0, 1}, 0.5, kWhite}));
    EXPECT_TRUE(raster.draw({{0, 0, -3.1}, {0, 0, 1}, 0.5, kWhite}));
}

TEST(DiscRaster, OutsideOfThePictureNothingIsCovered) {
    const Camera c = square(10, false, 1);
    DiscRaster raster(c, 1, 0, 10);
    EXPECT_FALSE(raster.draw({{50, 0, -5}, Vec(0.0), 1, kWhite}));
    EXPECT_FALSE(raster.draw({{0, 1e30, -5}, Vec(0.0), 1, kWhite}));
    EXPECT_FALSE(
        raster.draw({{0, 0, -5}, Vec(0.0), std::numeric_limits<double>::infinity(), kWhite}));
}

TEST(DiscRaster, AFullyCoveredPixelHasExactlyTheColor) {
    const Color odd{0.1f, 1.0f / 3.0f, 17.23f};
    const Camera c = square(9, true, 9);
    for (const int samples : {1, 2, 3, 5, 7})
        EXPECT_EQ(drawn(c, {{{0, 0, -5}, Vec(0.0), 4, odd}}, samples).at(4, 4), odd) << samples;
}

TEST(DiscRaster, BandsMakeTheSamePictureAsTheWhole) {
    const Camera c = square(50, false, 1);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> unit(-1, 1);
    std::vector<Disc> discs;
    discs.reserve(200);
    for (int i = 0; i < 200; ++i) {
        discs.push_back({{unit(random) * 2, unit(random) * 2, -4 + unit(random)},
                         {unit(random), unit(random), 1},
                         0.3,
                         {static_cast<float>(unit(random)), 0.5f, 1.0f}});
    }
    Picture banded(50, 50, kBlack);
    for (int first = 0; first < 50; first += 7) {
        DiscRaster raster(c, 2, first, std::min(7, 50 - first));
        for (const Disc& d : discs)
            raster.draw(d);
        raster.resolve(banded, kBlack);
    }
    EXPECT_EQ(banded.pixels, drawn(c, discs, 2).pixels);
}

TEST(DiscRaster, StripsOfRowsAreTheWholePicture) {
    const Camera c = square(60, false, 1);
    std::mt19937 random(4);
    std::uniform_real_distribution<double> uniform(-1, 1);
    std::vector<Disc> discs;
    for (int i = 0; i < 300; ++i) {
        const float gray = static_cast<float>(i) / 300;
        discs.push_back({{uniform(random), uniform(random), -2 + uniform(random) / 2},
                         {uniform(random), uniform(random), 1},
                         0.1,
                         {gray, gray, gray}});
    }
    constexpr int kSamples = 2;
    const Picture whole = drawn(c, discs, kSamples);
    Picture parts(60, 60, kBlack);
    DiscRaster raster(c, kSamples, 0, 60);
    ASSERT_EQ(raster.rows(), 120);
    const int borders[] = {0, 1, 50, 51, 120};
    for (int i = 3; i >= 0; --i) {
        for (const Disc& d : discs) {
            DiscRaster::Footprint f;
            if (raster.project(d, f)) raster.fill(f, borders[i], borders[i + 1]);
        }
    }
    raster.resolve(parts, kBlack);
    EXPECT_EQ(parts.pixels, whole.pixels);
    EXPECT_GT(covered(whole), 100);
}

TEST(DiscRaster, RowsBoundAFootprint) {
    // Orthographic, a pixel to a unit: a disc of radius 10 about the center of the image touches
    // the rows 40 to 59.
    const Camera c = square(100, true, 100);
    DiscRaster raster(c, 1, 0, 100);
    DiscRaster::Footprint f;
    ASSERT_TRUE(raster.project({{0, 0, -5}, {0, 0, 1}, 10, kWhite}, f));
    EXPECT_EQ(f.first_row, 40);
    EXPECT_EQ(f.last_row, 59);
    EXPECT_FALSE(raster.fill(f, 0, 40));
    EXPECT_FALSE(raster.fill(f, 60, 100));
    EXPECT_TRUE(raster.fill(f, 0, 41));
    EXPECT_FALSE(raster.project({{0, 80, -5}, {0, 0, 1}, 10, kWhite}, f)) << "above the image";
}
