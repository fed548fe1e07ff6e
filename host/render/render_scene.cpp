#include "host/render/render_scene.h"

#include "host/render/camera_ray.h"
#include "host/render/outputs.h"
#include "host/render/overrides.h"
#include "host/render/sampler.h"
#include "host/shading/errors.h"
#include "host/trace/eye_ray.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace vx::render {

using shading::Level;

namespace {

using Clock = std::chrono::steady_clock;

// A frame takes 20 bytes per pixel, and writing it as much again.
constexpr std::int64_t kMaxPixels = std::int64_t{1} << 29;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

bool has_unsupported_resolution(const miCamera& camera) {
    return camera.x_resolution < 1 || camera.y_resolution < 1 ||
           static_cast<std::int64_t>(camera.x_resolution) * camera.y_resolution > kMaxPixels;
}

SamplingSettings sampling_settings(const miCamera& camera, const miOptions& options,
                                   const RenderSettings& settings, bool surfaces) {
    SamplingSettings sampling;
    sampling.width = camera.x_resolution;
    sampling.height = camera.y_resolution;
    sampling.window = render_window(camera);
    sampling.min_level = options.min_samples;
    sampling.max_level = options.max_samples;
    sampling.contrast = options.contrast;
    sampling.jitter = std::clamp(options.jitter, 0.0f, 1.0f);
    sampling.filter = image::Filter(image::filter_kind(options.filter), options.filter_size_x,
                                    options.filter_size_y);
    sampling.surfaces = surfaces;
    sampling.threads = settings.threads;
    sampling.tile_size = settings.task_size;
    return sampling;
}

image::Sample trace_sample(trace::TracedFrame& traced, const CameraRays& camera_rays,
                           const EyeRequest& eye) {
    const CameraRay ray = camera_rays.at(eye.x, eye.y);
    // Key 0 is reserved for the first eye ray of the frame.
    const std::uint64_t key = eye.first ? 0 : eye.key | 1u;
    const trace::EyeResult result =
        trace::send_eye_ray(traced, {ray.origin, ray.direction, eye.x, eye.y, key});
    image::Sample sample;
    sample.x = eye.x;
    sample.y = eye.y;
    sample.color = result.color;
    if (result.hit) {
        sample.depth = result.depth;
        sample.normal = result.normal;
        sample.motion = result.motion;
        sample.label = result.label;
    }
    return sample;
}

trace::Matrix camera_to_world(const shading::Context& context, const trace::World& world) {
    const auto* const leaf =
        context.database.find<miInstance>(world.camera_instance(), miSCENE_INSTANCE);
    return leaf != nullptr ? trace::to_matrix(leaf->tf.local_to_global) : trace::kIdentity;
}

// Calls begin_render and, however the frame ends, end_render, which runs the exit functions of
// shaders and removes leaf instances.
class RenderPhase {
  public:
    RenderPhase(shading::Context& context, const miState& state)
        : m_context(context), m_state(state) {
        m_context.begin_render();
    }
    ~RenderPhase() {
        try {
            m_context.end_render(m_state);
        } catch (const std::exception&) {
            m_context.count_as_failed(); // out of memory: no message is possible
        }
    }
    RenderPhase(const RenderPhase&) = delete;
    RenderPhase& operator=(const RenderPhase&) = delete;

  private:
    shading::Context& m_context;
    miState m_state;
};

} // namespace

SceneRenderer::SceneRenderer(shading::Context& context, const shading::SceneBuilder& builder,
                             const RenderSettings& settings, Progress& progress,
                             const std::atomic<bool>& interrupt)
    : m_context(context),
      m_builder(builder),
      m_settings(settings),
      m_progress(progress),
      m_interrupt(interrupt) {
    context.watch(interrupt);
}

void SceneRenderer::report(Level level, const std::string& text) const {
    m_context.messages.write(level, "RENDER", 0, text);
}

void SceneRenderer::report_file(Level level, const std::string& text) const {
    m_context.messages.write(level, "IMG", 0, text);
}

