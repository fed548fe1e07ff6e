// The geometry of the search tree as a function of the number of elements alone.
//
// Elements in tree order are called rows. Every 16 consecutive rows form a leaf, every 8
// consecutive leaves a node, every 8 consecutive nodes a node of the next level, up to a single
// root. Child c of node j therefore is number 8 j + c of the level below. Only boxes are stored, no
// references, so a damaged file cannot make a search leave the tree.
#pragma once

#include <array>
#include <cstdint>

namespace vx::maps {

inline constexpr unsigned kLeafSize = 16;
inline constexpr unsigned kFanOut = 8;
// Enough for 2^32 elements: 2^28 leaves.
inline constexpr unsigned kMaxLevels = 10;

struct Shape {
    std::uint64_t count = 0;
    // Level 0 consists of the leaves, levels 1 to top of nodes, level top of the root. An empty map
    // has neither leaves nor nodes, and top is 0.
    unsigned top = 0;
    std::array<std::uint64_t, kMaxLevels + 1> size{};
    // Index of a level's first node in the array of all nodes, which begins with the root.
    std::array<std::uint64_t, kMaxLevels + 1> first{};
    std::uint64_t nodes = 0;

    std::uint64_t leaves() const { return size[0]; }
    // Elements of one leaf, 1 to 16.
    unsigned leaf_count(std::uint64_t leaf) const {
        const std::uint64_t left = count - leaf * kLeafSize;
        return left < kLeafSize ? static_cast<unsigned>(left) : kLeafSize;
    }
    // Children of one node, 1 to 8.
    unsigned child_count(unsigned level, std::uint64_t node) const {
        const std::uint64_t left = size[level - 1] - node * kFanOut;
        return left < kFanOut ? static_cast<unsigned>(left) : kFanOut;
    }
    // Elements below a complete node of a level: 16, 128, 1024, ...
    static std::uint64_t span(unsigned level) { return std::uint64_t{kLeafSize} << (3 * level); }
};

// For up to 2^32 - 1 elements.
Shape shape_of(std::uint64_t count);

// Number of floats of a leaf (16 coordinates per axis) and of a node (8 minima and 8 maxima per
// axis).
inline constexpr std::uint64_t leaf_floats(unsigned dimension) {
    return std::uint64_t{dimension} * kLeafSize;
}
inline constexpr std::uint64_t node_floats(unsigned dimension) {
    return std::uint64_t{dimension} * 2 * kFanOut;
}

} // namespace vx::maps
