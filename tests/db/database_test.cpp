#include "host/db/database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

using vx::db::BadTag;
using vx::db::Database;

TEST(Database, CreatedBlocksAreZeroedAlignedAndHaveTypeAndSize) {
    Database db;
    const miTag tag = db.create(miSCENE_CAMERA, sizeof(miCamera));
    EXPECT_NE(tag, miNULLTAG);
    EXPECT_EQ(db.type(tag), miSCENE_CAMERA);
    EXPECT_EQ(db.size(tag), sizeof(miCamera));
    const auto* const bytes = static_cast<const unsigned char*>(db.find(tag));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % 16, 0u);
    for (std::size_t i = 0; i < sizeof(miCamera); ++i)
        ASSERT_EQ(bytes[i], 0) << i;
}

TEST(Database, ElementOfNoBytesHasAnAddress) {
    Database db;
    EXPECT_NE(db.find(db.create(miSCENE_GROUP, 0)), nullptr);
}

TEST(Database, StringElementIsItsZeroTerminatedText) {
    Database db;
    const miTag tag = db.create_string("cloud.0001.pdc");
    EXPECT_EQ(db.type(tag), miSCENE_STRING);
    EXPECT_EQ(db.size(tag), 15u);
    EXPECT_STREQ(static_cast<const char*>(db.access(tag)), "cloud.0001.pdc");
    EXPECT_EQ(db.text(tag), "cloud.0001.pdc");
    EXPECT_STREQ(static_cast<const char*>(db.find(db.create_string(""))), "");
}

TEST(Database, TextOfSomethingElseIsEmpty) {
    Database db;
    EXPECT_EQ(db.text(db.create(miSCENE_CAMERA, 20)), "");
    EXPECT_EQ(db.text(777), "");
}

TEST(Database, TagArrayHoldsTheTags) {
    Database db;
    const miTag tag = db.create_tags({7, 8, 9});
    EXPECT_EQ(db.size(tag), 12u);
    const auto* const tags = db.find<miTag>(tag, miSCENE_TAGS);
    EXPECT_THAT(std::vector<miTag>(tags, tags + 3), testing::ElementsAre(7, 8, 9));
}

TEST(Database, FindOfTheWrongTypeIsNull) {
    Database db;
    const miTag tag = db.create_string("x");
    EXPECT_NE(db.find<char>(tag, miSCENE_STRING), nullptr);
    EXPECT_EQ(db.find<miCamera>(tag, miSCENE_CAMERA), nullptr);
}

TEST(Database, BadTagErrorsNameTagAndOperation) {
    Database db;
    try {
        db.access(4711);
        FAIL() << "no exception";
    } catch (const BadTag& bad) {
        EXPECT_EQ(bad.tag, 4711u);
        EXPECT_STREQ(bad.what(), "access of tag 4711, which names no element");
    }
    try {
        db.unpin(miNULLTAG);
        FAIL() << "no exception";
    } catch (const BadTag& bad) {
        EXPECT_STREQ(bad.what(), "unpinning of the null tag");
    }
    EXPECT_THROW(db.access(0xFFFFFFFFu), BadTag);
    EXPECT_EQ(db.find(0xFFFFFFFFu), nullptr);
    EXPECT_EQ(db.type(4711), 0);
    EXPECT_EQ(db.size(4711), 0u);
}

TEST(Database, RemovedElementIsABadTagAndItsTagIsNotGivenOutAgain) {
    Database db;
    const miTag tag = db.create(miSCENE_GROUP, 4);
    db.remove(tag);
    EXPECT_THROW(db.access(tag), BadTag);
    EXPECT_THROW(db.remove(tag), BadTag);
    EXPECT_NE(db.create(miSCENE_GROUP, 4), tag);
}

TEST(Database, ReplacementKeepsTagAndPins) {
    Database db;
    const miTag tag = db.create_string("one");
    db.access(tag);
    const miTag tags = db.create_tags({1});
    db.replace_tags(tags, {5, 6});
    EXPECT_EQ(db.size(tags), 8u);
    void* const block = db.replace(tag, miSCENE_USERDATA, 3);
    EXPECT_EQ(db.find(tag), block);
    EXPECT_EQ(db.type(tag), miSCENE_USERDATA);
    EXPECT_EQ(db.size(tag), 3u);
    EXPECT_EQ(db.pins(tag), 1u);
    EXPECT_THROW(db.replace(99, miSCENE_USERDATA, 3), BadTag);
}

