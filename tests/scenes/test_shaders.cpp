// Shaders for the tests of tracing and rendering. Their results can be computed by hand.
#include "tests/scenes/test_shaders.h"

#include "shader.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" {

// Read by the tests.
DLLEXPORT TestProbe test_probes[64];
DLLEXPORT int test_probe_count = 0;
DLLEXPORT double test_samples[4096];
DLLEXPORT int test_sample_count = 0;
DLLEXPORT miState test_state;
DLLEXPORT miState test_probe_child;
DLLEXPORT miVector test_ray_ends[3];
DLLEXPORT int test_state_parent_null = -1;

struct Constant {
    miColor color;
};
DLLEXPORT int t_constant_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_constant(miColor* result, miState* state, Constant* p) {
    *result = *static_cast<miColor*>(mi_eval(state, &p->color));
    return miTRUE;
}

// A constant. The entry point that the environment variable T_FAIL names throws an int; "pin"
// leaves an element pinned instead.
static bool fails(const char* entry) {
    const char* const wanted = std::getenv("T_FAIL");
    return wanted != nullptr && std::strcmp(wanted, entry) == 0;
}
static void fail_in(const char* entry) {
    if (fails(entry)) throw 42;
}
DLLEXPORT int t_fail_version(void) {
    fail_in("version");
    return 1;
}
DLLEXPORT void t_fail_init(miState*, Constant* p, miBoolean* request) {
    fail_in(p == nullptr ? "init" : "instance init");
    if (p == nullptr) *request = miTRUE;
}
DLLEXPORT miBoolean t_fail(miColor* result, miState* state, Constant* p) {
    // A single thread renders the first pixel, all threads this one.
    if (state->raster_x > 4) fail_in("call");
    if (fails("pin")) mi_db_access(state->instance);
    *result = p->color;
    return miTRUE;
}
DLLEXPORT void t_fail_exit(miState*, Constant* p) {
    fail_in(p == nullptr ? "exit" : "instance exit");
}

// Lambert: the sum over the instance's lights of light * diffuse * cosine.
DLLEXPORT int t_lambert_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_lambert(miColor* result, miState* state, Constant* p) {
    const miColor diffuse = *static_cast<miColor*>(mi_eval(state, &p->color));
    int n = 0;
    miTag* lights = nullptr;
    mi_instance_lightlist(&n, &lights, state);
    *result = {0, 0, 0, 1};
    miTag own[64];
    if (n > 64) n = 64;
    if (n > 0) std::memcpy(own, lights, static_cast<std::size_t>(n) * sizeof(miTag));
    for (int i = 0; i < n; ++i) {
        miColor c;
        miVector dir;
        miScalar cosine = 0;
        int samples = 0;
        miColor sum = {0, 0, 0, 0};
        while (mi_sample_light(&c, &dir, &cosine, state, own[i], &samples)) {
            sum.r += c.r * diffuse.r * cosine;
            sum.g += c.g * diffuse.g * cosine;
            sum.b += c.b * diffuse.b * cosine;
        }
        if (samples > 0) {
            const float f = 1.0f / static_cast<float>(samples);
            result->r += sum.r * f;
            result->g += sum.g * f;
            result->b += sum.b * f;
        }
    }
    return miTRUE;
}

struct Light {
    miColor color;
    miBoolean shadow;
    miScalar falloff; // not 0: divided by the squared distance
};
DLLEXPORT int t_light_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_light(miColor* result, miState* state, Light* p) {
    *result = p->color;
    if (p->falloff != 0.0f) {
        const auto f = static_cast<float>(1.0 / (state->dist * state->dist));
        result->r *= f;
        result->g *= f;
        result->b *= f;
    }
    const auto* const instance = static_cast<miInstance*>(mi_db_access(state->light_instance));
    const miTag item = instance->item;
    const miMatrix& to_world = instance->tf.local_to_global;
    const auto* const light = static_cast<miLight*>(mi_db_access(item));
    bool lit = true;
    if (light->type == miLIGHT_SPOT) {
        const miVector& d = light->direction;
        miVector w = {d.x * to_world[0] + d.y * to_world[4] + d.z * to_world[8],
                      d.x * to_world[1] + d.y * to_world[5] + d.z * to_world[9],
                      d.x * to_world[2] + d.y * to_world[6] + d.z * to_world[10]};
        mi_vector_normalize(&w);
        lit = mi_vector_dot(&w, &state->dir) > light->spread;
    }
    mi_db_unpin(item);
    mi_db_unpin(state->light_instance);
    if (!lit) return miFALSE;
    return p->shadow ? mi_trace_shadow(result, state) : miTRUE;
}

DLLEXPORT int t_shadow_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_shadow(miColor* result, miState* state, Constant* p) {
    (void)state;
    result->r *= p->color.r;
    result->g *= p->color.g;
    result->b *= p->color.b;
    return miTRUE;
}

