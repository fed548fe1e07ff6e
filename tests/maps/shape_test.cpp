// The geometry of the search tree, up to the largest map, without allocating one.
#include "maps/body.h"
#include "maps/shape.h"

#include <gtest/gtest.h>

namespace {

using namespace vx::maps;

TEST(Shape, AnEmptyMapHasNoLevels) {
    const Shape shape = shape_of(0);
    EXPECT_EQ(shape.top, 0u);
    EXPECT_EQ(shape.nodes, 0u);
    EXPECT_EQ(shape.leaves(), 0u);
}

TEST(Shape, OneElementHasOneLeafAndARoot) {
    const Shape shape = shape_of(1);
    EXPECT_EQ(shape.top, 1u);
    EXPECT_EQ(shape.leaves(), 1u);
    EXPECT_EQ(shape.nodes, 1u);
    EXPECT_EQ(shape.leaf_count(0), 1u);
    EXPECT_EQ(shape.child_count(1, 0), 1u);
}

TEST(Shape, FullAndOverfullNodes) {
    EXPECT_EQ(shape_of(16).leaves(), 1u);
    EXPECT_EQ(shape_of(17).leaves(), 2u);
    EXPECT_EQ(shape_of(17).leaf_count(1), 1u);
    EXPECT_EQ(shape_of(128).top, 1u);
    const Shape shape = shape_of(129);
    EXPECT_EQ(shape.top, 2u);
    EXPECT_EQ(shape.nodes, 3u);
    EXPECT_EQ(shape.first[2], 0u);
    EXPECT_EQ(shape.first[1], 1u);
    EXPECT_EQ(shape.child_count(2, 0), 2u);
    EXPECT_EQ(shape.child_count(1, 0), 8u);
    EXPECT_EQ(shape.child_count(1, 1), 1u);
}

TEST(Shape, EveryLeafAndNodeHasExactlyOneParent) {
    for (const std::uint64_t count : {1u, 15u, 16u, 17u, 127u, 128u, 129u, 1024u, 1025u, 99999u}) {
        const Shape shape = shape_of(count);
        std::uint64_t elements = 0;
        for (std::uint64_t i = 0; i < shape.leaves(); ++i)
            elements += shape.leaf_count(i);
        EXPECT_EQ(elements, count);
        for (unsigned level = 1; level <= shape.top; ++level) {
            std::uint64_t children = 0;
            for (std::uint64_t i = 0; i < shape.size[level]; ++i) {
                children += shape.child_count(level, i);
            }
            EXPECT_EQ(children, shape.size[level - 1]);
        }
        EXPECT_EQ(shape.size[shape.top], 1u);
    }
}

TEST(Shape, AHundredMillionElementsNeedOffsetsBeyond32Bits) {
    const Shape shape = shape_of(100'000'000);
    EXPECT_EQ(shape.leaves(), 6'250'000u);
    Declaration declaration(3);
    ASSERT_EQ(declaration.append("normalPP", Map_field_type::Vector, 1, false), Map_status::OK);
    ASSERT_EQ(declaration.append("m", Map_field_type::Transform, 1, false), Map_status::OK);
    Sections sections;
    ASSERT_TRUE(lay_out(declaration, shape, sections));
    EXPECT_EQ(sections.positions % 64, 0u);
    EXPECT_EQ(sections.order - sections.positions, 1'200'000'000u);
    EXPECT_EQ(sections.columns[1] - sections.columns[0], 1'200'000'000u);
    EXPECT_EQ(sections.bytes - sections.columns[1], 6'400'000'000u);
    EXPECT_GT(sections.bytes, std::uint64_t{1} << 32);
}

TEST(Shape, TheLargestMapFitsItsIndices) {
    const std::uint64_t count = 0xffffffffu;
    const Shape shape = shape_of(count);
    EXPECT_EQ(shape.leaves(), std::uint64_t{1} << 28);
    EXPECT_LE(shape.top, kMaxLevels);
    EXPECT_EQ(shape.leaf_count(shape.leaves() - 1), 15u);
    EXPECT_EQ(shape.size[shape.top], 1u);
    // The offset of the last row of a column of matrices.
    Declaration declaration(6);
    ASSERT_EQ(declaration.append("m", Map_field_type::Transform, 1, false), Map_status::OK);
    Sections sections;
    ASSERT_TRUE(lay_out(declaration, shape, sections));
    EXPECT_GE(sections.bytes - sections.columns[0], count * 64);
}

TEST(Shape, WrongSizesAreRefused) {
    Declaration declaration(6);
    constexpr std::string_view kNames[] = {"a", "b", "c", "d"};
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_EQ(declaration.append(kNames[i], Map_field_type::Scalar_array, 1u << 20, false),
                  i < 3 ? Map_status::OK : Map_status::Out_of_bounds);
    }
    Sections sections;
    // More than any machine can hold, but no overflow: 2^32 records of 12 MiB.
    EXPECT_TRUE(lay_out(declaration, shape_of(0xffffffffu), sections));
    Shape absurd = shape_of(0xffffffffu);
    absurd.count = std::uint64_t{1} << 60;
    EXPECT_FALSE(lay_out(declaration, absurd, sections));
}

} // namespace
