#include "host/db/pin_cache.h"

namespace vx::db {

void PinCache::give_back(Entry& entry) noexcept {
    try {
        if (entry.spares > 0) m_database.unpin(entry.tag, entry.spares);
    } catch (const BadTag&) {
        /* The element went, and its pins with it. */
    }
    entry = {};
}

void PinCache::give_back_all() noexcept {
    for (Entry& entry : m_entries)
        give_back(entry);
}

bool PinCache::take_entry(Entry& entry, miTag tag) {
    /* Another element's, or full of spares already. */
    if (entry.tag == tag || m_database.pins(tag) == 0) return m_database.unpin(tag);
    give_back(entry);
    entry = {tag, 1, m_database.find(tag)};
    return true;
}

} // namespace vx::db
