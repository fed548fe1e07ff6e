// The memory behind a grid's points.
#include "src/points/point_pool.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

CPoint Tagged(int tag) {
    CPoint p{};
    p.positionX = static_cast<float>(tag);
    p.tag = tag;
    return p;
}

TEST(PointPool, AListThatGrowsLastGrowsWhereItStands) {
    CPointPool pool;
    CPointList list;
    pool.Append(list, Tagged(0));
    const CPoint* const start = list.begin();
    for (int i = 1; i < 1000; ++i)
        pool.Append(list, Tagged(i));
    EXPECT_EQ(list.begin(), start);
    ASSERT_EQ(list.size(), 1000);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(list[i].tag, i);
}

TEST(PointPool, ListsThatGrowInTurnsKeepTheirPoints) {
    CPointPool pool;
    std::vector<CPointList> lists(7);
    for (int i = 0; i < 5000; ++i) {
        for (int k = 0; k < 7; ++k)
            pool.Append(lists[static_cast<std::size_t>(k)], Tagged(10 * i + k));
    }
    for (int k = 0; k < 7; ++k) {
        const CPointList& list = lists[static_cast<std::size_t>(k)];
        ASSERT_EQ(list.size(), 5000);
        for (int i = 0; i < 5000; ++i)
            ASSERT_EQ(list[i].tag, 10 * i + k);
    }
}

TEST(PointPool, AListLongerThanAChunkIsHeld) {
    CPointPool pool;
    CPointList list;
    CPointList other;
    for (int i = 0; i < 100000; ++i) { // 4.4 MB
        pool.Append(list, Tagged(i));
        if (i % 10000 == 0) pool.Append(other, Tagged(i));
    }
    ASSERT_EQ(list.size(), 100000);
    for (int i = 0; i < 100000; ++i)
        ASSERT_EQ(list[i].tag, i);
    EXPECT_EQ(other.size(), 10);
}

TEST(PointPool, AppendsACopyOfTheListsOwnElement) {
    CPointPool pool;
    CPointList list;
    CPointList between;
    pool.Append(list, Tagged(5));
    for (int i = 0; i < 100; ++i) {
        pool.Append(between, Tagged(i));
        pool.Append(list, list[0]);
    }
    for (const CPoint& p : list)
        ASSERT_EQ(p.tag, 5);
}

TEST(PointPool, ListsOfTheHeapStayThere) {
    CPointList list;
    list.push_back(Tagged(1));
    {
        CPointPool pool;
        pool.Append(list, Tagged(2));
    }
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list[1].tag, 2);
}

TEST(PointPool, AListOfThePoolMayGrowOnTheHeapAndBeCopiedOutOfIt) {
    CPointList kept;
    CPointList copy;
    {
        CPointPool pool;
        pool.Append(kept, Tagged(1));
        copy = kept;
        kept.push_back(Tagged(2));
    }
    ASSERT_EQ(kept.size(), 2);
    EXPECT_EQ(kept[0].tag, 1);
    EXPECT_EQ(kept[1].tag, 2);
    ASSERT_EQ(copy.size(), 1);
    EXPECT_EQ(copy[0].tag, 1);
}

} // namespace