struct Segment {
    miColor color;
};
// Attenuates the light that passes the occluders behind it.
DLLEXPORT int t_shadow_seg_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_shadow_seg(miColor* result, miState* state, Segment* p) {
    result->r *= p->color.r;
    result->g *= p->color.g;
    result->b *= p->color.b;
    return mi_trace_shadow_seg(result, state);
}

DLLEXPORT int t_mirror_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_mirror(miColor* result, miState* state, void*) {
    miVector dir;
    mi_reflection_dir(&dir, state);
    if (mi_trace_reflection(result, state, &dir)) return miTRUE;
    *result = {0, 0, 0, 0};
    return miTRUE;
}

struct Glass {
    miScalar ior;
};
DLLEXPORT int t_glass_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_glass(miColor* result, miState* state, Glass* p) {
    miVector dir;
    const bool out = state->inv_normal != 0;
    if (mi_refraction_dir(&dir, state, out ? p->ior : 1.0f, out ? 1.0f : p->ior))
        return mi_trace_refraction(result, state, &dir);
    return mi_trace_reflection(result, state, &dir);
}

struct Transparent {
    miColor tint;
};
DLLEXPORT int t_transparent_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_transparent(miColor* result, miState* state, Transparent* p) {
    mi_trace_transparent(result, state);
    result->r *= p->tint.r;
    result->g *= p->tint.g;
    result->b *= p->tint.b;
    return miTRUE;
}

DLLEXPORT int t_position_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_position(miColor* result, miState* state, void*) {
    *result = {state->point.x, state->point.y, state->point.z, 1};
    return miTRUE;
}

DLLEXPORT int t_object_position_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_object_position(miColor* result, miState* state, void*) {
    miVector p;
    mi_point_to_object(state, &p, &state->point);
    *result = {p.x, p.y, p.z, 1};
    return miTRUE;
}

DLLEXPORT int t_normal_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_normal(miColor* result, miState* state, void*) {
    *result = {state->normal.x, state->normal.y, state->normal.z, state->inv_normal ? 1.0f : 0.0f};
    return miTRUE;
}

DLLEXPORT int t_texture_version(void) {
    return 1;
}
struct Texture {
    miTag texture;
};
DLLEXPORT miBoolean t_texture(miColor* result, miState* state, Texture* p) {
    miVector coord = state->tex_list != nullptr ? state->tex_list[0] : miVector{0, 0, 0};
    if (!mi_lookup_color_texture(result, state, p->texture, &coord)) *result = {9, 9, 9, 9};
    return miTRUE;
}

// The direction of the ray that leaves the scene.
DLLEXPORT int t_environment_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_environment(miColor* result, miState* state, void*) {
    *result = {state->dir.x, state->dir.y, state->dir.z, static_cast<miScalar>(state->type)};
    return miTRUE;
}

DLLEXPORT int t_label_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_label(miColor* result, miState* state, void*) {
    const auto f = static_cast<float>(state->label);
    *result = {f, f, f, 1};
    state->label += 100;
    return miTRUE;
}

// A copy of the state that the material was called with.
DLLEXPORT int t_keep_state_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_keep_state(miColor* result, miState* state, void*) {
    test_state = *state;
    test_state_parent_null = state->parent == nullptr;
    *result = {1, 1, 1, 1};
    return miTRUE;
}

// A copy of the state after the eye ray.
DLLEXPORT int t_keep_child_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_keep_child(miColor* result, miState* state, void*) {
    miVector dir = state->dir;
    mi_trace_reflection(result, state, &dir);
    if (state->child != nullptr) test_state = *state->child;
    test_state_parent_null = state->child == nullptr;
    return miTRUE;
}

DLLEXPORT int t_pass_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_pass(miColor* result, miState* state, Constant* p) {
    const miBoolean lit = mi_trace_eye(result, state, &state->org, &state->dir);
    result->r *= p->color.r;
    result->g *= p->color.g;
    result->b *= p->color.b;
    return lit;
}

// A lens that casts every eye ray twice.
DLLEXPORT int t_twice_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_twice(miColor* result, miState* state, void*) {
    miColor second;
    mi_trace_eye(result, state, &state->org, &state->dir);
    const miBoolean lit = mi_trace_eye(&second, state, &state->org, &state->dir);
    *result = {(result->r + second.r) / 2, (result->g + second.g) / 2, (result->b + second.b) / 2,
               (result->a + second.a) / 2};
    return lit;
}

struct Mean {
    miInteger n;
};
// The mean of samples of mi_sample.
DLLEXPORT int t_mean_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_mean(miColor* result, miState* state, Mean* p) {
    const auto n = static_cast<miUint>(p->n);
    int instance = 0;
    double s[2];
    double x = 0, y = 0;
    while (mi_sample(s, &instance, state, 2, &n)) {
        x += s[0];
        y += s[1];
    }
    *result = {static_cast<float>(x / n), static_cast<float>(y / n), 0, 1};
    return miTRUE;
}

