#include "maps/shape.h"

namespace vx::maps {

Shape shape_of(std::uint64_t count) {
    Shape shape;
    shape.count = count;
    if (count == 0) return shape;
    shape.size[0] = (count + kLeafSize - 1) / kLeafSize;
    do {
        ++shape.top;
        shape.size[shape.top] = (shape.size[shape.top - 1] + kFanOut - 1) / kFanOut;
    } while (shape.size[shape.top] > 1);
    for (unsigned level = shape.top; level >= 1; --level) {
        shape.first[level] = shape.nodes;
        shape.nodes += shape.size[level];
    }
    return shape;
}

} // namespace vx::maps
