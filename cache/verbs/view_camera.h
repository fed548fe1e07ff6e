// The camera of a picture of clouds.
#pragma once

#include "cache/verbs/view_options.h"

namespace vx::cache {

// A camera that frames all points. `each` calls its argument with the positions and radii of the
// points; `aside` is the width of the legend on the right, in pixels.
using EachBall = std::function<void(const std::function<void(const Vec&, double)>&)>;
struct PlacedCamera {
    Camera camera;
    Vec center{0.0}; // of rotation, for turntables
};
PlacedCamera place_camera(const ViewOptions& options, const SequenceSummary& survey, int aside,
                          const EachBall& each);

// The camera, rotated about the up axis through the center by an angle in degrees, to the right as
// seen through it.
Camera turned(const PlacedCamera& placed, const Vec& up, double degrees);

} // namespace vx::cache
