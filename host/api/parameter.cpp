// mi_eval, mi_phen_eval and parameter lookup by name.
#include <string_view>

#include "host/shading/call.h"

void* mi_eval(miState* state, void* param) {
    return vx::shading::evaluate(vx::shading::Context::current(), state, param);
}

void* mi_phen_eval(miState* state, void* param) {
    return vx::shading::evaluate_connection(vx::shading::Context::current(), state, param);
}

miBoolean mi_api_parameter_lookup(miParam_type* type, miBoolean* is_array, int* offs,
                                  miTag decl_tag, miBoolean out,
                                  // NOLINTNEXTLINE(readability-non-const-parameter): released here
                                  char* name) {
    if (name == nullptr) return miFALSE;
    // mi_api_* functions take ownership of their strings, even on failure.
    struct Release {
        char* text;
        ~Release() { mi_mem_release(text); }
    } const release{name};

    const auto* const declaration = vx::shading::Context::current().functions.declaration(decl_tag);
    if (declaration == nullptr) return miFALSE;
    const auto found = vx::shading::find_member(
        out != miFALSE ? declaration->result_members : declaration->parameters, name);
    if (!found) return miFALSE;
    if (type != nullptr) *type = found->member->type;
    if (is_array != nullptr) *is_array = found->member->array ? miTRUE : miFALSE;
    if (offs != nullptr) *offs = found->offset;
    return miTRUE;
}
