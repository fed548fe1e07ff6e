// vx_render: reads a scene, runs its render commands and writes the images.
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

enum ExitStatus { exit_ok = 0, exit_scene = 1, exit_render = 2, exit_usage = 3 };

std::atomic<bool> interrupted{false};

extern "C" void on_interrupt(int) {
    interrupted.store(true, std::memory_order_relaxed);
}

// The first signal stops the render cleanly; SA_RESETHAND lets the second one end the process.
void install_signal_handlers() {
    struct sigaction action {};
    action.sa_handler = on_interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

// Writing to a closed pipe or beyond the limit of the file size then fails with an error code.
void ignore_write_signals() {
    for (const int number : {SIGPIPE, SIGXFSZ})
        (void)std::signal(number, SIG_IGN);
}

// A folder next to the folder of the program, such as ../lib; empty if the program is unknown.
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
        : m_line(line), m_progress(style(), [this](const std::string& text) {
              m_context.messages.write(Level::progress, "RENDER", 0, text);
          }) {}

    int run() {
        vx::api::store_maps_in_database();
        vx::api::report_map_files();
        set_up_messages();
        set_up_paths();
        m_builder.render = [this](const vx::shading::RenderRequest& request) {
            return on_render(request);
        };
        vx::scene::Reader reader(m_builder, m_diagnostics, m_substitution, reader_settings());
        if (!m_line.startup_file.empty()) reader.read_file(m_line.startup_file);
        for (const std::string& scene : m_line.scenes) {
            if (reader.stopped() || interrupted) break;
            if (scene == "-")
                reader.read_descriptor(STDIN_FILENO, "standard input");
            else
                reader.read_file(scene);
        }
        if (!m_stopped) m_builder.finish();
        return finish();
    }

  private:
    [[nodiscard]] vx::render::Progress::Style style() const {
        using Style = vx::render::Progress::Style;
        if (m_line.quiet || (m_line.verbosity && *m_line.verbosity < vx::render::kDefaultVerbosity))
            return Style::none;
        return isatty(STDERR_FILENO) != 0 ? Style::terminal : Style::lines;
    }

    void set_up_messages() {
        vx::shading::Messages& messages = m_context.messages;
        messages.set_sink([this](Level, std::string_view text) {
            m_progress.finish();
            const std::string whole = std::string(text) + "\n";
            (void)std::fwrite(whole.data(), 1, whole.size(), stderr);
            (void)std::fflush(stderr);
        });
        messages.set_level(vx::render::kDefaultVerbosity);
        if (m_line.quiet)
            messages.fix_level(vx::render::kErrorsOnly);
        else if (m_line.verbosity)
            messages.fix_level(*m_line.verbosity);
    }

    void set_up_paths() {
        for (const std::string& directory : m_line.library_directories)
            m_context.libraries.add_directory(directory);
        m_context.libraries.add_built_in_directory(beside_program("lib"));
        m_context.substitute = [this](std::string_view text) { return m_substitution.path(text); };
        for (const auto& [name, value] : m_line.variables)
            m_substitution.set_variable(name, value);
    }

    [[nodiscard]] vx::scene::ReaderSettings reader_settings() {
        vx::scene::ReaderSettings settings;
        settings.include_directories = m_line.include_directories;
        settings.built_in_includes = {beside_program("include"), "/usr/include"};
        settings.progress = [this](std::uint64_t read, std::uint64_t total) {
            report_reading(read, total);
        };
        return settings;
    }

    // Reports the progress of reading large scene files.
    void report_reading(std::uint64_t read, std::uint64_t total) {
        constexpr std::uint64_t kReportStep = std::uint64_t{64} << 20; // bytes
        if (total < kReportStep || read < m_reported_bytes + kReportStep) return;
        m_reported_bytes = read;
        m_context.messages.write(Level::progress, "SCENE", 0,
                                 fmt::format("read {} of {} MiB", read >> 20, total >> 20));
    }

    // Runs one render command. Returning false stops reading the scene.
    bool on_render(const vx::shading::RenderRequest& request) {
        ++m_commands;
        if (m_line.parse_only) return true;
        const vx::render::RenderSettings& r = m_line.render;
        if (m_commands < r.first || (m_commands - r.first) % r.step != 0) return true;
        if (r.last != 0 && m_commands > r.last) return true;
        if (interrupted) {
            report_interrupt();
            return false;
        }
        const Outcome outcome = m_renderer.render(request);
        if (outcome == Outcome::done) ++m_rendered;
        if (outcome == Outcome::failed) m_failed = true;
        if (outcome == Outcome::interrupted) report_interrupt();
        return outcome != Outcome::interrupted;
    }

    void report_interrupt() {
        m_stopped = true;
        const std::size_t images = m_renderer.written().size();
        m_context.messages.write(
            Level::error, "RENDER", 0,
            fmt::format("interrupted at render command {}; kept {} finished image{}", m_commands,
                        images, images == 1 ? "" : "s"));
    }

    int finish() {
        if (interrupted && !m_stopped) report_interrupt();
        if (m_diagnostics.errors() > 0) return exit_scene;
        if (m_failed || m_stopped) return exit_render;
        if (m_line.parse_only) return exit_ok;
        if (m_commands == 0)
            m_context.messages.write(Level::warning, "RENDER", 0,
                                     "the scene has no render command");
        else if (m_rendered == 0)
            m_context.messages.write(
                Level::warning, "RENDER", 0,
                fmt::format("-render selects none of the {} render commands of the scene",
                            m_commands));
        return exit_ok;
    }

    const vx::render::CommandLine& m_line;
    vx::shading::Context m_context;
    vx::render::Progress m_progress;
    vx::scene::Substitution m_substitution;
    vx::scene::Diagnostics m_diagnostics{[this](const vx::scene::Diagnostic& d) {
        m_context.messages.write(level_of(d.severity), "SCENE", 0, vx::scene::format(d));
    }};
    vx::shading::SceneBuilder m_builder{m_context, m_diagnostics};
    vx::render::SceneRenderer m_renderer{m_context, m_builder, m_line.render, m_progress,
                                         interrupted};
    std::uint64_t m_reported_bytes = 0;
    int m_commands = 0, m_rendered = 0;
    bool m_failed = false, m_stopped = false;
};

int usage_error(const std::string& text) {
    (void)std::fprintf(stderr, "vx_render: error: %s\nvx_render: try 'vx_render -help'\n",
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
        return exit_ok;
    }
    if (line.version) {
        std::puts("vx_render " VX_VERSION);
        return exit_ok;
    }
    if (line.scenes.empty()) {
        if (isatty(STDIN_FILENO) != 0) return usage_error("no scene file given");
        line.scenes.push_back("-");
    }
    install_signal_handlers();
    ignore_write_signals();
    try {
        return Program(line).run();
    } catch (const std::exception& e) {
        (void)std::fprintf(stderr, "vx_render: error: %s\n", e.what());
        return exit_render;
    }
}
