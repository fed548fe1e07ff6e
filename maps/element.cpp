#include "maps/element.h"

namespace vx::maps {

void ElementObject::adopt(DeclarationPtr declaration) {
    m_words.assign(declaration ? declaration->record_words : 0, 0u);
    m_declaration = std::move(declaration);
}

Map_status ElementObject::set_position(const float* position) {
    if (!m_declaration) return Map_status::No_declaration;
    if (position == nullptr) return Map_status::Failure;
    std::memcpy(m_words.data(), position, m_declaration->dimension * sizeof(float));
    return Map_status::OK;
}

Map_status ElementObject::get_position(float* position) const {
    if (!m_declaration) return Map_status::No_declaration;
    if (position == nullptr) return Map_status::Failure;
    std::memcpy(position, m_words.data(), m_declaration->dimension * sizeof(float));
    return Map_status::OK;
}

Status ElementObject::copy_out(Map_field_id id, Map_field_type::Type type, void* value) const {
    if (!m_declaration) return Map_status::No_declaration;
    const Field* field = nullptr;
    const Status status = m_declaration->locate(id, type, false, field);
    if (status != Map_status::OK) return status;
    if (value == nullptr) return Map_status::Field_null_array;
    std::memcpy(value, m_words.data() + field->offset, field->bytes());
    return Map_status::OK;
}

Status ElementObject::copy_in(Map_field_id id, Map_field_type::Type type, const void* value) {
    if (!m_declaration) return Map_status::No_declaration;
    const Field* field = nullptr;
    const Status status = m_declaration->locate(id, type, false, field);
    if (status != Map_status::OK) return status;
    if (value == nullptr) return Map_status::Field_null_array;
    std::memcpy(m_words.data() + field->offset, value, field->bytes());
    return Map_status::OK;
}

// copy_in() for values of a known size: a bake sets four of them per point.
template <class T>
Status ElementObject::copy_one_in(Map_field_id id, Map_field_type::Type type, const T& value) {
    if (!m_declaration) return Map_status::No_declaration;
    const Field* field = nullptr;
    const Status status = m_declaration->locate(id, type, false, field);
    if (status != Map_status::OK) return status;
    std::memcpy(m_words.data() + field->offset, &value, sizeof value);
    return Map_status::OK;
}

Map_status ElementObject::get(const Map_field_id id, float& value) const {
    return copy_out(id, Map_field_type::Scalar, &value);
}
Map_status ElementObject::get(const Map_field_id id, int& value) const {
    return copy_out(id, Map_field_type::Integer, &value);
}
Map_status ElementObject::get(const Map_field_id id, miVector& value) const {
    return copy_out(id, Map_field_type::Vector, &value);
}
Map_status ElementObject::get(const Map_field_id id, miColor& value) const {
    return copy_out(id, Map_field_type::Color, &value);
}
Map_status ElementObject::get(const Map_field_id id, miMatrix* value) const {
    return copy_out(id, Map_field_type::Transform, value);
}
Map_status ElementObject::get(const Map_field_id id, float* value) const {
    return copy_out(id, Map_field_type::Scalar_array, value);
}
Map_status ElementObject::get(const Map_field_id id, int* value) const {
    return copy_out(id, Map_field_type::Integer_array, value);
}

Map_status ElementObject::set(const Map_field_id id, const float value) {
    return copy_one_in(id, Map_field_type::Scalar, value);
}
Map_status ElementObject::set(const Map_field_id id, const int value) {
    return copy_one_in(id, Map_field_type::Integer, value);
}
Map_status ElementObject::set(const Map_field_id id, const miVector& value) {
    return copy_one_in(id, Map_field_type::Vector, value);
}
Map_status ElementObject::set(const Map_field_id id, const miColor& value) {
    return copy_one_in(id, Map_field_type::Color, value);
}
Map_status ElementObject::set(const Map_field_id id, const miMatrix* value) {
    return copy_in(id, Map_field_type::Transform, value);
}
Map_status ElementObject::set(const Map_field_id id, const float* value) {
    return copy_in(id, Map_field_type::Scalar_array, value);
}
Map_status ElementObject::set(const Map_field_id id, const int* value) {
    return copy_in(id, Map_field_type::Integer_array, value);
}

} // namespace vx::maps
