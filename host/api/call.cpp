// mi_call_*: calls of shaders by shaders.
#include "host/shading/call.h"

namespace {

using vx::shading::Context;

miBoolean call_of_material(miColor* result, miState* state, miTag miMaterial::*list,
                           miShader_type role) {
    if (state->material == miNULLTAG) return miFALSE;
    Context& context = Context::current();
    const auto* const material =
        context.database.find<miMaterial>(state->material, miSCENE_MATERIAL);
    if (material == nullptr)
        context.abort_render("the material of the state, tag " + std::to_string(state->material) +
                             ", is not a material");
    return vx::shading::call_list(context, material->*list, result, state, role) ? miTRUE : miFALSE;
}

} // namespace

miBoolean mi_call_shader_x(miColor* result, miShader_type type, miState* state, miTag tag,
                           void* arg) {
    Context& context = Context::current();
    // Lens shaders call their successor themselves.
    const bool lit = type == miSHADER_LENS
                         ? vx::shading::call_one(context, tag, result, state, type, arg)
                         : vx::shading::call_list(context, tag, result, state, type, arg);
    return lit ? miTRUE : miFALSE;
}

miBoolean mi_call_shader(miColor* result, miShader_type type, miState* state, miTag tag) {
    return mi_call_shader_x(result, type, state, tag, nullptr);
}

miBoolean mi_call_material(miColor* result, miState* state) {
    return call_of_material(result, state, &miMaterial::shader, miSHADER_MATERIAL);
}

miBoolean mi_call_shadow_material(miColor* result, miState* state) {
    return call_of_material(result, state, &miMaterial::shadow, miSHADER_SHADOW);
}

miBoolean mi_call_environment_material(miColor* result, miState* state) {
    return call_of_material(result, state, &miMaterial::environment, miSHADER_ENVIRONMENT);
}

miBoolean mi_call_volume_material(miColor* result, miState* state) {
    return call_of_material(result, state, &miMaterial::volume, miSHADER_VOLUME);
}
