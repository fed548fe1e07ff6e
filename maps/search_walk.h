// The traversal of the tree. Each instruction set has a source file that includes this one after
// defining VX_TARGET and VX_INLINE, the attributes of functions that use the instruction set, and
// the struct vx::maps::kernel::Vector with these functions:
//   node<D>(node, q, far, near)       squared distances of 8 boxes; mask of those not beyond far
//   leaf<D>(leaf, q, far, near)       squared distances of 16 points, likewise
//   replace(distances, place, value)  stores one distance
//   farthest(distances, chunks)       mask of the places that hold the largest distance
//   nearer(distances, chunks, value)  mask of the places that hold a smaller one
//   visit_keys(near, keys)            8 different integers that grow with the distances
//   greater(keys, key)                mask of the places that hold a greater one
// Distances are summed axis by axis, in order and without fused operations, so that all instruction
// sets compute the same bits.
//
// If the box distance is Euclidean, a functor may return more than the squared distance of an
// element's position, never less. Elements whose position is too far are therefore skipped without
// calling the functor. The slack allows for a functor that rounds differently.
#pragma once

#include "maps/search.h"

#include <bit>
#include <limits>

namespace vx::maps::kernel {
// Internal linkage: each source file compiles this for its own instruction set.
namespace {

VX_INLINE float with_slack(float limit) {
    return limit * 1.000004f + std::numeric_limits<float>::min();
}

// A child that is still to be visited: a node, or a leaf (level 0).
struct Pending {
    float distance;
    std::uint32_t number : 28;
    std::uint32_t level : 4;
};

// On every level a visit removes one entry and adds at most eight.
inline constexpr unsigned kMaxPending = kMaxLevels * (kFanOut - 1) + 2;

// Updates the farthest of few results. Distances beyond the count must be minus infinity.
VX_INLINE void find_farthest(Best& best) {
    if (best.wanted == 1) {
        best.farthest = 0;
        best.limit = best.distances[0];
        return;
    }
    const unsigned chunks = (best.count + 15) / 16;
    const std::uint64_t there = (std::uint64_t{1} << best.count) - 1;
    const std::uint64_t equals = Vector::farthest(best.distances, chunks) & there;
    best.farthest = (equals & (equals - 1)) == 0
                        ? static_cast<std::uint32_t>(std::countr_zero(equals))
                        : best.farthest_of_equals(equals);
    best.limit = best.distances[best.farthest];
}

// Adds a result. The distance must not exceed the limit.
VX_INLINE void offer(Best& best, float distance, std::uint32_t row) {
    if (!best.is_few()) {
        best.offer_many(distance, row);
        return;
    }
    if (best.count < best.wanted) {
        best.distances[best.count] = distance;
        best.rows[best.count] = row;
        if (++best.count < best.wanted) return;
        const unsigned end = (best.count + 15) / 16 * 16;
        for (unsigned i = best.count; i < end; ++i) {
            best.distances[i] = -std::numeric_limits<float>::infinity();
        }
    } else {
        if (distance == best.limit && best.order[row] > best.order[best.rows[best.farthest]])
            return;
        Vector::replace(best.distances, best.farthest, distance);
        best.rows[best.farthest] = row;
    }
    find_farthest(best);
}

// Sorts few results by counting, for each of them, how many are nearer.
VX_INLINE void finish(Best& best) {
    if (!best.is_few()) {
        best.finish_many();
        return;
    }
    const unsigned chunks = (best.count + 15) / 16;
    const std::uint64_t there = (std::uint64_t{1} << best.count) - 1;
    std::uint64_t taken = 0;
    for (std::uint32_t i = 0; i < best.count; ++i) {
        const std::uint64_t nearer = Vector::nearer(best.distances, chunks, best.distances[i]);
        const auto place = static_cast<unsigned>(std::popcount(nearer & there));
        best.sorted[place] = {best.distances[i], best.rows[i]};
        taken |= std::uint64_t{1} << place;
    }
    // Results with equal distances got the same place.
    if (taken != there) best.sort_few();
}

template <unsigned D>
VX_INLINE void offer_leaf(const Query& query, std::uint64_t leaf, const float* q, float* slack) {
    const Body& body = *query.body;
    Candidate& candidate = *query.candidate;
    Best& best = *query.best;
    const float* const block = body.positions() + leaf * leaf_floats(D);
    const unsigned count = body.shape.leaf_count(leaf);
    std::uint32_t open = (1u << count) - 1;
    alignas(64) float near[kLeafSize];
    if (q) open &= Vector::leaf<D>(block, q, *slack, near);
    const auto first = static_cast<std::uint32_t>(leaf * kLeafSize);
    while (open != 0) {
        const auto lane = static_cast<unsigned>(std::countr_zero(open));
        open &= open - 1;
        // The limit may have shrunk since the distances were computed.
        if (q && near[lane] > *slack) continue;
        for (unsigned a = 0; a < D; ++a)
            candidate.place(a, block[a * kLeafSize + lane]);
        candidate.move(first + lane);
        const float distance = (*query.distance)(&candidate);
        if (!(distance <= best.limit)) continue;
        offer(best, distance, first + lane);
        if (q) *slack = with_slack(best.limit);
    }
}

template <unsigned D>
VX_TARGET void walk(const Query& query) {
    const Body& body = *query.body;
    const Shape& shape = body.shape;
    const float* const nodes = body.nodes();
    const float* const positions = body.positions();
    float point[D];
    const float* q = nullptr;
    if (query.euclidean_point) {
        for (unsigned a = 0; a < D; ++a)
            point[a] = query.euclidean_point[a];
        q = point;
    }
    float slack = with_slack(query.best->limit);
    Pending stack[kMaxPending];
    unsigned waiting = 0;
    unsigned level = shape.top;
    std::uint64_t number = 0;
    for (;;) {
        if (level == 0) {
            offer_leaf<D>(query, number, q, &slack);
        } else {
            const float* const node = nodes + (shape.first[level] + number) * node_floats(D);
            const unsigned children = shape.child_count(level, number);
            std::uint32_t open = (1u << children) - 1;
            alignas(32) float near[kFanOut];
            if (q) {
                open &= Vector::node<D>(node, q, slack, near);
            } else {
                for (unsigned c = 0; c < children; ++c) {
                    float min[D];
                    float max[D];
                    for (unsigned a = 0; a < D; ++a) {
                        min[a] = node[a * 2 * kFanOut + c];
                        max[a] = node[a * 2 * kFanOut + kFanOut + c];
                    }
                    near[c] = (*query.distance)(min, max);
                    if (near[c] > query.best->limit) open &= ~(1u << c);
                }
            }
            if (level > 1 && open != 0 && (open & (open - 1)) == 0) {
                number = number * kFanOut + static_cast<unsigned>(std::countr_zero(open));
                --level;
                continue;
            }
            // The nearest child is visited first. Its place is the number of those farther away.
            alignas(32) std::int32_t keys[kFanOut];
            Vector::visit_keys(near, keys);
            for (std::uint32_t rest = open; rest != 0; rest &= rest - 1) {
                const auto c = static_cast<unsigned>(std::countr_zero(rest));
                const std::uint64_t child = number * kFanOut + c;
                const std::uint32_t farther = Vector::greater(keys, keys[c]) & open;
                Pending& pending = stack[waiting + static_cast<unsigned>(std::popcount(farther))];
                pending.distance = near[c];
                pending.number = static_cast<std::uint32_t>(child) & 0x0fffffffu;
                pending.level = (level - 1) & 0xfu;
                if (level == 1) __builtin_prefetch(positions + child * leaf_floats(D));
            }
            waiting += static_cast<unsigned>(std::popcount(open));
        }
        const float far = q ? slack : query.best->limit;
        do {
            if (waiting == 0) {
                finish(*query.best);
                return;
            }
            --waiting;
        } while (stack[waiting].distance > far);
        level = stack[waiting].level;
        number = stack[waiting].number;
    }
}

inline Search pick(unsigned dimension) {
    constexpr Search kWalks[kMaxDimension] = {walk<1>, walk<2>, walk<3>, walk<4>, walk<5>, walk<6>};
    return kWalks[dimension - 1];
}

} // namespace
} // namespace vx::maps::kernel
