#include "host/shading/thread.h"

#include <cstring>

#include "tests/shading/rig.h"

using namespace vx;
using shading::StackMemory;
using shading::StateScope;
using shading::ThreadContext;

TEST(StackMemory, BlocksAreZeroedAlignedAndStayPut) {
    StackMemory memory;
    std::vector<std::byte*> blocks;
    for (std::size_t i = 0; i < 1000; ++i) {
        auto* const block = static_cast<std::byte*>(memory.allocate(i * 7));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
        for (std::size_t k = 0; k < i * 7; ++k)
            ASSERT_EQ(block[k], std::byte{0});
        std::memset(block, 0xAB, i * 7);
        blocks.push_back(block);
    }
    EXPECT_EQ(blocks[999][0], std::byte{0xAB});
    EXPECT_EQ(blocks[1][0], std::byte{0xAB});
}

TEST(StackMemory, ReleasedMemoryIsUsedAgain) {
    StackMemory memory;
    memory.allocate(100);
    const StackMemory::Mark mark = memory.mark();
    void* const block = memory.allocate(100);
    memory.allocate(1 << 20);
    memory.release(mark);
    EXPECT_EQ(memory.allocate(100), block);
}

TEST(StackMemory, BlockLargerThanAChunkFits) {
    StackMemory memory;
    auto* const block = static_cast<std::byte*>(memory.allocate(1 << 20));
    block[(1 << 20) - 1] = std::byte{1};
    EXPECT_NE(memory.allocate(8), nullptr);
}

TEST(StateData, IsVisibleBelowTheStateThroughAnyNumberOfChildren) {
    db::Database database;
    ThreadContext thread(0, database);
    miState top{}, middle{}, bottom{};
    middle.parent = &top;
    bottom.parent = &middle;
    const int value = 1;
    EXPECT_TRUE(thread.set_state_data(&top, "vx_pc", &value, sizeof value, 1));
    for (const miState* state : {&top, &middle, &bottom}) {
        int size = -1;
        const void* const found = thread.state_data(state, "vx_pc", &size);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(size, 4);
        EXPECT_EQ(std::memcmp(found, &value, 4), 0);
    }
}

TEST(StateData, IsNotVisibleAboveOrBeside) {
    db::Database database;
    ThreadContext thread(0, database);
    miState top{}, left{}, right{};
    left.parent = &top;
    right.parent = &top;
    const int value = 1;
    thread.set_state_data(&left, "key", &value, sizeof value, 1);
    int size = -1;
    EXPECT_EQ(thread.state_data(&top, "key", &size), nullptr);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(thread.state_data(&right, "key", nullptr), nullptr);
    EXPECT_EQ(thread.state_data(&left, "other", nullptr), nullptr);
}

TEST(StateData, EqualSizeReplacesInPlaceSoThatOldPointersSeeIt) {
    db::Database database;
    ThreadContext thread(0, database);
    miState state{};
    int value = 1;
    thread.set_state_data(&state, "key", &value, sizeof value, 1);
    const auto* const seen = static_cast<const int*>(thread.state_data(&state, "key", nullptr));
    value = 0;
    thread.set_state_data(&state, "key", &value, sizeof value, 1);
    EXPECT_EQ(*seen, 0);
    EXPECT_EQ(thread.state_data(&state, "key", nullptr), seen);
    EXPECT_EQ(thread.state_data_count(), 1u);
}

TEST(StateData, AnotherSizeReplacesToo) {
    db::Database database;
    ThreadContext thread(0, database);
    miState state{};
    const double wide = 2.5;
    const int narrow = 3;
    thread.set_state_data(&state, "key", &narrow, sizeof narrow, 1);
    thread.set_state_data(&state, "key", &wide, sizeof wide, 1);
    int size = 0;
    EXPECT_EQ(*static_cast<const double*>(thread.state_data(&state, "key", &size)), 2.5);
    EXPECT_EQ(size, 8);
    EXPECT_EQ(thread.state_data_count(), 1u);
}

