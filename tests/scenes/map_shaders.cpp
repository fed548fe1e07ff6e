// Shaders that pass maps by tag.
#include "shader.h"

#include "mi_shader_if.h"

#include <cmath>

using namespace mi::shader_v3;

extern "C" {

struct StoreMap {
    miScalar value;
};
DLLEXPORT int t_store_map_version(void) {
    return 1;
}
// Stores a map of one point per call; its field is the value plus the pixel's column. The result is
// the map's tag.
DLLEXPORT miBoolean t_store_map(miInteger* result, miState* state, StoreMap* p) {
    Map_declaration declaration(3);
    declaration->append_field("value", Map_field_type::Scalar);
    Edit_map map(declaration);
    Map_element element(declaration);
    element->set(0u, *mi_eval_scalar(&p->value) + std::floor(state->raster_x));
    map->append(element);
    map->consolidate();
    *result = static_cast<miInteger>(map.store());
    return miTRUE;
}

struct ReadMap {
    miInteger map;
};
DLLEXPORT int t_read_map_version(void) {
    return 1;
}
// Red is the field of the point, green the number of points, blue the element's type.
DLLEXPORT miBoolean t_read_map(miColor* result, miState* state, ReadMap* p) {
    const miTag tag = static_cast<miTag>(*mi_eval_integer(&p->map));
    *result = {-1.0f, -1.0f, -1.0f, 1.0f};
    const Access_map map(tag);
    Map_lookup lookup(map);
    const float origin[3] = {0.0f, 0.0f, 0.0f};
    lookup->search(Map_quad_distance<3>(origin), 1, 1.0f);
    if (lookup->is_empty()) return miTRUE;
    lookup->get(0u, result->r);
    result->g = static_cast<float>(map->size());
    result->b = static_cast<float>(mi_db_type(tag));
    return miTRUE;
}

} // extern "C"
