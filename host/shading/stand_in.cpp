#include "host/shading/stand_in.h"

#include "host/shading/context.h"

namespace vx::shading {

namespace {

constexpr miScalar kGray = 0.5f;

miBoolean surface(miColor* result, miState* state) {
    *result = {0, 0, 0, 1};
    for (const miTag light : Context::current().lights) {
        miColor sum = {0, 0, 0, 0}, color = {0, 0, 0, 0};
        miVector direction = {0, 0, 0};
        miScalar cosine = 0;
        miInteger samples = 0;
        while (mi_sample_light(&color, &direction, &cosine, state, light, &samples) != miFALSE) {
            sum.r += color.r * cosine;
            sum.g += color.g * cosine;
            sum.b += color.b * cosine;
        }
        if (samples < 1) continue;
        const miScalar weight = kGray / static_cast<miScalar>(samples);
        result->r += sum.r * weight;
        result->g += sum.g * weight;
        result->b += sum.b * weight;
    }
    return miTRUE;
}

miBoolean stand_in(void* memory, miState* state, void* /*parameters*/) {
    auto* const result = static_cast<miColor*>(memory);
    const CallFrame* const frame = Context::current().thread().top;
    switch (frame == nullptr ? miSHADER_NONE : frame->role) {
    case miSHADER_LENS:
        return mi_trace_eye(result, state, &state->org, &state->dir);
    case miSHADER_MATERIAL:
        return surface(result, state);
    case miSHADER_LIGHT:
        *result = {1, 1, 1, 1};
        return mi_trace_shadow(result, state);
    case miSHADER_SHADOW:
        *result = {0, 0, 0, 0};
        return miFALSE;
    case miSHADER_ENVIRONMENT:
        return miFALSE;
    case miSHADER_VOLUME:
        return miTRUE;
    default:
        *result = {kGray, kGray, kGray, 1};
        return miTRUE;
    }
}

} // namespace

scene::Declaration stand_in_declaration(const std::string& name) {
    scene::Declaration declaration;
    declaration.name = name;
    declaration.result = scene::Type::color;
    return declaration;
}

ShaderCode stand_in_code() {
    ShaderCode code;
    code.main = stand_in;
    return code;
}

} // namespace vx::shading
