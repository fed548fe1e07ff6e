#include "host/trace/ray_end.h"

#include "host/shading/call.h"

namespace vx::trace {

namespace {

void run_volume(TracedFrame& frame, miColor* result, RayState& ray) {
    if (frame.options().volume && ray.state.volume != miNULLTAG)
        shading::call_list(frame.context(), ray.state.volume, result, &ray.state, miSHADER_VOLUME);
}

} // namespace

const miMaterial* enter_surface(TracedFrame& frame, const Hit& hit, const SurfaceGeometry& surface,
                                RayState& ray) {
    fill_surface(frame.world(), hit, surface, ray);
    miState& state = ray.state;
    state.refraction_volume = miNULLTAG;
    state.shader = frame.context().functions.no_shader();
    const db::Database& database = frame.context().database;
    const auto* const material = database.find<miMaterial>(state.material, miSCENE_MATERIAL);
    if (material == nullptr) return nullptr;
    if (auto* const shader = database.find<miFunction>(material->shader, miSCENE_FUNCTION))
        state.shader = shader;
    state.refraction_volume = material->volume;
    if (material->environment != miNULLTAG) state.environment = material->environment;
    return material;
}

const miMaterial* enter_surface(TracedFrame& frame, const Hit& hit, bool face_ray, RayState& ray) {
    SurfaceGeometry surface;
    measure_surface(frame.world(), hit, ray.state.org, ray.state.dir, face_ray, surface);
    return enter_surface(frame, hit, surface, ray);
}

bool shade(TracedFrame& frame, miColor* result, RayState& ray, const miMaterial* material) {
    bool lit = false;
    if (material != nullptr && material->shader != miNULLTAG)
        lit = shading::call_list(frame.context(), material->shader, result, &ray.state,
                                 miSHADER_MATERIAL);
    run_volume(frame, result, ray);
    return lit;
}

bool leave_scene(TracedFrame& frame, miColor* result, RayState& ray) {
    miState& state = ray.state;
    state.dist = 0.0;
    state.instance = miNULLTAG;
    state.material = miNULLTAG;
    state.pri = nullptr;
    bool lit = false;
    if (state.environment != miNULLTAG)
        lit = shading::call_list(frame.context(), state.environment, result, &state,
                                 miSHADER_ENVIRONMENT);
    run_volume(frame, result, ray);
    return lit;
}

} // namespace vx::trace
