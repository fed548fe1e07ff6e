// The engine's own store of maps, for programs without a scene database.
#pragma once

#include "maps/interface.h"

#include <memory>
#include <mutex>
#include <unordered_map>

namespace vx::maps {

class Registry final : public MapStore {
  public:
    static Registry& instance();

    miTag store(std::shared_ptr<Map> map) override;
    // Returns null also if the map has kMaxPins pins.
    std::shared_ptr<Map> pin(miTag tag) override;
    void unpin(miTag tag) noexcept override;
    // As remove_map().
    bool remove(miTag tag);

  private:
    static constexpr unsigned kMaxPins = 65535;
    struct Entry {
        std::shared_ptr<Map> map;
        unsigned pins = 0;
    };
    std::mutex m_mutex;
    std::unordered_map<miTag, Entry> m_entries;
    miTag m_last = miNULLTAG;
};

} // namespace vx::maps
