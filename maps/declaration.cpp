#include "maps/declaration.h"

#include <algorithm>
#include <new>

namespace vx::maps {

namespace {

std::uint32_t words_of(Map_field_type::Type type, std::uint32_t length) {
    switch (type) {
    case Map_field_type::Integer:
    case Map_field_type::Scalar:
        return 1;
    case Map_field_type::Vector:
        return 3;
    case Map_field_type::Color:
        return 4;
    case Map_field_type::Transform:
        return 16;
    case Map_field_type::Integer_array:
    case Map_field_type::Scalar_array:
        return length;
    case Map_field_type::String:
        return length / 4 + 1;
    case Map_field_type::Undefined:
        break;
    }
    return 0;
}

bool is_name_character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '_' || c == '-' || c == ':';
}

} // namespace

std::size_t Field::bytes() const {
    return type == Map_field_type::String ? std::size_t{length} + 1 : std::size_t{words} * 4;
}

Status Declaration::append(std::string_view name, Map_field_type::Type type, std::uint32_t length,
                           bool is_global) {
    if (dimension < 1 || dimension > kMaxDimension) return Map_status::Wrong_dimension;
    if (name.empty()) return Map_status::Field_name_empty;
    if (name.size() > kMaxNameLength) return Map_status::Field_name_too_long;
    if (!std::all_of(name.begin(), name.end(), is_name_character)) {
        return Map_status::Field_name_illegal;
    }
    const bool is_array = type == Map_field_type::Integer_array ||
                          type == Map_field_type::Scalar_array || type == Map_field_type::String;
    if (!is_array) length = 1;
    const std::uint32_t words = words_of(type, length);
    if (type != Map_field_type::String && !is_array && words == 0) {
        return Map_status::Field_undefined;
    }
    if (length == 0) return Map_status::Field_null_array;
    if (length > kMaxFieldLength) return Map_status::Out_of_bounds;
    if (type == Map_field_type::String && !is_global) return Map_status::Field_illegal;
    if (fields.size() >= kMaxFields || find(name) != map_no_such_field) {
        return Map_status::Field_illegal;
    }
    std::uint64_t& end = is_global ? global_words : record_words;
    if (end + words > kMaxWords) return Map_status::Out_of_bounds;
    fields.push_back({std::string(name), type, length, is_global, words, end});
    end += words;
    return Map_status::OK;
}

Map_field_id Declaration::find(std::string_view name) const {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const Field& field) { return field.name == name; });
    return found == fields.end() ? map_no_such_field
                                 : static_cast<Map_field_id>(found - fields.begin());
}

Status Declaration::locate(Map_field_id id, Map_field_type::Type type, bool is_global,
                           const Field*& field) const {
    if (id >= fields.size()) return Map_status::No_such_field;
    field = &fields[id];
    if (field->is_global != is_global) return Map_status::Field_illegal;
    return field->type == type ? Map_status::OK : Map_status::Field_type_mismatch;
}

DeclarationPtr DeclarationObject::snapshot() const {
    return m_content->dimension == 0 ? nullptr : m_content;
}

Map_status DeclarationObject::append_field(const char* name, const Map_field_type type,
                                           const miUint length, const bool is_global) {
    try {
        const auto changed = std::make_shared<Declaration>(*m_content);
        const Status status =
            changed->append(name != nullptr ? name : "", type.get_type(), length, is_global);
        if (status == Map_status::OK) m_content = changed;
        return status;
    } catch (const std::bad_alloc&) {
        return Map_status::Insufficient_memory;
    }
}

bool DeclarationObject::has_field(const char* name) const {
    return name != nullptr && m_content->find(name) != map_no_such_field;
}

Map_field_id DeclarationObject::get_field_id(const char* name, Map_status* status) const {
    const Map_field_id id = name != nullptr ? m_content->find(name) : map_no_such_field;
    report(status, id == map_no_such_field ? Map_status::No_such_field : Map_status::OK);
    return id;
}

miUint DeclarationObject::get_field_count() const {
    return static_cast<miUint>(m_content->fields.size());
}

const char* DeclarationObject::get_field_name(const Map_field_id field_id) const {
    return field_id < m_content->fields.size() ? m_content->fields[field_id].name.c_str() : nullptr;
}

Map_field_type DeclarationObject::get_field_type(const Map_field_id field_id) const {
    return field_id < m_content->fields.size() ? m_content->fields[field_id].type
                                               : Map_field_type::Undefined;
}

miUint DeclarationObject::get_field_length(const Map_field_id field_id) const {
    return field_id < m_content->fields.size() ? m_content->fields[field_id].length : 0;
}

bool DeclarationObject::is_field_global(const Map_field_id field_id) const {
    return field_id < m_content->fields.size() && m_content->fields[field_id].is_global;
}

bool DeclarationObject::is_equal(const Map_declaration_base* other) const {
    // This engine creates all declarations.
    return other != nullptr &&
           *m_content == *static_cast<const DeclarationObject*>(other)->m_content;
}

} // namespace vx::maps
