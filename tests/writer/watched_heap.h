// operator new and delete, calloc, realloc and free of a test program that watches its memory.
#pragma once

#include <cstddef>

namespace vx::test {

// From now until this object's end, giving `block` back is noted in the stand-in's record as
// "delete(NAME)" or "free(NAME)". At most 16 at a time; `name` has to outlive the object.
class WatchedBlock {
  public:
    WatchedBlock(const void* block, const char* name);
    ~WatchedBlock();
    WatchedBlock(const WatchedBlock&) = delete;
    WatchedBlock& operator=(const WatchedBlock&) = delete;

  private:
    std::size_t m_place;
};

// While this object lives, operator new throws std::bad_alloc for more than `bytes`.
class LimitedNew {
  public:
    explicit LimitedNew(std::size_t bytes);
    ~LimitedNew();
    LimitedNew(const LimitedNew&) = delete;
    LimitedNew& operator=(const LimitedNew&) = delete;
};

// Blocks from calloc and realloc that were not given to free: of the code that is linked into the
// program, not of shared libraries.
long blocks_held();

} // namespace vx::test
