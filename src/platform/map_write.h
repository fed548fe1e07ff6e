// The parts of the map interface for making maps whose names the renderer's public manual does not
// give: the calls on declarations and elements. Wrappers, maps and statuses are used by their own
// names, which are documented. To build against a renderer's own headers, change this folder and
// nothing else.
#ifndef VX_SRC_PLATFORM_MAP_WRITE_H
#define VX_SRC_PLATFORM_MAP_WRITE_H

#include "src/platform/renderer.h"

namespace map_write {

// Whether a wrapper holds anything: it does not when the renderer has no interface to offer.
template <class Wrapper>
bool HoldsObject(Wrapper& wrapper) {
    return wrapper.operator->() != nullptr;
}

inline void AddVectorField(mi::shader_v3::Map_declaration& declaration, const char* name) {
    declaration->append_field(name, mi::shader_v3::Map_field_type::Vector);
}
inline void AddScalarField(mi::shader_v3::Map_declaration& declaration, const char* name) {
    declaration->append_field(name, mi::shader_v3::Map_field_type::Scalar);
}
inline void AddIntegerField(mi::shader_v3::Map_declaration& declaration, const char* name) {
    declaration->append_field(name, mi::shader_v3::Map_field_type::Integer);
}

// The field's number; one that every call refuses for an unknown name.
inline mi::shader_v3::Map_field_id FieldId(const mi::shader_v3::Map_declaration& declaration,
                                           const char* name) {
    return declaration->get_field_id(name);
}

// `position` has three floats, `element` the dimension 3.
inline void SetPosition(mi::shader_v3::Map_element& element, const miVector& position) {
    const float coordinates[3] = {position.x, position.y, position.z};
    element->set_position(coordinates);
}
// T is the field's C++ type: miVector, float or int.
template <class T>
void SetField(mi::shader_v3::Map_element& element, mi::shader_v3::Map_field_id field,
              const T& value) {
    element->set(field, value);
}

} // namespace map_write

#endif