// As t_mean, with a loop of 16 samples that starts `inner` other loops in each turn and leaves them
// early.
DLLEXPORT int t_nested_loops_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_nested_loops(miColor* result, miState* state, Mean* p) {
    const miUint n = 16;
    int instance = 0;
    double s[2];
    *result = {0, 0, 0, 1};
    while (mi_sample(s, &instance, state, 2, &n)) {
        result->r += static_cast<float>(s[0]) / 16;
        result->g += static_cast<float>(s[1]) / 16;
        int counters[256] = {};
        for (int i = 0; i < p->n && i < 256; ++i)
            mi_sample(s, &counters[i], state, 2, &n);
    }
    return miTRUE;
}

// A lens shader that works in its first call only, as a bake does: records samples, then probes all
// layers along the camera's axis and shades each surface.
static int once = 0;
DLLEXPORT int t_probe_lens_version(void) {
    return 1;
}
DLLEXPORT void t_probe_lens_init(miState*, Mean*, miBoolean*) {
    once = 0;
    test_probe_count = 0;
    test_sample_count = 0;
    std::memset(test_probes, 0, sizeof test_probes);
}
DLLEXPORT miBoolean t_probe_lens(miColor* result, miState* state, Mean* p) {
    // The renderer casts the first eye ray alone, so no lock is needed.
    if (once == 0) {
        once = 1;
        for (int loop = 0; loop < 50; ++loop) {
            const auto n = static_cast<miUint>(p->n);
            int instance = 0;
            double s[2];
            while (mi_sample(s, &instance, state, 2, &n))
                for (const double v : s)
                    if (test_sample_count < 4096) test_samples[test_sample_count++] = v;
        }
        const miState before = *state;
        miVector axis = {0, 0, -1};
        miVector dir;
        mi_vector_from_camera(state, &dir, &axis);
        state->point = state->org;
        miVector eye = {0, 0, 0};
        mi_point_from_camera(state, &eye, &eye);
        state->point = eye;
        for (int layer = 0; layer < 32; ++layer) {
            TestProbe& t = test_probes[test_probe_count++];
            const miVector start = state->point;
            t.hit = mi_trace_probe(state, &dir, &state->point);
            t.child_null = state->child == nullptr;
            t.point_kept =
                state->point.x == start.x && state->point.y == start.y && state->point.z == start.z;
            if (state->child != nullptr) t.dist = state->child->dist;
            if (!t.hit || state->child == nullptr || state->child->dist == 0.0) break;
            const miState* const c = state->child;
            t.point = c->point;
            t.normal = c->normal;
            t.normal_geom = c->normal_geom;
            t.inv_normal = c->inv_normal;
            t.instance = c->instance;
            t.material = c->material;
            t.label = c->label;
            t.shader = c->shader;
            t.texture = c->tex_list != nullptr ? c->tex_list[0] : miVector{-1, -1, -1};
            const auto* const instance = static_cast<miInstance*>(mi_db_access(c->instance));
            t.material_list = instance->mtl_array_size;
            mi_db_unpin(c->instance);
            t.others_kept = state->type == before.type && state->pri == before.pri &&
                            state->label == before.label && state->shader == before.shader &&
                            state->instance == before.instance && state->cache == before.cache;
            const miVector hit = c->point;
            miVector shade = dir;
            if (c->inv_normal) {
                shade = c->normal;
                state->point = {hit.x - 0.005f * shade.x, hit.y - 0.005f * shade.y,
                                hit.z - 0.005f * shade.z};
            }
            mi_flush_cache(state);
            t.reflected = mi_trace_reflection(&t.color, state, &shade);
            if (state->child != nullptr) t.reflected_point = state->child->point;
            state->point = {hit.x + 0.005f * dir.x, hit.y + 0.005f * dir.y, hit.z + 0.005f * dir.z};
            mi_flush_cache(state);
        }
        state->point = before.point;
    }
    return mi_trace_eye(result, state, &state->org, &state->dir);
}

// A lens shader that probes straight ahead, and then shades along a ray with another origin, one
// with another direction, and that of the probe.
DLLEXPORT int t_other_ray_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_other_ray(miColor* result, miState* state, void*) {
    const miState before = *state;
    state->importance = 0.25f;
    state->ior = 1.5f;
    state->ior_in = 1.25f;
    state->time = 0.5f;
    miVector start = {0, 0, 0};
    const miVector starts[3] = {{1.5f, 0, 0}, start, start};
    const miVector ways[3] = {{0, 0, -1}, {0.5f, 0, -1}, {0, 0, -1}};
    for (int i = 0; i < 3; ++i) {
        miVector ahead = {0, 0, -1};
        state->point = start;
        mi_flush_cache(state);
        if (!mi_trace_probe(state, &ahead, &start)) return miFALSE;
        test_probe_child = *state->child;
        state->point = starts[i];
        mi_flush_cache(state);
        miVector way = ways[i];
        miColor color;
        if (!mi_trace_reflection(&color, state, &way)) return miFALSE;
        test_ray_ends[i] = state->child->point;
    }
    *state = before;
    return mi_trace_eye(result, state, &state->org, &state->dir);
}

} // extern "C"
