#include "tests/api/api_test.h"

#include <thread>

using namespace vx;
using namespace vx::testing;

using ApiState = ApiTest;

namespace {

int value_of(miState* state, int* size) {
    *size = -1;
    const void* const data = mi_shaderstate_get(state, "vx_pc", size);
    return data == nullptr ? -1 : *static_cast<const int*>(data);
}

} // namespace

TEST_F(ApiState, BakeFlagIsSeenBelowAndReplaced) {
    inside([&](void*, miState* s, void*) {
        int size = 0, flag = 1;
        EXPECT_EQ(value_of(s, &size), -1);
        EXPECT_EQ(size, 0);
        EXPECT_TRUE(mi_shaderstate_set(s, "vx_pc", &flag, 4, 1));
        miState child = child_of(*s);
        miState grandchild = child_of(child);
        EXPECT_EQ(value_of(&grandchild, &size), 1);
        EXPECT_EQ(size, 4);
        flag = 0;
        EXPECT_EQ(value_of(&grandchild, &size), 1) << "the bytes are copied";
        EXPECT_TRUE(mi_shaderstate_set(s, "vx_pc", &flag, 4, 1));
        EXPECT_EQ(value_of(&grandchild, &size), 0);
        return miTRUE;
    });
}

TEST_F(ApiState, OtherThreadsDoNotSeeIt) {
    inside([&](void*, miState* s, void*) {
        int flag = 1;
        mi_shaderstate_set(s, "vx_pc", &flag, 4, 1);
        std::thread([s] {
            int size = 0;
            EXPECT_EQ(value_of(s, &size), -1);
        }).join();
        return miTRUE;
    });
}

TEST_F(ApiState, EntryIsTakenAwayByNullOfSizeZero) {
    inside([&](void*, miState* s, void*) {
        int flag = 1, size = 0;
        mi_shaderstate_set(s, "vx_pc", &flag, 4, 1);
        EXPECT_TRUE(mi_shaderstate_set(s, "vx_pc", nullptr, 0, 1));
        EXPECT_EQ(value_of(s, &size), -1);
        return miTRUE;
    });
}

TEST_F(ApiState, SizeMayBeNullAndBadArgumentsAreFalse) {
    inside([&](void*, miState* s, void*) {
        int flag = 1;
        EXPECT_FALSE(mi_shaderstate_set(nullptr, "k", &flag, 4, 1));
        EXPECT_FALSE(mi_shaderstate_set(s, nullptr, &flag, 4, 1));
        EXPECT_FALSE(mi_shaderstate_set(s, "k", nullptr, 4, 1));
        EXPECT_EQ(mi_shaderstate_get(s, nullptr, nullptr), nullptr);
        mi_shaderstate_set(s, "k", &flag, 4, 1);
        EXPECT_NE(mi_shaderstate_get(s, "k", nullptr), nullptr);
        return miTRUE;
    });
}

TEST_F(ApiState, NothingIsLeftAfterTheStatesCall) {
    {
        const shading::StateScope scope(context.thread(), state);
        inside([&](void*, miState* s, void*) {
            int flag = 1;
            return mi_shaderstate_set(s, "vx_pc", &flag, 4, 1);
        });
        EXPECT_EQ(context.thread().state_data_count(), 1u);
    }
    EXPECT_EQ(context.thread().state_data_count(), 0u);
}
