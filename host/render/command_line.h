// The command line of vx_render.
#pragma once

#include "host/render/settings.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vx::render {

// Verbosity: how many message levels are shown, in the order fatal, error, warning, progress,
// information, debug, detailed debug.
inline constexpr int kErrorsOnly = 2, kDefaultVerbosity = 4, kInformation = 5, kAllMessages = 7;

struct CommandLine {
    std::vector<std::string> scenes; // "-": standard input
    RenderSettings render;
    std::vector<std::string> include_directories, library_directories;
    std::vector<std::pair<std::string, std::string>> variables; // -D NAME=VALUE
    std::string startup_file;
    std::optional<int> verbosity;
    bool quiet = false;
    bool parse_only = false;
    bool strict = false;        // incomplete results are failures
    bool json_progress = false; // messages and progress as JSON
    bool help = false;
    bool version = false;
};

struct CommandLineResult {
    CommandLine line;
    std::string error; // empty on success
};

// Parses the arguments that follow the program name. Long options have one or two dashes, take
// their value from the next argument or after "=", and may be abbreviated if unambiguous.
[[nodiscard]] CommandLineResult parse_command_line(const std::vector<std::string>& arguments);

// Splits the value of the environment variable MI_RAY_OPTIONS into arguments, which precede those
// of the command line.
[[nodiscard]] std::vector<std::string> split_options(const std::string& text);

// The text printed by -help.
[[nodiscard]] const char* help_text();

} // namespace vx::render
