// Reading maps: the functions of the map interface that the renderer's public manual does not name.
// Building against a renderer's own headers changes this folder only.
#pragma once

#include "src/platform/renderer.h"

#include <cstring>

namespace map_read {

// The identifier of no field.
constexpr mi::shader_v3::Map_field_id kNoField = mi::shader_v3::map_no_such_field;

// ---- a declaration ----

inline bool HasField(const mi::shader_v3::Map_declaration& declaration, const char* name) {
    const mi::shader_v3::Map_declaration_base* fields = declaration.operator->();
    return fields != nullptr && fields->has_field(name);
}
inline mi::shader_v3::Map_field_id FieldId(const mi::shader_v3::Map_declaration& declaration,
                                           const char* name) {
    return declaration->get_field_id(name);
}

// ---- an element: a candidate of a search, or the current result of a lookup ----

// The value of a field; `absent` if the element has no such field or one of another kind.
template <class Value, class Element>
Value Field(const Element& element, mi::shader_v3::Map_field_id field, Value absent) {
    Value value = absent;
    return element.get(field, value).is_ok() ? value : absent;
}

// One float per dimension of the map.
inline const float* Position(const mi::shader_v3::Map_iterator_base& element) {
    return element.get_position();
}

// ---- a lookup ----
//
// A lookup that the renderer could not create stays empty. All functions but Search and IsEmpty
// require a lookup that is not empty.

// Finds the `most` elements nearest by `distance`, up to a limit that is squared like the functor's
// distances. Results are sorted by increasing distance; the first one is the current one.
template <miUint DIM>
void Search(mi::shader_v3::Map_lookup& lookup, const mi::shader_v3::Map_distance<DIM>& distance,
            int most, float squaredLimit) {
    if (lookup.operator->() != nullptr) lookup->search(distance, most, squaredLimit);
}
inline bool IsEmpty(mi::shader_v3::Map_lookup& lookup) {
    return lookup.operator->() == nullptr || lookup->is_empty();
}
inline int Size(mi::shader_v3::Map_lookup& lookup) {
    return static_cast<int>(lookup->size());
}
inline bool AtEnd(mi::shader_v3::Map_lookup& lookup) {
    return lookup->at_end();
}
inline void Next(mi::shader_v3::Map_lookup& lookup) {
    lookup->next();
}
// The value that the functor returned for the current result, unchanged.
inline float SquaredDistance(mi::shader_v3::Map_lookup& lookup) {
    return lookup->get_squared_distance();
}
inline const mi::shader_v3::Map_lookup_base& Current(mi::shader_v3::Map_lookup& lookup) {
    return *lookup.operator->();
}

// ---- a second access to a map that is accessed already ----

// Keeps the map alive until it is destroyed.
class CSecondAccess {
  public:
    explicit CSecondAccess(const mi::shader_v3::Access_map& map) : m_handle(nullptr) {
        // The wrapper consists of this pointer and has no accessor for it.
        mi::shader_v3::Access_map_dbhandle* first;
        // NOLINTNEXTLINE(bugprone-sizeof-expression): the pointer itself is copied
        std::memcpy(&first, static_cast<const void*>(&map), sizeof first);
        mi::shader_v3::Interface* const interface = mi_get_shader_interface(3);
        if (interface == nullptr) return;
        m_handle = interface->shareMap(first);
        interface->release();
    }
    ~CSecondAccess() { delete m_handle; }
    CSecondAccess(const CSecondAccess&) = delete;
    CSecondAccess& operator=(const CSecondAccess&) = delete;

  private:
    mi::shader_v3::Access_map_dbhandle* m_handle;
};

} // namespace map_read
