// A C++ source may include the interface header within extern "C", as the renderer's manual shows.
extern "C" {
#include "shader.h"
}

#include <gtest/gtest.h>

namespace {

TEST(ShaderHeader, MayBeIncludedWithinExternC) {
    EXPECT_EQ(mi::shader_v3::Map_status().get_code(), mi::shader_v3::Map_status::OK);
}

} // namespace
