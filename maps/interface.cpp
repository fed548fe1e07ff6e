#include "maps/interface.h"

#include "maps/iterator.h"
#include "maps/lookup.h"
#include "maps/map.h"
#include "maps/registry.h"

#include <new>

namespace vx::maps {

namespace {

Hooks& hooks() {
    static Hooks instance;
    return instance;
}

std::shared_ptr<Map> find_and_pin(miTag tag) {
    return hooks().find_map ? hooks().find_map(tag) : Registry::instance().find(tag);
}

void unpin(miTag tag) {
    if (hooks().find_map) {
        hooks().unpin_map(tag);
    } else {
        Registry::instance().unpin(tag);
    }
}

miTag store(const std::shared_ptr<Map>& map) {
    return hooks().store_map ? hooks().store_map(map) : Registry::instance().store(map);
}

// A map, alive at least as long as the handle, and the tag that it is pinned by.
template <class Base, class MapPointer>
class Handle final : public Base {
  public:
    Handle(std::shared_ptr<Map> map, miTag tag) : m_map(std::move(map)), m_tag(tag) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() override {
        if (m_tag != miNULLTAG) unpin(m_tag);
    }
    MapPointer get_map() const override { return m_map.get(); }
    miTag get_tag() const override { return m_tag; }
    miTag store() override {
        if (m_tag != miNULLTAG) return m_tag;
        try {
            const miTag tag = vx::maps::store(m_map);
            if (tag != miNULLTAG && find_and_pin(tag)) m_tag = tag;
        } catch (const std::bad_alloc&) {
            // The tag stays null: there is no other way to say so.
        }
        return m_tag;
    }
    const std::shared_ptr<Map>& map() const { return m_map; }

