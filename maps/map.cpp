#include "maps/map.h"

#include "maps/build.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vx::maps {

using mi::shader_v3::Map_element;

namespace {

const ElementObject* object_of(const Map_element& element) {
    // This engine creates all elements.
    return static_cast<const ElementObject*>(element.operator->());
}

ElementObject* object_of(Map_element& element) {
    return static_cast<ElementObject*>(element.operator->());
}

} // namespace

void Map::declare(DeclarationPtr declaration) {
    m_body.reset();
    m_appended.clear(declaration ? declaration->record_words : 0);
    m_changes.clear();
    m_globals.assign(declaration ? declaration->global_words : 0, 0u);
    m_declaration = std::move(declaration);
    set_columns();
}

void Map::adopt(BodyPtr body) {
    m_appended.clear(m_declaration->record_words);
    m_changes.clear();
    m_body = std::move(body);
    set_columns();
}

void Map::set_columns() {
    m_columns.clear();
    if (!m_declaration) return;
    const bool has_elements = m_body && m_body->shape.count > 0;
    for (std::size_t i = 0; i < m_declaration->fields.size(); ++i) {
        const Field& field = m_declaration->fields[i];
        const unsigned char* data = nullptr;
        if (field.is_global) {
            data = reinterpret_cast<const unsigned char*>(m_globals.data() + field.offset);
        } else if (has_elements) {
            data = m_body->column(i);
        }
        const std::size_t stride = field.is_global ? 0 : std::size_t{field.words} * 4;
        m_columns.push_back({data, stride, field.type, field.length});
    }
}

std::uint32_t* Map::extend() {
    return body_count() + m_appended.count() < kMaxElements ? m_appended.extend() : nullptr;
}

void Map::swap(Map& other) noexcept {
    std::swap(m_declaration, other.m_declaration);
    std::swap(m_body, other.m_body);
    std::swap(m_appended, other.m_appended);
    std::swap(m_changes, other.m_changes);
    // Swapped vectors keep their memory, so the columns still point to the right global values.
    std::swap(m_globals, other.m_globals);
    std::swap(m_columns, other.m_columns);
}

void Map::copy_record(std::uint32_t index, std::uint32_t* words) const {
    const std::uint64_t in_body = body_count();
    if (index >= in_body) {
        std::memcpy(words, m_appended[index - in_body], m_appended.words() * 4);
        return;
    }
    if (!m_changes.empty()) {
        if (const auto found = m_changes.find(index); found != m_changes.end()) {
            std::copy(found->second.begin(), found->second.end(), words);
            return;
        }
    }
    m_body->copy_record(m_body->rank()[index], words);
}

Status Map::fitting(const Map_element& element, std::span<const std::uint32_t>& words) const {
    if (!m_declaration) return Map_status::No_declaration;
    const ElementObject* const object = object_of(element);
    if (object == nullptr || !object->declaration()) return Map_status::No_declaration;
    if (!same(object->declaration(), m_declaration)) return Map_status::Declaration_mismatch;
    words = object->words();
    return Map_status::OK;
}

Map_status Map::get(const miUint index, Map_element& map_element) const {
    ElementObject* const object = object_of(map_element);
    if (object == nullptr) return Map_status::Failure;
    if (!m_declaration) return Map_status::No_declaration;
    if (index >= size()) return Map_status::Out_of_bounds;
    try {
        if (!object->declaration()) object->adopt(m_declaration);
    } catch (const std::bad_alloc&) {
        return Map_status::Insufficient_memory;
    }
    if (!same(object->declaration(), m_declaration)) return Map_status::Declaration_mismatch;
    copy_record(index, object->words().data());
    return Map_status::OK;
}

Map_status Map::set(const miUint index, const Map_element& map_element) {
    std::span<const std::uint32_t> words;
    const Status status = fitting(map_element, words);
    if (status != Map_status::OK) return status;
    if (index >= size()) return Map_status::Out_of_bounds;
    try {
        if (index < body_count()) {
            m_changes[index].assign(words.begin(), words.end());
        } else {
            std::copy(words.begin(), words.end(), m_appended[index - body_count()]);
        }
    } catch (const std::bad_alloc&) {
        return Map_status::Insufficient_memory;
    }
    return Map_status::OK;
}

