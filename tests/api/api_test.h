// Runs tests of the C functions inside a shader of the test library.
#pragma once

#include "tests/shading/rig.h"

namespace vx::testing {

class ApiTest : public ::testing::Test, protected Rig {
  protected:
    void SetUp() override { load(); }
    // The fatal message with which the body aborts the render; empty if it does not.
    std::string fatal(const ShaderBody& body) {
        lines.clear();
        try {
            inside(body);
        } catch (const shading::RenderAborted&) {
            EXPECT_TRUE(context.aborted());
            context.begin_render();
            for (const std::string& line : lines)
                if (line.find(" fatal: ") != std::string::npos) return line;
        }
        return {};
    }
};

} // namespace vx::testing
