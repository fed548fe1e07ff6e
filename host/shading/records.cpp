#include "host/shading/records.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace vx::shading {

namespace {

miColor to_record(const scene::Color& c) {
    return {c.r, c.g, c.b, c.a};
}

miVector to_record(const scene::Vec3& v) {
    return {v.x, v.y, v.z};
}

miUint1 to_record(scene::Switch value) {
    return static_cast<miUint1>(value);
}

miBoolean truth(bool value) {
    return value ? miTRUE : miFALSE;
}

} // namespace

miOptions options_record(const scene::Options& options) {
    miOptions r{};
    r.trace = truth(options.trace);
    r.scanline = truth(options.scanline);
    r.reflection_depth = options.reflection_depth;
    r.refraction_depth = options.refraction_depth;
    r.trace_depth = options.trace_depth;
    r.shadow = static_cast<int>(options.shadow);
    r.face = static_cast<int>(options.face);
    r.min_samples = options.min_samples;
    r.max_samples = options.max_samples;
    r.contrast = to_record(options.contrast);
    r.time_contrast = to_record(options.time_contrast);
    r.filter = static_cast<int>(options.filter.kind);
    r.filter_size_x = options.filter.width;
    r.filter_size_y = options.filter.height;
    r.jitter = options.jitter;
    r.shutter = options.shutter;
    r.lens = truth(options.lens);
    r.volume = truth(options.volume);
    r.geometry = truth(options.geometry);
    r.displace = truth(options.displace);
    r.output = truth(options.output);
    r.autovolume = truth(options.autovolume);
    return r;
}

miCamera camera_record(const scene::Camera& camera) {
    miCamera r{};
    r.orthographic = truth(camera.orthographic);
    r.focal = camera.focal;
    r.aperture = camera.aperture;
    r.aspect = camera.aspect;
    r.clip = {camera.clip_near, camera.clip_far};
    r.x_resolution = camera.x_resolution;
    r.y_resolution = camera.y_resolution;
    r.window = {0, 0, 65535, 65535};
    if (camera.window)
        r.window = {camera.window->xl, camera.window->yl, camera.window->xh, camera.window->yh};
    r.frame = camera.frame;
    r.frame_time = camera.frame_time;
    r.frame_field = camera.field;
    r.x_offset = camera.x_offset;
    r.y_offset = camera.y_offset;
    if (camera.dof) {
        r.focus = (*camera.dof)[0];
        r.radius = (*camera.dof)[1];
    }
    return r;
}

miLight light_record(const scene::Light& light) {
    miLight r{};
    switch (light.kind()) {
    case scene::LightKind::point:
        r.type = miLIGHT_ORIGIN;
        break;
    case scene::LightKind::directional:
        r.type = miLIGHT_DIRECTION;
        break;
    case scene::LightKind::spot:
        r.type = miLIGHT_SPOT;
        break;
    }
    r.area = static_cast<int>(light.area.kind);
    r.exponent = light.exponent;
    r.energy = to_record(light.energy);
    if (light.origin) r.origin = to_record(*light.origin);
    if (light.direction) r.direction = to_record(*light.direction);
    if (light.spread) r.spread = *light.spread;
    return r;
}

miInstance instance_record(const scene::Instance& instance) {
    miInstance r{};
    const scene::Matrix to_local = instance.transform.value_or(scene::kIdentityMatrix);
    const scene::Matrix from_local = inverse(to_local);
    std::copy(to_local.begin(), to_local.end(), r.tf.global_to_local);
    std::copy(from_local.begin(), from_local.end(), r.tf.local_to_global);
    r.tf.identity = to_local == scene::kIdentityMatrix;
    if (instance.motion == scene::MotionKind::transform)
        std::copy(instance.motion_transform.begin(), instance.motion_transform.end(),
                  r.motion_transform);
    r.gen_motion = static_cast<miUint1>(instance.motion);
    r.label = instance.label;
    r.off = instance.hide;
    r.visible = to_record(instance.flags.visible);
    r.shadow = instance.flags.shadow;
    r.shadowmap = to_record(instance.flags.shadowmap);
    r.reflection = instance.flags.reflection;
    r.refraction = instance.flags.refraction;
    r.transparency = instance.flags.transparency;
    r.caustic = instance.flags.caustic;
    r.globillum = instance.flags.globillum;
    r.finalgather = instance.flags.finalgather;
    r.face = instance.flags.face ? static_cast<miUint1>(*instance.flags.face) : miUint1{0};
    r.select = to_record(instance.flags.select);
    r.hardware = to_record(instance.flags.hardware);
    r.override_material = instance.override_material;
    r.light_exclusive = instance.lights && instance.lights->exclusive;
    return r;
}

scene::Matrix inverse(const scene::Matrix& matrix) {
    // Gauss-Jordan elimination with row pivots on [matrix | identity]. Imath's inverse() and
    // gjInverse() do the same in another order, which rounds a quarter of all matrices differently.
    std::array<std::array<double, 8>, 4> rows{};
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t k = 0; k < 4; ++k)
            rows[i][k] = static_cast<double>(matrix[4 * i + k]);
        rows[i][4 + i] = 1;
    }
    for (std::size_t column = 0; column < 4; ++column) {
        const auto pivot = std::max_element(rows.begin() + static_cast<std::ptrdiff_t>(column),
                                            rows.end(), [column](const auto& a, const auto& b) {
                                                return std::abs(a[column]) < std::abs(b[column]);
                                            });
        if (!(std::abs((*pivot)[column]) > 0)) return scene::kIdentityMatrix;
        std::swap(*pivot, rows[column]);
        const double scale = 1 / rows[column][column];
        for (double& value : rows[column])
            value *= scale;
        for (std::size_t i = 0; i < 4; ++i) {
            if (i == column) continue;
            const double factor = rows[i][column];
            for (std::size_t k = 0; k < 8; ++k)
                rows[i][k] -= factor * rows[column][k];
        }
    }
    scene::Matrix result{};
    for (std::size_t i = 0; i < 4; ++i)
        for (std::size_t k = 0; k < 4; ++k)
            result[4 * i + k] = static_cast<float>(rows[i][4 + k]);
    return result;
}

} // namespace vx::shading
