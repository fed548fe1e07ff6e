// The point record and the growable array.
#include "src/points/point_array.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

CPoint numbered(int i) {
    const auto f = static_cast<float>(i);
    return CPoint{f, f + 1, f + 2, f + 3, f + 4, f + 5, f + 6, f + 7, f + 8, f + 9, -i};
}

bool same(const CPoint& a, const CPoint& b) {
    return a.positionX == b.positionX && a.positionY == b.positionY && a.positionZ == b.positionZ &&
           a.normalX == b.normalX && a.normalY == b.normalY && a.normalZ == b.normalZ &&
           a.red == b.red && a.green == b.green && a.blue == b.blue && a.opacity == b.opacity &&
           a.tag == b.tag;
}

TEST(Point, HasElevenFieldsOfFourBytesInOrder) {
    EXPECT_EQ(sizeof(CPoint), 44u);
    EXPECT_EQ(offsetof(CPoint, positionX), 0u);
    EXPECT_EQ(offsetof(CPoint, positionY), 4u);
    EXPECT_EQ(offsetof(CPoint, positionZ), 8u);
    EXPECT_EQ(offsetof(CPoint, normalX), 12u);
    EXPECT_EQ(offsetof(CPoint, normalY), 16u);
    EXPECT_EQ(offsetof(CPoint, normalZ), 20u);
    EXPECT_EQ(offsetof(CPoint, red), 24u);
    EXPECT_EQ(offsetof(CPoint, green), 28u);
    EXPECT_EQ(offsetof(CPoint, blue), 32u);
    EXPECT_EQ(offsetof(CPoint, opacity), 36u);
    EXPECT_EQ(offsetof(CPoint, tag), 40u);
}

TEST(PointArray, IsAGrowableArrayAndNothingElse) {
    EXPECT_TRUE((std::is_same_v<decltype(CPointArray::points), std::vector<CPoint>>));
    EXPECT_EQ(sizeof(CPointArray), sizeof(std::vector<CPoint>));
    EXPECT_TRUE(CPointArray().points.empty());
}

TEST(PointArray, CopyConstructorCopiesEveryRecordIntoMemoryOfItsOwn) {
    CPointArray a;
    for (int i = 0; i < 5; ++i)
        a.points.push_back(numbered(i));
    const CPointArray b(a);
    ASSERT_EQ(b.points.size(), 5u);
    EXPECT_NE(a.points.data(), b.points.data());
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(same(b.points[static_cast<std::size_t>(i)], numbered(i)));
    a.points[0].tag = 99;
    a.points.push_back(numbered(7));
    EXPECT_EQ(b.points[0].tag, 0);
    EXPECT_EQ(b.points.size(), 5u);
}

TEST(PointArray, CopyOfAnEmptyArrayIsEmpty) {
    const CPointArray a;
    const CPointArray b(a);
    EXPECT_TRUE(b.points.empty());
}

} // namespace
