// Elements in record form, in the order of appending. Growing does not move records.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

namespace vx::maps {

class Records {
  public:
    explicit Records(std::uint64_t words = 0) { clear(words); }

    void clear(std::uint64_t words) {
        m_chunks.clear();
        m_words = words;
        m_count = 0;
        m_shift = 0;
        // Chunks of about 256 KiB.
        while (m_shift < 16 && (words << (m_shift + 1)) <= 65536)
            ++m_shift;
    }
    std::uint64_t count() const { return m_count; }
    std::uint64_t words() const { return m_words; }
    const std::uint32_t* operator[](std::uint64_t index) const {
        return m_chunks[index >> m_shift].get() + (index & mask()) * m_words;
    }
    std::uint32_t* operator[](std::uint64_t index) {
        return m_chunks[index >> m_shift].get() + (index & mask()) * m_words;
    }
    // How many records from this one on lie one behind the other in memory.
    std::uint64_t run(std::uint64_t index) const {
        return std::min(mask() + 1 - (index & mask()), m_count - index);
    }
    // Appends a record for the caller to fill. Throws std::bad_alloc, and changes nothing then.
    std::uint32_t* extend() {
        if ((m_count >> m_shift) == m_chunks.size()) {
            m_chunks.push_back(std::make_unique_for_overwrite<std::uint32_t[]>(
                static_cast<std::size_t>(m_words << m_shift)));
        }
        return (*this)[m_count++];
    }

  private:
    std::uint64_t mask() const { return (std::uint64_t{1} << m_shift) - 1; }

    std::vector<std::unique_ptr<std::uint32_t[]>> m_chunks;
    std::uint64_t m_words = 0;
    std::uint64_t m_count = 0;
    unsigned m_shift = 0;
};

} // namespace vx::maps
