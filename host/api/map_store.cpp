#include "host/api/map_store.h"

#include "host/shading/context.h"
#include "maps/interface.h"

#include <memory>
#include <stdexcept>
#include <utility>

namespace vx::api {

namespace {

using shading::Context;
using shading::Level;

// The contents of an element of type miSCENE_MAP.
struct StoredMap {
    std::shared_ptr<maps::Map> map;
};

// Has no members, since static objects in shader libraries may use it after main returns.
class DatabaseMaps final : public maps::MapStore {
  public:
    miTag store(std::shared_ptr<maps::Map> map) override {
        try {
            return Context::current().database.adopt(
                miSCENE_MAP, std::make_unique<StoredMap>(StoredMap{std::move(map)}));
        } catch (const std::length_error&) {
            return miNULLTAG;
        }
    }

    std::shared_ptr<maps::Map> pin(miTag tag) override {
        const auto* const stored = Context::current().database.find<StoredMap>(tag, miSCENE_MAP);
        if (stored == nullptr) return nullptr;
        mi_db_access(tag);
        return stored->map;
    }

    void unpin(miTag tag) noexcept override {
        try {
            mi_db_unpin(tag);
        } catch (const std::exception&) {
            // The database no longer exists, and neither does the pin.
        }
    }
};

constinit DatabaseMaps database_maps;

} // namespace

void store_maps_in_database() {
    maps::set_map_store(&database_maps);
}

void report_map_files() {
    maps::set_notify([](bool failed, const char* message) {
        try {
            Context& context = Context::current();
            const shading::ThreadContext& thread = context.thread();
            if (failed) context.count_as_failed();
            context.messages.write(failed ? Level::error : Level::info, "MAP", thread.number,
                                   thread.with_shader(message));
        } catch (const std::exception&) {
            // No context exists any more, since static objects in shader libraries may still use
            // maps.
        }
    });
}

} // namespace vx::api
