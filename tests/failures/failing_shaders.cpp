// Shaders for the tests of failures.
#include "shader.h"

namespace {
struct PassParameters {
    miColor color;
    miTag next;
};
} // namespace

extern "C" {

DLLEXPORT int f_pass_version() {
    return 1;
}
// Its color parameter. `next` is a shader that is not called.
DLLEXPORT miBoolean f_pass(miColor* result, miState* state, PassParameters* parameters) {
    *result = *mi_eval_color(&parameters->color);
    return miTRUE;
}

} // extern "C"
