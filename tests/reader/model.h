// What a call of the reader has to give, straight from the formulas: in double precision, over all
// points, without a tree, and written without a look at the reader's loop.
//
//   found    the `most` nearest points with |p - q| <= radius that pass label, cone and facing
//   F(d)     1 - (3 t^2 - 2 t^3), t = d / radius
//   f_i      what facing and opacity make of point i: -N.n_i and o_i, each when switched on
//   w_i      F(d_i)^e f_i; for an exponent of 0 the product of f_1 to f_i instead
//   result   scale / n * sum of w_i c_i over the n points with f_i's facing part not below 0
//
// Equal exponents of two channels give equal weights either way, which is all that comparing them
// is for.
#pragma once

#include "tests/reader/read_instance.h"

#include <array>
#include <optional>
#include <set>
#include <vector>

namespace vx::test {

struct Expected {
    std::array<double, 3> color = {0, 0, 0};
    std::array<double, 3> bound = {0, 0, 0}; // how far single precision may be off
    int found = 0;
    int blended = 0;
};

// Nothing when a decision is so close that rounding may turn it: a point at the radius or at a
// limit of the cone, two points equally far.
std::optional<Expected> expected_result(const std::vector<BakedPoint>& cloud,
                                        const ReadParameters& params, const std::set<int>& labels,
                                        const miVector& point, const miVector& normal);

} // namespace vx::test
