// Where the picture of a cloud is taken from.
#pragma once

#include "cache/verbs/view_options.h"

namespace vx::cache {

// The camera that frames what the walk tells of. `each` calls its argument with the points and
// radii of everything that is to be seen. `aside`: pixels at the right that the legend takes.
using EachBall = std::function<void(const std::function<void(const Vec&, double)>&)>;
struct PlacedCamera {
    Camera camera;
    Vec center; // what a turntable turns about
};
PlacedCamera place_camera(const ViewOptions& options, const SequenceSummary& survey, int aside,
                          const EachBall& each);

// The same camera after it went around the up axis through the center by an angle in degrees, to
// the right of who looks through it.
Camera turned(const PlacedCamera& placed, const Vec& up, double degrees);

} // namespace vx::cache
