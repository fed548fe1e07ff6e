// Builds the consolidated form of a map.
#pragma once

#include "maps/body.h"
#include "maps/records.h"

#include <optional>

namespace vx::maps {

// Builds a body in steps: all positions, sort(), the values of the fields. Besides the body it
// needs memory for the positions and an index per element, until sort() ends.
class BodyBuilder {
  public:
    // For up to 2^32 - 1 elements. All values are zero at first. Throws std::bad_alloc.
    BodyBuilder(const DeclarationPtr& declaration, std::uint64_t count);

    // Sets the positions of consecutive elements, in the order of appending. `stride` is the
    // distance between positions in bytes. Threads may set different elements at the same time.
    void set_positions(std::uint64_t first, std::uint64_t count, const void* positions,
                       std::size_t stride);
    // Puts the elements into tree order. The result depends on the positions and the quality only,
    // not on the number of threads. `quality` selects how the axis of a split is chosen: below 0.3
    // the widest of the cell, below 0.85 the widest of the points' extent, otherwise the best of
    // all axes.
    void sort(float quality);
    // Sets the values of a field that is not global, like set_positions().
    void set_values(std::size_t field, std::uint64_t first, std::uint64_t count, const void* values,
                    std::size_t stride);
    // Sets the values of all fields from as many records.
    void gather(const Records& records);
    BodyPtr body() const { return m_body; }

  private:
    std::shared_ptr<Body> m_body;
    std::shared_ptr<Memory> m_memory; // of the body
    std::optional<Memory> m_keys;
};

// A body of up to 2^32 - 1 records. Throws std::bad_alloc.
BodyPtr build_body(const DeclarationPtr& declaration, const Records& records, float quality);

} // namespace vx::maps
