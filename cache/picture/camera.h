/// @file
/// Cameras, and where to place them.
#pragma once

#include "cache/picture/vector.h"

#include <array>
#include <string>

namespace vx::cache {

/// A pinhole or orthographic camera, which looks along the -z axis of its space. In raster
/// coordinates, (0, 0) is the lower left corner of the image, and (0.5, 0.5) is the center of the
/// first pixel. The raster position (x, y) is at
///
///     cx = x * scale_x + shift_x,  cy = y * scale_y + shift_y
///
/// on the image plane. Its ray starts at the origin with the direction (cx, cy, -focal), or at
/// (cx, cy, 0) with the direction (0, 0, -1). This is the model of the renderer's cameras.
struct Camera {
    Matrix to_camera; ///< from world to camera space
    bool orthographic = false;
    double focal = 1;
    double scale_x = 1, shift_x = 0, scale_y = 1, shift_y = 0;
    double near_limit = 0;     ///< depth up to which nothing is visible
    int width = 1, height = 1; ///< pixels

    /// Sets scale and shift from the parameters of scene files. Call after setting the resolution.
    /// @param aperture           width of the image plane
    /// @param aspect             width of the image plane over its height
    /// @param offset_x,offset_y  shift of the picture to the right and upward, in pixels
    void set_plane(double aperture, double aspect, double offset_x, double offset_y);

    struct Position {
        double x = 0, y = 0; ///< raster
        double depth = 0;    ///< along the viewing axis
    };
    /// Projects a point in world space. If its depth for a perspective camera is 0 or less, x and y
    /// are meaningless.
    Position project(const Vec& point) const;
};

/// The matrix from world space to a camera at `eye` that looks at `towards`.
/// @param up  direction that is up in the picture, of any length; if the camera looks along it,
///            another direction is chosen
Matrix look_at(const Vec& eye, const Vec& towards, const Vec& up);

/// A viewing direction.
struct Direction {
    Vec back{0.0}; ///< from what is looked at to the eye, of length 1
    Vec up{0.0};   ///< of the picture, of length 1
};
/// @param name  if y is up: "front" (the eye at +z), "back", "left" (-x), "right", "top" or
/// "bottom";
///              anything else is the three-quarter view
/// @param up    another up axis rotates the directions with it: if z is up, the eye of "front" is
///              at -y
Direction named_direction(const std::string& name, const Vec& up);

/// Finds the position of a camera from which given balls are visible, as large as possible and in
/// the middle of a part of the image. Takes one pass over the balls and does not store them: it
/// keeps the planes parallel to the sides of the view that touch them.
class Framing {
  public:
    /// @param rotation             from world space to the orientation of the camera
    /// @param tangent_x,tangent_y  half width and half height of the part of the image, as tangents
    ///                             of angles to the axis; for orthographic cameras, only their
    ///                             proportion counts
    Framing(const Matrix& rotation, bool orthographic, double tangent_x, double tangent_y);

    /// Adds a ball in world space.
    void add(const Vec& point, double radius);

    /// The position of the camera in world space.
    Vec eye() const;
    /// For orthographic cameras: half the width of the part, in world units.
    double half_width() const;

  private:
    // The extent of the balls across planes through the eye whose slopes are fractions (shares) of
    // the tangent. The dimension that determines the distance needs the whole tangent; the other
    // one is centered by the share that it fills.
    struct Extent {
        static constexpr std::size_t kShares = 8;
        double tangent;
        std::array<double, kShares> above, below;
        explicit Extent(double t);
        void add(double across, double along, double radius);
        double distance(std::size_t share) const; // at which the balls fill the share
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
