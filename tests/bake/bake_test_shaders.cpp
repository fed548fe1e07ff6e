// A shader for the bake tests: an integer that comes from a shader.
#include "shader.h"

namespace {
struct IntegerParameters {
    miInteger value;
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
}
