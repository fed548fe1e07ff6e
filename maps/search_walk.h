// The walk through the tree. Included by one source file per instruction set, each of which defines
// VX_TARGET and VX_INLINE (attributes of functions that use it) and, in namespace vx::maps::kernel,
// the struct Vector with
//   node(node, q, near): 8 squared box distances,
//   leaf(leaf, q, far): 16 squared distances,
// both for a template argument D, axis by axis in this order and without fused operations, so that
// all instruction sets give the same bits.
//
// With a Euclidean box distance an element cannot be nearer than its own position is: a functor may
// return more than the squared distance, never less. So elements that are too far by position are
// left out before the functor is asked. The functor may have rounded differently from us, hence the
// slack.
#pragma once

#include "maps/search.h"

#include <bit>
#include <limits>

namespace vx::maps::kernel {
// Each source file has its own, compiled for its own instruction set.
namespace {

VX_INLINE float with_slack(float limit) {
    return limit * 1.000004f + std::numeric_limits<float>::min();
}

// A child that waits for its visit: the root of a subtree, or a leaf (level 0).
struct Pending {
    float distance;
    std::uint32_t number : 28;
    std::uint32_t level : 4;
};

// Each visit takes one entry and leaves at most eight, on every level.
inline constexpr unsigned most_pending = max_levels * (fan_out - 1) + 2;

// Keeps the farthest of the few known. Distances beyond the count are minus infinity here.
VX_INLINE void find_farthest(Best& best) {
    const unsigned chunks = (best.count + 15) / 16;
    const std::uint64_t there = (std::uint64_t{1} << best.count) - 1;
    const std::uint64_t equals = Vector::farthest(best.distances, chunks) & there;
    best.farthest = (equals & (equals - 1)) == 0
                        ? static_cast<std::uint32_t>(std::countr_zero(equals))
                        : best.farthest_of_equals(equals);
    best.limit = best.distances[best.farthest];
}

// Takes a distance that is not above the limit.
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

// Every result goes to the place that the number of nearer ones names.
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
    // Two on one place are equally far.
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
    alignas(64) float near[leaf_size];
    if (q) open &= Vector::leaf<D>(block, q, *slack, near);
    const auto first = static_cast<std::uint32_t>(leaf * leaf_size);
    while (open != 0) {
        const auto lane = static_cast<unsigned>(std::countr_zero(open));
        open &= open - 1;
        // The limit may have come nearer since the leaf was measured.
        if (q && near[lane] > *slack) continue;
        for (unsigned a = 0; a < D; ++a)
            candidate.place(a, block[a * leaf_size + lane]);
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
    Pending stack[most_pending];
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
            alignas(32) float near[fan_out];
            if (q) {
                open &= Vector::node<D>(node, q, slack, near);
            } else {
                for (unsigned c = 0; c < children; ++c) {
                    float min[D];
                    float max[D];
                    for (unsigned a = 0; a < D; ++a) {
                        min[a] = node[a * 2 * fan_out + c];
                        max[a] = node[a * 2 * fan_out + fan_out + c];
                    }
                    near[c] = (*query.distance)(min, max);
                    if (near[c] > query.best->limit) open &= ~(1u << c);
                }
            }
            if (level > 1 && open != 0 && (open & (open - 1)) == 0) {
                number = number * fan_out + static_cast<unsigned>(std::countr_zero(open));
                --level;
                continue;
            }
            const unsigned begin = waiting;
            while (open != 0) {
                const auto c = static_cast<unsigned>(std::countr_zero(open));
                open &= open - 1;
                const std::uint64_t child = number * fan_out + c;
                unsigned place = waiting++;
                for (; place > begin && stack[place - 1].distance < near[c]; --place) {
                    stack[place] = stack[place - 1];
                }
                stack[place].distance = near[c];
                stack[place].number = static_cast<std::uint32_t>(child) & 0x0fffffffu;
                stack[place].level = (level - 1) & 0xfu;
                if (level == 1) __builtin_prefetch(positions + child * leaf_floats(D));
            }
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
    constexpr Search walks[max_dimension] = {walk<1>, walk<2>, walk<3>, walk<4>, walk<5>, walk<6>};
    return walks[dimension - 1];
}

} // namespace
} // namespace vx::maps::kernel