Outcome SceneRenderer::aborted_outcome() const {
    return m_interrupt ? Outcome::interrupted : Outcome::failed;
}

miCamera* SceneRenderer::find_camera(const shading::RenderRequest& request) const {
    const auto* const instance =
        m_context.database.find<miInstance>(request.camera_instance, miSCENE_INSTANCE);
    return instance != nullptr ? m_context.database.find<miCamera>(instance->item, miSCENE_CAMERA)
                               : nullptr;
}

bool SceneRenderer::load_textures() {
    const auto failures = m_textures.load(m_context);
    for (const auto& failure : failures) {
        m_context.omissions.add(scene::Omission::texture, '"' + failure.texture + '"');
        report_file(m_settings.texture_continue ? Level::warning : Level::error,
                    fmt::format("cannot read texture \"{}\": {}", failure.texture, failure.reason));
    }
    return failures.empty() || m_settings.texture_continue;
}

Outcome SceneRenderer::sample_frame(trace::TracedFrame& traced, const miCamera& camera,
                                    const miOptions& options, image::Frame& frame, bool surfaces) {
    const SamplingSettings sampling = sampling_settings(camera, options, m_settings, surfaces);
    if (sampling.window.empty()) {
        report(Level::error, "the window is outside the image");
        return Outcome::failed;
    }
    const CameraRays camera_rays(camera, camera_to_world(m_context, traced.world()));
    SamplingCalls calls;
    calls.eye = [&](const EyeRequest& eye) { return trace_sample(traced, camera_rays, eye); };
    calls.tile_done = [&](std::uint64_t done, std::uint64_t total) {
        m_context.thread().end_tile();
        m_progress.update(done, total, traced.eye_rays());
    };
    calls.cancelled = [&] { return m_context.aborted(); };

    const RenderPhase phase(m_context, traced.state());
    const auto start = Clock::now();
    m_progress.start(fmt::format("frame {}", camera.frame));
    try {
        bool complete = true;
        image::Frame result = vx::render::render_frame(sampling, calls, complete);
        m_progress.finish();
        m_eye_rays += traced.eye_rays();
        if (!complete || m_context.aborted()) return aborted_outcome();
        frame = std::move(result);
    } catch (const shading::RenderAborted&) {
        m_progress.finish();
        return aborted_outcome();
    }
    const double seconds = seconds_since(start);
    report(Level::info,
           fmt::format("{} eye rays in {:.2f} s, {:.0f} rays/s", traced.eye_rays(), seconds,
                       static_cast<double>(traced.eye_rays()) / std::max(seconds, 1e-9)));
    return Outcome::done;
}

Outcome SceneRenderer::render_frame(const shading::RenderRequest& request, image::Frame& frame,
                                    bool surfaces) {
    miCamera* const camera = find_camera(request);
    auto* const options = m_context.database.find<miOptions>(request.options, miSCENE_OPTIONS);
    if (camera == nullptr || options == nullptr) {
        report(Level::error, "render command without a valid camera or options");
        return Outcome::failed;
    }
    override_camera(m_settings, *camera);
    override_options(m_settings, *options);
    if (has_unsupported_resolution(*camera)) {
        report(Level::error, fmt::format("unsupported resolution {} x {}; the limit is {} pixels",
                                         camera->x_resolution, camera->y_resolution, kMaxPixels));
        return Outcome::failed;
    }
    if (!load_textures()) return Outcome::failed;
    if (m_interrupt) return Outcome::interrupted;

    const auto start = Clock::now();
    const trace::World world(m_context, request);
    report(Level::info, fmt::format("prepared {} objects, {} triangles, {} lights in {:.2f} s",
                                    world.object_count(), world.accel().triangle_count(),
                                    world.lights().size(), seconds_since(start)));
    m_context.lights.clear();
    for (const trace::LightLeaf& light : world.lights())
        m_context.lights.push_back(light.instance);

    trace::TracedFrame traced(m_context, world, *camera, *options, &m_textures);
    return sample_frame(traced, *camera, *options, frame, surfaces);
}

