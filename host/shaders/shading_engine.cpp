#include "host/shaders/shading_engine.h"

#include "host/shaders/see_through.h"

namespace vx::shaders {

miBoolean shading_engine(miColor* result, miState* state, ShadingEngineParameters* parameters) {
    *result = *mi_eval_color(&parameters->surface_shader);
    if (result->a < *mi_eval_scalar(&parameters->cut_away_opacity)) *result = see_through(state);
    return miTRUE;
}

} // namespace vx::shaders
