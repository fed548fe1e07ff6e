// Rays of the pinhole and the orthographic camera.
#pragma once

#include "host/trace/math.h"

#include "host/image/frame.h"

namespace vx::render {

struct CameraRay {
    miVector origin;
    miVector direction; // normalized
};

// Eye rays of a camera. For the raster position (x, y) of a W x H image with (0, 0) at the
// lower-left corner:
//
//     cx = ((x - x_offset) / W - 0.5) * aperture
//     cy = ((y - y_offset) / H - 0.5) * aperture / aspect
//     perspective:  from the origin along (cx, cy, -focal)
//     orthographic: from (cx, cy, 0) along (0, 0, -1)
//
// transformed to world space by `to_world`. A positive offset moves the image right and up.
class CameraRays {
  public:
    CameraRays(const miCamera& camera, const trace::Matrix& to_world);
    [[nodiscard]] CameraRay at(float x, float y) const;

  private:
    trace::Matrix m_to_world;
    miVector m_eye;
    bool m_orthographic;
    float m_focal;
    double m_scale_x, m_shift_x, m_scale_y, m_shift_y; // raster to image plane
};

// The pixels to render: the camera window, whose corners are inclusive, clipped to the image.
[[nodiscard]] image::Rect render_window(const miCamera& camera);

} // namespace vx::render
