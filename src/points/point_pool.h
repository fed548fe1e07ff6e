// Memory for the points of a whole grid.
#ifndef VX_POINTS_POINT_POOL_H
#define VX_POINTS_POINT_POOL_H

#include "src/points/point_array.h"

#include <cstddef>
#include <memory>
#include <vector>

// Hands out memory from large chunks, front to back. A bake appends to one list after the other, so
// the list that grows is nearly always the last one in its chunk and grows where it stands: a point
// costs its 44 bytes, a list that is not empty eight more. Nothing is given back before the pool
// goes; every list that it served must go, or be emptied, first.
class CPointPool {
  public:
    CPointPool();
    CPointPool(const CPointPool&) = delete;
    CPointPool& operator=(const CPointPool&) = delete;

    // Appends to a list of this pool, or to an empty one, which becomes one. Throws std::bad_alloc,
    // and then the list is as it was.
    void Append(CPointList& list, const CPoint& point);

  private:
    CPointList::CBlock* Take(std::int32_t capacity);

    std::vector<std::unique_ptr<std::byte[]>> mChunks;
    std::byte* mFree;
    std::byte* mEnd;
};

#endif
