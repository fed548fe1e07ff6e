// Counts the calls of acosf and powf that the code under test makes; the linker puts the counting
// versions in their place (--wrap).
#pragma once

#include <functional>

namespace vx::test {

struct MathsCalls {
    int acosf = 0;
    int powf = 0;
    std::function<void()> on_powf; // called first when set
};
inline MathsCalls maths_calls;

} // namespace vx::test
