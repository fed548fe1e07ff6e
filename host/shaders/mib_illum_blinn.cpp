// Blinn shading: ambience * ambient + the sum over lights of
//     light * (diffuse * (N.L) + specular * h)
// with the highlight h of microfacet.h. Alpha is 1.
#include "host/shaders/lights.h"
#include "host/shaders/microfacet.h"
#include "host/shaders/shader_tools.h"

namespace {

struct BlinnParameters {
    miColor ambience, ambient, diffuse, specular;
    miScalar roughness, ior;
    vx::shaders::LightParameters lights;
};

} // namespace

VX_SHADER(mib_illum_blinn, miColor, BlinnParameters) {
    using namespace vx::shaders;
    const miColor ambience = *mi_eval_color(&parameters->ambience);
    const miColor ambient = *mi_eval_color(&parameters->ambient);
    const miColor diffuse = *mi_eval_color(&parameters->diffuse);
    const miColor specular = *mi_eval_color(&parameters->specular);
    const miScalar roughness = *mi_eval_scalar(&parameters->roughness);
    const miScalar ior = *mi_eval_scalar(&parameters->ior);
    const miVector to_viewer = minus(state->dir);
    const Lights lights(state, parameters->lights);
    *result = ambience * ambient +
              sum_over_lights(state, lights,
                              [&](const miColor& light, const miVector& to_light, miScalar cosine) {
                                  const miScalar shine = blinn_highlight(state->normal, to_light,
                                                                         to_viewer, roughness, ior);
                                  return light * (diffuse * cosine + specular * shine);
                              });
    result->a = 1;
    return miTRUE;
}
