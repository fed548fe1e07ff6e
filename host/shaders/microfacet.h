// Microfacet highlights after J. Blinn, "Models of light reflection for computer synthesized
// pictures" (1977).
#pragma once

#include "shader.h"

namespace vx::shaders {

// Fresnel reflectance of a smooth dielectric surface for unpolarized light. `ior`: index of
// refraction. `cosine`, c below: cosine of the angle to the normal. With g^2 = ior^2 + c^2 - 1:
//     F = 1/2 ((g - c) / (g + c))^2 (1 + ((c (g + c) - 1) / (c (g - c) + 1))^2)
// Returns 1 for an index of 0 or less (a metal, or no index) and for total reflection.
miScalar fresnel(miScalar cosine, miScalar ior);

// Returns D G F / (N.V). With the half vector H between light L and viewer V:
//     D = (m^2 / ((N.H)^2 (m^2 - 1) + 1))^2          m: roughness, 0 a mirror, 1 no highlight
//     G = min(1, 2 (N.H)(N.V) / (V.H), 2 (N.H)(N.L) / (V.H))
//     F = fresnel(V.H, ior)
// All vectors must be normalized. Returns 0 if the light or the viewer is below the surface. The
// roughness is clamped to at least 0.001, so that highlights have a minimum width.
miScalar blinn_highlight(const miVector& normal, const miVector& to_light,
                         const miVector& to_viewer, miScalar roughness, miScalar ior);

} // namespace vx::shaders
