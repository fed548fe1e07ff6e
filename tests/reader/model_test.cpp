// The reader on the map engine against brute force in double precision, for thousands of random
// settings.
#include "src/reader/lookup.h"
#include "tests/reader/cloud_file.h"
#include "tests/reader/model.h"
#include "tests/reader/read_instance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <sstream>

namespace {

using vx::test::BakedPoint;
using vx::test::CloudFile;
using vx::test::Expected;
using vx::test::expected_result;
using vx::test::ReadInstance;

class Chance {
  public:
    explicit Chance(unsigned seed) : m_engine(seed) {}
    float between(float low, float high) {
        return std::uniform_real_distribution<float>(low, high)(m_engine);
    }
    int one_of(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_engine); }
    bool yes(float share) { return between(0, 1) < share; }
    miVector direction() {
        const float z = between(-1, 1);
        const float turn = between(0, 2 * std::numbers::pi_v<float>);
        const float r = std::sqrt(1 - z * z);
        return {r * std::cos(turn), r * std::sin(turn), z};
    }

  private:
    std::mt19937 m_engine;
};

miVector scaled(miVector v, float by) {
    return {v.x * by, v.y * by, v.z * by};
}

enum class Shape { volume, sphere, clusters };

std::vector<BakedPoint> random_cloud(Shape shape, Chance& chance) {
    std::vector<BakedPoint> cloud(1500);
    miVector center = {0, 0, 0};
    for (size_t i = 0; i < cloud.size(); ++i) {
        BakedPoint& point = cloud[i];
        miVector at = chance.direction();
        point.normal = chance.direction();
        if (shape == Shape::volume)
            at = {chance.between(-1, 1), chance.between(-1, 1), chance.between(-1, 1)};
        if (shape == Shape::sphere && chance.yes(0.8f)) point.normal = at;
        if (shape == Shape::clusters) {
            if (i % 100 == 0) center = scaled(chance.direction(), chance.between(0, 1));
            at = scaled(at, 0.1f * chance.between(0, 1));
            at = {at.x + center.x, at.y + center.y, at.z + center.z};
        }
        point.position = {at.x, at.y, at.z};
        // Normals are taken as they are: some are not unit vectors.
        if (chance.yes(0.1f)) point.normal = scaled(point.normal, chance.between(0, 1));
        point.color = {chance.between(0, 2), chance.between(0, 1), chance.between(-1, 1)};
        point.opacity = chance.yes(0.5f) ? 1.0f : chance.between(0.2f, 1.2f);
        point.label = chance.one_of(10);
    }
    return cloud;
}

// Every pattern of equal, different and zero exponents comes up: each channel takes one of three
// values or 0.
miColor random_exponents(Chance& chance) {
    const std::array<float, 4> values = {0, 1, chance.between(0.2f, 6), chance.between(0.2f, 6)};
    const auto pick = [&] { return values[static_cast<size_t>(chance.one_of(4))]; };
    return {pick(), pick(), pick(), 0};
}

struct Tally {
    int checked = 0, undecided = 0, nothing = 0, no_number = 0, full = 0;
    std::set<std::string> patterns;

    void note_pattern(const miColor& e) {
        std::string pattern;
        for (const float value : {e.r, e.g, e.b})
            pattern += value == 0 ? '0' : value == e.r ? 'r' : value == e.g ? 'g' : 'b';
        patterns.insert(pattern);
    }
};

std::string text_of(const ReadParameters& p) {
    std::ostringstream text;
    text << "radius " << p.radius << " most " << p.maxPoints << " labels " << p.useLabels
         << " facing " << p.facing << " opacity " << p.useOpacity << " angles " << p.minAngle << ' '
         << p.maxAngle << " falloff " << p.falloff.r << ' ' << p.falloff.g << ' ' << p.falloff.b;
    return text.str();
}

