// The geometry of the search tree as a function of the number of elements alone.
//
// Elements in tree order ("rows") are cut into leaves of 16; every 8 consecutive leaves have a
// node, every 8 consecutive nodes a node one level up, to a single root. So child c of node j is
// number 8 j + c one level below, nothing but boxes is stored, and a damaged file cannot lead a
// search astray.
#pragma once

#include <array>
#include <cstdint>

namespace vx::maps {

inline constexpr unsigned leaf_size = 16;
inline constexpr unsigned fan_out = 8;
// Enough for 2^32 elements: 2^28 leaves.
inline constexpr unsigned max_levels = 10;

struct Shape {
    std::uint64_t count = 0;
    // Level 0 are the leaves; nodes stand on levels 1 to top, the root alone on level top. An empty
    // map has no level at all (top 0, no leaf).
    unsigned top = 0;
    std::array<std::uint64_t, max_levels + 1> size{};
    // Where a level's nodes begin in the array of all nodes, root first.
    std::array<std::uint64_t, max_levels + 1> first{};
    std::uint64_t nodes = 0;

    std::uint64_t leaves() const { return size[0]; }
    // Elements of one leaf, 1 to 16.
    unsigned leaf_count(std::uint64_t leaf) const {
        const std::uint64_t left = count - leaf * leaf_size;
        return left < leaf_size ? static_cast<unsigned>(left) : leaf_size;
    }
    // Children of one node, 1 to 8.
    unsigned child_count(unsigned level, std::uint64_t node) const {
        const std::uint64_t left = size[level - 1] - node * fan_out;
        return left < fan_out ? static_cast<unsigned>(left) : fan_out;
    }
    // Elements below a whole node of a level: 16, 128, 1024, ...
    static std::uint64_t span(unsigned level) { return std::uint64_t{leaf_size} << (3 * level); }
};

// For up to 2^32 - 1 elements.
Shape shape_of(std::uint64_t count);

// Floats of one leaf's positions (per axis 16 values) and of one node (per axis 8 minima, 8
// maxima).
inline constexpr std::uint64_t leaf_floats(unsigned dimension) {
    return std::uint64_t{dimension} * leaf_size;
}
inline constexpr std::uint64_t node_floats(unsigned dimension) {
    return std::uint64_t{dimension} * 2 * fan_out;
}

} // namespace vx::maps
