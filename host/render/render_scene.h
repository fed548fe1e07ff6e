// Executes the render commands of a scene.
#pragma once

#include "host/image/write.h"
#include "host/render/progress.h"
#include "host/render/settings.h"
#include "host/shading/build.h"
#include "host/trace/texture.h"
#include "host/trace/traced_frame.h"

#include <atomic>
#include <string>
#include <vector>

namespace vx::render {

// `skipped`: the images exist (RenderSettings::skip_existing).
enum class Outcome { done, skipped, failed, interrupted };

class SceneRenderer {
  public:
    // All arguments must outlive the renderer. `interrupt` may be set at any time, from any thread
    // or signal handler; renders then end early. The context watches it from now on.
    SceneRenderer(shading::Context& context, const shading::SceneBuilder& builder,
                  const RenderSettings& settings, Progress& progress,
                  const std::atomic<bool>& interrupt);

    // Renders a frame and writes the output files of the camera. The render settings are stored in
    // the camera and options elements, where shaders see them. Errors and warnings are written to
    // the messages of the context.
    Outcome render(const shading::RenderRequest& request);

    // Renders a frame in memory, without writing files. `surfaces`: whether to record depth,
    // normals, motion vectors and labels. `frame` is assigned only if the frame is complete.
    Outcome render(const shading::RenderRequest& request, image::Frame& frame,
                   bool surfaces = true);

    // The frame of the camera of a render command; 0 without a camera.
    [[nodiscard]] int frame_number(const shading::RenderRequest& request) const;
    // Eye rays traced so far.
    [[nodiscard]] std::uint64_t eye_rays() const { return m_eye_rays; }
    // Files written so far.
    [[nodiscard]] const std::vector<std::string>& written() const { return m_written; }

  private:
    Outcome render_frame(const shading::RenderRequest& request, image::Frame& frame, bool surfaces);
    Outcome sample_frame(trace::TracedFrame& traced, const miCamera& camera,
                         const miOptions& options, image::Frame& frame, bool surfaces);
    [[nodiscard]] miCamera* find_camera(const shading::RenderRequest& request) const;
    [[nodiscard]] std::vector<image::WriteRequest> output_files(miTag camera_instance) const;
    // Checks, before anything is rendered, whether the files can be written; reports the reasons.
    [[nodiscard]] bool can_write(const miCamera* scene_camera,
                                 const std::vector<image::WriteRequest>& files) const;
    // Whether the images of a frame exist; keeps them from being overwritten by later frames then.
    [[nodiscard]] bool skip_frame(const miCamera& scene_camera,
                                  const std::vector<image::WriteRequest>& files);
    [[nodiscard]] bool write_files(const image::Frame& frame,
                                   const std::vector<image::WriteRequest>& files, float gamma);
    [[nodiscard]] bool load_textures();
    [[nodiscard]] Outcome aborted_outcome() const;
    void report(shading::Level level, const std::string& text) const;
    void report_file(shading::Level level, const std::string& text) const;

    shading::Context& m_context;
    const shading::SceneBuilder& m_builder;
    const RenderSettings& m_settings;
    Progress& m_progress;
    const std::atomic<bool>& m_interrupt;
    trace::Textures m_textures;
    image::PictureFiles m_files;
    std::vector<std::string> m_written;
    std::uint64_t m_eye_rays = 0;
};

} // namespace vx::render
