#include "host/render/overrides.h"

namespace vx::render {

namespace {

// Assigns `from` to `to` if it has a value.
template <class To, class From>
void override_value(To& to, const std::optional<From>& from) {
    if (from) to = static_cast<To>(*from);
}

} // namespace

void override_camera(const RenderSettings& settings, miCamera& camera) {
    if (settings.resolution) {
        const auto& [width, height] = *settings.resolution;
        camera.x_resolution = width;
        camera.y_resolution = height;
        // The window of the scene refers to the resolution of the scene.
        camera.window = {0, 0, 65535, 65535};
    }
    if (settings.window) {
        const auto& [xl, yl, xh, yh] = *settings.window;
        camera.window = {xl, yl, xh, yh};
    }
    override_value(camera.aperture, settings.aperture);
    override_value(camera.aspect, settings.aspect);
    if (settings.focal) {
        const bool orthographic = *settings.focal == 0.0f;
        camera.orthographic = orthographic ? miTRUE : miFALSE;
        camera.focal = orthographic ? 1.0f : *settings.focal;
    }
}

void override_options(const RenderSettings& settings, miOptions& options) {
    if (settings.samples) {
        const auto& [min_samples, max_samples] = *settings.samples;
        options.min_samples = min_samples;
        options.max_samples = max_samples;
    }
    if (settings.contrast) {
        const auto& [r, g, b, a] = *settings.contrast;
        options.contrast = {r, g, b, a};
    }
    override_value(options.jitter, settings.jitter);
    if (settings.filter) {
        options.filter = static_cast<int>(settings.filter->kind);
        options.filter_size_x = settings.filter->width;
        options.filter_size_y = settings.filter->height;
    }
    override_value(options.trace, settings.trace);
    if (settings.trace_depth) {
        const auto& [reflection, refraction, sum] = *settings.trace_depth;
        options.reflection_depth = reflection;
        options.refraction_depth = refraction;
        options.trace_depth = sum;
    }
    override_value(options.shadow, settings.shadow);
    override_value(options.face, settings.face);
    override_value(options.lens, settings.lens);
    override_value(options.volume, settings.volume);
    override_value(options.displace, settings.displace);
    override_value(options.output, settings.output);
    override_value(options.geometry, settings.geometry);
}

} // namespace vx::render