Outcome SceneRenderer::render(const shading::RenderRequest& request, image::Frame& frame,
                              bool surfaces) {
    try {
        const Outcome outcome = render_frame(request, frame, surfaces);
        // Shader exit functions, which may fail too, have run by now.
        return outcome == Outcome::done && m_context.shaders_failed() ? Outcome::failed : outcome;
    } catch (const std::exception& e) {
        m_progress.finish();
        report(Level::error, e.what());
        return Outcome::failed;
    }
}

std::vector<image::WriteRequest> SceneRenderer::output_files(miTag camera_instance) const {
    const auto* const instance =
        m_context.database.find<miInstance>(camera_instance, miSCENE_INSTANCE);
    const scene::Camera* const camera =
        m_builder.camera(instance != nullptr ? instance->item : miNULLTAG);
    if (camera == nullptr) return {};
    return vx::render::output_files(*camera, m_settings, m_context);
}

bool SceneRenderer::can_write(const miCamera* scene_camera,
                              const std::vector<image::WriteRequest>& files) const {
    // render_frame() reports a missing camera and an unsupported resolution.
    if (scene_camera == nullptr) return true;
    miCamera camera = *scene_camera;
    override_camera(m_settings, camera);
    if (has_unsupported_resolution(camera)) return true;
    const auto reasons = m_files.check(files, camera.x_resolution, camera.y_resolution);
    for (const std::string& reason : reasons)
        report_file(Level::error, reason);
    return reasons.empty();
}

bool SceneRenderer::skip_frame(const miCamera& scene_camera,
                               const std::vector<image::WriteRequest>& files) {
    miCamera camera = scene_camera;
    override_camera(m_settings, camera);
    const bool finished =
        !files.empty() && std::all_of(files.begin(), files.end(), [&](const auto& file) {
            return image::is_finished(file, camera.x_resolution, camera.y_resolution);
        });
    if (!finished) return false;
    for (const image::WriteRequest& file : files)
        m_files.keep(file);
    report(Level::progress, fmt::format("frame {}: skipped, its images exist", camera.frame));
    return true;
}

int SceneRenderer::frame_number(const shading::RenderRequest& request) const {
    const miCamera* const camera = find_camera(request);
    return camera != nullptr ? camera->frame : 0;
}

bool SceneRenderer::write_files(const image::Frame& frame,
                                const std::vector<image::WriteRequest>& files, float gamma) {
    bool good = true;
    for (image::WriteRequest file : files) {
        file.gamma = gamma;
        const std::string path = file.path.string();
        if (const auto reason = m_files.write(frame, file)) {
            report_file(Level::error, fmt::format("{}: {}", path, *reason));
            good = false;
        } else {
            m_written.push_back(path);
            report_file(Level::progress, fmt::format("wrote {}", path));
        }
    }
    return good;
}

Outcome SceneRenderer::render(const shading::RenderRequest& request) {
    const std::vector<image::WriteRequest> files = output_files(request.camera_instance);
    const miCamera* const camera = find_camera(request);
    if (!can_write(camera, files)) return Outcome::failed;
    if (m_settings.skip_existing && camera != nullptr && skip_frame(*camera, files))
        return Outcome::skipped;
    if (files.empty())
        report(Level::warning, "the camera has no output files; the image is not saved");

    const bool surfaces = std::any_of(files.begin(), files.end(), has_surface_data);
    image::Frame frame(0, 0, false);
    const Outcome outcome = render(request, frame, surfaces);
    // A frame that is complete is written even if shaders failed.
    if (outcome == Outcome::interrupted || frame.width() == 0) return outcome;
    const scene::Options* const options = m_builder.options(request.options);
    return write_files(frame, files, options != nullptr ? options->gamma : 1.0f) ? outcome
                                                                                 : Outcome::failed;
}

} // namespace vx::render
