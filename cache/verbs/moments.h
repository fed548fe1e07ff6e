// Range and sum of the values of an attribute.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vx::cache {

// Of the finite values of one component.
struct Moments {
    double least; // infinite without a value
    double most;  // minus infinite without a value
    double sum;   // see Accumulator
    std::int64_t finite;
};

// Accumulates runs of values, point by point. Sums are kept in several lanes, which is more
// accurate than one sum: value number i of the attribute goes to lane i mod 4 w for a width w of 3
// or 4 and to lane i mod 16 for 1 or 2, as long as every run but the last has a multiple of 16
// points; result() adds the lanes in order. Other widths have one lane a component. So the sums do
// not depend on the processor.
class Accumulator {
  public:
    explicit Accumulator(std::size_t width);
    void add(const double* values, std::size_t points);
    std::vector<Moments> result() const;

  private:
    std::size_t m_width;
    std::vector<Moments> m_lanes;
};

} // namespace vx::cache
