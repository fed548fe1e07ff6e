// Everything that a bake pass found, and its conversion into a particle cache.
#ifndef VX_POINTS_POINT_GRID_H
#define VX_POINTS_POINT_GRID_H

#include "src/points/point_array.h"
#include "src/points/point_pool.h"

#include <cstdint>
#include <vector>

class CPdc;

// One row per eye sample of the image, in the order in which the samples are taken. A row costs
// eight bytes, a row with points eight more, a point 44.
class CPointGrid {
  public:
    CPointGrid();
    CPointGrid(const CPointGrid&) = delete;
    CPointGrid& operator=(const CPointGrid&) = delete;
    ~CPointGrid();

    // Sets both numbers as given and makes exactly rowCount rows (none below 0), cutting or adding
    // empty ones. Throws std::bad_alloc.
    void Resize(std::int32_t rows, std::int32_t capacity);

    // Appends to a row. A point for a row that is not there, or that already holds rowCapacity
    // points, is dropped silently: the result is then false, for who wants to know. Throws
    // std::bad_alloc.
    bool Append(std::int32_t row, const CPoint& point);

    // Fills a freshly constructed cache: names the baked slots, sets the header, and lists the
    // points row by row, with ids from 0 and `radius` (world units) for every particle. Always 1.
    // Throws std::bad_alloc. A cache counts particles in 31 bits; points beyond that are left out.
    int ToPdc(CPdc* pdc, float radius) const;

    std::int32_t rowCount;
    std::int32_t rowCapacity;
    std::vector<CPointArray> rows;

  private:
    CPointPool mPool;
};

#endif
