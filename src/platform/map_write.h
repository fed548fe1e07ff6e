// Writing maps: the functions of declarations and elements, which the renderer's public manual does
// not name. Wrappers, maps and statuses are documented and used directly. Building against a
// renderer's own headers changes this folder only.
#pragma once

#include "src/platform/renderer.h"

namespace map_write {

// Whether a wrapper holds an object. It is empty if the renderer has no map interface.
template <class Wrapper>
bool HoldsObject(Wrapper& wrapper) {
    return wrapper.operator->() != nullptr;
}

// The types of fields; their values are miVector, float and int.
enum class FieldType { Vector, Scalar, Integer };

inline mi::shader_v3::Map_field_type TypeForRenderer(FieldType type) {
    if (type == FieldType::Vector) return mi::shader_v3::Map_field_type::Vector;
    if (type == FieldType::Scalar) return mi::shader_v3::Map_field_type::Scalar;
    return mi::shader_v3::Map_field_type::Integer;
}

inline void AddField(mi::shader_v3::Map_declaration& declaration, const char* name,
                     FieldType type) {
    declaration->append_field(name, TypeForRenderer(type));
}

// The identifier of a field. Every function rejects that of an unknown name.
inline mi::shader_v3::Map_field_id FieldId(const mi::shader_v3::Map_declaration& declaration,
                                           const char* name) {
    return declaration->get_field_id(name);
}

// `element` has dimension 3.
inline void SetPosition(mi::shader_v3::Map_element& element, const miVector& position) {
    const float coordinates[3] = {position.x, position.y, position.z};
    element->set_position(coordinates);
}
// T is the C++ type of the field: miVector, float or int.
template <class T>
void SetField(mi::shader_v3::Map_element& element, mi::shader_v3::Map_field_id field,
              const T& value) {
    element->set(field, value);
}

} // namespace map_write
