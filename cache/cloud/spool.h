/// @file
/// Storage for values whose number is not known in advance, such as those of text formats: in
/// memory at first, and in a temporary file once a budget is spent.
#pragma once

#include "cache/cloud/file.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vx::cache {

/// The number of bytes that all spools of a cloud may keep in memory.
class SpoolBudget {
  public:
    explicit SpoolBudget(std::int64_t bytes = std::int64_t{256} << 20) : left(bytes) {}
    std::int64_t left;
};

/// Bytes that are appended, and read at any offset.
class Spool {
  public:
    /// The budget must outlive the spool.
    explicit Spool(SpoolBudget& budget) : m_budget(&budget) {}

    /// @throws FileError  if the temporary file cannot be written
    void append(const void* data, std::size_t bytes);
    /// @throws FileError  also if there are fewer bytes
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
