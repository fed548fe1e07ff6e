// Fake rays for the stand-in shaders: one sample per light, no occluders.
#pragma once

#include "shader.h"

namespace vx::testing {

struct FakeTrace {
    miColor light = {1, 1, 1, 1};
    miScalar cosine = 1;
    int samples_per_light = 1;
    int shadow_rays = 0;
    int eye_rays = 0;
};
FakeTrace& fake_trace();

} // namespace vx::testing