void check(const ReadResult& result, const Expected& expected, Tally& tally) {
    EXPECT_EQ(result.pointCount, expected.found);
    EXPECT_EQ(result.outColor.a, 0.0f);
    const std::array<float, 3> channels = {result.outColor.r, result.outColor.g, result.outColor.b};
    for (size_t c = 0; c < 3; ++c) {
        if (expected.found == 0)
            EXPECT_EQ(channels[c], 0.0f);
        else if (expected.blended == 0)
            EXPECT_TRUE(std::isnan(channels[c]));
        else
            EXPECT_NEAR(channels[c], expected.color[c], expected.bound[c]) << "channel " << c;
    }
    ++tally.checked;
    if (expected.found == 0) ++tally.nothing;
    if (expected.found > 0 && expected.blended == 0) ++tally.no_number;
}

class Model : public testing::TestWithParam<Shape> {};

TEST_P(Model, AgreesWithTheReader) {
    Chance chance(17 + static_cast<unsigned>(GetParam()));
    const std::vector<BakedPoint> cloud = random_cloud(GetParam(), chance);
    const CloudFile file(cloud);
    Tally tally;
    for (int set = 0; set < 1200 && !HasFailure(); ++set) {
        ReadInstance instance;
        ReadParameters& params = instance.params;
        params.frame = 1;
        instance.file_name = file.name();
        params.radius = chance.between(0.05f, GetParam() == Shape::clusters ? 0.3f : 0.6f);
        params.maxPoints = 1 + chance.one_of(chance.yes(0.5f) ? 64 : 8);
        params.useLabels = chance.one_of(2);
        params.facing = chance.one_of(3);
        params.useOpacity = chance.one_of(2);
        std::set<int> labels;
        for (int label = 0; label < 10; ++label) {
            if (!chance.yes(0.5f)) continue;
            labels.insert(label);
            instance.labels += std::to_string(label) + ",";
        }
        instance.start();
        const auto record = instance.make_record();
        ASSERT_NE(record->mapHolder, nullptr);

        for (int call = 0; call < 3; ++call) {
            // What is read on every call changes from call to call.
            ReadParameters& block = *instance.block();
            const int cone = chance.one_of(4);
            block.minAngle = cone & 1 ? chance.between(0, 90) : 0;
            block.maxAngle = cone & 2 ? chance.between(60, 180) : 180;
            block.falloff = random_exponents(chance);
            block.scale = {chance.between(0, 3), chance.between(-1, 1), 1, 1};
            const auto& near =
                cloud[static_cast<size_t>(chance.one_of(static_cast<int>(cloud.size())))];
            const miVector away = scaled(chance.direction(), 0.05f);
            instance.state.point = {near.position[0] + away.x, near.position[1] + away.y,
                                    near.position[2] + away.z};
            instance.state.normal = chance.yes(0.5f) ? near.normal : chance.direction();
            if (params.facing == 1 && chance.yes(0.5f))
                instance.state.normal = scaled(near.normal, -1);
            if (chance.yes(0.1f))
                instance.state.normal = scaled(instance.state.normal, chance.between(0.5f, 2));

            params.minAngle = block.minAngle;
            params.maxAngle = block.maxAngle;
            params.falloff = block.falloff;
            params.scale = block.scale;
            const auto expected =
                expected_result(cloud, params, labels, instance.state.point, instance.state.normal);
            if (!expected) {
                ++tally.undecided;
                continue;
            }
            SCOPED_TRACE(text_of(params));
            ReadResult result = {{9, 9, 9, 9}, 9};
            EXPECT_EQ(ReadPoints(&result, &instance.state, &block, *record), miTRUE);
            check(result, *expected, tally);
            if (expected->found == params.maxPoints) ++tally.full;
            if (expected->blended > 0) tally.note_pattern(block.falloff);
        }
    }
    // The settings have to reach what they are meant to reach.
    EXPECT_GT(tally.checked, 3000);
    EXPECT_LT(tally.undecided, 600);
    EXPECT_GT(tally.nothing, 50);
    EXPECT_GT(tally.no_number, 5);
    EXPECT_GT(tally.full, 500);
    // rrr r.. with other exponents equal, different and 0: all fifteen.
    EXPECT_EQ(tally.patterns.size(), 15u);
}

std::string name_of(const testing::TestParamInfo<Shape>& info) {
    const std::array<std::string, 3> names = {"Volume", "Sphere", "Clusters"};
    return names[static_cast<size_t>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Clouds, Model,
                         testing::Values(Shape::volume, Shape::sphere, Shape::clusters), name_of);

} // namespace
