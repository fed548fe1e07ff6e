// The distance functor of an instance that has loaded a map with one point.
#pragma once

#include "src/reader/my_distance.h"
#include "tests/reader/counted_maths.h"
#include "tests/reader/read_instance.h"

#include <gtest/gtest.h>

namespace vx::test {

class MyDistanceTest : public testing::Test, protected ReadInstance {
    template <class Call>
    auto with_functor(const stub::MapContent& content, Call call) {
        maps.files[kFrameFile] = content;
        start();
        state.point = query;
        state.normal = normal;
        const auto record = make_record();
        const My_distance distance(&state, params.minAngle, params.maxAngle, record.get());
        return call(distance, stub::Element(content));
    }

  protected:
    static constexpr float kRejected = 1e36f;

    stub::Maps maps{renderer};

    void SetUp() override { maths_calls = {}; }

    // The functor's result for `point`.
    float of(const BakedPoint& point) { return of(content_of({point})); }
    float of(const stub::MapContent& content) {
        return with_functor(content, [](const mi::shader_v3::Map_distance_base& as_search_sees_it,
                                        const stub::Element& e) { return as_search_sees_it(&e); });
    }
    // The test that rejects `point`.
    Rejection rejection_of(const BakedPoint& point) {
        return with_functor(content_of({point}),
                            [](const My_distance& functor, const stub::Element& element) {
                                return functor.Classify(element);
                            });
    }
    // The same for a point at distance 1 whose normal has this cosine to the surface's.
    float of_cosine(float cosine) { return of({.position = {0, 0, 1}, .normal = {0, 0, cosine}}); }
    // Calls of acosf since the last call of this function.
    int acosf_calls() { return std::exchange(maths_calls.acosf, 0); }

    miVector query = {0, 0, 0};
    miVector normal = {0, 0, 1};
};

} // namespace vx::test
