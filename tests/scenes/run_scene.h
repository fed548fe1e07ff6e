// Renders scene texts in the test process.
#pragma once

#include "host/image/frame.h"
#include "host/render/render_scene.h"
#include "host/scene/reader.h"
#include "host/shading/build.h"

#include <atomic>
#include <string>
#include <vector>

#include <dlfcn.h>

namespace vx::test {

// Declares and links the test shaders; precedes every scene.
std::string shader_declarations();

struct Scene {
    explicit Scene(const render::RenderSettings& wanted = {}) : settings(wanted) {
        context.messages.set_sink([this](shading::Level level, std::string_view line) {
            messages.emplace_back(line);
            if (level == shading::Level::error || level == shading::Level::fatal)
                errors.emplace_back(line);
        });
        context.messages.fix_level(6);
        context.substitute = [this](std::string_view text) { return substitution.path(text); };
    }

    // Executes all render commands; `frame` is the last picture.
    void run(const std::string& text) {
        builder.render = [this](const shading::RenderRequest& request) {
            ++renders;
            outcome = renderer.render(request, frame);
            if (on_rendered) on_rendered(request);
            return true;
        };
        scene::Reader reader(builder, diagnostics, substitution);
        reader.read_text(shader_declarations() + text, "test.mi");
        builder.finish();
    }

    [[nodiscard]] std::string all_messages() const {
        std::string text;
        for (const std::string& m : messages)
            text += m + "\n";
        return text;
    }

    render::RenderSettings settings;
    shading::Context context;
    scene::Substitution substitution;
    std::vector<std::string> messages, errors;
    scene::Diagnostics diagnostics{[this](const scene::Diagnostic& d) {
        messages.push_back(scene::format(d));
        if (d.severity == scene::Severity::error) errors.push_back(scene::format(d));
    }};
    shading::SceneBuilder builder{context, diagnostics};
    render::Progress progress{render::Progress::Style::none, {}};
    std::atomic<bool> interrupt{false};
    render::SceneRenderer renderer{context, builder, settings, progress, interrupt};
    std::function<void(const shading::RenderRequest&)> on_rendered;
    image::Frame frame{0, 0, false};
    render::Outcome outcome = render::Outcome::failed;
    int renders = 0;
};

// A variable of the test shaders. The library must have been linked by a scene.
template <class T>
T* shader_variable(const char* name) {
    void* const library = dlopen(VX_TEST_SHADERS, RTLD_NOW | RTLD_NOLOAD);
    void* const address = library ? dlsym(library, name) : nullptr;
    if (library) dlclose(library);
    return static_cast<T*>(address);
}

// Options with one sample per pixel and all types of rays.
std::string options(const std::string& more = "");
// A camera with this many square pixels; `more` may override.
std::string camera(int width, int height, const std::string& more = "");
std::string flags();
// A square in the plane z = 0 from -half to half, facing +z, with texture coordinates 0 to 1.
std::string square(const std::string& name, float half, const std::string& more = "");

} // namespace vx::test
