#include "tests/shading/fake_trace.h"

vx::testing::FakeTrace& vx::testing::fake_trace() {
    static FakeTrace fake;
    return fake;
}

using vx::testing::fake_trace;

miBoolean mi_sample_light(miColor* result, miVector* /*dir*/, miScalar* dot_nl, miState* /*state*/,
                          miTag /*light*/, miInteger* samples) {
    if (*samples >= fake_trace().samples_per_light) return miFALSE;
    ++*samples;
    *result = fake_trace().light;
    *dot_nl = fake_trace().cosine;
    return miTRUE;
}

miBoolean mi_trace_shadow(miColor* /*result*/, miState* /*state*/) {
    ++fake_trace().shadow_rays;
    return miTRUE;
}

miBoolean mi_trace_eye(miColor* result, miState* /*state*/, miVector* /*origin*/,
                       miVector* /*direction*/) {
    ++fake_trace().eye_rays;
    *result = {0.125f, 0.25f, 0.5f, 1};
    return miTRUE;
}
