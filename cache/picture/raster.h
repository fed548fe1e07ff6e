/// @file
/// Rasterization of discs with a depth buffer.
#pragma once

#include "cache/picture/camera.h"

#include <array>
#include <vector>

namespace vx::cache {

using Color = std::array<float, 3>; ///< linear red, green and blue

/// A picture, top line first.
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

/// A point of a cloud, in camera space.
struct Disc {
    Vec center{0.0};
    Vec normal{0.0}; ///< of any length and either side; zero: the disc faces the eye
    double radius = 0;
    Color color{};
};

/// A band of lines of an image, with n x n samples per pixel.
///
/// A sample is covered by a disc if its ray hits the disc. The covered samples are the inside of a
/// conic, so that a square root per line gives a whole run of them. Of several discs, the nearest
/// one counts; the rim of a disc is set back by a fraction of the radius, so that where discs
/// overlap on a surface, each sample belongs to about the nearest center.
///
/// Discs are drawn with a radius, and a projected thickness, of at least half a pixel, so that
/// distant discs and discs seen edge-on do not vanish. Discs that reach behind the camera or its
/// near limit are not drawn.
class DiscRaster {
  public:
    /// @param samples      per pixel and axis
    /// @param first,lines  the band: lines of the image, counted from the bottom
    DiscRaster(const Camera& camera, int samples, int first, int lines);

    /// A disc's samples: those with a u^2 + 2 b u v + c v^2 + 2 d u + 2 e v + f <= 0, where (u, v)
    /// are samples relative to the center. The depth key, larger for nearer samples, is
    /// key + key_u u + key_v v - (rim_uu u^2 + 2 rim_uv u v + rim_vv v^2), the larger the nearer.
    struct Footprint {
        double x, y; ///< the center in samples of the band
        double a, b, c, d, e, f;
        double key, key_u, key_v;
        double rim_uu, rim_uv, rim_vv;
        int first_row, last_row; ///< of samples, in the band; it may cover fewer
        Color color;
    };

    /// @return whether the disc may cover samples of the band; if not, `footprint` is not complete
    bool project(const Disc& disc, Footprint& footprint) const;
    /// Draws rows begin to end - 1 of a footprint. Threads may draw different rows at the same
    /// time.
    /// @return whether any sample of these rows is covered, visible or hidden
    bool fill(const Footprint& footprint, int begin, int end);
    /// The number of rows of samples in the band.
    int rows() const { return m_rows; }

    /// @return whether the disc covers any sample, visible or hidden
    bool draw(const Disc& disc) {
        Footprint footprint;
        return project(disc, footprint) && fill(footprint, 0, m_rows);
    }

    /// Stores the means of the samples in the lines of the picture. Samples that are not covered
    /// have the color `background`. The mean of equal colors is exact.
    void resolve(Picture& picture, const Color& background) const;

  private:
    bool find_rows(Footprint& footprint) const;

    Camera m_camera;
    int m_samples, m_first, m_lines;
    int m_columns, m_rows; // of samples
    std::vector<float> m_depth;
    std::vector<Color> m_colors;
};

} // namespace vx::cache
