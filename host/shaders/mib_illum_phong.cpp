// Phong shading: ambience * ambient + the sum over lights of
//     light * (diffuse * (N.L) + specular * max(0, R.L)^exponent)
// where R is the mirror direction of the ray. A small exponent gives a wide highlight. Alpha is 1.
#include "host/shaders/lights.h"
#include "host/shaders/shader_tools.h"

#include <cmath>

namespace {

struct PhongParameters {
    miColor ambience, ambient, diffuse, specular;
    miScalar exponent;
    vx::shaders::LightParameters lights;
};

} // namespace

VX_SHADER(mib_illum_phong, miColor, PhongParameters) {
    using namespace vx::shaders;
    const miColor ambience = *mi_eval_color(&parameters->ambience);
    const miColor ambient = *mi_eval_color(&parameters->ambient);
    const miColor diffuse = *mi_eval_color(&parameters->diffuse);
    const miColor specular = *mi_eval_color(&parameters->specular);
    const miScalar exponent = *mi_eval_scalar(&parameters->exponent);
    miVector mirror = {0, 0, 0};
    mi_reflection_dir(&mirror, state);
    const Lights lights(state, parameters->lights);
    *result = ambience * ambient +
              sum_over_lights(state, lights,
                              [&](const miColor& light, const miVector& to_light, miScalar cosine) {
                                  const miScalar along = mi_vector_dot(&mirror, &to_light);
                                  const miScalar shine = along > 0 ? std::pow(along, exponent) : 0;
                                  return light * (diffuse * cosine + specular * shine);
                              });
    result->a = 1;
    return miTRUE;
}
