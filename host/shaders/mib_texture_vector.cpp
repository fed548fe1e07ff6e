// Returns a vector of the hit point, for texture lookups.
//   select    0 to 63 a texture space; -1 point, -2 normal, -3 motion, -4 ray direction, -5 to -9
//             derivatives, -10 image coordinates (0 to 1), -11 the state's texture coordinate
//   selspace  for point, normal, motion, direction and derivatives: 0 internal, 1 object, 2 world,
//             3 camera, 4 screen (points only: x from -1 to 1 over the image's width)
//   vertex    for texture spaces: 0 at the hit, 1 to 3 at a corner of the triangle
//   project   for the vector p, its length r, and a = atan2(p.x, p.z) / 2pi + 1/2:
//             0 p; 1 (x, y, 0); 2 (x, y, 0); 3 (x, z, 0); 4 (y, z, 0);
//             5 spherical (a, asin(y / r) / pi + 1/2, 0); 6 cylindrical (a, y, 0);
//             7 lollipop (polar projection of the sphere): (1 + d sin 2pi a, 1 + d cos 2pi a, 0) /
//             2 with d = acos(y / r) / pi
// Returns false and a null vector if the selected vector does not exist.
#include "host/shaders/shader_tools.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

struct TextureVectorParameters {
    miInteger select, selspace, vertex, project;
};

enum Space : miInteger { internal_space, object_space, world_space, camera_space, screen_space };

bool texture_space(miState* state, int space, int vertex, miVector* v) {
    constexpr int kLastSpace = 63;
    miVector *a = nullptr, *b = nullptr, *c = nullptr;
    if (space > kLastSpace || !mi_tri_vectors(state, 't', space, &a, &b, &c)) return false;
    switch (vertex) {
    case 1:
        *v = *a;
        return true;
    case 2:
        *v = *b;
        return true;
    case 3:
        *v = *c;
        return true;
    default:
        if (state->tex_list == nullptr) return false;
        *v = state->tex_list[space];
        return true;
    }
}

void to_screen(miState* state, miVector* v) {
    mi_point_to_camera(state, v, v);
    const miCamera* const camera = state->camera;
    const miScalar scale = 2 / camera->aperture;
    const miScalar depth = camera->orthographic ? 1 : -v->z / camera->focal;
    v->x *= scale / depth;
    v->y *= scale / depth;
}

void point_in_space(miState* state, int space, miVector* v) {
    switch (space) {
    case object_space:
        return mi_point_to_object(state, v, v);
    case world_space:
        return mi_point_to_world(state, v, v);
    case camera_space:
        return mi_point_to_camera(state, v, v);
    case screen_space:
        return to_screen(state, v);
    default:
        return;
    }
}

void vector_in_space(miState* state, int space, miVector* v, bool normal) {
    switch (space) {
    case object_space:
        return normal ? mi_normal_to_object(state, v, v) : mi_vector_to_object(state, v, v);
    case world_space:
        return normal ? mi_normal_to_world(state, v, v) : mi_vector_to_world(state, v, v);
    case camera_space:
        return normal ? mi_normal_to_camera(state, v, v) : mi_vector_to_camera(state, v, v);
    default:
        return;
    }
}

bool select_vector(miState* state, int select, int space, int vertex, miVector* v) {
    constexpr int kFirstDerivative = -5, kLastDerivative = -9;
    if (select >= 0) return texture_space(state, select, vertex, v);
    if (select <= kFirstDerivative && select >= kLastDerivative) {
        const miVector* const derivative = state->derivs[kFirstDerivative - select];
        if (derivative == nullptr) return false;
        *v = *derivative;
        vector_in_space(state, space, v, false);
        return true;
    }
    switch (select) {
    case -1:
        *v = state->point;
        point_in_space(state, space, v);
        return true;
    case -2:
        *v = state->normal;
        vector_in_space(state, space, v, true);
        return true;
    case -3:
        *v = state->motion;
        vector_in_space(state, space, v, false);
        return true;
    case -4:
        *v = state->dir;
        vector_in_space(state, space, v, false);
        return true;
    case -10:
        *v = {state->raster_x / static_cast<miScalar>(state->camera->x_resolution),
              state->raster_y / static_cast<miScalar>(state->camera->y_resolution), 0};
        return true;
    case -11:
        *v = state->tex;
        return true;
    default:
        return false;
    }
}

miVector project_vector(const miVector& p, int project) {
    constexpr miScalar kPi = std::numbers::pi_v<miScalar>;
    const miScalar length = mi_vector_norm(&p);
    const miScalar height = length > 0 ? std::clamp(p.y / length, -1.0f, 1.0f) : 0;
    const miScalar around = std::atan2(p.x, p.z) / (2 * kPi) + 0.5f;
    switch (project) {
    case 1:
    case 2:
        return {p.x, p.y, 0};
    case 3:
        return {p.x, p.z, 0};
    case 4:
        return {p.y, p.z, 0};
    case 5:
        return {around, std::asin(height) / kPi + 0.5f, 0};
    case 6:
        return {around, p.y, 0};
    case 7: {
        const miScalar d = std::acos(height) / kPi;
        return {(1 + d * std::sin(2 * kPi * around)) / 2, (1 + d * std::cos(2 * kPi * around)) / 2,
                0};
    }
    default:
        return p;
    }
}

} // namespace

VX_SHADER(mib_texture_vector, miVector, TextureVectorParameters) {
    const miInteger select = *mi_eval_integer(&parameters->select);
    const miInteger space = *mi_eval_integer(&parameters->selspace);
    const miInteger vertex = *mi_eval_integer(&parameters->vertex);
    *result = {0, 0, 0};
    if (!select_vector(state, select, space, vertex, result)) return miFALSE;
    *result = project_vector(*result, *mi_eval_integer(&parameters->project));
    return miTRUE;
}
