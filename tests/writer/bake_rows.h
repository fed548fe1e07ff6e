// Points in a row of the grid, and answers to shading rays.
#pragma once

#include "src/writer/write_instance_data.h"
#include "tests/renderer_stub/renderer_stub.h"

#include <string>
#include <vector>

namespace vx::test {

// The row as text: "position | normal | color and opacity | tag".
inline std::vector<std::string> row_of(const WriteInstanceData& data, size_t row) {
    std::vector<std::string> points;
    for (const CPoint& p : data.grid.rows.at(row).points)
        points.push_back(stub::text_of(miVector{p.positionX, p.positionY, p.positionZ}) + " | " +
                         stub::text_of(miVector{p.normalX, p.normalY, p.normalZ}) + " | " +
                         stub::text_of(miVector{p.red, p.green, p.blue}) + " " +
                         stub::text_of(p.opacity) + " | " + std::to_string(p.tag));
    return points;
}

inline stub::Shaded shaded(miColor color, miVector point, miVector normal = {0, 0, 1}) {
    return {.color = color, .end = stub::Hit{.point = point, .normal = normal}};
}

} // namespace vx::test
