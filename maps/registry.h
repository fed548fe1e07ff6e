// The engine's own table of maps by tag, for programs without a scene database.
#pragma once

#include "maps/names.h"

#include <memory>
#include <mutex>
#include <unordered_map>

namespace vx::maps {

class Map;

class Registry {
  public:
    static Registry& instance();

    // A new tag. Throws std::bad_alloc.
    miTag store(std::shared_ptr<Map> map);
    // Pins the map, once per call; null (and no pin) for an unknown tag or at the limit of pins.
    std::shared_ptr<Map> find(miTag tag);
    void unpin(miTag tag);
    unsigned pins(miTag tag) const;
    // False while the map is pinned or if there is none.
    bool remove(miTag tag);

  private:
    static constexpr unsigned most_pins = 65535;
    struct Entry {
        std::shared_ptr<Map> map;
        unsigned pins = 0;
    };
    mutable std::mutex m_mutex;
    std::unordered_map<miTag, Entry> m_entries;
    miTag m_last = miNULLTAG;
};

} // namespace vx::maps
