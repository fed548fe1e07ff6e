// Render settings from the command line. They override the scene.
#pragma once

#include "host/image/filter_kind.h"
#include "host/scene/elements.h"

#include <array>
#include <optional>
#include <set>
#include <string>

namespace vx::render {

struct FilterSetting {
    image::FilterKind kind = image::FilterKind::box;
    float width = 0.0f, height = 0.0f; // pixels; 0: the kind's default size
};

struct RenderSettings {
    int threads = 0; // 0: all cores
    // Render commands to run, counted from 1. last == 0: up to the end of the scene.
    int first = 1, last = 0, step = 1;
    std::set<int> frames;       // frames of cameras to render; empty: all
    bool skip_existing = false; // leaves out frames whose images exist

    std::string file_name, file_type, file_dir;
    std::optional<std::array<int, 2>> resolution;
    std::optional<std::array<int, 4>> window;
    std::optional<std::array<int, 2>> samples;
    std::optional<std::array<float, 4>> contrast;
    std::optional<float> jitter, aperture, aspect;
    std::optional<float> focal; // 0: orthographic
    std::optional<FilterSetting> filter;
    std::optional<bool> trace;
    std::optional<std::array<int, 3>> trace_depth;
    std::optional<scene::ShadowMode> shadow;
    std::optional<scene::Face> face;
    std::optional<bool> lens, volume, displace, output, geometry;
    bool texture_continue = true;
    int task_size = 0; // pixels; 0: automatic
};

} // namespace vx::render
