#include "tests/api/api_test.h"

#include <cstring>

using namespace vx;
using namespace vx::testing;
using ::testing::HasSubstr;

using ApiMemory = ApiTest;

TEST_F(ApiMemory, IsZeroed) {
    auto* const bytes = static_cast<char*>(mi_mem_allocate(1000));
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(bytes[i], 0);
    mi_mem_release(bytes);
    void* const nothing = mi_mem_allocate(0);
    EXPECT_NE(nothing, nullptr);
    mi_mem_release(nothing);
    mi_mem_release(nullptr);
}

TEST_F(ApiMemory, GrowthIsZeroedAndContentsStay) {
    auto* bytes = static_cast<char*>(mi_mem_reallocate(nullptr, 10));
    std::memset(bytes, 1, 10);
    bytes = static_cast<char*>(mi_mem_reallocate(bytes, 10000));
    for (int i = 0; i < 10000; ++i)
        ASSERT_EQ(bytes[i], i < 10 ? 1 : 0);
    bytes = static_cast<char*>(mi_mem_reallocate(bytes, 5));
    EXPECT_EQ(bytes[4], 1);
    bytes = static_cast<char*>(mi_mem_reallocate(bytes, 20));
    EXPECT_EQ(bytes[4], 1);
    EXPECT_EQ(bytes[5], 0);
    EXPECT_EQ(mi_mem_reallocate(bytes, 0), nullptr);
}

TEST_F(ApiMemory, TextsAreCopied) {
    char text[] = "input";
    char* const copy = mi_mem_strdup(text);
    text[0] = 'I';
    EXPECT_STREQ(copy, "input");
    mi_mem_release(copy);
    EXPECT_EQ(mi_mem_int_strdup("file", 1, nullptr), nullptr);
}

TEST_F(ApiMemory, ImpossibleSizesEndTheRenderOrGiveNull) {
    EXPECT_EQ(mi_mem_test_allocate(-1), nullptr);
    EXPECT_THAT(fatal([](void*, miState*, void*) {
                    mi_mem_allocate(-1);
                    return miTRUE;
                }),
                HasSubstr("shader \"test_run\" (instance \"runner\"): cannot allocate -1 bytes"));
}

TEST_F(ApiMemory, MemoryOfAnotherAllocatorIsNotReleased) {
    alignas(16) char own[64] = {};
    EXPECT_THAT(fatal([&](void*, miState*, void*) {
                    mi_mem_release(own + 32);
                    return miTRUE;
                }),
                HasSubstr("release of memory not allocated with mi_mem_allocate"));
    EXPECT_THAT(fatal([&](void*, miState*, void*) {
                    mi_mem_reallocate(own + 32, 5);
                    return miTRUE;
                }),
                HasSubstr("reallocation of memory"));
}
