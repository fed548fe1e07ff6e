#include "maps/interface.h"

#include "maps/iterator.h"
#include "maps/lookup.h"
#include "maps/map.h"
#include "maps/registry.h"

#include <atomic>
#include <mutex>
#include <new>

namespace vx::maps {

namespace {

std::atomic<MapStore*> host_store{nullptr};

MapStore& current_store() {
    MapStore* const store = host_store.load(std::memory_order_acquire);
    return store != nullptr ? *store : Registry::instance();
}

// Pins a map, and stores it first unless it is stored already. The null tag if the store is full.
miTag store_and_pin(MapStore& store, const std::shared_ptr<Map>& map) {
    // Two handles of one map must agree on one tag.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    if (const miTag known = map->stored_tag(); known != miNULLTAG) {
        const std::shared_ptr<Map> found = store.pin(known);
        if (found == map) return known;
        // The tag was given by another store, or the map was removed.
        if (found) store.unpin(known);
    }
    const miTag tag = store.store(map);
    if (tag == miNULLTAG || !store.pin(tag)) return miNULLTAG;
    map->set_stored_tag(tag);
    return tag;
}

// A map, alive at least as long as the handle. With a tag, the map is pinned in the store.
template <class Base, class MapPointer>
class Handle final : public Base {
  public:
    explicit Handle(std::shared_ptr<Map> map) : m_map(std::move(map)) {}
    // An empty map without a tag if the tag does not name a map.
    explicit Handle(miTag tag) : m_map(m_store.pin(tag)) {
        if (m_map) {
            m_tag = tag;
        } else {
            m_map = std::make_shared<Map>();
        }
    }
    // One more handle of the same map, with a pin of its own.
    Handle(const Handle& other) : Base(other), m_store(other.m_store), m_map(other.m_map) {
        if (other.m_tag != miNULLTAG && m_store.pin(other.m_tag)) m_tag = other.m_tag;
    }
    Handle& operator=(const Handle&) = delete;
    ~Handle() override {
        if (m_tag != miNULLTAG) m_store.unpin(m_tag);
    }
    MapPointer get_map() const override { return m_map.get(); }
    miTag get_tag() const override { return m_tag; }
    miTag store() override {
        if (m_tag != miNULLTAG) return m_tag;
        try {
            m_tag = store_and_pin(m_store, m_map);
        } catch (const std::bad_alloc&) {
            // The interface has no status here: the null tag is the only sign of failure.
        }
        return m_tag;
    }

