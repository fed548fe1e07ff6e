// Searches against brute force. Compares distances, and indices where the order of ties is defined.
#include "maps/lookup.h"
#include "maps/testing.h"
#include "tests/maps/helpers.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

using namespace vx::maps::test;
using vx::maps::force_instruction_set;
using vx::maps::InstructionSet;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kRejected = 1e36f;

// Rejects elements whose index is not a multiple of `step`.
template <miUint DIM>
class Sieve final : public Map_distance<DIM> {
  public:
    Sieve(const float* point, int step) : Map_distance<DIM>(point), m_step(step) {}
    float operator()(const Map_iterator_base* element) const override {
        int index = 0;
        if (!element->get(0u, index).is_ok()) return -1.0f;
        if (index % m_step != 0) return kRejected;
        const float* const p = element->get_position();
        float sum = 0.0f;
        for (miUint i = 0; i < DIM; ++i)
            sum += (p[i] - this->m_point[i]) * (p[i] - this->m_point[i]);
        return sum;
    }

  private:
    int m_step;
};

// The sum of coordinate differences without the last axis, squared: a metric with its own box
// distance, which may be less than the Euclidean distance.
template <miUint DIM>
class Street final : public Map_distance_base {
  public:
    explicit Street(const float* point) { std::copy_n(point, DIM, m_point); }
    miUint get_dimension() const override { return DIM; }
    const float* get_point() const override { return m_point; }
    float operator()(const float* min, const float* max) const override {
        float sum = 0.0f;
        for (miUint i = 0; i < kAxes; ++i) {
            sum += std::max({min[i] - m_point[i], m_point[i] - max[i], 0.0f});
        }
        return sum * sum;
    }
    float operator()(const Map_iterator_base* element) const override {
        return of(element->get_position());
    }
    float of(const float* p) const {
        float sum = 0.0f;
        for (miUint i = 0; i < kAxes; ++i)
            sum += std::abs(p[i] - m_point[i]);
        return sum * sum;
    }

  private:
    static constexpr miUint kAxes = DIM > 1 ? DIM - 1 : 1;
    float m_point[DIM];
};

// The same metric, derived from Map_distance: its inherited box distance must not be used.
class StreetBelow final : public Map_distance<3> {
  public:
    using Map_distance<3>::Map_distance;
    float operator()(const float* min, const float* max) const override {
        return Street<3>(m_point)(min, max);
    }
    float operator()(const Map_iterator_base* element) const override {
        return Street<3>(m_point).of(element->get_position());
    }
};

struct Hit {
    float distance;
    std::uint32_t index;
    bool operator==(const Hit&) const = default;
};

// The results of calling the functor for all elements.
std::vector<Hit> by_hand(const Edit_map& map, const Map_distance_base& distance, int most,
                         float limit) {
    std::vector<Hit> hits;
    for (Map_iterator it(map); !it->at_end(); it->next()) {
        const float d = distance(it.operator->());
        if (d <= limit) hits.push_back({d, it->get_index()});
    }
    std::stable_sort(hits.begin(), hits.end(),
                     [](const Hit& a, const Hit& b) { return a.distance < b.distance; });
    hits.resize(std::min(hits.size(), static_cast<std::size_t>(std::max(most, 0))));
    return hits;
}

std::vector<Hit> found(Map_lookup& lookup) {
    std::vector<Hit> hits;
    for (; !lookup->at_end(); lookup->next()) {
        miUint index = 0;
        EXPECT_TRUE(lookup->get_index(index).is_ok());
        int stored = -1;
        EXPECT_TRUE(lookup->get(0u, stored).is_ok());
        EXPECT_EQ(stored, static_cast<int>(index));
        hits.push_back({lookup->get_squared_distance(), index});
    }
    EXPECT_EQ(lookup->size(), hits.size());
    return hits;
}

template <class Functor>
void expect_as_by_hand(const Edit_map& map, Map_lookup& lookup, const Functor& distance, int most,
                       float limit) {
    const std::vector<Hit> expected = by_hand(map, distance, most, limit);
    ASSERT_TRUE(lookup->search(distance, most, limit).is_ok());
    EXPECT_EQ(lookup->is_empty(), expected.empty());
    ASSERT_EQ(found(lookup), expected) << most << " within " << limit;
    // Search with the base class, for which the kind of box distance is unknown.
    const Map_distance_base& base = distance;
    ASSERT_TRUE(lookup->search(base, most, limit).is_ok());
    ASSERT_EQ(found(lookup), expected) << most << " within " << limit << ", by the base";
}

