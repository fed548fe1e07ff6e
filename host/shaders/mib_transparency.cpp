// Returns input (1 - transp) + behind transp, per channel. `behind` is the color that the straight
// ray sees behind the surface.
#include "host/shaders/see_through.h"
#include "host/shaders/shader_tools.h"

namespace {

struct TransparencyParameters {
    miColor input, transp;
};

} // namespace

VX_SHADER(mib_transparency, miColor, TransparencyParameters) {
    using namespace vx::shaders;
    const miColor weight = *mi_eval_color(&parameters->transp);
    *result = mix_ray(state, &parameters->input, weight, [&] { return see_through(state); });
    return miTRUE;
}
