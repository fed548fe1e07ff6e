// A growing column of values in memory, moved to an unlinked temporary file once it is large.
// Readers of text formats store their values here.
#pragma once

#include "cache/cloud/file.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vx::cache {

// Bytes that all the columns of one cloud may keep in memory.
class SpoolBudget {
  public:
    explicit SpoolBudget(std::int64_t bytes = std::int64_t{256} << 20) : left(bytes) {}
    std::int64_t left;
};

class Spool {
  public:
    explicit Spool(SpoolBudget& budget) : m_budget(&budget) {}

    // Throws FileError when the temporary file cannot be written.
    void append(const void* data, std::size_t bytes);
    void read(std::int64_t offset, void* out, std::size_t bytes) const;
    std::int64_t size() const { return m_stored + std::ssize(m_tail); }
    bool in_memory() const { return m_file.get() < 0; }

  private:
    void spill();

    SpoolBudget* m_budget;
    Descriptor m_file;
    std::int64_t m_stored = 0; // bytes in the file; the rest is the tail
    std::vector<std::byte> m_tail;
};

} // namespace vx::cache
