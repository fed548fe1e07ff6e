// A search through a body, compiled for several instruction sets.
#pragma once

#include "maps/best.h"
#include "maps/body.h"
#include "maps/iterator.h"

namespace vx::maps {

struct Query {
    const Body* body = nullptr;
    const Map_distance_base* distance = nullptr;
    // The search point if the functor's box distance is the squared Euclidean distance; null if the
    // functor must be called for boxes.
    const float* euclidean_point = nullptr;
    Candidate* candidate = nullptr;
    Best* best = nullptr;
};

// All versions call the functor for the same elements in the same order and find the same results.
using Search = void (*)(const Query&);

// The search for the fastest instruction set of the machine, for a dimension from 1 to 6.
Search search_for(unsigned dimension);

namespace detail {
Search sse2_search(unsigned dimension);
Search avx2_search(unsigned dimension);
Search avx512_search(unsigned dimension);
} // namespace detail

} // namespace vx::maps
