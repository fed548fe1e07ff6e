#include "maps/lookup.h"

#include "maps/map.h"

#include <new>

namespace vx::maps {

namespace {

// Memory of destroyed lookups, for the next ones of the same thread.
class Spares {
  public:
    Spares() = default;
    Spares(const Spares&) = delete;
    Spares& operator=(const Spares&) = delete;
    ~Spares() {
        while (m_count > 0)
            free_memory(m_spares[--m_count]);
        m_count = kMaxSpares + 1;
    }
    void* take() {
        if (m_count > 0 && m_count <= kMaxSpares) return m_spares[--m_count];
        return ::operator new (sizeof(LookupObject), std::align_val_t{alignof(LookupObject)});
    }
    // A lookup may be destroyed after its thread's Spares, whose destructor marks them as full.
    void give(void* memory) {
        if (m_count < kMaxSpares) {
            m_spares[m_count++] = memory;
        } else {
            free_memory(memory);
        }
    }

  private:
    static constexpr unsigned kMaxSpares = 8;
    static void free_memory(void* memory) {
        ::operator delete (memory, std::align_val_t{alignof(LookupObject)});
    }

    unsigned m_count = 0;
    void* m_spares[kMaxSpares] = {};
};

thread_local Spares spares;

} // namespace

void* LookupObject::operator new(std::size_t) {
    return spares.take();
}

void LookupObject::operator delete(void* memory) {
    spares.give(memory);
}

LookupObject::LookupObject(const LookupObject& other)
    : Map_lookup_base(other),
      m_map(other.m_map),
      m_body(other.m_body),
      m_searched(other.m_searched),
      m_best(other.m_best) {
    const auto place = other.m_current - other.m_begin;
    m_begin = m_searched ? m_best.results() : nullptr;
    m_end = m_begin + (other.m_end - other.m_begin);
    m_current = m_begin + place;
}

Map_status LookupObject::search_with(const Map_distance_base& distance,
                                     const float* euclidean_point, const int max_count,
                                     const float max_squared_distance) {
    m_begin = m_current = m_end = nullptr;
    m_searched = true;
    m_absent = Map_status::Lookup_past_end;
    m_column_count = 0;
    const Body* const body = m_map->body();
    m_body = body;
    const DeclarationPtr& declaration = m_map->declaration();
    if (!declaration) return Map_status::No_declaration;
    if (distance.get_dimension() != declaration->dimension) {
        return Map_status::Lookup_dimension_mismatch;
    }
    // A limit that is not a number excludes everything.
    const bool hopeless = max_count <= 0 || max_squared_distance != max_squared_distance;
    if (hopeless || body == nullptr || body->shape.count == 0) return Map_status::OK;
    m_columns = m_map->columns();
    m_all_columns = m_map->column_count();
    m_candidate.attach(*m_map, *body, m_columns, m_all_columns);
    Status status = Map_status::OK;
    try {
        m_best.begin(static_cast<std::uint32_t>(max_count), max_squared_distance, body->order());
        search_for(declaration->dimension)(
            {body, &distance, euclidean_point, &m_candidate, &m_best});
    } catch (const std::bad_alloc&) {
        m_best.begin(1, 0.0f, body->order());
        status = Map_status::Insufficient_memory;
    }
    m_candidate.detach();
    m_begin = m_current = m_best.results();
    m_end = m_begin + m_best.result_count();
    settle();
    return status;
}

Status LookupObject::current() const {
    if (!m_searched) return Map_status::Lookup_no_previous_search;
    return m_current == m_end ? Map_status::Lookup_past_end : Map_status::OK;
}

Map_status LookupObject::rewind() {
    if (!m_searched) return Map_status::Lookup_no_previous_search;
    m_current = m_begin;
    settle();
    return Map_status::OK;
}

Map_status LookupObject::go_to(const miUint index) {
    if (!m_searched) return Map_status::Lookup_no_previous_search;
    if (index >= size()) return Map_status::Lookup_out_of_bounds;
    m_current = m_begin + index;
    settle();
    return Map_status::OK;
}

Map_status LookupObject::get_index(miUint& index) const {
    const Status status = current();
    if (status == Map_status::OK) index = m_body->order()[m_current->row];
    return status;
}

Map_status LookupObject::get_position(float* position) const {
    const Status status = current();
    if (status != Map_status::OK) return status;
    if (position == nullptr) return Map_status::Failure;
    m_body->copy_position(m_current->row, position);
    return Map_status::OK;
}

} // namespace vx::maps
