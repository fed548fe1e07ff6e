// The highlight of a surface of small mirrors, after J. Blinn, "Models of light reflection for
// computer synthesized pictures" (1977).
#pragma once

#include "shader.h"

namespace vx::shaders {

/*
 * Share of light that a smooth surface of refraction index `ior` mirrors, unpolarised; `cosine`
 * is that of the angle to its normal. With g^2 = ior^2 + c^2 - 1:
 *     F = 1/2 ((g - c) / (g + c))^2 (1 + ((c (g + c) - 1) / (c (g - c) + 1))^2)
 * 1 when the index is 0 or less (a metal, or an index that was not given) or on total reflection.
 */
miScalar fresnel(miScalar cosine, miScalar ior);

/*
 * D G F / (N.V) with the half vector H between light L and viewer V:
 *     D = (m^2 / ((N.H)^2 (m^2 - 1) + 1))^2          m: roughness, 0 a mirror, 1 no highlight
 *     G = min(1, 2 (N.H)(N.V) / (V.H), 2 (N.H)(N.L) / (V.H))
 *     F = fresnel(V.H, ior)
 * All vectors normalised. 0 when either side is below the surface. A roughness below 0.001 counts
 * as that: a highlight must have some width to be met by a ray.
 */
miScalar blinn_highlight(const miVector& normal, const miVector& to_light,
                         const miVector& to_viewer, miScalar roughness, miScalar ior);

} // namespace vx::shaders
