// The options of `view`.
#pragma once

#include "cache/picture/camera.h"
#include "cache/picture/image_file.h"
#include "cache/verbs/view_points.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace vx::cache {

// The options of the camera.
struct CameraChoice {
    std::optional<Vec> from, to;
    Vec up{0, 1, 0};
    std::string view; // of named_direction
    bool orthographic = false;
    double field_of_view = 35; // horizontal, in degrees
    std::string scene;         // "scene.mi:instance" instead of all of the above
    int width = 0, height = 0; // 0: not given
};

struct ViewOptions {
    std::string input, output, frames;
    std::string html; // name of the page, instead of or in addition to a picture
    std::int64_t page_points = 2'000'000;
    bool force = false;
    bool legend = true;
    bool raw = false;  // png without the sRGB curve
    int turntable = 0; // pictures around the up axis; 0: one picture
    std::optional<std::pair<double, double>> range;
    ViewStyle style;
    CameraChoice camera;

    void add(CLI::App& app);
    // Parses the texts. Call once, before any other member is used. Throws UsageError.
    void settle();
    ImageFormat format() const; // of the output

  private:
    std::string m_range, m_size, m_background, m_from, m_to, m_up;
};

// Whether a picture of this size is neither empty nor too large.
bool is_possible_size(std::int64_t width, std::int64_t height);

} // namespace vx::cache
