/*
 * The versioned C++ interface object of the renderer. Comes in with shader.h.
 *
 * mi_get_shader_interface is the only symbol that a shader library resolves at load time;
 * everything else is reached through virtual functions. Slots 1 to 12 of the table are in the
 * documented order; what follows them is our choice, and functions are only ever appended.
 */
#ifndef MI_SHADER_IF_H
#define MI_SHADER_IF_H

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

/*
 * The interface of the given version, null if there is none. The object belongs to the renderer:
 * give it back with release() after use, never delete it, and do not use it afterwards.
 */
extern "C" mi::shader_v3::Interface*
mi_get_shader_interface(int version = mi_ray_interface_version);

namespace mi {
namespace shader_v3 {

/* Objects that are handed out belong to the caller, who destroys them by their virtual destructor.
 */
struct Interface {
    virtual Options* getOptions(miTag string_options) = 0;
    virtual miTag createFramebuffer() = 0;
    virtual miTag copyFramebuffer(miTag old_buffer_tag) = 0;
    virtual LightList* createLightList(miState* state, miTag* slist = 0, int n = 0) = 0;
    virtual void release() = 0;
    virtual LightList* createLightList(miState* state, const miVector& axis, miScalar spread_cos,
                                       miTag* slist = 0, int n = 0) = 0;
    /* Never null: without a usable declaration the map has none. */
    virtual Edit_map_dbhandle* createMap(const Map_declaration_base* map_declaration = 0) = 0;
    /* Never null: an unknown tag gives an empty map with tag 0. */
    virtual Access_map_dbhandle* accessMap(const miTag map_tag) = 0;
    virtual Edit_map_dbhandle* editMap(const miTag map_tag) = 0;
    /* Never null: a file that cannot be read gives an empty map. `status` may be null. */
    virtual Access_map_dbhandle* accessMap(const char* filename, Map_status* status) = 0;
    virtual Edit_map_dbhandle* editMap(const char* filename, Map_status* status) = 0;
    virtual Map_declaration_base* createMapDeclaration(const miUint dimension = 3) = 0;

    /* Null, and the reason in *status, for null or without a declaration. `status` may be null. */
    virtual Map_declaration_base* copyMapDeclaration(const Map_declaration_base* other,
                                                     Map_status* status) = 0;
    virtual Map_declaration_base* copyMapDeclaration(const Map_element_base* map_element,
                                                     Map_status* status) = 0;
    virtual Map_declaration_base* copyMapDeclaration(const Map_base* map, Map_status* status) = 0;
    /* Without a declaration: an element that takes that of the map it is read from. */
    virtual Map_element_base* createMapElement(const Map_declaration_base* declaration = 0) = 0;
    /* Null for null. */
    virtual Map_element_base* copyMapElement(const Map_element_base* other) = 0;
    /* At the first element. The map must outlive the iterator. Null for null (Iterator_invalid). */
    virtual Map_iterator_base* createMapIterator(const Map_base* map, Map_status* status = 0) = 0;
    virtual Map_iterator_base* copyMapIterator(const Map_iterator_base* other,
                                               Map_status* status) = 0;
    /* The map must outlive the lookup. Null for null (Lookup_invalid). */
    virtual Map_lookup_base* createMapLookup(const Map_base* map, Map_status* status = 0) = 0;
    /* With the other's result and position. */
    virtual Map_lookup_base* copyMapLookup(const Map_lookup_base* other, Map_status* status) = 0;
    /* A second access to the same map, which lives until the last access is gone. Null for null. */
    virtual Access_map_dbhandle* shareMap(const Access_map_dbhandle* other) = 0;

    static Interface* get(int version = mi_ray_interface_version) {
        return mi_get_shader_interface(version);
    }

  protected:
    /* Not virtual: the table begins with getOptions. */
    ~Interface() {}
};

/* Gets the interface and gives it back. */
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

/* The older name. */
typedef Access_interface Interface_access;

/* ---- wrappers ---------------------------------------------------------------------------------
 */

/* Calls `make` with the interface, which is given back at once. Null without an interface. */
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

#endif
