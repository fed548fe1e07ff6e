// Iterators over maps.
#include "tests/maps/helpers.h"

namespace {

using namespace vx::maps::test;

TEST(Iterator, StepsInTheOrderOfAppending) {
    const auto map = map_of_points({5, 1, 4, 2, 3}, 1);
    // One more element, which is not consolidated.
    Map_element element{Map_declaration(*map)};
    element->set(0u, 5);
    (*map)->append(element);
    int expected = 0;
    for (Map_iterator it(*map); !it->at_end(); it->next(), ++expected) {
        int index = -1;
        EXPECT_TRUE(it->get(0u, index).is_ok());
        EXPECT_EQ(index, expected);
        EXPECT_EQ(it->get_index(), static_cast<miUint>(expected));
        if (expected == 0) {
            EXPECT_EQ(it->get_position()[0], 5.0f);
        }
    }
    EXPECT_EQ(expected, 6);
}

TEST(Iterator, StatusesAtTheEndAndBeyond) {
    const auto map = map_of_points({5, 1}, 1);
    Map_status status = Map_status::Failure;
    Map_iterator it(*map, &status);
    EXPECT_TRUE(status.is_ok());
    EXPECT_TRUE(it->go_to(2) == Map_status::Iterator_out_of_bounds);
    EXPECT_EQ(it->get_index(), 0u);
    EXPECT_TRUE(it->go_to(1).is_ok());
    int value = 0;
    EXPECT_TRUE(it->get(1u, value) == Map_status::No_such_field);
    EXPECT_TRUE(it->next().is_ok());
    EXPECT_TRUE(it->at_end());
    EXPECT_TRUE(it->next() == Map_status::Iterator_past_end);
    EXPECT_TRUE(it->get(0u, value) == Map_status::Iterator_past_end);
    EXPECT_EQ(it->get_position(), nullptr);
    EXPECT_TRUE(it->go_to(0).is_ok());
    EXPECT_TRUE(it->get(0u, value).is_ok());
}

TEST(Iterator, CopiesStandOnTheSameElementAndMoveOnTheirOwn) {
    const auto map = map_of_points({5, 1, 7}, 1);
    Map_iterator it(*map);
    it->next();
    Map_iterator copy(it);
    copy->next();
    EXPECT_EQ(it->get_index(), 1u);
    EXPECT_EQ(copy->get_index(), 2u);
    it = copy;
    EXPECT_EQ(it->get_position()[0], 7.0f);
}

TEST(Iterator, OnAMapWithoutADeclarationIsAtItsEnd) {
    const Edit_map map;
    Map_iterator it(map);
    EXPECT_TRUE(it->at_end());
    float value = 0;
    EXPECT_TRUE(it->get(0u, value) == Map_status::Iterator_past_end);
}

} // namespace
