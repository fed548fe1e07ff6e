// Results of a search: many of them, and the slow paths for ties.
#include "maps/best.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

namespace {

using vx::maps::Best;
using vx::maps::Map_result;

// Offers all distances that the limit admits, as a search does, and compares with a full sort.
void expect_nearest(std::uint32_t wanted, const std::vector<float>& distances) {
    // An order of appending that differs from the rows: multiplied by a number prime to the count.
    std::vector<std::uint32_t> order(distances.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = static_cast<std::uint32_t>((i * 7919 + 13) % order.size());

    Best best;
    best.begin(wanted, std::numeric_limits<float>::infinity(), order.data());
    ASSERT_FALSE(best.is_few());
    std::vector<Map_result> all;
    for (std::uint32_t row = 0; row < distances.size(); ++row) {
        if (distances[row] <= best.limit) best.offer_many(distances[row], row);
        all.push_back({distances[row], row});
    }
    best.finish_many();

    std::sort(all.begin(), all.end(), [&](const Map_result& a, const Map_result& b) {
        return std::pair(a.distance, order[a.row]) < std::pair(b.distance, order[b.row]);
    });
    if (all.size() > wanted) all.resize(wanted);
    ASSERT_EQ(best.result_count(), all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(best.results()[i].row, all[i].row) << "result " << i << " of " << wanted;
        ASSERT_EQ(std::bit_cast<std::uint32_t>(best.results()[i].distance),
                  std::bit_cast<std::uint32_t>(all[i].distance));
    }
}

// Counts around the sizes at which candidates are reduced.
constexpr std::uint32_t kWanted[] = {49, 64, 65, 200, 1000};
constexpr std::size_t kOffered[] = {1, 48, 49, 72, 73, 74, 96, 97, 299, 300, 1499, 1500, 5003};

void expect_nearest_of(const std::function<float(std::mt19937&)>& distance) {
    std::mt19937 random(1);
    for (const std::uint32_t wanted : kWanted) {
        for (const std::size_t offered : kOffered) {
            std::vector<float> distances(offered);
            for (float& d : distances)
                d = distance(random);
            expect_nearest(wanted, distances);
        }
    }
}

TEST(Best, ManyResultsAreTheNearestInOrder) {
    std::uniform_real_distribution<float> uniform(0.0f, 3.0f);
    expect_nearest_of([&](std::mt19937& random) { return uniform(random); });
}

TEST(Best, ManyEqualDistancesAreInTheOrderOfAppending) {
    expect_nearest_of([](std::mt19937& random) { return static_cast<float>(random() % 5); });
    expect_nearest_of([](std::mt19937&) { return 0.25f; });
}

TEST(Best, ManyNegativeDistancesAndZerosOfBothSigns) {
    expect_nearest_of([](std::mt19937& random) {
        const float size = static_cast<float>(random() % 4);
        return random() % 2 == 0 ? size : -size;
    });
}

// Most distances are in one bucket.
TEST(Best, ManyUnevenDistances) {
    expect_nearest_of([](std::mt19937& random) {
        return random() % 50 == 0 ? 1e30f : static_cast<float>(random() % 100000) * 1e-6f;
    });
    expect_nearest_of([](std::mt19937& random) {
        return std::ldexp(1.0f, static_cast<int>(random() % 250) - 125);
    });
}

TEST(Best, ManyDistancesBeyondTheRangeOfBuckets) {
    constexpr float kGreatest = std::numeric_limits<float>::max();
    constexpr float kTiny = std::numeric_limits<float>::denorm_min();
    expect_nearest_of([](std::mt19937& random) {
        const float some[] = {kGreatest, -kGreatest, 1.0f};
        return some[random() % 3];
    });
    expect_nearest_of([](std::mt19937& random) {
        return random() % 3 == 0 ? std::numeric_limits<float>::infinity() : 1.0f;
    });
    expect_nearest_of(
        [](std::mt19937& random) { return kTiny * static_cast<float>(random() % 9); });
}

TEST(Best, LimitAdmitsFewMoreThanWantedOnceHalfAsManyMoreAreThere) {
    std::vector<std::uint32_t> order(75);
    std::iota(order.begin(), order.end(), 0u);
    Best best;
    best.begin(50, 100.0f, order.data());
    for (std::uint32_t row = 0; row < 74; ++row)
        best.offer_many(static_cast<float>(74 - row), row);
    EXPECT_EQ(best.limit, 100.0f);
    best.offer_many(0.5f, 74);
    // The 50 nearest are 0.5 and 1 to 49. At most an eighth more is kept.
    EXPECT_GE(best.limit, 49.0f);
    EXPECT_LT(best.limit, 56.0f);
    EXPECT_LE(best.many.size(), 56u);
}

TEST(Best, OfEqualsTheOneAppendedLastIsTheFarthest) {
    const std::uint32_t order[4] = {7, 9, 8, 1};
    Best best;
    best.begin(4, 10.0f, order);
    best.count = 4;
    for (std::uint32_t i = 0; i < 4; ++i) {
        best.distances[i] = 1.0f;
        best.rows[i] = i;
    }
    EXPECT_EQ(best.farthest_of_equals(0xf), 1u);
    EXPECT_EQ(best.farthest_of_equals(0xc), 2u);
    best.sort_few();
    EXPECT_EQ(best.sorted[0].row, 3u);
    EXPECT_EQ(best.sorted[3].row, 1u);
}

} // namespace
