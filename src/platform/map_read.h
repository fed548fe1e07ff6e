// The parts of the map interface for reading whose names the renderer's public manual does not
// give. The rest of the library says what it wants in these words; to build against a renderer's
// own headers, change this folder and nothing else.
//
// Fields: where an element has no such field, or one of another kind, the result is `absent`.
#ifndef VX_SRC_PLATFORM_MAP_READ_H
#define VX_SRC_PLATFORM_MAP_READ_H

#include "src/platform/renderer.h"

#include <cstring>

namespace map_read {

// An identifier that no field has.
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

template <class Value, class Element>
Value Field(const Element& element, mi::shader_v3::Map_field_id field, Value absent) {
    Value value = absent;
    return element.get(field, value).is_ok() ? value : absent;
}

// As many floats as the map has dimensions.
inline const float* Position(const mi::shader_v3::Map_iterator_base& element) {
    return element.get_position();
}

// ---- a lookup ----
//
// One that could not be made stays empty; all but Search and IsEmpty are for lookups that are not.

// Finds at most `most` elements nearest by `distance`, none farther than the limit, which is
// squared like the functor's distances. The result goes from near to far, and starts there.
template <miUint DIM>
void Search(mi::shader_v3::Map_lookup& lookup, const mi::shader_v3::Map_distance<DIM>& distance,
            int most, float squared_limit) {
    if (lookup.operator->() != nullptr) lookup->search(distance, most, squared_limit);
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
// The very value that the functor returned for the current result.
inline float SquaredDistance(mi::shader_v3::Map_lookup& lookup) {
    return lookup->get_squared_distance();
}
inline const mi::shader_v3::Map_lookup_base& Current(mi::shader_v3::Map_lookup& lookup) {
    return *lookup.operator->();
}

// ---- a second access to a map that is accessed already ----

// Keeps the map alive for as long as it lives itself.
class CSecondAccess {
  public:
    explicit CSecondAccess(const mi::shader_v3::Access_map& map) : m_handle(nullptr) {
        // The wrapper is one pointer and has no function that gives it.
        mi::shader_v3::Access_map_dbhandle* first;
        // NOLINTNEXTLINE(bugprone-sizeof-expression): that pointer itself is what is copied
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

#endif