  private:
    std::shared_ptr<Map> m_map;
    miTag m_tag;
    Counted m_counted;
};

using AccessHandle = Handle<Access_map_dbhandle, const Map_base*>;
using EditHandle = Handle<Edit_map_dbhandle, Map_base*>;

// Runs a factory; without memory the result is null.
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
HandleType* handle_for_tag(miTag tag) {
    return guarded<HandleType>(nullptr, [&] {
        if (auto map = find_and_pin(tag)) return new HandleType(std::move(map), tag);
        return new HandleType(std::make_shared<Map>(), miNULLTAG);
    });
}

template <class HandleType>
HandleType* handle_for_file(const char* file_name, Map_status* status) {
    return guarded<HandleType>(
        status, [&] { return new HandleType(read_map(file_name, status), miNULLTAG); });
}

class InterfaceObject final : public Interface {
  public:
    mi::shader_v3::Options* getOptions(miTag string_options) override {
        return hooks().get_options ? hooks().get_options(string_options) : nullptr;
    }
    miTag createFramebuffer() override {
        return hooks().create_framebuffer ? hooks().create_framebuffer() : miNULLTAG;
    }
    miTag copyFramebuffer(miTag old_buffer_tag) override {
        return hooks().copy_framebuffer ? hooks().copy_framebuffer(old_buffer_tag) : miNULLTAG;
    }
    mi::shader_v3::LightList* createLightList(miState* state, miTag* slist, int n) override {
        return hooks().create_light_list ? hooks().create_light_list(state, nullptr, 0.0f, slist, n)
                                         : nullptr;
    }
    void release() override { count_live(Kept::Interfaces, -1); }
    mi::shader_v3::LightList* createLightList(miState* state, const miVector& axis,
                                              miScalar spread_cos, miTag* slist, int n) override {
        return hooks().create_light_list
                   ? hooks().create_light_list(state, &axis, spread_cos, slist, n)
                   : nullptr;
    }
    Edit_map_dbhandle* createMap(const Map_declaration_base* map_declaration) override {
        return guarded<Edit_map_dbhandle>(nullptr, [&] {
            const auto* const object = static_cast<const DeclarationObject*>(map_declaration);
            return new EditHandle(
                std::make_shared<Map>(object ? object->snapshot() : DeclarationPtr()), miNULLTAG);
        });
    }
    Access_map_dbhandle* accessMap(const miTag map_tag) override {
        return handle_for_tag<AccessHandle>(map_tag);
    }
    Edit_map_dbhandle* editMap(const miTag map_tag) override {
        return handle_for_tag<EditHandle>(map_tag);
    }
    Access_map_dbhandle* accessMap(const char* filename, Map_status* status) override {
        return handle_for_file<AccessHandle>(filename, status);
    }
    Edit_map_dbhandle* editMap(const char* filename, Map_status* status) override {
        return handle_for_file<EditHandle>(filename, status);
    }
    Map_declaration_base* createMapDeclaration(const miUint dimension) override {
        return guarded<Map_declaration_base>(nullptr, [&] {
            const bool usable = dimension >= 1 && dimension <= max_dimension;
            return new DeclarationObject(Declaration(usable ? dimension : 0));
        });
    }
    Map_declaration_base* copyMapDeclaration(const Map_declaration_base* other,
                                             Map_status* status) override {
        report(status, other ? Map_status::OK : Map_status::No_declaration);
        if (!other) return nullptr;
        return guarded<Map_declaration_base>(status, [&] {
            return new DeclarationObject(static_cast<const DeclarationObject*>(other)->content());
        });
    }
    Map_declaration_base* copyMapDeclaration(const Map_element_base* map_element,
                                             Map_status* status) override {
        const auto* const object = static_cast<const ElementObject*>(map_element);
        return copy_declaration(object ? object->declaration() : DeclarationPtr(), status);
    }
    Map_declaration_base* copyMapDeclaration(const Map_base* map, Map_status* status) override {
        const auto* const object = static_cast<const Map*>(map);
        return copy_declaration(object ? object->declaration() : DeclarationPtr(), status);
    }
    Map_element_base* createMapElement(const Map_declaration_base* declaration) override {
        return guarded<Map_element_base>(nullptr, [&] {
            const auto* const object = static_cast<const DeclarationObject*>(declaration);
            return new ElementObject(object ? object->snapshot() : DeclarationPtr());
        });
    }
    Map_element_base* copyMapElement(const Map_element_base* other) override {
        if (!other) return nullptr;
        return guarded<Map_element_base>(
            nullptr, [&] { return new ElementObject(*static_cast<const ElementObject*>(other)); });
    }
    Map_iterator_base* createMapIterator(const Map_base* map, Map_status* status) override {
        report(status, map ? Map_status::OK : Map_status::Iterator_invalid);
        if (!map) return nullptr;
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
        if (candidate && candidate->map()) {
            return guarded<Map_iterator_base>(
                status, [&] { return new MapIterator(*candidate->map(), candidate->get_index()); });
        }
        report(status, Map_status::Iterator_invalid);
        return nullptr;
    }
    Map_lookup_base* createMapLookup(const Map_base* map, Map_status* status) override {
        report(status, map ? Map_status::OK : Map_status::Lookup_invalid);
        if (!map) return nullptr;
        return guarded<Map_lookup_base>(
            status, [&] { return new LookupObject(*static_cast<const Map*>(map)); });
    }
    Map_lookup_base* copyMapLookup(const Map_lookup_base* other, Map_status* status) override {
        report(status, other ? Map_status::OK : Map_status::Lookup_invalid);
        if (!other) return nullptr;
        return guarded<Map_lookup_base>(
            status, [&] { return new LookupObject(*static_cast<const LookupObject*>(other)); });
    }
    Access_map_dbhandle* shareMap(const Access_map_dbhandle* other) override {
        if (!other) return nullptr;
        return guarded<Access_map_dbhandle>(nullptr, [&] {
            const auto* const handle = static_cast<const AccessHandle*>(other);
            const miTag tag = handle->get_tag();
            if (tag != miNULLTAG) {
                if (auto map = find_and_pin(tag)) return new AccessHandle(std::move(map), tag);
            }
            return new AccessHandle(handle->map(), miNULLTAG);
        });
    }
};

} // namespace

void set_hooks(const Hooks& given) {
    hooks() = given;
}

std::shared_ptr<Map> read_map(const char* file_name, Map_status* status, bool notify) {
    auto map = std::make_shared<Map>();
    const Map_status outcome = map->read(file_name, notify);
    if (status) *status = outcome;
    return map;
}

long live_object_count() {
    return total_live(Kept::Objects);
}

long live_interface_count() {
    return total_live(Kept::Interfaces);
}

unsigned pin_count(miTag tag) {
    return Registry::instance().pins(tag);
}

bool remove_map(miTag tag) {
    return Registry::instance().remove(tag);
}

} // namespace vx::maps

mi::shader_v3::Interface* mi_get_shader_interface(int version) {
    static vx::maps::InterfaceObject object;
    if (version != mi_ray_interface_version) return nullptr;
    vx::maps::count_live(vx::maps::Kept::Interfaces, 1);
    return &object;
}