namespace {

struct Counted {
    explicit Counted(int* counter) : alive(counter) { ++*alive; }
    ~Counted() { --*alive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    int* alive;
};

} // namespace

TEST(Database, OwnsObjectsAndDestroysThem) {
    int alive = 0;
    {
        Database db;
        const miTag tag = db.adopt(miSCENE_OBJECT, std::make_unique<Counted>(&alive));
        db.adopt(miSCENE_OBJECT, std::make_unique<Counted>(&alive));
        EXPECT_EQ(alive, 2);
        db.replace(tag, miSCENE_OBJECT, std::make_unique<Counted>(&alive));
        EXPECT_EQ(alive, 2);
        db.remove(tag);
        EXPECT_EQ(alive, 1);
        EXPECT_THROW(db.replace(tag, miSCENE_OBJECT, std::make_unique<Counted>(&alive)), BadTag);
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(Database, PinsAreCounted) {
    Database db;
    const miTag tag = db.create(miSCENE_GROUP, 4);
    void* const address = db.access(tag);
    EXPECT_EQ(db.access(tag), address);
    EXPECT_EQ(db.pins(tag), 2u);
    EXPECT_TRUE(db.unpin(tag));
    EXPECT_TRUE(db.unpin(tag));
    EXPECT_FALSE(db.unpin(tag));
    EXPECT_EQ(db.pins(tag), 0u);
}

TEST(Database, ThePinBeyondTheLimitIsReportedOnce) {
    Database db;
    const miTag tag = db.create(miSCENE_GROUP, 4);
    int told = 0;
    for (std::uint32_t i = 1; i <= Database::kMaxPins + 5; ++i) {
        bool over = false;
        db.access(tag, &over);
        if (over) {
            ++told;
            EXPECT_EQ(i, 65536u);
        }
    }
    EXPECT_EQ(told, 1);
    EXPECT_EQ(db.pins(tag), Database::kMaxPins + 5);
}

TEST(Database, LeftOverPinsAreListedWithNamesAndCleared) {
    Database db;
    const miTag one = db.create(miSCENE_GROUP, 4);
    const miTag two = db.create_string("x");
    db.create_string("unpinned");
    db.set_name(one, "world");
    db.access(one);
    db.access(two);
    db.access(two);
    const auto pins = db.left_over_pins(true);
    ASSERT_EQ(pins.size(), 2u);
    EXPECT_EQ(pins[0].tag, one);
    EXPECT_EQ(pins[0].name, "world");
    EXPECT_EQ(pins[0].type, miSCENE_GROUP);
    EXPECT_EQ(pins[1].tag, two);
    EXPECT_EQ(pins[1].pins, 2u);
    EXPECT_TRUE(db.left_over_pins(false).empty());
}

TEST(Database, ForEachVisitsElementsOfTheType) {
    Database db;
    const miTag a = db.create(miSCENE_LIGHT, 4);
    db.create(miSCENE_CAMERA, 4);
    const miTag b = db.create(miSCENE_LIGHT, 4);
    std::vector<miTag> seen;
    db.for_each(miSCENE_LIGHT, [&](miTag tag, void*) { seen.push_back(tag); });
    EXPECT_THAT(seen, testing::ElementsAre(a, b));
}

TEST(Database, ManyElementsCrossTheTablesChunks) {
    Database db;
    std::vector<miTag> tags;
    for (int i = 0; i < 10000; ++i)
        tags.push_back(db.create_string(std::to_string(i)));
    for (int i = 0; i < 10000; ++i)
        ASSERT_EQ(db.text(tags[static_cast<std::size_t>(i)]), std::to_string(i));
}

TEST(Database, ThreadsReadPinAndCreateAtOnce) {
    Database db;
    std::vector<miTag> tags;
    for (int i = 0; i < 100; ++i)
        tags.push_back(db.create_string(std::to_string(i)));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&db, &tags] {
            for (int round = 0; round < 50; ++round) {
                for (std::size_t i = 0; i < tags.size(); ++i) {
                    const auto* const text = static_cast<const char*>(db.access(tags[i]));
                    ASSERT_EQ(std::to_string(i), text);
                    db.unpin(tags[i]);
                }
                const miTag made = db.create_string("made");
                ASSERT_EQ(db.text(made), "made");
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const miTag tag : tags)
        EXPECT_EQ(db.pins(tag), 0u);
    int made = 0;
    db.for_each(miSCENE_STRING, [&](miTag, void*) { ++made; });
    EXPECT_EQ(made, 100 + 4 * 50);
}
