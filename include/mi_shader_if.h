/// @file
/// The renderer's versioned C++ interface object. C++ only; include shader.h, which includes this
/// header.
///
/// A shader library resolves mi_get_shader_interface() at load time and reaches everything else
/// through virtual functions. Slots 1 to 12 of the virtual table are in the documented order; the
/// others are our choice. Functions are only appended.
#pragma once

#include "shader.h"
#include "shader_map.h"

const int mi_ray_interface_version = 3;

namespace mi {
namespace shader_v3 {
struct Interface;
class Options;
class LightList;
} // namespace shader_v3
} // namespace mi

/// The renderer's interface object.
/// @return owned by the renderer, valid until its release(); null if the version is unknown
extern "C" mi::shader_v3::Interface*
mi_get_shader_interface(int version = mi_ray_interface_version);

namespace mi {
namespace shader_v3 {

/// Factory functions for maps. Objects that they return belong to the caller, who deletes them.
/// `status` receives the result and may be null.
struct Interface {
    virtual Options* getOptions(miTag string_options) = 0;
    virtual miTag createFramebuffer() = 0;
    virtual miTag copyFramebuffer(miTag old_buffer_tag) = 0;
    virtual LightList* createLightList(miState* state, miTag* slist = 0, int n = 0) = 0;
    /// Releases the interface, which must not be used or deleted afterwards.
    virtual void release() = 0;
    virtual LightList* createLightList(miState* state, const miVector& axis, miScalar spread_cos,
                                       miTag* slist = 0, int n = 0) = 0;
    /// @param map_declaration  null for a map without a declaration
    /// @return an empty map, never null
    virtual Edit_map_dbhandle* createMap(const Map_declaration_base* map_declaration = 0) = 0;
    /// @param map_tag  if it does not name a map, the map is empty and has no tag
    /// @return never null
    virtual Access_map_dbhandle* accessMap(const miTag map_tag) = 0;
    /// As accessMap().
    virtual Edit_map_dbhandle* editMap(const miTag map_tag) = 0;
    /// @param filename  if it cannot be read, the map is empty
    /// @return never null
    virtual Access_map_dbhandle* accessMap(const char* filename, Map_status* status) = 0;
    /// As accessMap().
    virtual Edit_map_dbhandle* editMap(const char* filename, Map_status* status) = 0;
    /// @param dimension  1 to 6
    virtual Map_declaration_base* createMapDeclaration(const miUint dimension = 3) = 0;

    // The copies of null, or of an object without a declaration, are null, with the status
    // No_declaration.
    virtual Map_declaration_base* copyMapDeclaration(const Map_declaration_base* other,
                                                     Map_status* status) = 0;
    virtual Map_declaration_base* copyMapDeclaration(const Map_element_base* map_element,
                                                     Map_status* status) = 0;
    virtual Map_declaration_base* copyMapDeclaration(const Map_base* map, Map_status* status) = 0;
    /// @param declaration  null for an element that takes that of the first map it is read from
    virtual Map_element_base* createMapElement(const Map_declaration_base* declaration = 0) = 0;
    /// @return null for null
    virtual Map_element_base* copyMapElement(const Map_element_base* other) = 0;
    /// @param map  must outlive the iterator
    /// @return an iterator at the first element; null, with the status Iterator_invalid, for null
    virtual Map_iterator_base* createMapIterator(const Map_base* map, Map_status* status = 0) = 0;
    virtual Map_iterator_base* copyMapIterator(const Map_iterator_base* other,
                                               Map_status* status) = 0;
    /// @param map  must outlive the lookup
    /// @return null, with the status Lookup_invalid, for null
    virtual Map_lookup_base* createMapLookup(const Map_base* map, Map_status* status = 0) = 0;
    /// Copies the result and the position as well.
    virtual Map_lookup_base* copyMapLookup(const Map_lookup_base* other, Map_status* status) = 0;
    /// A second access to a map, which exists until its last handle is destroyed.
    /// @return null for null
    virtual Access_map_dbhandle* shareMap(const Access_map_dbhandle* other) = 0;

    static Interface* get(int version = mi_ray_interface_version) {
        return mi_get_shader_interface(version);
    }

  protected:
    // Not virtual: the first slot of the virtual table is getOptions().
    ~Interface() {}
};

/// Holds the interface and releases it.
class Access_interface {
  public:
    Access_interface(int version = mi_ray_interface_version)
        : m_interface(mi_get_shader_interface(version)) {}
    ~Access_interface() {
        if (m_interface) m_interface->release();
    }
    Access_interface(const Access_interface&) = delete;
    Access_interface& operator=(const Access_interface&) = delete;
    mi::shader_v3::Interface* operator->() { return m_interface; }

