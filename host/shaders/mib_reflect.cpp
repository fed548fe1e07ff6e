// Returns input (1 - reflect) + mirrored reflect, per channel. `mirrored` is the color seen in the
// mirror direction, or the environment if `notrace` is set or the ray fails.
#include "host/shaders/shader_tools.h"

namespace {

struct ReflectParameters {
    miColor input, reflect;
    miBoolean notrace;
};

} // namespace

VX_SHADER(mib_reflect, miColor, ReflectParameters) {
    using namespace vx::shaders;
    const miColor weight = *mi_eval_color(&parameters->reflect);
    *result = mix_ray(state, &parameters->input, weight, [&] {
        miColor seen = {0, 0, 0, 0};
        miVector mirror = {0, 0, 0};
        mi_reflection_dir(&mirror, state);
        const bool trace = !*mi_eval_boolean(&parameters->notrace);
        if (!trace || !mi_trace_reflection(&seen, state, &mirror)) {
            seen = {0, 0, 0, 0};
            mi_trace_environment(&seen, state, &mirror);
        }
        return seen;
    });
    return miTRUE;
}