enum class Kind { uniform, clustered, planar, linear, identical, lattice };

std::vector<float> make_points(Kind kind, std::size_t count, unsigned dimension,
                               std::mt19937& random) {
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    std::normal_distribution<float> normal(0.0f, 0.01f);
    std::vector<float> points;
    float center[6] = {};
    for (std::size_t i = 0; i < count; ++i) {
        if (i % 40 == 0) {
            for (float& c : center)
                c = uniform(random);
        }
        const float along = uniform(random);
        for (unsigned a = 0; a < dimension; ++a) {
            switch (kind) {
            case Kind::uniform:
                points.push_back(uniform(random));
                break;
            case Kind::clustered:
                points.push_back(center[a] + normal(random));
                break;
            case Kind::planar:
                points.push_back(a + 1 == dimension ? 0.25f : uniform(random));
                break;
            case Kind::linear:
                points.push_back(along * static_cast<float>(a + 1));
                break;
            case Kind::identical:
                points.push_back(0.5f);
                break;
            case Kind::lattice:
                points.push_back(std::round(uniform(random) * 3.0f));
                break;
            }
        }
    }
    return points;
}

template <miUint DIM>
void random_cases(unsigned seed, int cases) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1.2f, 1.2f);
    constexpr Kind kKinds[] = {Kind::uniform, Kind::clustered, Kind::planar,
                               Kind::linear,  Kind::identical, Kind::lattice};
    for (int c = 0; c < cases; ++c) {
        const Kind kind = kKinds[c % 6];
        const std::size_t count = c % 10 == 0 ? random() % 3000 : random() % 300;
        const auto points = make_points(kind, count, DIM, random);
        const float quality = static_cast<float>(random() % 11) / 10.0f;
        const auto map = map_of_points(points, DIM, quality);
        const auto access = access_to(*map);
        Map_lookup lookup(*access);
        for (int q = 0; q < 8; ++q) {
            float point[DIM];
            const bool on_an_element = q % 2 == 0 && count > 0;
            const std::size_t which = count > 0 ? random() % count : 0;
            for (miUint a = 0; a < DIM; ++a) {
                point[a] = on_an_element ? points[which * DIM + a] : uniform(random);
            }
            const float limits[] = {0.0f, 1e-4f, 0.01f, 0.3f, 4.0f, 1e30f, kInfinity, -1.0f};
            const int counts[] = {1, 2, 7, 16, 17, 48, 49, 1000, 2147483647, 0, -1};
            const float limit = limits[random() % 8];
            const int most = counts[random() % 11];
            const int step = 1 + static_cast<int>(random() % 4);
            expect_as_by_hand(*map, lookup, Sieve<DIM>(point, step), most, limit);
            expect_as_by_hand(*map, lookup, Map_quad_distance<DIM>(point), most, limit);
            expect_as_by_hand(*map, lookup, Street<DIM>(point), most, limit);
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

TEST(Lookup, AgreesWithBruteForceIn1Dimension) {
    random_cases<1>(101, 120);
}
TEST(Lookup, AgreesWithBruteForceIn2Dimensions) {
    random_cases<2>(102, 120);
}
TEST(Lookup, AgreesWithBruteForceIn3Dimensions) {
    random_cases<3>(103, 240);
}
TEST(Lookup, AgreesWithBruteForceIn4Dimensions) {
    random_cases<4>(104, 120);
}
TEST(Lookup, AgreesWithBruteForceIn5Dimensions) {
    random_cases<5>(105, 120);
}
TEST(Lookup, AgreesWithBruteForceIn6Dimensions) {
    random_cases<6>(106, 120);
}

TEST(Lookup, EveryInstructionSetFindsTheSame) {
    for (const InstructionSet set :
         {InstructionSet::sse2, InstructionSet::avx2, InstructionSet::avx512}) {
        force_instruction_set(set);
        random_cases<3>(107, 60);
        random_cases<6>(108, 30);
        random_cases<1>(109, 30);
    }
    force_instruction_set(vx::maps::best_instruction_set());
}

TEST(Lookup, ABoxDistanceOfItsOwnIsUsedAlsoBelowMapDistance) {
    std::mt19937 random(5);
    const auto points = make_points(Kind::uniform, 2000, 3, random);
    const auto map = map_of_points(points, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    for (std::size_t i = 0; i < 100; ++i) {
        expect_as_by_hand(*map, lookup, StreetBelow(points.data() + 3 * i), 10, 0.05f);
    }
}

TEST(Lookup, TiesAreInTheOrderOfAppending) {
    const auto map = map_of_points(std::vector<float>(std::size_t{3} * 5000, 1.0f), 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float point[3] = {1, 1, 1};
    for (const int most : {1, 16, 48, 49, 5000}) {
        ASSERT_TRUE(lookup->search(Map_quad_distance<3>(point), most, 0.0f).is_ok());
        ASSERT_EQ(lookup->size(), static_cast<miUint>(most));
        for (miUint expected = 0; !lookup->at_end(); lookup->next(), ++expected) {
            miUint index = 0;
            lookup->get_index(index);
            ASSERT_EQ(index, expected);
        }
    }
}

TEST(Lookup, AnElementExactlyOnTheLimitIsFoundAndOneBehindItIsNot) {
    const auto map = map_of_points({3, 0, 0, std::nextafter(3.0f, 4.0f), 0, 0}, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float point[3] = {0, 0, 0};
    lookup->search(Map_quad_distance<3>(point), 10, 9.0f);
    ASSERT_EQ(lookup->size(), 1u);
    EXPECT_EQ(lookup->get_squared_distance(), 9.0f);
}

TEST(Lookup, ACountOfZeroOrLessFindsNothing) {
    const auto map = map_of_points({0, 0, 0}, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float point[3] = {0, 0, 0};
    for (const int most : {0, -1, -2147483647}) {
        EXPECT_TRUE(lookup->search(Map_quad_distance<3>(point), most, 1.0f).is_ok());
        EXPECT_TRUE(lookup->is_empty());
        EXPECT_EQ(lookup->size(), 0u);
    }
}

TEST(Lookup, AFunctorThatRejectsEverythingFindsNothing) {
    std::mt19937 random(6);
    const auto map = map_of_points(make_points(Kind::uniform, 1000, 3, random), 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float point[3] = {0, 0, 0};
    // Only index 0 is a multiple, and that element is beyond the limit.
    EXPECT_TRUE(lookup->search(Sieve<3>(point, 100000), 10, 1e-9f).is_ok());
    EXPECT_TRUE(lookup->is_empty());
}

TEST(Lookup, ARejectedElementTakesNoPlace) {
    std::vector<float> points;
    for (int i = 0; i < 100; ++i)
        points.insert(points.end(), {static_cast<float>(i), 0, 0});
    const auto map = map_of_points(points, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float point[3] = {0, 0, 0};
    lookup->search(Sieve<3>(point, 10), 4, 1e6f);
    ASSERT_EQ(lookup->size(), 4u);
    const float expected[4] = {0.0f, 100.0f, 400.0f, 900.0f};
    for (const float d : expected) {
        EXPECT_EQ(lookup->get_squared_distance(), d);
        lookup->next();
    }
}

TEST(Lookup, PositionsThatAreNotNumbersAreLeftToTheFunctorAndHideNothing) {
    std::mt19937 random(7);
    auto points = make_points(Kind::uniform, 1500, 3, random);
    for (std::size_t i = 0; i < points.size(); i += 13)
        points[i] = kNan;
    for (std::size_t i = 5; i < points.size(); i += 17)
        points[i] = i % 2 == 0 ? kInfinity : -kInfinity;
    const auto map = map_of_points(points, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    for (std::size_t i = 0; i < 200; ++i) {
        float point[3] = {points[3 * i], points[3 * i + 1], points[3 * i + 2]};
        for (const float limit : {0.02f, 1e30f, kInfinity}) {
            expect_as_by_hand(*map, lookup, Map_quad_distance<3>(point), 16, limit);
            // This functor ignores the last axis, so that NaN there has no effect.
            expect_as_by_hand(*map, lookup, Street<3>(point), 16, limit);
        }
    }
}

TEST(Lookup, ALimitOrAPointThatIsNotANumberFindsNothing) {
    const auto map = map_of_points({0, 0, 0, 1, 1, 1}, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float point[3] = {0, 0, 0};
    EXPECT_TRUE(lookup->search(Map_quad_distance<3>(point), 10, kNan).is_ok());
    EXPECT_TRUE(lookup->is_empty());
    const float nowhere[3] = {kNan, 0, 0};
    EXPECT_TRUE(lookup->search(Map_quad_distance<3>(nowhere), 10, kInfinity).is_ok());
    EXPECT_TRUE(lookup->is_empty());
}

// Sums in double precision, so that it rounds differently from the engine.
class RoundedOtherwise final : public Map_distance<3> {
  public:
    using Map_distance<3>::Map_distance;
    float operator()(const Map_iterator_base* element) const override {
        double sum = 0.0;
        for (int i = 2; i >= 0; --i) {
            const double d = double{element->get_position()[i]} - double{m_point[i]};
            sum += d * d;
        }
        return static_cast<float>(sum);
    }
};

TEST(Lookup, AFunctorMayRoundDifferently) {
    std::mt19937 random(8);
    const auto points = make_points(Kind::uniform, 3000, 3, random);
    const auto map = map_of_points(points, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    for (std::size_t i = 0; i < 300; ++i) {
        const float point[3] = {points[3 * i] + 0.01f, points[3 * i + 1], points[3 * i + 2]};
        const RoundedOtherwise functor(point);
        const auto some = by_hand(*map, functor, 8, 1.0f);
        // A limit equal to the distance of an element, so that rounding matters.
        expect_as_by_hand(*map, lookup, functor, 8, some.back().distance);
        expect_as_by_hand(*map, lookup, functor, 100, some.back().distance);
    }
}

TEST(Lookup, TheSquaredDistanceIsTheVeryValueOfTheFunctor) {
    const auto map = map_of_points({0.1f, 0.2f, 0.3f}, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float point[3] = {0.7f, 0.7f, 0.7f};
    const Map_quad_distance<3> functor(point);
    lookup->search(functor, 1, 100.0f);
    const Map_iterator it(*map);
    EXPECT_EQ(lookup->get_squared_distance(), functor(it.operator->()));
}

TEST(Lookup, StatusesOfALookupsLife) {
    const auto map = map_of_points({0, 0, 0, 1, 0, 0}, 3);
    const auto access = access_to(*map);
    Map_status status = Map_status::Failure;
    Map_lookup lookup(*access, &status);
    EXPECT_TRUE(status.is_ok());
    int value = 0;
    float place[3];
    miUint index = 0;
    EXPECT_TRUE(lookup->is_empty());
    EXPECT_TRUE(lookup->at_end());
    EXPECT_EQ(lookup->size(), 0u);
    EXPECT_EQ(lookup->get_squared_distance(), kInfinity);
    EXPECT_TRUE(lookup->get(0u, value) == Map_status::Lookup_no_previous_search);
    EXPECT_TRUE(lookup->next() == Map_status::Lookup_no_previous_search);
    EXPECT_TRUE(lookup->rewind() == Map_status::Lookup_no_previous_search);
    EXPECT_TRUE(lookup->go_to(0) == Map_status::Lookup_no_previous_search);
    EXPECT_TRUE(lookup->get_position(place) == Map_status::Lookup_no_previous_search);

    const float point[3] = {0, 0, 0};
    EXPECT_TRUE(lookup->search(Map_quad_distance<3>(point), 5, 10.0f).is_ok());
    EXPECT_EQ(lookup->size(), 2u);
    EXPECT_TRUE(lookup->get(1u, value) == Map_status::No_such_field);
    float wrong = 0;
    EXPECT_TRUE(lookup->get(0u, wrong) == Map_status::Field_type_mismatch);
    EXPECT_TRUE(lookup->next().is_ok());
    EXPECT_TRUE(lookup->get_position(place).is_ok());
    EXPECT_EQ(place[0], 1.0f);
    EXPECT_TRUE(lookup->next().is_ok());
    EXPECT_TRUE(lookup->at_end());
    EXPECT_TRUE(lookup->next() == Map_status::Lookup_past_end);
    EXPECT_TRUE(lookup->get(0u, value) == Map_status::Lookup_past_end);
    EXPECT_TRUE(lookup->get_index(index) == Map_status::Lookup_past_end);
    EXPECT_EQ(lookup->size(), 2u);
    EXPECT_TRUE(lookup->go_to(2) == Map_status::Lookup_out_of_bounds);
    EXPECT_TRUE(lookup->go_to(1).is_ok());
    EXPECT_TRUE(lookup->get(0u, value).is_ok());
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(lookup->rewind().is_ok());
    EXPECT_EQ(lookup->get_squared_distance(), 0.0f);

    const float flat[2] = {0, 0};
    EXPECT_TRUE(lookup->search(Map_quad_distance<2>(flat), 5, 10.0f) ==
                Map_status::Lookup_dimension_mismatch);
    EXPECT_TRUE(lookup->is_empty());
    EXPECT_TRUE(lookup->get(0u, value) == Map_status::Lookup_past_end);
}

TEST(Lookup, ACopyHasTheResultAndThePositionAndLivesOnItsOwn) {
    const auto map = map_of_points({0, 0, 0, 1, 0, 0, 2, 0, 0}, 3);
    const auto access = access_to(*map);
    auto lookup = std::make_unique<Map_lookup>(*access);
    const float point[3] = {0, 0, 0};
    (*lookup)->search(Map_quad_distance<3>(point), 5, 10.0f);
    (*lookup)->next();
    Map_lookup copy(*lookup);
    Map_lookup assigned(*access);
    assigned = copy;
    (*lookup)->search(Map_quad_distance<3>(point), 0, 10.0f);
    lookup.reset();
    EXPECT_EQ(copy->size(), 3u);
    EXPECT_EQ(copy->get_squared_distance(), 1.0f);
    copy->next();
    EXPECT_EQ(copy->get_squared_distance(), 4.0f);
    EXPECT_EQ(assigned->get_squared_distance(), 1.0f);
    int value = 0;
    EXPECT_TRUE(assigned->get(0u, value).is_ok());
    EXPECT_EQ(value, 1);
}

TEST(Lookup, AppendedElementsAreFoundAfterTheNextConsolidateOnly) {
    const auto map = map_of_points({0, 0, 0}, 3);
    const Map_declaration declaration(*map);
    Map_element element(declaration);
    element->set(0u, 1);
    (*map)->append(element);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float point[3] = {0, 0, 0};
    lookup->search(Map_quad_distance<3>(point), 5, 10.0f);
    EXPECT_EQ(lookup->size(), 1u);
    (*map)->consolidate();
    lookup->search(Map_quad_distance<3>(point), 5, 10.0f);
    EXPECT_EQ(lookup->size(), 2u);
}

TEST(Lookup, OnAMapThatWasNeverConsolidatedOrIsEmptyNothingIsFound) {
    const Map_declaration declaration = cloud_declaration();
    Edit_map map(declaration);
    const Map_element element(declaration);
    map->append(element);
    const auto access = access_to(map);
    Map_lookup lookup(*access);
    const float point[3] = {0, 0, 0};
    EXPECT_TRUE(lookup->search(Map_quad_distance<3>(point), 5, 10.0f).is_ok());
    EXPECT_TRUE(lookup->is_empty());
    const Access_map none(miTag{0});
    Map_lookup of_none(none);
    EXPECT_TRUE(of_none->search(Map_quad_distance<3>(point), 5, 10.0f) ==
                Map_status::No_declaration);
    EXPECT_TRUE(of_none->is_empty());
}

// Copies a candidate while the search runs.
class Copying final : public Map_distance<3> {
  public:
    using Map_distance<3>::Map_distance;
    float operator()(const Map_iterator_base* element) const override {
        Access_interface interface;
        Map_status status;
        const std::unique_ptr<Map_iterator_base> copy(interface->copyMapIterator(element, &status));
        EXPECT_TRUE(status.is_ok());
        EXPECT_EQ(copy->get_index(), element->get_index());
        EXPECT_EQ(copy->get_position()[0], element->get_position()[0]);
        return 0.0f + m_point[0] + element->get_position()[0] * element->get_position()[0];
    }
};

TEST(Lookup, ACandidateCanBeCopiedAndIsAtHome) {
    const auto map = map_of_points({0, 0, 0, 1, 0, 0, 2, 0, 0}, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    const float point[3] = {0, 0, 0};
    lookup->search(Copying(point), 5, 10.0f);
    EXPECT_EQ(lookup->size(), 3u);
}

} // namespace