  private:
    mi::shader_v3::Interface* m_interface;
};

/// The older name.
typedef Access_interface Interface_access;

// ---- wrappers ----

/// Calls `make` with the interface, which it releases afterwards.
/// @return the result of `make`; null without an interface
template <class Object, class Make>
Object* map_make(Make make) {
    Interface* const interface = mi_get_shader_interface(mi_ray_interface_version);
    if (!interface) return 0;
    Object* const made = make(interface);
    interface->release();
    return made;
}

inline Access_map::Access_map(const miTag tag)
    : m_handle(map_make<Access_map_dbhandle>([&](Interface* i) { return i->accessMap(tag); })) {}

inline Access_map::Access_map(const char* filename, Map_status* status)
    : m_handle(map_make<Access_map_dbhandle>(
          [&](Interface* i) { return i->accessMap(filename, status); })) {}

inline Edit_map::Edit_map(const Map_declaration& map_declaration)
    : m_handle(map_make<Edit_map_dbhandle>(
          [&](Interface* i) { return i->createMap(map_declaration.operator->()); })) {}

inline Edit_map::Edit_map()
    : m_handle(map_make<Edit_map_dbhandle>([](Interface* i) { return i->createMap(0); })) {}

inline Edit_map::Edit_map(const miTag tag)
    : m_handle(map_make<Edit_map_dbhandle>([&](Interface* i) { return i->editMap(tag); })) {}

inline Edit_map::Edit_map(const char* filename, Map_status* status)
    : m_handle(
          map_make<Edit_map_dbhandle>([&](Interface* i) { return i->editMap(filename, status); })) {
}

inline Map_declaration::Map_declaration(const miUint dimension)
    : m_declaration(map_make<Map_declaration_base>(
          [&](Interface* i) { return i->createMapDeclaration(dimension); })) {}

inline Map_declaration::Map_declaration(const Access_map& map, Map_status* status)
    : m_declaration(map_make<Map_declaration_base>(
          [&](Interface* i) { return i->copyMapDeclaration(map.operator->(), status); })) {}

inline Map_declaration::Map_declaration(const Edit_map& map, Map_status* status)
    : m_declaration(map_make<Map_declaration_base>(
          [&](Interface* i) { return i->copyMapDeclaration(map.operator->(), status); })) {}

inline Map_declaration::Map_declaration(const Map_element& map_element, Map_status* status)
    : m_declaration(map_make<Map_declaration_base>(
          [&](Interface* i) { return i->copyMapDeclaration(map_element.operator->(), status); })) {}

inline Map_declaration::Map_declaration(const Map_declaration& other, Map_status* status)
    : m_declaration(map_make<Map_declaration_base>(
          [&](Interface* i) { return i->copyMapDeclaration(other.m_declaration, status); })) {}

inline Map_declaration& Map_declaration::operator=(const Map_declaration& other) {
    if (this != &other) {
        Map_declaration_base* const copy = map_make<Map_declaration_base>(
            [&](Interface* i) { return i->copyMapDeclaration(other.m_declaration, 0); });
        delete m_declaration;
        m_declaration = copy;
    }
    return *this;
}

inline Map_element::Map_element()
    : m_element(map_make<Map_element_base>([](Interface* i) { return i->createMapElement(0); })) {}

inline Map_element::Map_element(const Map_declaration& declaration)
    : m_element(map_make<Map_element_base>(
          [&](Interface* i) { return i->createMapElement(declaration.operator->()); })) {}

inline Map_element::Map_element(const Map_element& other)
    : m_element(map_make<Map_element_base>(
          [&](Interface* i) { return i->copyMapElement(other.m_element); })) {}

inline Map_element& Map_element::operator=(const Map_element& other) {
    if (this != &other) {
        Map_element_base* const copy = map_make<Map_element_base>(
            [&](Interface* i) { return i->copyMapElement(other.m_element); });
        delete m_element;
        m_element = copy;
    }
    return *this;
}

inline Map_iterator::Map_iterator(const Access_map& map, Map_status* status)
    : m_iterator(map_make<Map_iterator_base>(
          [&](Interface* i) { return i->createMapIterator(map.operator->(), status); })) {}

inline Map_iterator::Map_iterator(const Edit_map& map, Map_status* status)
    : m_iterator(map_make<Map_iterator_base>(
          [&](Interface* i) { return i->createMapIterator(map.operator->(), status); })) {}

inline Map_iterator::Map_iterator(const Map_iterator& other, Map_status* status)
    : m_iterator(map_make<Map_iterator_base>(
          [&](Interface* i) { return i->copyMapIterator(other.m_iterator, status); })) {}

inline Map_iterator& Map_iterator::operator=(const Map_iterator& other) {
    if (this != &other) {
        Map_iterator_base* const copy = map_make<Map_iterator_base>(
            [&](Interface* i) { return i->copyMapIterator(other.m_iterator, 0); });
        delete m_iterator;
        m_iterator = copy;
    }
    return *this;
}

inline Map_lookup::Map_lookup(const Access_map& map, Map_status* status)
    : m_lookup(map_make<Map_lookup_base>(
          [&](Interface* i) { return i->createMapLookup(map.operator->(), status); })) {}

inline Map_lookup::Map_lookup(const Map_lookup& other, Map_status* status)
    : m_lookup(map_make<Map_lookup_base>(
          [&](Interface* i) { return i->copyMapLookup(other.m_lookup, status); })) {}

inline Map_lookup& Map_lookup::operator=(const Map_lookup& other) {
    if (this != &other) {
        Map_lookup_base* const copy = map_make<Map_lookup_base>(
            [&](Interface* i) { return i->copyMapLookup(other.m_lookup, 0); });
        delete m_lookup;
        m_lookup = copy;
    }
    return *this;
}

} // namespace shader_v3
} // namespace mi
