// The pins of one thread. Shaders pin and unpin the same few elements for every ray, and updating a
// counter that is shared between threads dominates the cost of an access. Pins that are released
// are therefore kept as spares for the next access by the same thread, up to a limit.
//
// The pin counts in the database include the spares; they are exact after give_back_all. Every
// thread has its own cache; all caches share one database.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "host/db/database.h"

namespace vx::db {

class PinCache {
  public:
    // The database must outlive the last member call; the destructor does not access it.
    explicit PinCache(Database& database) : m_database(database) {}
    PinCache(const PinCache&) = delete;
    PinCache& operator=(const PinCache&) = delete;

    // See Database::access.
    void* access(miTag tag, bool* over_limit = nullptr) {
        Entry& entry = entry_of(tag);
        if (entry.tag != tag || entry.spares == 0) return m_database.access(tag, over_limit);
        --entry.spares;
        if (over_limit != nullptr) *over_limit = false;
        return entry.address;
    }

    // See Database::unpin. If several threads hold spares of an element, a surplus unpin may be
    // detected only when one of them gives back its spares, see give_back_all.
    bool unpin(miTag tag) {
        Entry& entry = entry_of(tag);
        if (entry.tag == tag && entry.spares < kMaxSpares) {
            // Without spares, let the database report the error.
            if (m_database.pins(tag) <= entry.spares)
                return entry.spares == 0 && m_database.unpin(tag);
            ++entry.spares;
            return true;
        }
        return take_entry(entry, tag);
    }

    // The unpins of one element that no pin matched.
    struct Surplus {
        miTag tag;
        std::uint32_t unpins;
    };
    // Must be called before pin counts are read and before elements are replaced. Returns the
    // surplus unpins that unpin() did not detect, since the last call.
    std::vector<Surplus> give_back_all();

  private:
    struct Entry {
        miTag tag = miNULLTAG;
        std::uint32_t spares = 0;
        void* address = nullptr;
    };
    static constexpr std::size_t kEntryCount = 64;
    static constexpr std::uint32_t kMaxSpares = 4;

    Entry& entry_of(miTag tag) noexcept { return m_entries[tag % kEntryCount]; }
    void give_back(Entry& entry);
    bool take_entry(Entry& entry, miTag tag);

    Database& m_database;
    std::array<Entry, kEntryCount> m_entries{};
    std::vector<Surplus> m_surplus;
};

} // namespace vx::db
