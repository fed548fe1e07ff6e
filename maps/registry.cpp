#include "maps/registry.h"

namespace vx::maps {

Registry& Registry::instance() {
    static Registry registry;
    return registry;
}

miTag Registry::store(std::shared_ptr<Map> map) {
    const std::lock_guard lock(m_mutex);
    m_entries[m_last + 1].map = std::move(map);
    return ++m_last;
}

std::shared_ptr<Map> Registry::pin(miTag tag) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_entries.find(tag);
    if (found == m_entries.end() || found->second.pins >= kMaxPins) return nullptr;
    ++found->second.pins;
    return found->second.map;
}

void Registry::unpin(miTag tag) noexcept {
    const std::lock_guard lock(m_mutex);
    const auto found = m_entries.find(tag);
    if (found != m_entries.end() && found->second.pins > 0) --found->second.pins;
}

bool Registry::remove(miTag tag) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_entries.find(tag);
    if (found == m_entries.end() || found->second.pins > 0) return false;
    m_entries.erase(found);
    return true;
}

} // namespace vx::maps
