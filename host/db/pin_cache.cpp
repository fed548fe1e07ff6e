#include "host/db/pin_cache.h"

#include <utility>

namespace vx::db {

void PinCache::give_back(Entry& entry) {
    const Entry old = std::exchange(entry, {});
    if (old.spares == 0) return;
    try {
        const std::uint32_t released = m_database.unpin(old.tag, old.spares);
        if (released < old.spares) m_surplus.push_back({old.tag, old.spares - released});
    } catch (const BadTag&) {
        // The element was removed together with its pins.
    }
}

std::vector<PinCache::Surplus> PinCache::give_back_all() {
    for (Entry& entry : m_entries)
        give_back(entry);
    return std::exchange(m_surplus, {});
}

bool PinCache::take_entry(Entry& entry, miTag tag) {
    // The entry belongs to another element or has the maximum number of spares.
    if (entry.tag == tag || m_database.pins(tag) == 0) return m_database.unpin(tag);
    give_back(entry);
    entry = {tag, 1, m_database.find(tag)};
    return true;
}

} // namespace vx::db