  private:
    MapStore& m_store = current_store();
    std::shared_ptr<Map> m_map;
    miTag m_tag = miNULLTAG;
};

using AccessHandle = Handle<Access_map_dbhandle, const Map_base*>;
using EditHandle = Handle<Edit_map_dbhandle, Map_base*>;

// Runs a factory. Returns null if there is not enough memory.
template <class Object, class Make>
Object* guarded(Map_status* status, const Make& make) {
    try {
        return make();
    } catch (const std::bad_alloc&) {
        report(status, Map_status::Insufficient_memory);
        return nullptr;
    }
}

Map_declaration_base* copy_declaration(const DeclarationPtr& declaration, Map_status* status) {
    report(status, declaration ? Map_status::OK : Map_status::No_declaration);
    if (!declaration) return nullptr;
    return guarded<Map_declaration_base>(status,
                                         [&] { return new DeclarationObject(*declaration); });
}

template <class HandleType>
HandleType* handle_for_file(const char* file_name, Map_status* status) {
    return guarded<HandleType>(status, [&] {
        auto map = std::make_shared<Map>();
        const Map_status outcome = map->read(file_name, true);
        if (status) *status = outcome;
        return new HandleType(std::move(map));
    });
}

class InterfaceObject final : public Interface {
  public:
    // This engine has no string options, frame buffers or light lists: null, as for an unknown tag.
    mi::shader_v3::Options* getOptions(miTag) override { return nullptr; }
    miTag createFramebuffer() override { return miNULLTAG; }
    miTag copyFramebuffer(miTag) override { return miNULLTAG; }
    mi::shader_v3::LightList* createLightList(miState*, miTag*, int) override { return nullptr; }
    void release() override {} // the object lasts as long as the program
    mi::shader_v3::LightList* createLightList(miState*, const miVector&, miScalar, miTag*,
                                              int) override {
        return nullptr;
    }
    Edit_map_dbhandle* createMap(const Map_declaration_base* map_declaration) override {
        return guarded<Edit_map_dbhandle>(nullptr, [&] {
            const auto* const object = static_cast<const DeclarationObject*>(map_declaration);
            return new EditHandle(
                std::make_shared<Map>(object != nullptr ? object->snapshot() : DeclarationPtr()));
        });
    }
    Access_map_dbhandle* accessMap(const miTag map_tag) override {
        return guarded<AccessHandle>(nullptr, [&] { return new AccessHandle(map_tag); });
    }
    Edit_map_dbhandle* editMap(const miTag map_tag) override {
        return guarded<EditHandle>(nullptr, [&] { return new EditHandle(map_tag); });
    }
    Access_map_dbhandle* accessMap(const char* filename, Map_status* status) override {
        return handle_for_file<AccessHandle>(filename, status);
    }
    Edit_map_dbhandle* editMap(const char* filename, Map_status* status) override {
        return handle_for_file<EditHandle>(filename, status);
    }
    Map_declaration_base* createMapDeclaration(const miUint dimension) override {
        return guarded<Map_declaration_base>(nullptr, [&] {
            const bool usable = dimension >= 1 && dimension <= kMaxDimension;
            return new DeclarationObject(Declaration(usable ? dimension : 0));
        });
    }
    Map_declaration_base* copyMapDeclaration(const Map_declaration_base* other,
                                             Map_status* status) override {
        report(status, other != nullptr ? Map_status::OK : Map_status::No_declaration);
        if (other == nullptr) return nullptr;
        return guarded<Map_declaration_base>(status, [&] {
            return new DeclarationObject(static_cast<const DeclarationObject*>(other)->content());
        });
    }
    Map_declaration_base* copyMapDeclaration(const Map_element_base* map_element,
                                             Map_status* status) override {
        const auto* const object = static_cast<const ElementObject*>(map_element);
        return copy_declaration(object != nullptr ? object->declaration() : DeclarationPtr(),
                                status);
    }
    Map_declaration_base* copyMapDeclaration(const Map_base* map, Map_status* status) override {
        const auto* const object = static_cast<const Map*>(map);
        return copy_declaration(object != nullptr ? object->declaration() : DeclarationPtr(),
                                status);
    }
    Map_element_base* createMapElement(const Map_declaration_base* declaration) override {
        return guarded<Map_element_base>(nullptr, [&] {
            const auto* const object = static_cast<const DeclarationObject*>(declaration);
            return new ElementObject(object != nullptr ? object->snapshot() : DeclarationPtr());
        });
    }
    Map_element_base* copyMapElement(const Map_element_base* other) override {
        if (other == nullptr) return nullptr;
        return guarded<Map_element_base>(
            nullptr, [&] { return new ElementObject(*static_cast<const ElementObject*>(other)); });
    }
    Map_iterator_base* createMapIterator(const Map_base* map, Map_status* status) override {
        report(status, map != nullptr ? Map_status::OK : Map_status::Iterator_invalid);
        if (map == nullptr) return nullptr;
        return guarded<Map_iterator_base>(
            status, [&] { return new MapIterator(*static_cast<const Map*>(map)); });
    }
    Map_iterator_base* copyMapIterator(const Map_iterator_base* other,
                                       Map_status* status) override {
        report(status, Map_status::OK);
        if (const auto* const whole = dynamic_cast<const MapIterator*>(other)) {
            return guarded<Map_iterator_base>(status, [&] { return new MapIterator(*whole); });
        }
        const auto* const candidate = dynamic_cast<const Candidate*>(other);
        if (candidate != nullptr && candidate->map() != nullptr) {
            return guarded<Map_iterator_base>(
                status, [&] { return new MapIterator(*candidate->map(), candidate->get_index()); });
        }
        report(status, Map_status::Iterator_invalid);
        return nullptr;
    }
    Map_lookup_base* createMapLookup(const Map_base* map, Map_status* status) override {
        report(status, map != nullptr ? Map_status::OK : Map_status::Lookup_invalid);
        if (map == nullptr) return nullptr;
        return guarded<Map_lookup_base>(
            status, [&] { return new LookupObject(*static_cast<const Map*>(map)); });
    }
    Map_lookup_base* copyMapLookup(const Map_lookup_base* other, Map_status* status) override {
        report(status, other != nullptr ? Map_status::OK : Map_status::Lookup_invalid);
        if (other == nullptr) return nullptr;
        return guarded<Map_lookup_base>(
            status, [&] { return new LookupObject(*static_cast<const LookupObject*>(other)); });
    }
    Access_map_dbhandle* shareMap(const Access_map_dbhandle* other) override {
        if (other == nullptr) return nullptr;
        return guarded<Access_map_dbhandle>(
            nullptr, [&] { return new AccessHandle(*static_cast<const AccessHandle*>(other)); });
    }
};

} // namespace

void set_map_store(MapStore* store) {
    host_store.store(store, std::memory_order_release);
}

bool remove_map(miTag tag) {
    return Registry::instance().remove(tag);
}

} // namespace vx::maps

mi::shader_v3::Interface* mi_get_shader_interface(int version) {
    static vx::maps::InterfaceObject object;
    return version == mi_ray_interface_version ? &object : nullptr;
}
