// Results that the test shaders leave for the tests, which read them from the loaded library.
#pragma once

#include "shader.h"

// The calls of t_child.
enum TestCall {
    test_eye,
    test_reflection,
    test_refraction,
    test_transparent,
    test_environment,
    test_probe
};

// One probe of t_probe_lens.
struct TestProbe {
    int hit;
    int child_null;
    int point_kept;
    miVector point, normal, normal_geom;
    int inv_normal;
    double dist;
    miTag instance, material;
    int material_list;
    miUint label;
    miVector texture;
    void* shader;
    int reflected;
    miVector reflected_point;
    miColor color;
    int others_kept;
};
