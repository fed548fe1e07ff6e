#include "host/db/pin_cache.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

using vx::db::BadTag;
using vx::db::Database;
using vx::db::PinCache;

namespace {

const char* text(void* address) {
    return static_cast<const char*>(address);
}

} // namespace

TEST(PinCache, GivesTheAddressThatTheDatabaseGives) {
    Database db;
    const miTag tag = db.create_string("cloud");
    PinCache pins(db);
    for (int i = 0; i < 3; ++i) {
        EXPECT_STREQ(text(pins.access(tag)), "cloud");
        EXPECT_TRUE(pins.unpin(tag));
    }
}

TEST(PinCache, CountsAreExactOnceTheSparesAreBack) {
    Database db;
    const miTag tag = db.create_string("x");
    PinCache pins(db);
    for (int i = 0; i < 7; ++i)
        pins.access(tag);
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(pins.unpin(tag));
    pins.give_back_all();
    EXPECT_EQ(db.pins(tag), 2u);
    EXPECT_TRUE(pins.unpin(tag));
    EXPECT_TRUE(pins.unpin(tag));
    pins.give_back_all();
    EXPECT_EQ(db.pins(tag), 0u);
}

TEST(PinCache, AnUnpinWithoutAPinIsRefusedWhereSparesAreHeld) {
    Database db;
    const miTag tag = db.create_string("x");
    PinCache pins(db);
    EXPECT_FALSE(pins.unpin(tag));
    pins.access(tag);
    EXPECT_TRUE(pins.unpin(tag));
    EXPECT_FALSE(pins.unpin(tag));
    EXPECT_FALSE(pins.unpin(tag));
    pins.give_back_all();
    EXPECT_EQ(db.pins(tag), 0u);
    EXPECT_FALSE(pins.unpin(tag));
}

TEST(PinCache, AnUnpinTooManyInAnotherThreadIsReturnedWithTheSpares) {
    Database db;
    const miTag tag = db.create_string("x");
    PinCache one(db), other(db);
    for (int i = 0; i < 3; ++i)
        one.access(tag);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(one.unpin(tag));
    // The spares of `one` hide that `other` has no pins.
    EXPECT_TRUE(other.unpin(tag));
    EXPECT_TRUE(other.unpin(tag));
    EXPECT_EQ(db.pins(tag), 3u);
    EXPECT_TRUE(other.give_back_all().empty());
    EXPECT_EQ(db.pins(tag), 1u);
    const auto surplus = one.give_back_all();
    ASSERT_EQ(surplus.size(), 1u);
    EXPECT_EQ(surplus[0].tag, tag);
    EXPECT_EQ(surplus[0].unpins, 2u);
    EXPECT_EQ(db.pins(tag), 0u) << "the pins that exist are released";
    EXPECT_TRUE(one.give_back_all().empty()) << "returned once";
}

TEST(PinCache, AnUnpinTooManyIsNotForgottenWhenAnotherElementTakesItsPlace) {
    Database db;
    std::vector<miTag> tags;
    for (int i = 0; i < 65; ++i)
        tags.push_back(db.create_string(std::to_string(i)));
    PinCache one(db), other(db);
    one.access(tags[0]);
    EXPECT_TRUE(one.unpin(tags[0]));
    EXPECT_TRUE(other.unpin(tags[0]));
    one.give_back_all();
    // The tags differ by the number of places, so the second element takes that of the first.
    other.access(tags[64]);
    EXPECT_TRUE(other.unpin(tags[64]));
    const auto surplus = other.give_back_all();
    ASSERT_EQ(surplus.size(), 1u);
    EXPECT_EQ(surplus[0].tag, tags[0]);
    EXPECT_EQ(surplus[0].unpins, 1u);
}

TEST(PinCache, BadTagsAreThrown) {
    Database db;
    PinCache pins(db);
    EXPECT_THROW(pins.access(0), BadTag);
    EXPECT_THROW(pins.access(77), BadTag);
    EXPECT_THROW(pins.unpin(0), BadTag);
    EXPECT_THROW(pins.unpin(77), BadTag);
}

TEST(PinCache, ElementsThatShareAPlaceInTheCacheDoNotMix) {
    Database db;
    std::vector<miTag> tags;
    for (int i = 0; i < 300; ++i)
        tags.push_back(db.create_string(std::to_string(i)));
    PinCache pins(db);
    for (int round = 0; round < 2; ++round)
        for (std::size_t i = 0; i < tags.size(); ++i) {
            const std::size_t other = (i + 64) % tags.size();
            EXPECT_STREQ(text(pins.access(tags[i])), std::to_string(i).c_str());
            EXPECT_STREQ(text(pins.access(tags[other])), std::to_string(other).c_str());
            EXPECT_TRUE(pins.unpin(tags[i]));
            EXPECT_TRUE(pins.unpin(tags[other]));
        }
    pins.give_back_all();
    EXPECT_TRUE(db.left_over_pins(false).empty());
}

TEST(PinCache, TheLimitIsReportedOnceAsByTheDatabase) {
    Database db;
    const miTag tag = db.create_string("x");
    PinCache pins(db);
    int told = 0;
    for (std::uint32_t i = 0; i < Database::kMaxPins + 10; ++i) {
        bool over = true;
        pins.access(tag, &over);
        told += over ? 1 : 0;
        EXPECT_EQ(over, i == Database::kMaxPins);
    }
    EXPECT_EQ(told, 1);
}

TEST(PinCache, SparesOfARemovedElementAreForgotten) {
    Database db;
    const miTag gone = db.create_string("x");
    const miTag kept = db.create_string("y");
    PinCache pins(db);
    pins.access(gone);
    pins.unpin(gone);
    pins.access(kept);
    pins.unpin(kept);
    db.remove(gone);
    pins.give_back_all();
    EXPECT_EQ(db.pins(kept), 0u);
}

TEST(PinCache, ANewAddressIsSeenAfterTheSparesWentBack) {
    Database db;
    const miTag tag = db.create(miSCENE_USERDATA, 4);
    PinCache pins(db);
    pins.access(tag);
    pins.unpin(tag);
    pins.give_back_all();
    void* const block = db.replace(tag, miSCENE_USERDATA, 4);
    EXPECT_EQ(pins.access(tag), block);
}

TEST(PinCache, ThreadsThatPinOneElementLeaveNothingBehind) {
    Database db;
    const miTag tag = db.create_string("x");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            PinCache pins(db);
            for (int i = 0; i < 2000; ++i) {
                pins.access(tag);
                pins.access(tag);
                ASSERT_TRUE(pins.unpin(tag));
                ASSERT_TRUE(pins.unpin(tag));
            }
            pins.give_back_all();
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(db.pins(tag), 0u);
}
