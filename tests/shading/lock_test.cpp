#include "host/shading/lock.h"

#include <atomic>
#include <thread>

#include "tests/shading/rig.h"

using namespace vx;
using shading::Lock;

TEST(Lock, KeepsThreadsApart) {
    shading::Context context;
    Lock lock;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                lock.take(context, false);
                ++counter;
                lock.give();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 4000);
}

TEST(Lock, SecondLockByTheSameThreadIsReported) {
    shading::Context context;
    Lock lock;
    EXPECT_EQ(lock.take(context, false), Lock::Result::taken);
    EXPECT_EQ(lock.take(context, false), Lock::Result::already_mine);
    EXPECT_TRUE(lock.give());
    EXPECT_FALSE(lock.give());
}

TEST(Lock, RecursiveTakesNeedAsManyGives) {
    shading::Context context;
    Lock lock;
    lock.take(context, true);
    lock.take(context, true);
    EXPECT_TRUE(lock.give());
    std::atomic<bool> got{false};
    std::thread other([&] {
        lock.take(context, false);
        got = true;
        lock.give();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(got);
    EXPECT_TRUE(lock.give());
    other.join();
    EXPECT_TRUE(got);
}

TEST(Lock, OnlyTheHolderCanUnlock) {
    shading::Context context;
    Lock lock;
    lock.take(context, false);
    std::thread other([&] { EXPECT_FALSE(lock.give()); });
    other.join();
    EXPECT_TRUE(lock.give());
}

TEST(Lock, WaitingThreadsGiveUpWhenTheRenderIsCancelled) {
    shading::Context context;
    Lock lock;
    lock.take(context, false);
    std::atomic<bool> thrown{false};
    std::thread waiting([&] {
        try {
            lock.take(context, false);
        } catch (const shading::RenderAborted&) {
            thrown = true;
        }
    });
    context.cancel();
    waiting.join();
    EXPECT_TRUE(thrown);
    lock.give();
}

TEST(Lock, WaitingThreadsGiveUpWhenAnInterruptComes) {
    shading::Context context;
    std::atomic<bool> interrupt{false};
    context.watch(interrupt);
    Lock lock;
    lock.take(context, false);
    std::atomic<bool> thrown{false};
    std::thread waiting([&] {
        try {
            lock.take(context, false);
        } catch (const shading::RenderAborted&) {
            thrown = true;
        }
    });
    interrupt = true;
    waiting.join();
    EXPECT_TRUE(thrown);
    lock.give();
}
