#include "host/db/pin_cache.h"

namespace vx::db {

void PinCache::give_back(Entry& entry) noexcept {
    try {
        if (entry.spares > 0) m_database.unpin(entry.tag, entry.spares);
    } catch (const BadTag&) {
        // The element was removed together with its pins.
    }
    entry = {};
}

void PinCache::give_back_all() noexcept {
    for (Entry& entry : m_entries)
        give_back(entry);
}

bool PinCache::take_entry(Entry& entry, miTag tag) {
    // The entry belongs to another element or has the maximum number of spares.
    if (entry.tag == tag || m_database.pins(tag) == 0) return m_database.unpin(tag);
    give_back(entry);
    entry = {tag, 1, m_database.find(tag)};
    return true;
}

} // namespace vx::db
