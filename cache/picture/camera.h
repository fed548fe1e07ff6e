// Where a picture is taken from.
#pragma once

#include "cache/picture/vector.h"

#include <array>
#include <string>

namespace vx::cache {

/*
 * A pinhole or orthographic camera that looks along the -z axis of its own space. For the raster
 * position (x, y), (0, 0) being the lower left corner of the image and (0.5, 0.5) the center of its
 * first pixel, the image plane is met at
 *
 *     cx = x * scale_x + shift_x,  cy = y * scale_y + shift_y
 *
 * and what is seen there lies on the line from the origin along (cx, cy, -focal), or through
 * (cx, cy, 0) along (0, 0, -1): the renderer's own cameras.
 */
struct Camera {
    Matrix to_camera; // from the world
    bool orthographic = false;
    double focal = 1;
    double scale_x = 1, shift_x = 0, scale_y = 1, shift_y = 0;
    double near_limit = 0; // what is not farther along the axis is not seen
    int width = 1, height = 1;

    // Width of the image plane, its width over its height, and the shift of the picture in pixels
    // to the right and upwards, as scenes give them.
    void set_plane(double aperture, double aspect, double offset_x, double offset_y);

    struct Position {
        double x = 0, y = 0; // raster
        double depth = 0;    // along the axis
    };
    // Where a point of the world is seen. Behind a perspective camera (depth 0 or less) x and y
    // mean nothing.
    Position project(const Vec& point) const;
};

// The world as seen from `eye`, `towards` straight ahead and `up` upwards; a direction along `up`
// takes another one.
Matrix look_at(const Vec& eye, const Vec& towards, const Vec& up);

// Directions from what is looked at to the eye.
struct Direction {
    Vec back{0.0};
    Vec up{0.0};
};
// "front" (from +z), "back", "left" (from -x), "right", "top", "bottom" where y is up; another up
// axis turns them with it, so that "front" is -y where z is up. "" is the three-quarter view.
Direction named_direction(const std::string& name, const Vec& up);

/*
 * Finds the place from which all balls that it is told of are seen, as large as they can be and in
 * the middle of a part of the image. One walk over the balls is enough, and nothing of them is
 * kept: the planes that the sides of the view become touch the balls wherever the eye is.
 */
class Framing {
  public:
    // The part of the image plane, as the tangents of the view to its sides (perspective) or just
    // the proportion of its width and height (orthographic).
    Framing(const Matrix& rotation, bool orthographic, double tangent_x, double tangent_y);

    // A ball of the world.
    void add(const Vec& point, double radius);

    // Where the camera stands, in the world.
    Vec eye() const;
    // Orthographic: half the width of the image plane's part.
    double half_width() const;

  private:
    // How far the balls reach to both sides of planes that are as steep as a share of the tangent:
    // the larger direction needs the whole share, the other one is in the middle of a smaller one.
    struct Extent {
        static constexpr std::size_t kShares = 8;
        double tangent;
        std::array<double, kShares> above, below;
        explicit Extent(double t);
        void add(double across, double along, double radius);
        double distance(std::size_t share) const; // that the share needs
        double middle(double distance) const;
        double size() const { return above.back() + below.back(); }
    };
    double distance() const;

    Matrix m_rotation;
    bool m_orthographic;
    double m_proportion; // width over height
    Extent m_x, m_y;
    double m_nearest;
};

} // namespace vx::cache
