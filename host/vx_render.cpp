// vx_render: reads a scene, runs its render commands and writes the images.
#include "host/api/map_store.h"
#include "host/image/output_file.h"
#include "host/render/command_line.h"
#include "host/render/json_line.h"
#include "host/render/render_scene.h"
#include "host/scene/printable.h"
#include "host/scene/reader.h"
#include "host/shading/build.h"
#include "host/shading/crash.h"
#include "maps/interface.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <sys/resource.h>
#include <unistd.h>

namespace {

using vx::render::Outcome;
using vx::shading::Level;

enum ExitStatus {
    exit_ok = 0,
    exit_scene = 1,
    exit_render = 2,
    exit_usage = 3,
    exit_incomplete = 4
};

std::atomic<bool> interrupted{false};

extern "C" void on_interrupt(int) {
    interrupted.store(true, std::memory_order_relaxed);
}

// The first signal stops the render cleanly; SA_RESETHAND lets the second one end the process.
// Signals that the parent process ignores, as nohup does, stay ignored.
void install_signal_handlers() {
    struct sigaction action {};
    action.sa_handler = on_interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction inherited {};
        if (sigaction(number, nullptr, &inherited) == 0 && inherited.sa_handler != SIG_IGN)
            sigaction(number, &action, nullptr);
    }
}

// Writing to a closed pipe or beyond the limit of the file size then fails with an error code.
void ignore_write_signals() {
    for (const int number : {SIGPIPE, SIGXFSZ})
        (void)std::signal(number, SIG_IGN);
}

// For a handler of crashes.
void remove_unfinished_files() {
    vx::image::remove_unfinished_output();
    vx::maps::remove_unfinished_files();
}

// A folder next to the folder of the program, such as ../lib; empty if the program is unknown.
std::string beside_program(const char* folder) {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : (program.parent_path().parent_path() / folder).string();
}

void print_line(std::string_view text) {
    const std::string whole = std::string(text) + "\n";
    (void)std::fwrite(whole.data(), 1, whole.size(), stderr);
    (void)std::fflush(stderr);
}

// Of the process so far, in bytes.
std::int64_t peak_memory() {
    rusage usage{};
    return getrusage(RUSAGE_SELF, &usage) == 0 ? std::int64_t{usage.ru_maxrss} * 1024 : 0;
}

