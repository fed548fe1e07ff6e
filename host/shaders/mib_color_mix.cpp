// Mixes up to eight colors into color_base, one after the other. For the current result x, the
// color c and its weight w, the modes are:
//   0 blend         x (1 - c.a w) + c w, a layer with premultiplied color
//   1 mix           x (1 - w) + c w
//   2 add           x + c w
//   3 clipped add   as 2, clamped to [0, 1]
//   4 multiply      x c w
//   5 clipped mult. as 4, clamped to [0, 1]
//   6 alpha         x with an alpha of c.a w
#include "host/shaders/shader_tools.h"

#include <algorithm>

namespace {

constexpr int kMaxColors = 8;

struct ColorMixParameters {
    miInteger num;
    miInteger mode[kMaxColors];
    miScalar weight[kMaxColors];
    miColor color[kMaxColors];
    miColor base;
};

miColor clipped(const miColor& c) {
    const auto clip = [](miScalar x) { return std::clamp(x, 0.0f, 1.0f); };
    return {clip(c.r), clip(c.g), clip(c.b), clip(c.a)};
}

miColor mix(const miColor& x, const miColor& c, miScalar w, miInteger mode) {
    using namespace vx::shaders;
    switch (mode) {
    case 1:
        return x * (1 - w) + c * w;
    case 2:
        return x + c * w;
    case 3:
        return clipped(x + c * w);
    case 4:
        return x * c * w;
    case 5:
        return clipped(x * c * w);
    case 6:
        return {x.r, x.g, x.b, c.a * w};
    default:
        return x * (1 - c.a * w) + c * w;
    }
}

} // namespace

VX_SHADER(mib_color_mix, miColor, ColorMixParameters) {
    const int count = std::clamp(*mi_eval_integer(&parameters->num), 0, kMaxColors);
    miColor mixed = *mi_eval_color(&parameters->base);
    for (int i = 0; i < count; ++i) {
        const miInteger mode = *mi_eval_integer(&parameters->mode[i]);
        const miScalar weight = *mi_eval_scalar(&parameters->weight[i]);
        mixed = mix(mixed, *mi_eval_color(&parameters->color[i]), weight, mode);
    }
    *result = mixed;
    return miTRUE;
}
