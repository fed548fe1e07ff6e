// Replaces operator new and delete, and wraps calloc, realloc and free, to watch memory.
#pragma once

#include <cstddef>

namespace vx::test {

// While this object exists, the release of `block` is noted in the Renderer's record as
// "delete(NAME)" or "free(NAME)". At most 16 objects at a time; `name` must outlive the object.
class WatchedBlock {
  public:
    WatchedBlock(const void* block, const char* name);
    ~WatchedBlock();
    WatchedBlock(const WatchedBlock&) = delete;
    WatchedBlock& operator=(const WatchedBlock&) = delete;

  private:
    std::size_t m_place;
};

// While this object exists, operator new throws std::bad_alloc for more than `bytes`.
class LimitedNew {
  public:
    explicit LimitedNew(std::size_t bytes);
    ~LimitedNew();
    LimitedNew(const LimitedNew&) = delete;
    LimitedNew& operator=(const LimitedNew&) = delete;
};

// Number of blocks of calloc and realloc that were not freed, without those of shared libraries.
long blocks_held();

} // namespace vx::test
