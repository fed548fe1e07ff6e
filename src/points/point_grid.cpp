#include "src/points/point_grid.h"

#include "src/points/pdc.h"

#include <algorithm>
#include <cstring>
#include <limits>

CPointGrid::CPointGrid() : rowCount(0), rowCapacity(0) {}

void CPointGrid::Resize(std::int32_t rowsWanted, std::int32_t capacity) {
    rowCount = rowsWanted;
    rowCapacity = capacity;
    rows.resize(static_cast<std::size_t>(std::max(rowsWanted, 0)));
}

bool CPointGrid::Append(std::int32_t row, const CPoint& point) {
    if (row >= rowCount) return false;
    // A negative row becomes an index beyond every array.
    const auto index = static_cast<std::size_t>(row);
    if (index >= rows.size()) return false;
    std::vector<CPoint>& points = rows[index].points;
    if (static_cast<std::int64_t>(points.size()) >= rowCapacity) return false;
    points.push_back(point);
    return true;
}

int CPointGrid::ToPdc(CPdc* pdc, float radius) const {
    pdc->NameBakedSlots();

    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    std::int64_t total = 0;
    for (const CPointArray& row : rows)
        total += static_cast<std::int64_t>(row.points.size());
    const auto n = static_cast<std::int32_t>(std::min(total, kMost));

    std::memcpy(pdc->header.magic, "PDC ", 4);
    pdc->header.formatVersion = 1;
    pdc->header.byteOrder = 1;
    pdc->header.extra1 = 0;
    pdc->header.extra2 = 0;
    pdc->header.particleCount = n;
    pdc->header.attributeCount = 7;

    for (CAttribute& slot : pdc->slots)
        slot.Resize(n);
    for (const int slot :
         {kSlotId, kSlotPosition, kSlotRgb, kSlotNormal, kSlotOpacity, kSlotRadius, kSlotTag}) {
        pdc->slots[slot].perParticle = true;
    }

    std::int64_t* const id = pdc->slots[kSlotId].integers.data();
    std::int64_t* const tag = pdc->slots[kSlotTag].integers.data();
    CVectorD* const position = pdc->slots[kSlotPosition].vectors.data();
    CVectorD* const rgb = pdc->slots[kSlotRgb].vectors.data();
    CVectorD* const normal = pdc->slots[kSlotNormal].vectors.data();
    float* const opacity = pdc->slots[kSlotOpacity].floats.data();
    std::fill_n(pdc->slots[kSlotRadius].floats.data(), n, radius);

    std::int32_t i = 0;
    for (const CPointArray& row : rows) {
        for (const CPoint& p : row.points) {
            if (i == n) return 1;
            id[i] = i;
            position[i] = CVectorD{p.positionX, p.positionY, p.positionZ};
            rgb[i] = CVectorD{p.red, p.green, p.blue};
            normal[i] = CVectorD{p.normalX, p.normalY, p.normalZ};
            opacity[i] = p.opacity;
            tag[i] = p.tag;
            ++i;
        }
    }
    return 1;
}