TEST(StateData, ANearerEntryHidesTheOneAbove) {
    db::Database database;
    ThreadContext thread(0, database);
    miState top{}, below{};
    below.parent = &top;
    const int one = 1, two = 2;
    thread.set_state_data(&top, "key", &one, sizeof one, 1);
    thread.set_state_data(&below, "key", &two, sizeof two, 1);
    EXPECT_EQ(*static_cast<const int*>(thread.state_data(&below, "key", nullptr)), 2);
    EXPECT_EQ(*static_cast<const int*>(thread.state_data(&top, "key", nullptr)), 1);
}

TEST(StateData, NullDataOfSizeZeroTakesTheEntryAway) {
    db::Database database;
    ThreadContext thread(0, database);
    miState state{};
    const int value = 1;
    thread.set_state_data(&state, "key", &value, sizeof value, 1);
    EXPECT_TRUE(thread.set_state_data(&state, "key", nullptr, 0, 1));
    EXPECT_EQ(thread.state_data(&state, "key", nullptr), nullptr);
    EXPECT_FALSE(thread.set_state_data(&state, "key", nullptr, 0, 1));
}

TEST(StateData, BadArgumentsAreRefused) {
    db::Database database;
    ThreadContext thread(0, database);
    miState state{};
    const int value = 1;
    EXPECT_FALSE(thread.set_state_data(&state, "key", nullptr, 4, 1));
    EXPECT_FALSE(thread.set_state_data(&state, "key", &value, -1, 1));
    EXPECT_EQ(thread.state_data_count(), 0u);
}

TEST(StateData, EntryOfSizeZeroExists) {
    db::Database database;
    ThreadContext thread(0, database);
    miState state{};
    const int value = 1;
    EXPECT_TRUE(thread.set_state_data(&state, "key", &value, 0, 1));
    int size = -1;
    EXPECT_NE(thread.state_data(&state, "key", &size), nullptr);
    EXPECT_EQ(size, 0);
}

TEST(StateData, IsDroppedWhenTheStatesCallEnds) {
    db::Database database;
    ThreadContext thread(0, database);
    miState top{}, below{};
    below.parent = &top;
    const int value = 1;
    {
        const StateScope outer(thread, top);
        thread.set_state_data(&top, "key", &value, sizeof value, 1);
        {
            const StateScope inner(thread, below);
            thread.set_state_data(&below, "key", &value, sizeof value, 1);
            EXPECT_EQ(thread.state_data_count(), 2u);
        }
        EXPECT_EQ(thread.state_data_count(), 1u);
        EXPECT_NE(thread.state_data(&below, "key", nullptr), nullptr);
    }
    EXPECT_EQ(thread.state_data_count(), 0u);
}

TEST(StateData, TileLifetimeOutlivesTheStateUntilTheTileEnds) {
    db::Database database;
    ThreadContext thread(0, database);
    miState one{}, two{};
    const int value = 1;
    {
        const StateScope scope(thread, one);
        thread.set_state_data(&one, "key", &value, sizeof value, miSS_LIFETIME_RECT);
    }
    EXPECT_NE(thread.state_data(&two, "key", nullptr), nullptr);
    thread.end_tile();
    EXPECT_EQ(thread.state_data(&two, "key", nullptr), nullptr);
}

TEST(InstancePointers, AreNullUntilSetAndKeptPerIndex) {
    db::Database database;
    ThreadContext thread(3, database);
    int a = 0, b = 0;
    EXPECT_EQ(thread.instance_pointer(1000), nullptr);
    thread.set_instance_pointer(1000, &a);
    thread.set_instance_pointer(2, &b);
    EXPECT_EQ(thread.instance_pointer(1000), &a);
    EXPECT_EQ(thread.instance_pointer(2), &b);
    EXPECT_EQ(thread.instance_pointer(3), nullptr);
    thread.clear_instance_pointers();
    EXPECT_EQ(thread.instance_pointer(1000), nullptr);
}

TEST(Contexts, ASecondOneIsRefusedWhileTheFirstExists) {
    for (int round = 0; round < 2; ++round) {
        shading::Context first;
        const int number = first.thread().number;
        EXPECT_THROW(shading::Context(), std::logic_error);
        EXPECT_EQ(&shading::Context::current(), &first);
        EXPECT_EQ(first.thread().number, number);
    }
}
