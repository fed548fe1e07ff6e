#include "host/scene/triangulate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

using namespace vx::scene;

namespace {

struct Polygon {
    std::vector<Vec3> points;
    std::vector<std::size_t> rings;

    void add_ring(const std::vector<Vec3>& ring) {
        points.insert(points.end(), ring.begin(), ring.end());
        rings.push_back(ring.size());
    }
};

std::array<double, 3> area_vector(const Vec3& a, const Vec3& b, const Vec3& c) {
    const double ux = double(b.x) - a.x, uy = double(b.y) - a.y, uz = double(b.z) - a.z;
    const double vx = double(c.x) - a.x, vy = double(c.y) - a.y, vz = double(c.z) - a.z;
    return {(uy * vz - uz * vy) / 2, (uz * vx - ux * vz) / 2, (ux * vy - uy * vx) / 2};
}

// The sums of the signed and the absolute areas of the triangles, seen along z. Equal sums mean
// that all triangles have the right orientation.
struct Areas {
    double sum = 0, sizes = 0;
    std::size_t count = 0;
    bool clipped = false;
};
Areas areas(const Polygon& polygon) {
    std::vector<std::uint32_t> corners(polygon.points.size());
    std::iota(corners.begin(), corners.end(), 0u);
    std::vector<Triangle> triangles;
    Areas result;
    result.clipped = triangulate(polygon.points, corners, polygon.rings, triangles);
    for (const Triangle& t : triangles) {
        const auto v =
            area_vector(polygon.points[t[0]], polygon.points[t[1]], polygon.points[t[2]]);
        result.sum += v[2];
        result.sizes += std::abs(v[2]);
    }
    result.count = triangles.size();
    return result;
}

void expect_area(const Polygon& polygon, double area, double tolerance = 1e-5) {
    const Areas a = areas(polygon);
    EXPECT_TRUE(a.clipped);
    EXPECT_NEAR(a.sum, area, tolerance * std::abs(area));
    EXPECT_NEAR(a.sizes, std::abs(area), tolerance * std::abs(area));
}

std::vector<Vec3> square(float x, float y, float size, bool clockwise = false) {
    std::vector<Vec3> ring = {
        {x, y, 0}, {x + size, y, 0}, {x + size, y + size, 0}, {x, y + size, 0}};
    if (clockwise) std::reverse(ring.begin(), ring.end());
    return ring;
}

TEST(Triangulate, AQuadIsCutAlongTheDiagonalThatFits) {
    Polygon arrow; // with a reflex third corner
    arrow.add_ring({{0, 0, 0}, {4, 0, 0}, {1, 1, 0}, {0, 4, 0}});
    expect_area(arrow, 4);
    Polygon turned;
    turned.add_ring({{4, 0, 0}, {1, 1, 0}, {0, 4, 0}, {0, 0, 0}});
    expect_area(turned, 4);
    EXPECT_EQ(areas(turned).count, 2u);
}

TEST(Triangulate, AClockwiseOutlineStaysClockwise) {
    Polygon p;
    p.add_ring({{0, 0, 0}, {0, 2, 0}, {1, 3, 0}, {2, 2, 0}, {2, 0, 0}});
    expect_area(p, -5);
}

TEST(Triangulate, AConcaveOutlineInAnyPlane) {
    // An L shape of area 5, in each coordinate plane and with both orientations.
    const std::vector<std::array<float, 2>> letter = {{0, 0}, {3, 0}, {3, 1},
                                                      {1, 1}, {1, 3}, {0, 3}};
    for (int plane = 0; plane < 3; ++plane)
        for (const bool flip : {false, true}) {
            Polygon p;
            std::vector<Vec3> ring;
            for (const auto& [u, v] : letter) {
                const float a = flip ? v : u, b = flip ? u : v;
                ring.push_back(plane == 0   ? Vec3{0, a, b}
                               : plane == 1 ? Vec3{b, 0, a}
                                            : Vec3{a, b, 0});
            }
            p.add_ring(ring);
            std::vector<std::uint32_t> corners(ring.size());
            std::iota(corners.begin(), corners.end(), 0u);
            std::vector<Triangle> triangles;
            EXPECT_TRUE(triangulate(p.points, corners, p.rings, triangles));
            EXPECT_EQ(triangles.size(), 4u);
            double sum = 0, sizes = 0;
            for (const Triangle& t : triangles) {
                const auto v = area_vector(p.points[t[0]], p.points[t[1]], p.points[t[2]]);
                const double along = v[static_cast<std::size_t>(plane)];
                sum += along;
                sizes += std::abs(along);
            }
            EXPECT_NEAR(sum, flip ? -5 : 5, 1e-6) << plane << flip;
            EXPECT_NEAR(sizes, 5, 1e-6);
        }
}

TEST(Triangulate, HolesOfEitherOrientationAreCutOut) {
    for (const bool clockwise : {false, true}) {
        Polygon p;
        p.add_ring(square(0, 0, 10));
        p.add_ring(square(3, 3, 2, clockwise));
        expect_area(p, 96);
        EXPECT_EQ(areas(p).count, 8u); // corners + 2 holes - 2
    }
}

TEST(Triangulate, ManyHolesInRowsAndColumns) {
    Polygon p;
    p.add_ring(square(0, 0, 50));
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 5; ++j)
            p.add_ring(square(static_cast<float>(2 + 9 * i), static_cast<float>(2 + 9 * j), 5,
                              (i + j) % 2 == 0));
    expect_area(p, 2500 - 25 * 25);
}

