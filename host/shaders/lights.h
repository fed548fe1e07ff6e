// Light lists of illumination shaders, and sums over their lights.
#pragma once

#include "shader.h"

#include <array>
#include <vector>

namespace vx::shaders {

// The last two parameters of most illumination shaders: integer "mode" and array light "lights".
// The array elements are x[first] to x[first + count - 1].
struct LightParameters {
    miInteger mode;
    int first, count;
    miTag x[1];
};

// The lights that a shader uses:
//   mode 1  the list, with light groups replaced by their members
//   mode 2  all lights of the scene except those of mode 1
//   mode 4  the light list of the instance that was hit; all lights if it has none
//   else    the list as given; mode 4 if it is empty
// The list is a copy, since the list of the renderer is valid only until the next call for lights.
class Lights {
  public:
    Lights(miState* state, LightParameters& parameters);

    const miTag* begin() const { return m_data; }
    const miTag* end() const { return m_data + m_count; }
    bool contains(miTag light) const;

  private:
    std::array<miTag, 32> m_few;
    std::vector<miTag> m_many;
    const miTag* m_data;
    int m_count = 0;
};

// Returns the sum, over all lights, of the mean of term(color, direction to the light, cosine with
// the normal) over the samples of the light. Alpha is 0.
template <class Term>
miColor sum_over_lights(miState* state, const Lights& lights, Term&& term) {
    miColor sum = {0, 0, 0, 0};
    for (const miTag light : lights) {
        miColor one = {0, 0, 0, 0}, color = {0, 0, 0, 0};
        miVector direction = {0, 0, 0};
        miScalar cosine = 0;
        miInteger samples = 0;
        while (mi_sample_light(&color, &direction, &cosine, state, light, &samples)) {
            if (!(cosine > 0)) continue;
            const miColor add = term(color, direction, cosine);
            one.r += add.r;
            one.g += add.g;
            one.b += add.b;
        }
        if (samples < 1) continue;
        const miScalar weight = 1.0f / static_cast<miScalar>(samples);
        sum.r += one.r * weight;
        sum.g += one.g * weight;
        sum.b += one.b * weight;
    }
    return sum;
}

} // namespace vx::shaders