Map_status Map::append(const Map_element& map_element) {
    std::span<const std::uint32_t> words;
    const Status status = fitting(map_element, words);
    if (status != Map_status::OK) return status;
    try {
        std::uint32_t* const record = extend();
        if (record == nullptr) return Map_status::Insufficient_memory;
        std::memcpy(record, words.data(), words.size_bytes());
    } catch (const std::bad_alloc&) {
        return Map_status::Insufficient_memory;
    }
    return Map_status::OK;
}

BodyPtr Map::consolidated(float quality) const {
    if (m_body && is_consolidated()) return m_body;
    if (!m_body) return build_body(m_declaration, m_appended, quality);
    Records all(m_declaration->record_words);
    for (std::uint32_t i = 0; i < size(); ++i)
        copy_record(i, all.extend());
    return build_body(m_declaration, all, quality);
}

Map_status Map::consolidate(const float bvh_quality) {
    if (!m_declaration) return Map_status::No_declaration;
    try {
        BodyPtr body = consolidated(bvh_quality);
        if (body != m_body) adopt(std::move(body));
    } catch (const std::bad_alloc&) {
        return Map_status::Insufficient_memory;
    }
    return Map_status::OK;
}

Status Map::copy_global(Map_field_id id, Map_field_type::Type type, void* value) const {
    if (!m_declaration) return Map_status::No_declaration;
    const Field* field = nullptr;
    const Status status = m_declaration->locate(id, type, true, field);
    if (status != Map_status::OK) return status;
    if (value == nullptr) return Map_status::Field_null_array;
    std::memcpy(value, m_globals.data() + field->offset, field->bytes());
    return Map_status::OK;
}

Status Map::store_global(Map_field_id id, Map_field_type::Type type, const void* value) {
    if (!m_declaration) return Map_status::No_declaration;
    const Field* field = nullptr;
    const Status status = m_declaration->locate(id, type, true, field);
    if (status != Map_status::OK) return status;
    if (value == nullptr) return Map_status::Field_null_array;
    std::uint32_t* const words = m_globals.data() + field->offset;
    if (type == Map_field_type::String) {
        const std::size_t length = strnlen(static_cast<const char*>(value), field->length + 1u);
        if (length > field->length) return Map_status::Out_of_bounds;
        std::fill_n(words, field->words, 0u);
        std::memcpy(words, value, length);
    } else {
        std::memcpy(words, value, field->bytes());
    }
    return Map_status::OK;
}

Map_status Map::get(const Map_field_id id, float& value) const {
    return copy_global(id, Map_field_type::Scalar, &value);
}
Map_status Map::get(const Map_field_id id, int& value) const {
    return copy_global(id, Map_field_type::Integer, &value);
}
Map_status Map::get(const Map_field_id id, miVector& value) const {
    return copy_global(id, Map_field_type::Vector, &value);
}
Map_status Map::get(const Map_field_id id, miColor& value) const {
    return copy_global(id, Map_field_type::Color, &value);
}
Map_status Map::get(const Map_field_id id, miMatrix* value) const {
    return copy_global(id, Map_field_type::Transform, value);
}
Map_status Map::get(const Map_field_id id, float* value) const {
    return copy_global(id, Map_field_type::Scalar_array, value);
}
Map_status Map::get(const Map_field_id id, int* value) const {
    return copy_global(id, Map_field_type::Integer_array, value);
}
Map_status Map::get(const Map_field_id id, char* value) const {
    return copy_global(id, Map_field_type::String, value);
}

Map_status Map::set(const Map_field_id id, const float value) {
    return store_global(id, Map_field_type::Scalar, &value);
}
Map_status Map::set(const Map_field_id id, const int value) {
    return store_global(id, Map_field_type::Integer, &value);
}
Map_status Map::set(const Map_field_id id, const miVector& value) {
    return store_global(id, Map_field_type::Vector, &value);
}
Map_status Map::set(const Map_field_id id, const miColor& value) {
    return store_global(id, Map_field_type::Color, &value);
}
Map_status Map::set(const Map_field_id id, const miMatrix* value) {
    return store_global(id, Map_field_type::Transform, value);
}
Map_status Map::set(const Map_field_id id, const float* value) {
    return store_global(id, Map_field_type::Scalar_array, value);
}
Map_status Map::set(const Map_field_id id, const int* value) {
    return store_global(id, Map_field_type::Integer_array, value);
}
Map_status Map::set(const Map_field_id id, const char* value) {
    return store_global(id, Map_field_type::String, value);
}

} // namespace vx::maps
