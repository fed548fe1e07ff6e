// What the command line says about a render; everything else comes from the scene.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace vx::render {

struct RenderSettings {
    int threads = 0; // 0: all cores
    // Which render commands, counted from 1; 0 as the last: all that follow.
    int first = 1, last = 0, step = 1;

    std::string file_name, file_type, file_dir;
    std::optional<std::array<int, 2>> resolution;
    std::optional<std::array<int, 4>> window;
    std::optional<std::array<int, 2>> samples;
    std::optional<std::array<float, 4>> contrast;
    std::optional<float> jitter, aperture, aspect;
    std::optional<float> focal; // 0: orthographic
    std::optional<std::string> filter;
    std::vector<float> filter_size; // none, one or two numbers
    std::optional<bool> trace;
    std::optional<std::array<int, 3>> trace_depth;
    std::optional<int> shadow; // as in miOptions
    std::optional<int> face;   // miFACE_*
    std::optional<bool> lens, volume, displace, output, geometry;
    bool texture_continue = true;
    int task_size = 0;
};

} // namespace vx::render
