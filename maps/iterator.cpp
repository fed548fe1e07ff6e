#include "maps/iterator.h"

#include "maps/map.h"

namespace vx::maps {

void Candidate::attach(const Map& map, const Body& body, const Map_column* columns, miUint count) {
    m_map = &map;
    m_body = &body;
    m_columns = columns;
    m_column_count = count;
    m_absent = Map_status::No_such_field;
    m_position = m_place;
}

void Candidate::detach() {
    m_map = nullptr;
    m_body = nullptr;
    m_column_count = 0;
    m_absent = Map_status::Iterator_invalid;
    m_position = nullptr;
}

miUint Candidate::get_index() const {
    return m_body != nullptr ? m_body->order()[m_row] : 0;
}

MapIterator::MapIterator(const Map& map, miUint index) : m_map(&map), m_index(index) {
    if (const DeclarationPtr& declaration = map.declaration()) {
        m_words.assign(declaration->record_words, 0);
        for (const Field& field : declaration->fields) {
            const auto* const from = field.is_global ? map.globals() : m_words.data();
            m_own_columns.push_back({reinterpret_cast<const unsigned char*>(from + field.offset), 0,
                                     field.type, field.length});
        }
    }
    m_columns = m_own_columns.data();
    load();
}

void MapIterator::load() {
    const bool here = m_index < m_map->size();
    // The map may have been read from another file since, with other fields.
    const bool fits =
        here && m_map->declaration() && m_map->declaration()->record_words == m_words.size();
    if (fits) m_map->copy_record(m_index, m_words.data());
    m_column_count = fits ? static_cast<miUint>(m_own_columns.size()) : 0;
    m_absent = fits ? Map_status::No_such_field
                    : (here ? Map_status::Iterator_invalid : Map_status::Iterator_past_end);
    m_position = fits ? reinterpret_cast<const float*>(m_words.data()) : nullptr;
}

miUint MapIterator::get_index() const {
    return at_end() ? 0 : m_index;
}

bool MapIterator::at_end() const {
    return m_index >= m_map->size();
}

Map_status MapIterator::next() {
    if (at_end()) return Map_status::Iterator_past_end;
    ++m_index;
    load();
    return Map_status::OK;
}

Map_status MapIterator::go_to(const miUint index) {
    if (index >= m_map->size()) return Map_status::Iterator_out_of_bounds;
    m_index = index;
    load();
    return Map_status::OK;
}

} // namespace vx::maps
