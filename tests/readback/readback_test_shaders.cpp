// Shaders for the reader's parameters. Each call is reported in the log as "SHADER VALUE".
#include "shader.h"

namespace {

// `value` left of the plane x = 0, `right` on its other side.
struct ScalarParameters {
    miScalar value;
    miScalar right;
};
struct ColorParameters {
    miColor value;
    miColor right;
};
struct IntegerParameters {
    miInteger value;
};
struct StringParameters {
    miTag value;
};

} // namespace

extern "C" {

DLLEXPORT int readback_integer_version() {
    return 1;
}
DLLEXPORT miBoolean readback_integer(miInteger* result, miState* /*state*/,
                                     IntegerParameters* params) {
    *result = params->value;
    mi_info("readback_integer %d", *result);
    return miTRUE;
}

DLLEXPORT int readback_string_version() {
    return 1;
}
DLLEXPORT miBoolean readback_string(miTag* result, miState* /*state*/, StringParameters* params) {
    *result = params->value;
    const auto* text = static_cast<const char*>(mi_db_access(*result));
    mi_info("readback_string %s", text);
    mi_db_unpin(*result);
    return miTRUE;
}

DLLEXPORT int readback_scalar_version() {
    return 1;
}
DLLEXPORT miBoolean readback_scalar(miScalar* result, miState* state, ScalarParameters* params) {
    *result = state->point.x < 0 ? params->value : params->right;
    mi_info("readback_scalar %g", *result);
    return miTRUE;
}

DLLEXPORT int readback_color_version() {
    return 1;
}
DLLEXPORT miBoolean readback_color(miColor* result, miState* state, ColorParameters* params) {
    *result = state->point.x < 0 ? params->value : params->right;
    mi_info("readback_color %g %g %g", result->r, result->g, result->b);
    return miTRUE;
}
}
