// Returns input opacity + behind (1 - opacity), per channel: mib_transparency of the complement.
#include "host/shaders/see_through.h"
#include "host/shaders/shader_tools.h"

namespace {

struct OpacityParameters {
    miColor input, opacity;
};

} // namespace

VX_SHADER(mib_opacity, miColor, OpacityParameters) {
    using namespace vx::shaders;
    const miColor weight = complement(*mi_eval_color(&parameters->opacity));
    *result = mix_ray(state, &parameters->input, weight, [&] { return see_through(state); });
    return miTRUE;
}
