// Shaders whose results and messages the tests of the program count.
#include "shader.h"

extern "C" {

struct FalseParameters {
    miInteger columns;
};
struct SayParameters {
    miInteger severity;
};
struct LookupParameters {
    miTag texture;
    miScalar u;
};
struct ColorParameters {
    miColor color;
};

DLLEXPORT int p_false_version() {
    return 1;
}
DLLEXPORT int p_say_version() {
    return 1;
}
DLLEXPORT int p_color_version() {
    return 1;
}
DLLEXPORT int p_see_through_version() {
    return 1;
}
DLLEXPORT int p_lit_version() {
    return 1;
}
DLLEXPORT int p_lookup_version() {
    return 1;
}
DLLEXPORT int p_lens_version() {
    return 1;
}

// Returns false in the leftmost columns of the image.
DLLEXPORT miBoolean p_false(miColor* result, miState* state, FalseParameters* params) {
    *result = {1, 0, 0, 1};
    return state->raster_x < static_cast<miScalar>(*mi_eval_integer(&params->columns)) ? miFALSE
                                                                                       : miTRUE;
}

// Writes a message for the lower left pixel: 1 a warning, 2 an error.
DLLEXPORT miBoolean p_say(miColor* result, miState* state, SayParameters* params) {
    *result = {0, 1, 0, 1};
    if (state->raster_x > 1 || state->raster_y > 1) return miTRUE;
    if (*mi_eval_integer(&params->severity) == 1)
        mi_warning("something is odd");
    else
        mi_error("something is wrong");
    return miTRUE;
}

DLLEXPORT miBoolean p_color(miColor* result, miState* state, ColorParameters* params) {
    *result = *mi_eval_color(&params->color);
    return miTRUE;
}

// Passes the result of the ray on.
DLLEXPORT miBoolean p_see_through(miColor* result, miState* state, void*) {
    return mi_trace_transparent(result, state);
}

// The light that arrives from the first light of the scene.
DLLEXPORT miBoolean p_lit(miColor* result, miState* state, void*) {
    miTag* lights = nullptr;
    int count = 0;
    mi_instance_lightlist(&count, &lights, state);
    miInteger samples = 0;
    miVector direction;
    miScalar cosine = 0;
    for (int i = 0; i < count; ++i)
        while (mi_sample_light(result, &direction, &cosine, state, lights[i], &samples)) {
        }
    return miTRUE;
}

// Passes the result of the lookup on.
DLLEXPORT miBoolean p_lookup(miColor* result, miState* state, LookupParameters* params) {
    miVector place = {*mi_eval_scalar(&params->u), 0.5f, 0};
    return mi_lookup_color_texture(result, state, *mi_eval_tag(&params->texture), &place);
}

DLLEXPORT miBoolean p_lens(miColor* result, miState* state, void*) {
    return mi_trace_eye(result, state, &state->org, &state->dir);
}

} // extern "C"
