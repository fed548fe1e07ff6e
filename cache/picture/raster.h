// Discs into a depth buffer.
#pragma once

#include "cache/picture/camera.h"

#include <array>
#include <vector>

namespace vx::cache {

using Color = std::array<float, 3>; // linear

// A finished picture, the top line first.
struct Picture {
    Picture(int w, int h, const Color& fill);
    Color& at(int x, int y) {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
    const Color& at(int x, int y) const { return const_cast<Picture*>(this)->at(x, y); }

    int width, height;
    std::vector<Color> pixels;
};

// One point, in the camera's space.
struct Disc {
    Vec center{0.0};
    Vec normal{0.0}; // of any length, either side; zero: the disc faces the eye
    double radius = 0;
    Color color{};
};

/*
 * A band of lines of the image, n x n samples to a pixel. A sample is covered by a disc when the
 * line of sight through it meets the disc; the set of such places is the inside of a conic, so that
 * whole runs of samples are found from one square root. The nearest disc wins, where a disc's rim
 * counts as standing back by a part of the radius: among discs that overlap on a surface each
 * sample goes to about the nearest center.
 *
 * A disc is never drawn smaller than half a pixel in radius nor thinner than that, so that far
 * points and discs seen edge-on do not vanish. Discs that reach behind the camera's plane or the
 * near limit are not drawn.
 */
class DiscRaster {
  public:
    // Lines [first, first + lines) of the image, counted from the bottom.
    DiscRaster(const Camera& camera, int samples, int first, int lines);

    // True when at least one sample is covered, seen or not.
    bool draw(const Disc& disc);

    // Puts the lines into the picture; uncovered samples count as `background`. Exact where all
    // samples of a pixel have one color.
    void resolve(Picture& picture, const Color& background) const;

  private:
    struct Conic;
    bool fill(const Conic& conic, const Color& color);

    Camera m_camera;
    int m_samples, m_first, m_lines;
    int m_columns, m_rows; // of samples
    std::vector<float> m_depth;
    std::vector<Color> m_colors;
};

} // namespace vx::cache
