// Shaders for the whole-program tests of the bake.
#include "shader.h"

#include <cstddef>
#include <new>

namespace {
struct IntegerParameters {
    miInteger value;
};
struct FactParameters {
    miInteger fact;
};
struct NoiseParameters {
    miColor color;
    miInteger n;
};
struct SoftParameters {
    miColor color;
    miInteger n;
    int i_lights;
    int n_lights;
    miTag lights[1];
};
struct GlossyParameters {
    miColor color;
    miInteger n;
};
struct GreedyParameters {
    miInteger block;
    miScalar from;
};

// A list that releases its memory if an allocation fails.
class Hoard {
  public:
    Hoard() = default;
    Hoard(const Hoard&) = delete;
    Hoard& operator=(const Hoard&) = delete;
    ~Hoard() {
        while (m_last != nullptr) {
            void** const before = static_cast<void**>(*m_last);
            ::operator delete(m_last);
            m_last = before;
        }
    }
    void take(std::size_t bytes) {
        auto* const block = static_cast<void**>(::operator new(bytes));
        *block = m_last;
        m_last = block;
    }

  private:
    void** m_last = nullptr;
};
} // namespace

extern "C" {

DLLEXPORT int bake_test_integer_version() {
    return 1;
}

DLLEXPORT miBoolean bake_test_integer(miInteger* result, miState* state,
                                      IntegerParameters* params) {
    *result = *mi_eval_integer(&params->value);
    return miTRUE;
}

DLLEXPORT int bake_test_fact_version() {
    return 1;
}

// A part of the state: 0 the weights of the triangle's corners; 1 the ray's length and its products
// with the two normals; 2 the label, whether the back was hit, and whether both normals are on the
// same side.
DLLEXPORT miBoolean bake_test_fact(miColor* result, miState* state, FactParameters* params) {
    const miVector &n = state->normal, &g = state->normal_geom, &d = state->dir;
    switch (*mi_eval_integer(&params->fact)) {
    case 0:
        *result = {state->bary[0], state->bary[1], state->bary[2], 1};
        break;
    case 1:
        *result = {static_cast<miScalar>(state->dist), state->dot_nd, mi_vector_dot(&g, &d), 1};
        break;
    default:
        *result = {static_cast<miScalar>(state->label), state->inv_normal ? 1.0f : 0.0f,
                   mi_vector_dot(&g, &n) > 0 ? 1.0f : 0.0f, 1};
    }
    return miTRUE;
}

DLLEXPORT int bake_test_noise_version() {
    return 1;
}

// The color, brightened by the mean of n samples.
DLLEXPORT miBoolean bake_test_noise(miColor* result, miState* state, NoiseParameters* params) {
    const miColor color = *mi_eval_color(&params->color);
    const auto n = static_cast<miUint>(*mi_eval_integer(&params->n));
    double sum = 0;
    double sample[2];
    int instance = 0;
    while (mi_sample(sample, &instance, state, 2, &n))
        sum += sample[0] + sample[1];
    const auto f = static_cast<miScalar>(0.5 + sum / (2 * n));
    *result = {color.r * f, color.g * f, color.b * f, color.a};
    return miTRUE;
}

DLLEXPORT int bake_test_soft_version() {
    return 1;
}

// A matte surface that takes n samples per sample of a light, as if the lights had areas. They
// change little, so that pixels are not refined and the very first eye ray is a part of the
// picture.
DLLEXPORT miBoolean bake_test_soft(miColor* result, miState* state, SoftParameters* params) {
    const miColor color = *mi_eval_color(&params->color);
    const auto n = static_cast<miUint>(*mi_eval_integer(&params->n));
    const miTag* const lights = mi_eval_tag(params->lights) + *mi_eval_integer(&params->i_lights);
    *result = {0, 0, 0, color.a};
    for (int i = 0; i < *mi_eval_integer(&params->n_lights); ++i) {
        miColor light;
        miVector dir;
        miScalar cosine = 0;
        int light_samples = 0;
        while (mi_sample_light(&light, &dir, &cosine, state, lights[i], &light_samples)) {
            double sample[2];
            int instance = 0;
            while (mi_sample(sample, &instance, state, 2, &n)) {
                const auto f =
                    static_cast<miScalar>((0.9 + 0.1 * (sample[0] + sample[1])) / n) * cosine;
                result->r += f * light.r * color.r;
                result->g += f * light.g * color.g;
                result->b += f * light.b * color.b;
            }
        }
    }
    return miTRUE;
}

DLLEXPORT int bake_test_glossy_version() {
    return 1;
}

// The mean of n reflections around the direction of the mirror.
DLLEXPORT miBoolean bake_test_glossy(miColor* result, miState* state, GlossyParameters* params) {
    const miColor color = *mi_eval_color(&params->color);
    const auto n = static_cast<miUint>(*mi_eval_integer(&params->n));
    miVector mirror;
    mi_reflection_dir(&mirror, state);
    double sample[3];
    int instance = 0;
    *result = {0.1f, 0.1f, 0.1f, 1};
    while (mi_sample(sample, &instance, state, 3, &n)) {
        miVector dir = {mirror.x + static_cast<miScalar>(0.2 * sample[0] - 0.1),
                        mirror.y + static_cast<miScalar>(0.2 * sample[1] - 0.1),
                        mirror.z + static_cast<miScalar>(0.2 * sample[2] - 0.1)};
        miColor seen = {0, 0, 0, 0};
        if (!mi_trace_reflection(&seen, state, &dir)) continue;
        result->r += color.r * seen.r / static_cast<miScalar>(n);
        result->g += color.g * seen.g / static_cast<miScalar>(n);
        result->b += color.b * seen.b / static_cast<miScalar>(n);
    }
    return miTRUE;
}

DLLEXPORT int bake_test_blur_version() {
    return 1;
}

// A lens: the mean of two rays in other directions.
DLLEXPORT miBoolean bake_test_blur(miColor* result, miState* state, void*) {
    const miVector org = state->org, dir = state->dir;
    const miUint n = 2;
    double sample[2];
    int instance = 0;
    miBoolean lit = miFALSE;
    miColor sum = {0, 0, 0, 0};
    while (mi_sample(sample, &instance, state, 2, &n)) {
        miVector from = org;
        miVector along = {dir.x + static_cast<miScalar>(0.02 * sample[0] - 0.01),
                          dir.y + static_cast<miScalar>(0.02 * sample[1] - 0.01), dir.z};
        miColor color = {0, 0, 0, 0};
        if (mi_trace_eye(&color, state, &from, &along)) lit = miTRUE;
        sum = {sum.r + color.r / 2, sum.g + color.g / 2, sum.b + color.b / 2, sum.a + color.a / 2};
    }
    *result = sum;
    return lit;
}

DLLEXPORT int bake_test_greedy_version() {
    return 1;
}

// Black. From the raster position `from` on, takes the renderer's lock and allocates all memory, in
// blocks of 2^block bytes.
DLLEXPORT miBoolean bake_test_greedy(miColor* result, miState* state, GreedyParameters* params) {
    *result = {0, 0, 0, 1};
    if (state->raster_x < *mi_eval_scalar(&params->from)) return miTRUE;
    const std::size_t bytes = std::size_t{1} << *mi_eval_integer(&params->block);
    mi_lock(state->global_lock);
    Hoard hoard;
    while (true)
        hoard.take(bytes);
}
}
