// Selects a color by the type of ray. `default` is used for types without a parameter of their own
// (light, probe, displacement and output). Only the selected color is evaluated.
#include "host/shaders/shader_tools.h"

namespace {

struct RaySwitchParameters {
    miColor eye, transparent, reflection, refraction, finalgather, environment, shadow, photon,
        other;
};

miColor* choose(RaySwitchParameters* p, miRay_type type) {
    if (miRAY_PHOTON(type)) return &p->photon;
    switch (type) {
    case miRAY_EYE:
        return &p->eye;
    case miRAY_TRANSPARENT:
        return &p->transparent;
    case miRAY_REFLECT:
        return &p->reflection;
    case miRAY_REFRACT:
        return &p->refraction;
    case miRAY_FINALGATHER:
        return &p->finalgather;
    case miRAY_ENVIRONMENT:
        return &p->environment;
    case miRAY_SHADOW:
        return &p->shadow;
    default:
        return &p->other;
    }
}

} // namespace

VX_SHADER(mip_rayswitch, miColor, RaySwitchParameters) {
    *result = *mi_eval_color(choose(parameters, state->type));
    return miTRUE;
}
