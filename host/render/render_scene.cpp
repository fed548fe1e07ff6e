#include "host/render/render_scene.h"

#include "host/image/write.h"
#include "host/render/camera_ray.h"
#include "host/render/sampler.h"
#include "host/shading/errors.h"
#include "host/trace/renderer.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace vx::render {

namespace fs = std::filesystem;
using shading::Level;

struct SceneRenderer::Output {
    image::WriteRequest request;
};

namespace {

// 20 bytes each, and as much again for what is written.
constexpr std::int64_t kMaxPixels = std::int64_t{1} << 29;

double seconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string first_type(const std::string& types) {
    return types.substr(0, types.find(','));
}

bool wants_surfaces(const image::WriteRequest& request) {
    if (!request.type) return false;
    switch (request.type->channels) {
    case image::Channels::depth:
    case image::Channels::normal:
    case image::Channels::motion:
    case image::Channels::label:
        return true;
    default:
        return false;
    }
}

int filter_number(const std::string& name) {
    static const std::array<std::string, 5> kNames{"box", "triangle", "gauss", "mitchell",
                                                   "lanczos"};
    const auto found = std::find(kNames.begin(), kNames.end(), name);
    return found == kNames.end() ? 0 : static_cast<int>(found - kNames.begin());
}

// Exits of shaders run and leaf instances go, however the frame ends.
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
            m_context.count_as_failed(); // out of memory, also for a message
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
      m_interrupt(interrupt) {}

void SceneRenderer::say(Level level, const std::string& text) const {
    m_context.messages.write(level, "RENDER", 0, text);
}

void SceneRenderer::override_camera(miCamera& camera) const {
    if (m_settings.resolution) {
        camera.x_resolution = (*m_settings.resolution)[0];
        camera.y_resolution = (*m_settings.resolution)[1];
        // The scene's window was meant for the scene's resolution.
        camera.window = {0, 0, 65535, 65535};
    }
    if (m_settings.window) {
        const auto& w = *m_settings.window;
        camera.window = {w[0], w[1], w[2], w[3]};
    }
    if (m_settings.aperture) camera.aperture = *m_settings.aperture;
    if (m_settings.aspect) camera.aspect = *m_settings.aspect;
    if (m_settings.focal) {
        camera.orthographic = *m_settings.focal == 0.0f ? miTRUE : miFALSE;
        camera.focal = *m_settings.focal == 0.0f ? 1.0f : *m_settings.focal;
    }
}

void SceneRenderer::override_options(miOptions& options) const {
    const auto set = [](auto& to, const auto& from) {
        if (from) to = static_cast<std::remove_reference_t<decltype(to)>>(*from);
    };
    if (m_settings.samples) {
        options.min_samples = (*m_settings.samples)[0];
        options.max_samples = (*m_settings.samples)[1];
    }
    if (m_settings.contrast) {
        const auto& c = *m_settings.contrast;
        options.contrast = {c[0], c[1], c[2], c[3]};
    }
    set(options.jitter, m_settings.jitter);
    if (m_settings.filter) {
        options.filter = filter_number(*m_settings.filter);
        const auto& size = m_settings.filter_size;
        options.filter_size_x = size.empty() ? 0.0f : size.front();
        options.filter_size_y = size.empty() ? 0.0f : size.back();
    }
    set(options.trace, m_settings.trace);
    if (m_settings.trace_depth) {
        options.reflection_depth = (*m_settings.trace_depth)[0];
        options.refraction_depth = (*m_settings.trace_depth)[1];
        options.trace_depth = (*m_settings.trace_depth)[2];
    }
    set(options.shadow, m_settings.shadow);
    set(options.face, m_settings.face);
    set(options.lens, m_settings.lens);
    set(options.volume, m_settings.volume);
    set(options.displace, m_settings.displace);
    set(options.output, m_settings.output);
    set(options.geometry, m_settings.geometry);
}

bool SceneRenderer::load_textures() {
    const auto failures = m_textures.load(m_context);
    for (const auto& failure : failures)
        m_context.messages.write(
            m_settings.texture_continue ? Level::warning : Level::error, "IMG", 0,
            fmt::format("texture \"{}\" cannot be read: {}", failure.texture, failure.reason));
    return failures.empty() || m_settings.texture_continue;
}

std::vector<SceneRenderer::Output> SceneRenderer::outputs(miTag camera_tag) const {
    std::vector<Output> list;
    const scene::Camera* const camera = m_builder.camera(camera_tag);
    if (!camera) return list;
    const auto add = [&](const std::string& file, const std::string& format,
                         const std::string& types, const std::string& compression,
                         std::optional<int> quality, std::optional<float> dpi) {
        Output output;
        image::WriteRequest& r = output.request;
        std::string name = m_context.substitute ? m_context.substitute(file) : file;
        r.format = format;
        if (!types.empty()) {
            r.type = image::parse_pixel_type(first_type(types));
            if (!r.type)
                m_context.messages.write(
                    Level::warning, "IMG", 0,
                    fmt::format(
                        "{}: there is no picture type \"{}\"; writing what suits the format", name,
                        first_type(types)));
        }
        // The command line's name and format are for the picture, not for depth and the like.
        const bool picture = !wants_surfaces(r);
        if (picture && !m_settings.file_name.empty() &&
            std::none_of(list.begin(), list.end(),
                         [](const Output& o) { return !wants_surfaces(o.request); }))
            name = m_settings.file_name;
        if (picture && !m_settings.file_type.empty()) {
            r.format = m_settings.file_type;
            r.type.reset();
        }
        r.path = name;
        if (!m_settings.file_dir.empty())
            r.path =
                fs::path(m_settings.file_dir) / (r.path.is_absolute() ? r.path.filename() : r.path);
        r.compression = compression;
        r.quality = quality.value_or(0);
        r.dpi = dpi.value_or(0.0f);
        list.push_back(output);
    };
    for (const scene::Output& o : camera->outputs) {
        if (!o.shader.empty()) {
            say(Level::warning, "output shaders are skipped");
            continue;
        }
        add(o.file, o.format, o.types, o.compression, o.quality, o.dpi);
    }
    for (const scene::FrameBuffer& b : camera->framebuffers) {
        if (b.filename.empty() || b.user.value_or(false)) continue;
        add(b.filename, b.filetype, b.datatype, b.compression, b.quality,
            b.dpi ? std::optional<float>(static_cast<float>(*b.dpi)) : std::nullopt);
    }
    if (list.empty() && !m_settings.file_name.empty())
        add(m_settings.file_name, "", "", "", std::nullopt, std::nullopt);
    return list;
}

Outcome SceneRenderer::render_frame(const shading::RenderRequest& request, image::Frame& frame,
                                    bool surfaces) {
    const auto* const instance =
        m_context.database.find<miInstance>(request.camera_instance, miSCENE_INSTANCE);
    auto* const camera =
        instance ? m_context.database.find<miCamera>(instance->item, miSCENE_CAMERA) : nullptr;
    auto* const options = m_context.database.find<miOptions>(request.options, miSCENE_OPTIONS);
    if (!camera || !options) {
        say(Level::error, "there is no camera or no options to render with");
        return Outcome::failed;
    }
    override_camera(*camera);
    override_options(*options);
    if (camera->x_resolution < 1 || camera->y_resolution < 1 ||
        static_cast<std::int64_t>(camera->x_resolution) * camera->y_resolution > kMaxPixels) {
        say(Level::error,
            fmt::format("a picture of {} x {} pixels cannot be made; {} are the limit",
                        camera->x_resolution, camera->y_resolution, kMaxPixels));
        return Outcome::failed;
    }
    if (!load_textures()) return Outcome::failed;

    const auto start = std::chrono::steady_clock::now();
    const trace::World world(m_context, request);
    say(Level::info, fmt::format("{} objects with {} triangles and {} lights ready after {:.2f} s",
                                 world.object_count(), world.accel().triangle_count(),
                                 world.lights().size(), seconds_since(start)));
    m_context.lights.clear();
    for (const trace::LightLeaf& light : world.lights())
        m_context.lights.push_back(light.instance);

    trace::Renderer renderer(m_context, world, *camera, *options, &m_textures);
    const auto* const camera_leaf =
        m_context.database.find<miInstance>(world.camera_instance(), miSCENE_INSTANCE);
    const trace::Matrix to_world =
        camera_leaf ? trace::to_matrix(camera_leaf->tf.local_to_global) : trace::kIdentity;

    const CameraRays camera_rays(*camera, to_world);

    SamplingSettings sampling;
    sampling.width = camera->x_resolution;
    sampling.height = camera->y_resolution;
    sampling.window = render_window(*camera);
    sampling.min_level = options->min_samples;
    sampling.max_level = options->max_samples;
    sampling.contrast = options->contrast;
    sampling.jitter = std::clamp(options->jitter, 0.0f, 1.0f);
    sampling.filter =
        image::Filter(static_cast<image::FilterKind>(std::clamp(options->filter, 0, 4)),
                      options->filter_size_x, options->filter_size_y);
    sampling.surfaces = surfaces;
    sampling.threads = m_settings.threads;
    sampling.tile_size = m_settings.task_size;
    if (sampling.window.empty()) {
        say(Level::error, "the window lies outside of the image");
        return Outcome::failed;
    }

    SamplingCalls calls;
    calls.eye = [&](const EyeRequest& eye) {
        const CameraRay ray = camera_rays.at(eye.x, eye.y);
        const trace::EyeResult seen =
            renderer.eye({ray.origin, ray.direction, eye.x, eye.y, eye.first ? 0 : eye.key | 1u});
        image::Sample sample;
        sample.x = eye.x;
        sample.y = eye.y;
        sample.color = seen.color;
        if (seen.hit) {
            sample.depth = seen.depth;
            sample.normal = seen.normal;
            sample.motion = seen.motion;
            sample.label = seen.label;
        }
        return sample;
    };
    calls.tile_done = [&](std::uint64_t done, std::uint64_t total) {
        m_context.thread().end_tile();
        m_progress.update(done, total, renderer.eye_rays());
    };
    calls.cancelled = [&] {
        if (m_interrupt.load(std::memory_order_relaxed) && !m_context.aborted()) m_context.cancel();
        return m_context.aborted();
    };

    const RenderPhase phase(m_context, renderer.frame_state());
    const auto rendering = std::chrono::steady_clock::now();
    m_progress.start(fmt::format("frame {}", camera->frame));
    try {
        bool complete = true;
        image::Frame result = vx::render::render_frame(sampling, calls, complete);
        m_progress.finish();
        if (!complete || m_context.aborted())
            return m_interrupt ? Outcome::interrupted : Outcome::failed;
        frame = std::move(result);
    } catch (const shading::RenderAborted&) {
        m_progress.finish();
        return m_interrupt ? Outcome::interrupted : Outcome::failed;
    }
    const double seconds = seconds_since(rendering);
    say(Level::info,
        fmt::format("{} eye rays in {:.2f} s, {:.0f} rays/s", renderer.eye_rays(), seconds,
                    static_cast<double>(renderer.eye_rays()) / std::max(seconds, 1e-9)));
    return Outcome::done;
}

Outcome SceneRenderer::render(const shading::RenderRequest& request, image::Frame& frame,
                              bool surfaces) {
    try {
        const Outcome outcome = render_frame(request, frame, surfaces);
        // By now the exits have run as well.
        return outcome == Outcome::done && m_context.shaders_failed() ? Outcome::failed : outcome;
    } catch (const std::exception& e) {
        m_progress.finish();
        say(Level::error, e.what());
        return Outcome::failed;
    }
}

Outcome SceneRenderer::render(const shading::RenderRequest& request) {
    const auto* const instance =
        m_context.database.find<miInstance>(request.camera_instance, miSCENE_INSTANCE);
    const miTag camera = instance ? instance->item : miNULLTAG;
    const std::vector<Output> files = outputs(camera);
    for (const Output& output : files) {
        const std::string extension = output.request.path.extension().string();
        const std::string format = !output.request.format.empty() ? output.request.format
                                   : extension.empty()            ? ""
                                                                  : extension.substr(1);
        if (!image::can_write(format)) {
            m_context.messages.write(
                Level::error, "IMG", 0,
                fmt::format("{}: pictures of the format '{}' cannot be written",
                            output.request.path.string(), format));
            return Outcome::failed;
        }
    }
    if (files.empty()) say(Level::warning, "the camera names no output file; nothing is written");

    const scene::Options* const options = m_builder.options(request.options);
    const bool surfaces = std::any_of(files.begin(), files.end(),
                                      [](const Output& o) { return wants_surfaces(o.request); });
    image::Frame frame(0, 0, false);
    Outcome outcome = render(request, frame, surfaces);
    if (outcome == Outcome::interrupted || frame.width() == 0) return outcome;
    for (const Output& output : files) {
        image::WriteRequest r = output.request;
        r.gamma = options ? options->gamma : 1.0f;
        if (const auto reason = image::write_picture(frame, r)) {
            m_context.messages.write(Level::error, "IMG", 0,
                                     fmt::format("{}: {}", r.path.string(), *reason));
            outcome = Outcome::failed;
            continue;
        }
        m_written.push_back(r.path.string());
        m_context.messages.write(Level::progress, "IMG", 0,
                                 fmt::format("wrote {}", r.path.string()));
    }
    return outcome;
}

} // namespace vx::render
