// The blend of several points to the last bit, for every pattern of exponents, against the rule
// written down channel by channel.
#include "tests/reader/lookup_fixture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

namespace {

using vx::test::BakedPoint;
using vx::test::LookupTest;
using vx::test::maths_calls;

using Channels = std::array<float, 3>;

// In front of the surface at distances 0.2 to 1.9 from the origin, from near to far; some look
// away from the surface, and normals are not unit vectors.
std::vector<BakedPoint> random_points(std::mt19937& engine) {
    std::uniform_real_distribution<float> between(-1, 1);
    std::vector<BakedPoint> points(6);
    for (size_t i = 0; i < points.size(); ++i) {
        BakedPoint& point = points[i];
        const float distance = 0.2f + 0.28f * static_cast<float>(i) + 0.1f * between(engine);
        const float side = 0.6f * between(engine);
        point.position = {distance * side, distance * 0.3f,
                          distance * std::sqrt(0.91f - side * side)};
        point.color = {between(engine), 2 * between(engine), 3 + between(engine)};
        point.normal = {between(engine), between(engine), i == 2 ? 1.5f : -2 + between(engine)};
        point.opacity = i % 3 == 1 ? 1.0f : 1 + 0.8f * between(engine);
    }
    return points;
}

float falloff_of(const BakedPoint& point, float radius) {
    const auto [x, y, z] = point.position;
    const float t = std::sqrt(x * x + y * y + z * z) / radius;
    return 1.0f - (t * t * -2.0f * t + t * t * 3.0f);
}

// In single precision throughout, each operation in the order in which the rule names it.
Channels blend(const std::vector<BakedPoint>& points, const ReadParameters& params,
               const miVector& normal) {
    const Channels exponent = {params.falloff.r, params.falloff.g, params.falloff.b};
    const Channels gain = {params.scale.r, params.scale.g, params.scale.b};
    Channels weight = {1, 1, 1};
    Channels sum = {0, 0, 0};
    float count = 0;
    for (const BakedPoint& point : points) {
        const float falloff = falloff_of(point, params.radius);
        for (size_t c = 0; c < 3; ++c) {
            const bool as_red = c > 0 && exponent[c] == exponent[0];
            if (as_red)
                weight[c] = weight[0];
            else if (exponent[c] != 0)
                weight[c] = std::pow(falloff, exponent[c]);
        }
        if (params.facing == 1) {
            const miVector& n = point.normal;
            const float towards = -(normal.x * n.x + normal.y * n.y + normal.z * n.z);
            if (towards < 0) continue;
            for (float& w : weight)
                w *= towards;
        }
        if (params.useOpacity != 0 && point.opacity != 1)
            for (float& w : weight)
                w *= point.opacity;
        ++count;
        const Channels color = {point.color.x, point.color.y, point.color.z};
        for (size_t c = 0; c < 3; ++c)
            sum[c] += weight[c] * color[c];
    }
    for (size_t c = 0; c < 3; ++c)
        sum[c] *= gain[c] / count;
    return sum;
}

// Red's exponent costs a call, green's and blue's only where they differ from red's.
int powf_calls_per_point(const miColor& exponent) {
    int calls = exponent.r != 0 ? 1 : 0;
    if (exponent.g != exponent.r && exponent.g != 0) ++calls;
    if (exponent.b != exponent.r && exponent.b != 0) ++calls;
    return calls;
}

class BlendTest : public LookupTest {
  protected:
    void check(const std::vector<BakedPoint>& points) {
        const Channels expected = blend(points, params, normal);
        const ReadResult result = read(points);
        SCOPED_TRACE(testing::Message() << "exponents " << params.falloff.r << ' '
                                        << params.falloff.g << ' ' << params.falloff.b << " facing "
                                        << params.facing << " opacity " << params.useOpacity);
        ASSERT_EQ(result.pointCount, static_cast<int>(points.size()));
        vx::test::expect_color(result, expected[0], expected[1], expected[2]);
        EXPECT_EQ(maths_calls.powf, powf_calls_per_point(params.falloff) * result.pointCount);
    }
};

TEST_F(BlendTest, AgreesToTheBitForEveryPatternOfExponents) {
    std::mt19937 engine(11);
    params.scale = {0.7f, -1.3f, 2.9f, 5};
    normal = {0.1f, -0.2f, 0.9f};
    const std::array<float, 5> exponents = {0, 1, 2.5f, 0.7f, -1};
    for (const float r : exponents) {
        for (const float g : exponents) {
            for (const float b : exponents) {
                params.falloff = {r, g, b, 4};
                for (int mode = 0; mode < 4; ++mode) {
                    params.facing = mode & 1;
                    params.useOpacity = mode & 2;
                    check(random_points(engine));
                    if (HasFailure()) return;
                }
            }
        }
    }
}

} // namespace
