// Transforms a texture coordinate in these steps:
//   transform  p * M (row vectors), unless the last element of M is 0
//   repeat     p_i * repeat_i if repeat_i is not 0, then p_i + offset_i
//   alternate  if alt_i is set, every second tile [1, 2), [3, 4), … is mirrored
//   wrap       if torus_i is set, p_i - floor(p_i)
//   clip       if min_i < max_i and p_i is outside of [min_i, max_i], p_i becomes -1, where
//              textures are undefined
#include "host/shaders/shader_tools.h"

#include <cmath>

namespace {

struct TextureRemapParameters {
    miVector input;
    miScalar transform[16];
    miVector repeat;
    miBoolean alt_x, alt_y, alt_z, torus_x, torus_y, torus_z;
    miVector min, max, offset;
};

miVector transformed(const miVector& p, const miScalar* m) {
    if (m[15] == 0) return p;
    return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12],
            p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
            p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
}

struct Axis {
    miScalar repeat, offset, min, max;
    bool alternate, wrap;
};

miScalar remapped(miScalar p, const Axis& axis) {
    if (axis.repeat != 0) p *= axis.repeat;
    p += axis.offset;
    const miScalar tile = std::floor(p);
    if (axis.alternate && std::fmod(std::abs(tile), 2.0f) == 1) p = 2 * tile + 1 - p;
    if (axis.wrap) {
        p -= std::floor(p);
        if (!(p < 1)) p = 0; // a tiny negative number is rounded up to 1
    }
    if (axis.min < axis.max && (p < axis.min || p > axis.max)) p = -1;
    return p;
}

} // namespace

VX_SHADER(mib_texture_remap, miVector, TextureRemapParameters) {
    const auto flag = [&](miBoolean* b) { return *mi_eval_boolean(b) != miFALSE; };
    const miVector input = *mi_eval_vector(&parameters->input);
    const miVector p = transformed(input, mi_eval_transform(parameters->transform));
    const miVector repeat = *mi_eval_vector(&parameters->repeat);
    const miVector offset = *mi_eval_vector(&parameters->offset);
    const miVector low = *mi_eval_vector(&parameters->min);
    const miVector high = *mi_eval_vector(&parameters->max);
    result->x = remapped(p.x, {repeat.x, offset.x, low.x, high.x, flag(&parameters->alt_x),
                               flag(&parameters->torus_x)});
    result->y = remapped(p.y, {repeat.y, offset.y, low.y, high.y, flag(&parameters->alt_y),
                               flag(&parameters->torus_y)});
    result->z = remapped(p.z, {repeat.z, offset.z, low.z, high.z, flag(&parameters->alt_z),
                               flag(&parameters->torus_z)});
    return miTRUE;
}
