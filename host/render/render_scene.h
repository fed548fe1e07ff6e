// One render command: from the database of a scene to finished pictures.
#pragma once

#include "host/image/frame.h"
#include "host/render/progress.h"
#include "host/render/settings.h"
#include "host/shading/build.h"
#include "host/trace/texture.h"

#include <atomic>
#include <string>
#include <vector>

namespace vx::render {

enum class Outcome { done, failed, interrupted };

class SceneRenderer {
  public:
    // All must outlive the renderer. `interrupt` may become true at any time, from anywhere.
    SceneRenderer(shading::Context& context, const shading::SceneBuilder& builder,
                  const RenderSettings& settings, Progress& progress,
                  const std::atomic<bool>& interrupt);

    // Renders and writes what the camera's output statements ask for. The command line's values go
    // into the camera and options elements, so shaders see them. Errors and what was left out go to
    // the context's messages.
    Outcome render(const shading::RenderRequest& request);

    // The same without files; the picture, for callers that want it in memory, with or without
    // depth, normals, motion and labels. `frame` stays untouched unless there is a picture.
    Outcome render(const shading::RenderRequest& request, image::Frame& frame,
                   bool surfaces = true);

    // Files written so far.
    [[nodiscard]] const std::vector<std::string>& written() const { return m_written; }

  private:
    struct Output;
    Outcome render_frame(const shading::RenderRequest& request, image::Frame& frame, bool surfaces);
    [[nodiscard]] std::vector<Output> outputs(miTag camera) const;
    void override_camera(miCamera& camera) const;
    void override_options(miOptions& options) const;
    bool load_textures();
    void say(shading::Level level, const std::string& text) const;

    shading::Context& m_context;
    const shading::SceneBuilder& m_builder;
    const RenderSettings& m_settings;
    Progress& m_progress;
    const std::atomic<bool>& m_interrupt;
    trace::Textures m_textures;
    std::vector<std::string> m_written;
};

} // namespace vx::render
