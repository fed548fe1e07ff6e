// The consolidated form of maps: it has every element once, in a box that contains it.
#include "maps/build.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <set>

namespace {

using namespace vx::maps;

Records records_of(const std::vector<float>& points, unsigned dimension) {
    Records records(dimension + 1);
    for (std::size_t i = 0; i * dimension < points.size(); ++i) {
        std::uint32_t* const record = records.extend();
        std::memcpy(record, points.data() + i * dimension, dimension * 4);
        record[dimension] = static_cast<std::uint32_t>(i);
    }
    return records;
}

DeclarationPtr declaration_of(unsigned dimension) {
    const auto declaration = std::make_shared<Declaration>(dimension);
    EXPECT_EQ(declaration->append("index", Map_field_type::Integer, 1, false), Map_status::OK);
    return declaration;
}

// Checks that the boxes of all nodes above an element contain it. Only unbounded boxes contain NaN.
void expect_sound(const Body& body) {
    const unsigned dimension = body.declaration->dimension;
    const Shape& shape = body.shape;
    std::vector<bool> seen(shape.count);
    for (std::uint32_t row = 0; row < shape.count; ++row) {
        const std::uint32_t index = body.order()[row];
        ASSERT_LT(index, shape.count);
        ASSERT_FALSE(seen[index]);
        seen[index] = true;
        ASSERT_EQ(body.rank()[index], row);
        std::uint32_t stored = 0;
        std::memcpy(&stored, body.column(0) + row * 4, 4);
        ASSERT_EQ(stored, index);
        float position[kMaxDimension];
        body.copy_position(row, position);
        std::uint64_t child = row / kLeafSize;
        for (unsigned level = 1; level <= shape.top; ++level) {
            const float* const node =
                body.nodes() + (shape.first[level] + child / kFanOut) * node_floats(dimension);
            for (unsigned a = 0; a < dimension; ++a) {
                const float min = node[a * 2 * kFanOut + child % kFanOut];
                const float max = node[a * 2 * kFanOut + kFanOut + child % kFanOut];
                if (std::isnan(position[a])) {
                    ASSERT_EQ(min, -std::numeric_limits<float>::infinity());
                    ASSERT_EQ(max, std::numeric_limits<float>::infinity());
                } else {
                    ASSERT_LE(min, position[a]);
                    ASSERT_GE(max, position[a]);
                }
            }
            child /= kFanOut;
        }
    }
}

std::vector<float> random_points(std::size_t count, unsigned dimension, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal;
    std::vector<float> points(count * dimension);
    for (float& x : points)
        x = normal(random);
    return points;
}

TEST(Build, EveryElementIsOnceInABoxThatContainsIt) {
    for (unsigned dimension = 1; dimension <= 6; ++dimension) {
        for (const std::size_t count : {1u, 16u, 17u, 128u, 129u, 1000u, 5000u}) {
            for (const float quality : {0.0f, 0.6f, 1.0f}) {
                const auto points = random_points(count, dimension, 7);
                expect_sound(
                    *build_body(declaration_of(dimension), records_of(points, dimension), quality));
            }
        }
    }
}

TEST(Build, InParallelTheResultIsSoundAndAlwaysTheSame) {
    const auto points = random_points(100000, 3, 8);
    const Records records = records_of(points, 3);
    const BodyPtr one = build_body(declaration_of(3), records, 0.6f);
    expect_sound(*one);
    for (int i = 0; i < 3; ++i) {
        const BodyPtr two = build_body(declaration_of(3), records, 0.6f);
        ASSERT_EQ(std::memcmp(one->base, two->base, one->sections.bytes), 0);
    }
}

TEST(Build, IdenticalPoints) {
    expect_sound(
        *build_body(declaration_of(3), records_of(std::vector<float>(3 * 9000, 2.5f), 3), 0.6f));
}

TEST(Build, NotANumberAndInfiniteCoordinatesAmongOthers) {
    auto points = random_points(3000, 3, 9);
    for (std::size_t i = 0; i < points.size(); i += 7) {
        points[i] = std::numeric_limits<float>::quiet_NaN();
    }
    for (std::size_t i = 3; i < points.size(); i += 11) {
        points[i] = i % 2 == 0 ? std::numeric_limits<float>::infinity()
                               : -std::numeric_limits<float>::infinity();
    }
    for (const float quality : {0.0f, 0.6f, 1.0f}) {
        expect_sound(*build_body(declaration_of(3), records_of(points, 3), quality));
    }
    expect_sound(*build_body(
        declaration_of(2),
        records_of(std::vector<float>(2000, std::numeric_limits<float>::quiet_NaN()), 2), 0.6f));
}

TEST(Build, AnEmptyMap) {
    const BodyPtr body = build_body(declaration_of(3), Records(4), 0.6f);
    EXPECT_EQ(body->shape.count, 0u);
    EXPECT_EQ(body->sections.bytes, 0u);
}

} // namespace
