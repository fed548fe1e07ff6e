// vx_render: reads a scene, renders what it asks for, writes the pictures.
#include "host/api/map_store.h"
#include "host/render/command_line.h"
#include "host/render/render_scene.h"
#include "host/scene/reader.h"
#include "host/shading/build.h"

#include <fmt/format.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <unistd.h>

namespace {

using vx::render::Outcome;
using vx::shading::Level;

enum ExitStatus { exit_done = 0, exit_scene = 1, exit_render = 2, exit_usage = 3 };

std::atomic<bool> interrupted{false};

extern "C" void on_interrupt(int) {
    interrupted.store(true, std::memory_order_relaxed);
}

// The first Ctrl-C ends the render in good order; a second one ends the program as usual.
void watch_for_interrupts() {
    struct sigaction action {};
    action.sa_handler = on_interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

std::string beside_program(const char* folder) {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : (program.parent_path().parent_path() / folder).string();
}

Level level_of(vx::scene::Severity severity) {
    switch (severity) {
    case vx::scene::Severity::error:
        return Level::error;
    case vx::scene::Severity::warning:
        return Level::warning;
    case vx::scene::Severity::note:
        return Level::info;
    }
    return Level::error;
}

class Program {
  public:
    explicit Program(const vx::render::CommandLine& line)
        : line_(line), progress_(style(), [this](const std::string& text) {
              context_.messages.write(Level::progress, "RENDER", 0, text);
          }) {}

    int run() {
        vx::api::store_maps_in_database();
        set_up_messages();
        set_up_paths();
        builder_.render = [this](const vx::shading::RenderRequest& request) {
            return on_render(request);
        };
        vx::scene::Reader reader(builder_, diagnostics_, substitution_, reader_settings());
        if (!line_.startup_file.empty()) reader.read_file(line_.startup_file);
        for (const std::string& scene : line_.scenes) {
            if (reader.stopped() || interrupted) break;
            if (scene == "-")
                reader.read_descriptor(STDIN_FILENO, "standard input");
            else
                reader.read_file(scene);
        }
        if (!stopped_) builder_.finish();
        return finish();
    }

  private:
    [[nodiscard]] vx::render::Progress::Style style() const {
        using Style = vx::render::Progress::Style;
        if (line_.quiet || (line_.verbosity && *line_.verbosity < 4)) return Style::none;
        return isatty(STDERR_FILENO) != 0 ? Style::terminal : Style::lines;
    }

    void set_up_messages() {
        vx::shading::Messages& messages = context_.messages;
        messages.set_sink([this](Level, std::string_view text) {
            progress_.finish();
            const std::string whole = std::string(text) + "\n";
            (void)std::fwrite(whole.data(), 1, whole.size(), stderr);
            (void)std::fflush(stderr);
        });
        messages.set_level(4);
        if (line_.quiet)
            messages.fix_level(2);
        else if (line_.verbosity)
            messages.fix_level(*line_.verbosity);
    }

    void set_up_paths() {
        for (const std::string& directory : line_.library_directories)
            context_.libraries.add_directory(directory);
        context_.libraries.add_built_in_directory(beside_program("lib"));
        context_.substitute = [this](std::string_view text) { return substitution_.path(text); };
        for (const auto& [name, value] : line_.variables)
            substitution_.set_variable(name, value);
    }

    [[nodiscard]] vx::scene::ReaderSettings reader_settings() {
        vx::scene::ReaderSettings settings;
        settings.include_directories = line_.include_directories;
        settings.built_in_includes = {beside_program("include"), "/usr/include"};
        settings.progress = [this](std::uint64_t read, std::uint64_t total) {
            tell_reading(read, total);
        };
        return settings;
    }

    // Scenes of some size only: a message for every small file would be noise.
    void tell_reading(std::uint64_t read, std::uint64_t total) {
        constexpr std::uint64_t step = std::uint64_t{64} << 20;
        if (total < step || read < reading_told_ + step) return;
        reading_told_ = read;
        context_.messages.write(Level::progress, "SCENE", 0,
                                fmt::format("read {} of {} MB", read >> 20, total >> 20));
    }

    // False ends the reading.
    bool on_render(const vx::shading::RenderRequest& request) {
        ++number_;
        if (line_.parse_only) return true;
        const vx::render::RenderSettings& r = line_.render;
        if (number_ < r.first || (number_ - r.first) % r.step != 0) return true;
        if (r.last != 0 && number_ > r.last) return true;
        if (interrupted) {
            tell_interrupted();
            return false;
        }
        const Outcome outcome = renderer_.render(request);
        if (outcome == Outcome::done) ++done_;
        if (outcome == Outcome::failed) failed_ = true;
        if (outcome == Outcome::interrupted) tell_interrupted();
        return outcome != Outcome::interrupted;
    }

    void tell_interrupted() {
        stopped_ = true;
        const std::size_t pictures = renderer_.written().size();
        context_.messages.write(
            Level::error, "RENDER", 0,
            fmt::format("interrupted: render command {} and those after it are left out; {} "
                        "finished picture{} kept",
                        number_, pictures, pictures == 1 ? " is" : "s are"));
    }

    int finish() {
        if (interrupted && !stopped_) tell_interrupted();
        if (diagnostics_.errors() > 0) return exit_scene;
        if (failed_ || stopped_) return exit_render;
        if (line_.parse_only) return exit_done;
        if (number_ == 0)
            context_.messages.write(Level::warning, "RENDER", 0,
                                    "the scene has no render command; nothing is rendered");
        else if (done_ == 0)
            context_.messages.write(
                Level::warning, "RENDER", 0,
                fmt::format("none of the scene's {} render commands was asked for", number_));
        return exit_done;
    }

    const vx::render::CommandLine& line_;
    vx::shading::Context context_;
    vx::render::Progress progress_;
    vx::scene::Substitution substitution_;
    vx::scene::Diagnostics diagnostics_{[this](const vx::scene::Diagnostic& d) {
        context_.messages.write(level_of(d.severity), "SCENE", 0, vx::scene::format(d));
    }};
    vx::shading::SceneBuilder builder_{context_, diagnostics_};
    vx::render::SceneRenderer renderer_{context_, builder_, line_.render, progress_, interrupted};
    std::uint64_t reading_told_ = 0;
    int number_ = 0, done_ = 0;
    bool failed_ = false, stopped_ = false;
};

int usage_error(const std::string& text) {
    (void)std::fprintf(stderr, "vx_render: error: %s\nvx_render: see vx_render -help\n",
                       text.c_str());
    return exit_usage;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments;
    if (const char* const more = std::getenv("MI_RAY_OPTIONS"))
        arguments = vx::render::split_options(more);
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    auto [line, error] = vx::render::parse_command_line(arguments);
    if (!error.empty()) return usage_error(error);
    if (line.help) {
        (void)std::fputs(vx::render::help_text(), stdout);
        return exit_done;
    }
    if (line.version) {
        std::puts("vx_render " VX_VERSION);
        return exit_done;
    }
    if (line.scenes.empty()) {
        if (isatty(STDIN_FILENO) != 0) return usage_error("no scene is named");
        line.scenes.push_back("-");
    }
    watch_for_interrupts();
    try {
        return Program(line).run();
    } catch (const std::exception& e) {
        (void)std::fprintf(stderr, "vx_render: error: %s\n", e.what());
        return exit_render;
    }
}
