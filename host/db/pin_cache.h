/*
 * One thread's pins. Shaders take and give back the same few pins for every ray, and a count that
 * all threads share costs more than everything else that such an access does. So a pin that is
 * given back stays with its thread, as a spare for the next access, until there are enough of them.
 *
 * The counts in the database are therefore those of the pins in use and of the spares; they are
 * exact after give_back_all. For one thread; the database is for all.
 */
#pragma once

#include <array>
#include <cstdint>

#include "host/db/database.h"

namespace vx::db {

class PinCache {
  public:
    /* The database must outlive what is done here; the destructor does nothing with it. */
    explicit PinCache(Database& database) : m_database(database) {}
    PinCache(const PinCache&) = delete;
    PinCache& operator=(const PinCache&) = delete;

    /* As Database::access. */
    void* access(miTag tag, bool* over_limit = nullptr) {
        Entry& entry = entry_of(tag);
        if (entry.tag != tag || entry.spares == 0) return m_database.access(tag, over_limit);
        --entry.spares;
        if (over_limit != nullptr) *over_limit = false;
        return entry.address;
    }

    /* As Database::unpin. Where several threads hold spares of an element, an unpin too many may
     * be seen only when one of them gives its spares back. */
    bool unpin(miTag tag) {
        Entry& entry = entry_of(tag);
        if (entry.tag == tag && entry.spares < kMostSpares) {
            /* Without spares the database says what is wrong. */
            if (m_database.pins(tag) <= entry.spares)
                return entry.spares == 0 && m_database.unpin(tag);
            ++entry.spares;
            return true;
        }
        return take_entry(entry, tag);
    }

    /* Before counts are looked at, and before elements may be replaced. */
    void give_back_all() noexcept;

  private:
    struct Entry {
        miTag tag = miNULLTAG;
        std::uint32_t spares = 0;
        void* address = nullptr;
    };
    static constexpr std::size_t kEntryCount = 64;
    static constexpr std::uint32_t kMostSpares = 4;

    Entry& entry_of(miTag tag) noexcept { return m_entries[tag % kEntryCount]; }
    void give_back(Entry& entry) noexcept;
    bool take_entry(Entry& entry, miTag tag);

    Database& m_database;
    std::array<Entry, kEntryCount> m_entries{};
};

} // namespace vx::db
