// The consolidated part of a map: everything a search reads, in tree order. Immutable once built.
#pragma once

#include "maps/declaration.h"
#include "maps/shape.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace vx::maps {

// Zeroed memory for large arrays, aligned to cache lines, in large pages where available.
class Memory {
  public:
    // Throws std::bad_alloc.
    explicit Memory(std::size_t bytes);
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;
    ~Memory();
    unsigned char* data() const { return m_data; }

  private:
    unsigned char* m_data = nullptr;
    std::size_t m_bytes = 0;
};

// Offsets of a body's sections, which follow each other, each aligned to 64 bytes: nodes,
// positions, order, rank, then one column per element field. A closed binary file has the same
// layout.
struct Sections {
    static constexpr std::uint64_t kAlignment = 64;
    std::uint64_t nodes = 0, positions = 0, order = 0, rank = 0;
    std::vector<std::uint64_t> columns; // by field; 0 for a global field, which has no column
    std::uint64_t bytes = 0;
};

// Returns false if the body would be 2^62 bytes or larger.
bool lay_out(const Declaration& declaration, const Shape& shape, Sections& sections);

struct Body {
    DeclarationPtr declaration;
    Shape shape;
    Sections sections;
    const unsigned char* base = nullptr;
    // Keeps `base` alive: a Memory or a MappedFile.
    std::shared_ptr<const void> owner;

    // Per node and axis, the minima and the maxima of 8 boxes. A box that contains a coordinate
    // that is not a number is unbounded on that axis.
    const float* nodes() const { return at<float>(sections.nodes); }
    // Per leaf and axis, 16 coordinates.
    const float* positions() const { return at<float>(sections.positions); }
    // Index of appending by row, and its inverse.
    const std::uint32_t* order() const { return at<std::uint32_t>(sections.order); }
    const std::uint32_t* rank() const { return at<std::uint32_t>(sections.rank); }
    const unsigned char* column(std::size_t field) const { return base + sections.columns[field]; }

    void copy_position(std::uint32_t row, float* position) const;
    // Copies a whole element in record form.
    void copy_record(std::uint32_t row, std::uint32_t* words) const;

  private:
    template <class T>
    const T* at(std::uint64_t offset) const {
        return reinterpret_cast<const T*>(base + offset);
    }
};

using BodyPtr = std::shared_ptr<const Body>;

} // namespace vx::maps
