// The command line of vx_render.
#pragma once

#include "host/render/settings.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vx::render {

struct CommandLine {
    std::vector<std::string> scenes; // "-": standard input
    RenderSettings render;
    std::vector<std::string> include_directories, library_directories;
    std::vector<std::pair<std::string, std::string>> variables; // -D NAME=VALUE
    std::string startup_file;
    std::optional<int> verbosity; // 0 to 7
    bool quiet = false;
    bool parse_only = false;
    bool help = false;
    bool version = false;
};

struct CommandLineResult {
    CommandLine line;
    std::string error; // empty: all well
};

// The arguments after the program's name. Long options may be written with one dash or two, with
// the value behind a blank or "=", and shortened as long as only one option begins that way.
[[nodiscard]] CommandLineResult parse_command_line(const std::vector<std::string>& arguments);

// Options from the environment variable MI_RAY_OPTIONS, to be put before those of the command line.
[[nodiscard]] std::vector<std::string> split_options(const std::string& text);

// What --help prints.
[[nodiscard]] const char* help_text();

} // namespace vx::render