TEST(Triangulate, HolesThatTouchTheSameCornerOfTheOutline) {
    Polygon p;
    p.add_ring({{0, 0, 0}, {10, 0, 0}, {6, 5, 0}, {10, 10, 0}, {0, 10, 0}});
    p.add_ring({{2, 4.5f, 0}, {3, 4.5f, 0}, {3, 4.8f, 0}});
    p.add_ring({{2, 5.2f, 0}, {3, 5.2f, 0}, {3, 5.5f, 0}});
    p.add_ring({{4, 4.9f, 0}, {5, 4.9f, 0}, {5, 5.1f, 0}});
    expect_area(p, 80 - 0.15 - 0.15 - 0.1, 1e-4);
}

// Star-shaped outlines with random radii and random square holes near the center, whose area is
// known without triangulation.
TEST(Triangulate, RandomStarsWithHolesKeepTheirArea) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> unit(0, 1);
    for (int round = 0; round < 300; ++round) {
        const int n = 5 + static_cast<int>(unit(random) * 40);
        std::vector<Vec3> ring;
        for (int i = 0; i < n; ++i) {
            const float angle =
                2 * std::numbers::pi_v<float> * static_cast<float>(i) / static_cast<float>(n);
            const float radius = 6 + 20 * unit(random);
            ring.push_back({radius * std::cos(angle), radius * std::sin(angle), 0});
        }
        double area = 0;
        for (std::size_t i = 0; i < ring.size(); ++i)
            area += area_vector({0, 0, 0}, ring[i], ring[(i + 1) % ring.size()])[2];
        Polygon p;
        p.add_ring(ring);
        const int holes = static_cast<int>(unit(random) * 4);
        for (int k = 0; k < holes; ++k) {
            // Inside the circle contained in every star with at least five corners.
            const float size = 0.1f + 0.5f * unit(random);
            p.add_ring(square(-1.4f + 0.8f * static_cast<float>(k), -0.5f + 0.3f * unit(random),
                              size, unit(random) < 0.5f));
            area -= static_cast<double>(size) * size;
        }
        SCOPED_TRACE(round);
        expect_area(p, area, 1e-4);
    }
}

TEST(Triangulate, CollinearAndRepeatedCornersDoNoHarm) {
    Polygon p;
    p.add_ring({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2, 0, 0}, {2, 2, 0}, {1, 2, 0}, {0, 2, 0}});
    expect_area(p, 4);
}

TEST(Triangulate, PolygonsThatCrossThemselvesOrHaveNoAreaEnd) {
    for (const auto& ring :
         std::vector<std::vector<Vec3>>{{{0, 0, 0}, {2, 2, 0}, {2, 0, 0}, {0, 2, 0}, {1, 5, 0}},
                                        {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
                                        {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}}}) {
        Polygon p;
        p.add_ring(ring);
        EXPECT_LE(areas(p).count, 3u);
    }
}

TEST(Triangulate, LargeJaggedPolygonIsFast) {
    // A comb: every second corner is reflex, and ears exist at the far end only.
    constexpr int kTeeth = 30000;
    std::vector<Vec3> ring;
    for (int i = 0; i < kTeeth; ++i) {
        const auto x = static_cast<float>(i);
        ring.push_back({x, i % 2 == 0 ? 0.0f : 50.0f + x * 0.001f, 0});
    }
    ring.push_back({kTeeth, 100, 0});
    ring.push_back({0, 100, 0});
    Polygon p;
    p.add_ring(ring);
    EXPECT_GT(areas(p).count, 0u);
}

} // namespace
