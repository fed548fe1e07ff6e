// The grid of a bake and its conversion into a cache.
#include "src/points/point_grid.h"

#include "src/points/pdc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <memory>

namespace {

CPoint tagged(int tag) {
    CPoint p{};
    p.tag = tag;
    return p;
}

TEST(PointGrid, FreshHoldsNothing) {
    const CPointGrid grid;
    EXPECT_EQ(grid.rowCount, 0);
    EXPECT_EQ(grid.rowCapacity, 0);
    EXPECT_TRUE(grid.rows.empty());
}

TEST(PointGrid, ResizeMakesExactlyTheWantedEmptyRows) {
    CPointGrid grid;
    grid.Resize(6, 3);
    EXPECT_EQ(grid.rowCount, 6);
    EXPECT_EQ(grid.rowCapacity, 3);
    ASSERT_EQ(grid.rows.size(), 6u);
    for (const CPointArray& row : grid.rows)
        EXPECT_TRUE(row.points.empty());
    grid.Resize(-2, 0);
    EXPECT_EQ(grid.rowCount, -2);
    EXPECT_TRUE(grid.rows.empty());
}

TEST(PointGrid, GrowingAndCuttingKeepsTheRowsThatStay) {
    CPointGrid grid;
    grid.Resize(2, 4);
    grid.Append(0, tagged(1));
    grid.Append(1, tagged(2));
    grid.Resize(5000, 4);
    EXPECT_TRUE(grid.Append(4999, tagged(3)));
    grid.Resize(1, 4);
    ASSERT_EQ(grid.rows.size(), 1u);
    EXPECT_EQ(grid.rows[0].points[0].tag, 1);
    EXPECT_TRUE(grid.Append(0, tagged(4)));
    EXPECT_EQ(grid.rows[0].points[1].tag, 4);
}

TEST(PointGrid, PointsForMissingRowsAreDropped) {
    CPointGrid grid;
    grid.Resize(2, 5);
    EXPECT_FALSE(grid.Append(-1, tagged(1)));
    EXPECT_FALSE(grid.Append(2, tagged(1)));
    EXPECT_FALSE(grid.Append(INT32_MAX, tagged(1)));
    EXPECT_TRUE(grid.Append(0, tagged(1)));
    EXPECT_TRUE(grid.Append(1, tagged(1)));
    grid.rowCount = 100; // more than there are
    EXPECT_FALSE(grid.Append(50, tagged(1)));
    grid.Resize(4, 5);
    grid.rowCount = 1; // fewer
    for (const int row : {1, 2, 3})
        EXPECT_FALSE(grid.Append(row, tagged(1))) << row;
}

TEST(PointGrid, PointsForAFullRowAreDropped) {
    CPointGrid grid;
    grid.Resize(2, 2);
    EXPECT_TRUE(grid.Append(0, tagged(1)));
    EXPECT_TRUE(grid.Append(0, tagged(2)));
    EXPECT_FALSE(grid.Append(0, tagged(3)));
    ASSERT_EQ(grid.rows[0].points.size(), 2u);
    EXPECT_EQ(grid.rows[0].points[1].tag, 2);
}

TEST(PointGrid, CapacityZeroOrBelowKeepsNothing) {
    for (const int capacity : {0, -1}) {
        CPointGrid grid;
        grid.Resize(1, capacity);
        EXPECT_FALSE(grid.Append(0, tagged(1)));
        EXPECT_TRUE(grid.rows[0].points.empty());
    }
}

TEST(PointGrid, ACopiedRowOutlivesTheGrid) {
    auto grid = std::make_unique<CPointGrid>();
    grid->Resize(1, 2);
    grid->Append(0, tagged(7));
    const CPointArray copy(grid->rows[0]);
    grid.reset();
    ASSERT_EQ(copy.points.size(), 1u);
    EXPECT_EQ(copy.points[0].tag, 7);
}

void expect_baked_header(const CPdc& pdc, int particles) {
    EXPECT_EQ(std::memcmp(pdc.header.magic, "PDC ", 4), 0);
    EXPECT_EQ(pdc.header.formatVersion, 1);
    EXPECT_EQ(pdc.header.byteOrder, 1);
    EXPECT_EQ(pdc.header.extra1, 0);
    EXPECT_EQ(pdc.header.extra2, 0);
    EXPECT_EQ(pdc.header.particleCount, particles);
    EXPECT_EQ(pdc.header.attributeCount, 7);
}

TEST(PointGridToPdc, GridWithoutRowsGivesEmptyArraysAndSevenAttributes) {
    const CPointGrid grid;
    CPdc pdc;
    EXPECT_EQ(grid.ToPdc(&pdc, 1.0f), 1);
    expect_baked_header(pdc, 0);
    EXPECT_TRUE(pdc.slots[0].floats.empty());
    EXPECT_TRUE(pdc.slots[10].integers.empty());
    EXPECT_TRUE(pdc.slots[16].vectors.empty());
    EXPECT_TRUE(pdc.slots[16].perParticle);
}

TEST(PointGridToPdc, GridOfEmptyRowsGivesEmptyArrays) {
    CPointGrid grid;
    grid.Resize(10, 3);
    CPdc pdc;
    EXPECT_EQ(grid.ToPdc(&pdc, 1.0f), 1);
    expect_baked_header(pdc, 0);
    EXPECT_TRUE(pdc.slots[18].vectors.empty());
}

TEST(PointGridToPdc, NamesAndTypesSevenSlotsAndLeavesTwentyAlone) {
    CPointGrid grid;
    grid.Resize(1, 1);
    grid.Append(0, tagged(1));
    grid.Append(0, tagged(2));
    CPdc pdc;
    grid.ToPdc(&pdc, 1.0f);
    for (int i = 0; i < 27; ++i) {
        const CAttribute& slot = pdc.slots[i];
        const bool baked = i < 2 || i == 10 || i == 11 || (i >= 16 && i <= 18);
        EXPECT_EQ(!slot.name.empty(), baked) << i;
        EXPECT_EQ(slot.perParticle, baked) << i;
        EXPECT_EQ(slot.floats.size(), 1u) << "one particle, or fresh";
        if (!baked) {
            EXPECT_EQ(slot.kind, 0);
        }
    }
    EXPECT_EQ(pdc.slots[17].name, "rgbPP");
}

TEST(PointGridToPdc, RowsOfUnequalLengthAreConcatenatedWithoutGaps) {
    CPointGrid grid;
    grid.Resize(5, 3);
    // Out of order, so that the order of the rows is seen to rule.
    for (const auto& [row, tag] : {std::pair{4, 40}, {1, 10}, {1, 11}, {3, 30}, {1, 12}, {4, 41}}) {
        EXPECT_TRUE(grid.Append(row, tagged(tag)));
    }
    CPdc pdc;
    grid.ToPdc(&pdc, 1.0f);
    expect_baked_header(pdc, 6);
    EXPECT_EQ(pdc.slots[11].integers, (std::vector<std::int64_t>{10, 11, 12, 30, 40, 41}));
    EXPECT_EQ(pdc.slots[10].integers, (std::vector<std::int64_t>{0, 1, 2, 3, 4, 5}));
}

TEST(PointGridToPdc, EveryFieldIsWidenedIntoItsAttribute) {
    CPointGrid grid;
    grid.Resize(1, 2);
    grid.Append(0, CPoint{0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f, 0.8f, 0.9f, 0.25f, 42});
    CPdc pdc;
    grid.ToPdc(&pdc, 0.05f);
    const CVectorD position = pdc.slots[16].vectors.at(0);
    const CVectorD rgb = pdc.slots[17].vectors.at(0);
    const CVectorD normal = pdc.slots[18].vectors.at(0);
    EXPECT_EQ(position.x, double{0.1f});
    EXPECT_EQ(position.y, double{0.2f});
    EXPECT_EQ(position.z, double{0.3f});
    EXPECT_EQ(normal.x, double{0.4f});
    EXPECT_EQ(normal.y, double{0.5f});
    EXPECT_EQ(normal.z, double{0.6f});
    EXPECT_EQ(rgb.x, double{0.7f});
    EXPECT_EQ(rgb.y, double{0.8f});
    EXPECT_EQ(rgb.z, double{0.9f});
    EXPECT_EQ(pdc.slots[0].floats, std::vector<float>{0.25f});
    EXPECT_EQ(pdc.slots[1].floats, std::vector<float>{0.05f});
    EXPECT_EQ(pdc.slots[11].integers, std::vector<std::int64_t>{42});
}

TEST(PointGridToPdc, EveryRadiusIsTheArgument) {
    CPointGrid grid;
    grid.Resize(3, 1);
    for (int i = 0; i < 3; ++i)
        grid.Append(i, CPoint{9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9});
    CPdc pdc;
    grid.ToPdc(&pdc, -2.5f);
    EXPECT_EQ(pdc.slots[1].floats, (std::vector<float>{-2.5f, -2.5f, -2.5f}));
}

TEST(PointGridToPdc, NegativeTagSurvivesIn64Bits) {
    CPointGrid grid;
    grid.Resize(1, 2);
    grid.Append(0, tagged(-1));
    grid.Append(0, tagged(INT32_MIN));
    CPdc pdc;
    grid.ToPdc(&pdc, 1.0f);
    EXPECT_EQ(pdc.slots[11].integers, (std::vector<std::int64_t>{-1, INT32_MIN}));
}

} // namespace
