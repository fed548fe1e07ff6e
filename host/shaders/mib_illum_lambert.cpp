// Lambert shading: ambience * ambient + the sum over lights of light * diffuse * (N.L). Alpha is 1.
#include "host/shaders/lights.h"
#include "host/shaders/shader_tools.h"

namespace {

struct LambertParameters {
    miColor ambience, ambient, diffuse;
    vx::shaders::LightParameters lights;
};

} // namespace

VX_SHADER(mib_illum_lambert, miColor, LambertParameters) {
    using namespace vx::shaders;
    const miColor ambience = *mi_eval_color(&parameters->ambience);
    const miColor ambient = *mi_eval_color(&parameters->ambient);
    const miColor diffuse = *mi_eval_color(&parameters->diffuse);
    const Lights lights(state, parameters->lights);
    *result =
        ambience * ambient +
        sum_over_lights(state, lights, [&](const miColor& light, const miVector&, miScalar cosine) {
            return light * diffuse * cosine;
        });
    result->a = 1;
    return miTRUE;
}
