#include "tests/api/api_test.h"

#include <thread>

using namespace vx;
using namespace vx::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

using ApiLock = ApiTest;

TEST_F(ApiLock, KeepsThreadsApart) {
    miLock lock = nullptr;
    mi_init_lock(&lock);
    ASSERT_NE(lock, nullptr);
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                mi_lock(lock);
                ++counter;
                mi_unlock(lock);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 2000);
    mi_delete_lock(&lock);
    EXPECT_EQ(lock, nullptr);
}

TEST_F(ApiLock, PredefinedLocksAreInitialized) {
    inside([&](void*, miState* s, void*) {
        miLock *instance = nullptr, *declared = nullptr;
        EXPECT_TRUE(mi_query(miQ_FUNC_LOCK, s, miNULLTAG, &instance));
        EXPECT_TRUE(mi_query(miQ_DECL_LOCK, s, miNULLTAG, &declared));
        for (miLock lock : {s->global_lock, *instance, *declared}) {
            mi_lock(lock);
            mi_unlock(lock);
        }
        return miTRUE;
    });
    EXPECT_TRUE(lines.empty());
}

TEST_F(ApiLock, LockingTwiceEndsTheRenderInsteadOfDeadlocking) {
    EXPECT_EQ(fatal([](void*, miState* s, void*) {
                  mi_lock(s->global_lock);
                  mi_lock(s->global_lock);
                  return miTRUE;
              }),
              "RC 0.0 fatal: shader \"test_run\" (instance \"runner\"): mi_lock called on a lock "
              "that this thread already holds");
}

TEST_F(ApiLock, UninitializedLocksEndTheRender) {
    EXPECT_THAT(fatal([](void*, miState*, void*) {
                    mi_lock(nullptr);
                    return miTRUE;
                }),
                HasSubstr("mi_lock called on an uninitialized lock"));
    EXPECT_THAT(fatal([](void*, miState*, void*) {
                    mi_unlock(nullptr);
                    return miTRUE;
                }),
                HasSubstr("mi_unlock called on an uninitialized lock"));
}

TEST_F(ApiLock, UnlockingAFreeLockIsAWarning) {
    inside([](void*, miState* s, void*) {
        mi_unlock(s->global_lock);
        return miTRUE;
    });
    EXPECT_THAT(lines,
                ElementsAre(HasSubstr("mi_unlock called on a lock that this thread does not")));
}

TEST_F(ApiLock, ThreadsThatWaitAreSetFreeWhenTheHolderAborts) {
    miLock lock = nullptr;
    mi_init_lock(&lock);
    mi_lock(lock);
    bool freed = false;
    std::thread waiting([&] {
        try {
            mi_lock(lock);
        } catch (const shading::RenderAborted&) {
            freed = true;
        }
    });
    EXPECT_THROW(mi_db_access(99999), shading::RenderAborted);
    waiting.join();
    EXPECT_TRUE(freed);
    mi_unlock(lock);
    mi_delete_lock(&lock);
}