const char* name_of(Outcome outcome) {
    switch (outcome) {
    case Outcome::done:
        return "done";
    case Outcome::skipped:
        return "skipped";
    case Outcome::failed:
        return "failed";
    case Outcome::interrupted:
        return "interrupted";
    }
    return "failed";
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
              if (m_line.json_progress)
                  print_line(text);
              else
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
        if (!m_stopped && !interrupted) m_builder.finish();
        const std::vector<std::string> omissions = m_context.omissions.lines();
        const int status = finish(omissions);
        summarize(status, omissions);
        return status;
    }

  private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] vx::render::Progress::Style style() const {
        using Style = vx::render::Progress::Style;
        if (m_line.json_progress) return Style::json;
        if (m_line.quiet || (m_line.verbosity && *m_line.verbosity < vx::render::kDefaultVerbosity))
            return Style::none;
        return isatty(STDERR_FILENO) != 0 ? Style::terminal : Style::lines;
    }

    void set_up_messages() {
        vx::shading::Messages& messages = m_context.messages;
        messages.set_sink([this](Level, std::string_view text) {
            m_progress.finish();
            print_line(m_line.json_progress ? vx::render::json_message(text) : std::string(text));
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
        for (const auto& [name, value] : m_line.variables) {
            m_substitution.set_variable(name, value);
            m_substitution.set_registry('{' + name + '}', value); // for file names
        }
    }

    [[nodiscard]] vx::scene::ReaderSettings reader_settings() {
        vx::scene::ReaderSettings settings;
        settings.include_directories = m_line.include_directories;
        settings.built_in_includes = {beside_program("include"), "/usr/include"};
        settings.interrupt = &interrupted;
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

    void error(const std::string& text) {
        m_context.messages.write(Level::error, "RENDER", 0, text);
    }

    // Whether -render and -frames select the current render command.
    bool is_selected(int frame) {
        const vx::render::RenderSettings& r = m_line.render;
        if (!r.frames.empty()) {
            if (!r.frames.contains(frame)) return false;
            m_found_frames.insert(frame);
        }
        return m_commands >= r.first && (m_commands - r.first) % r.step == 0 &&
               (r.last == 0 || m_commands <= r.last);
    }

    // Runs one render command. Returning false stops reading the scene.
    bool on_render(const vx::shading::RenderRequest& request) {
        ++m_commands;
        const int frame = m_renderer.frame_number(request);
        if (m_line.parse_only || !is_selected(frame)) return true;
        if (interrupted) {
            report_interrupt();
            return false;
        }
        const std::size_t files_before = m_renderer.written().size();
        const Outcome outcome = m_renderer.render(request);
        if (outcome == Outcome::done) ++m_rendered;
        if (outcome == Outcome::skipped) ++m_skipped;
        if (outcome == Outcome::failed) m_failed = true;
        if (m_line.json_progress) {
            const auto& files = m_renderer.written();
            const std::vector<std::string> written(
                files.begin() + static_cast<std::ptrdiff_t>(files_before), files.end());
            print_line(vx::render::json_line({{"event", "frame"},
                                              {"command", m_commands},
                                              {"frame", frame},
                                              {"outcome", name_of(outcome)},
                                              {"files", written}}));
        }
        if (outcome == Outcome::interrupted) report_interrupt();
        return outcome != Outcome::interrupted;
    }

    void report_interrupt() {
        m_stopped = true;
        const std::size_t images = m_renderer.written().size();
        const std::string where = m_commands == 0 ? "before the first render command"
                                                  : fmt::format("at render command {}", m_commands);
        m_context.messages.write(Level::error, "RENDER", 0,
                                 fmt::format("interrupted {}; kept {} finished image{}", where,
                                             images, images == 1 ? "" : "s"));
    }

    // Reports render commands and frames that were asked for and are not in the scene.
    bool found_all_frames() {
        const vx::render::RenderSettings& r = m_line.render;
        const int last = r.last - (r.last - r.first) % r.step;
        if (last > m_commands)
            error(fmt::format("-render: there is no render command {}; the scene has {}", last,
                              m_commands));
        std::vector<int> missing;
        std::set_difference(r.frames.begin(), r.frames.end(), m_found_frames.begin(),
                            m_found_frames.end(), std::back_inserter(missing));
        if (!missing.empty())
            error(fmt::format("-frames: the scene does not render {} of {} frames; the first is {}",
                              missing.size(), r.frames.size(), missing.front()));
        return last <= m_commands && missing.empty();
    }

    int finish(const std::vector<std::string>& omissions) {
        if (interrupted && !m_stopped) report_interrupt();
        for (const std::string& line : omissions)
            m_context.messages.write(Level::warning, "RENDER", 0, "incomplete: " + line);
        if (m_stopped) return exit_render;
        if (m_diagnostics.errors() > 0) return exit_scene;
        if (!m_line.parse_only) {
            if (m_commands == 0) {
                error("the scene has no render command");
                return exit_scene;
            }
            if (!found_all_frames() || m_failed) return exit_render;
        }
        return m_line.strict && !omissions.empty() ? exit_incomplete : exit_ok;
    }

    void summarize(int status, const std::vector<std::string>& omissions) {
        const std::size_t files = m_renderer.written().size();
        const double seconds = std::chrono::duration<double>(Clock::now() - m_start).count();
        if (m_line.json_progress) {
            print_line(vx::render::json_line({{"event", "end"},
                                              {"status", status},
                                              {"rendered", m_rendered},
                                              {"skipped", m_skipped},
                                              {"files", files},
                                              {"eye_rays", m_renderer.eye_rays()},
                                              {"seconds", seconds},
                                              {"peak_memory", peak_memory()},
                                              {"incomplete", omissions}}));
        } else if (m_commands > 0 && !m_line.parse_only) {
            const auto plural = [](std::size_t n) { return n == 1 ? "" : "s"; };
            const auto frames = static_cast<std::size_t>(m_rendered);
            m_context.messages.write(
                Level::progress, "RENDER", 0,
                fmt::format("rendered {} frame{}, wrote {} file{}; {} eye rays, {:.1f} s, peak "
                            "memory {} MiB",
                            frames, plural(frames), files, plural(files), m_renderer.eye_rays(),
                            seconds, peak_memory() >> 20));
        }
    }

    const vx::render::CommandLine& m_line;
    vx::shading::Context m_context;
    vx::render::Progress m_progress;
    vx::scene::Substitution m_substitution;
    vx::scene::Diagnostics m_diagnostics{[this](const vx::scene::Diagnostic& d) {
                                             m_context.messages.write(level_of(d.severity), "SCENE",
                                                                      0, vx::scene::format(d));
                                         },
                                         &m_context.omissions};
    vx::shading::SceneBuilder m_builder{m_context, m_diagnostics};
    vx::render::SceneRenderer m_renderer{m_context, m_builder, m_line.render, m_progress,
                                         interrupted};
    std::uint64_t m_reported_bytes = 0;
    int m_commands = 0, m_rendered = 0, m_skipped = 0;
    std::set<int> m_found_frames; // of those that -frames names
    const Clock::time_point m_start = Clock::now();
    bool m_failed = false, m_stopped = false;
};

int usage_error(const std::string& text) {
    (void)std::fprintf(stderr, "vx_render: error: %s\nvx_render: try 'vx_render -help'\n",
                       vx::scene::printable(text).c_str());
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
    vx::shading::report_crashes(remove_unfinished_files);
    try {
        return Program(line).run();
    } catch (const std::exception& e) {
        (void)std::fprintf(stderr, "vx_render: error: %s\n",
                           vx::scene::printable(e.what()).c_str());
        return exit_render;
    }
}
