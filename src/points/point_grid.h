// The result of a bake pass, and its conversion into a particle cache.
#pragma once

#include "src/points/point_array.h"

#include <cstdint>
#include <vector>

class CPdc;

// One row per eye sample of the image, in the order in which the samples are taken.
class CPointGrid {
  public:
    CPointGrid();

    // Stores both numbers as given and makes exactly rowCount rows (none if negative): removes rows
    // at the end or adds empty ones. Throws std::bad_alloc.
    void Resize(std::int32_t rows, std::int32_t capacity);

    // Appends to a row. Returns false if the point was dropped: the row does not exist, or holds
    // rowCapacity points already. Throws std::bad_alloc; the row is unchanged then.
    bool Append(std::int32_t row, const CPoint& point);

    // Fills a freshly constructed cache: names the baked slots, sets the header, and lists the
    // points row by row, with ids from 0 and `radius` (world units) for every particle. A cache
    // counts particles in 31 bits; points beyond that are left out. Always returns 1. Throws
    // std::bad_alloc.
    int ToPdc(CPdc* pdc, float radius) const;

    std::int32_t rowCount;
    std::int32_t rowCapacity;
    std::vector<CPointArray> rows;
};
