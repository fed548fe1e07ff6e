#include "tests/reader/counted_maths.h"

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker makes these names
float __real_acosf(float x);
float __real_powf(float x, float y);

float __wrap_acosf(float x) {
    ++vx::test::maths_calls.acosf;
    return __real_acosf(x);
}
float __wrap_powf(float x, float y) {
    ++vx::test::maths_calls.powf;
    if (vx::test::maths_calls.on_powf) vx::test::maths_calls.on_powf();
    return __real_powf(x, y);
}
// NOLINTEND(bugprone-reserved-identifier)

} // extern "C"
