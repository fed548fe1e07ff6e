// The consolidated part of a map: everything a search reads, in tree order. Immutable once built.
#pragma once

#include "maps/declaration.h"
#include "maps/shape.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace vx::maps {

// Zeroed memory for large arrays: on cache lines, in large pages where the system has them.
class Memory {
  public:
    Memory() = default;
    // Throws std::bad_alloc.
    explicit Memory(std::size_t bytes);
    Memory(Memory&& other) noexcept;
    Memory& operator=(Memory&& other) noexcept;
    ~Memory();
    unsigned char* data() const { return m_data; }

  private:
    unsigned char* m_data = nullptr;
    std::size_t m_bytes = 0;
};

// Sections of a body, one after the other, each on a multiple of 64 bytes from the start: nodes,
// positions, order, rank, then a column per element field. A closed binary file has the same.
struct Sections {
    static constexpr std::uint64_t alignment = 64;
    std::uint64_t nodes = 0, positions = 0, order = 0, rank = 0;
    std::vector<std::uint64_t> columns; // one per field; a global field has none and 0 here
    std::uint64_t bytes = 0;
};

// False if the sizes do not fit 63 bits.
bool lay_out(const Declaration& declaration, const Shape& shape, Sections& sections);

struct Body {
    DeclarationPtr declaration;
    Shape shape;
    Sections sections;
    const unsigned char* base = nullptr;
    // Keeps `base` alive: memory of our own or a mapped file.
    std::shared_ptr<const void> owner;

    // Per node and axis 8 minima and 8 maxima. A box that holds a coordinate that is not a number
    // is unbounded on that axis.
    const float* nodes() const { return at<float>(sections.nodes); }
    // Per leaf and axis 16 coordinates.
    const float* positions() const { return at<float>(sections.positions); }
    // Index in the order of appending, by row; and the way back.
    const std::uint32_t* order() const { return at<std::uint32_t>(sections.order); }
    const std::uint32_t* rank() const { return at<std::uint32_t>(sections.rank); }
    const unsigned char* column(std::size_t field) const { return base + sections.columns[field]; }

    void copy_position(std::uint32_t row, float* position) const;
    // The whole element in record form.
    void copy_record(std::uint32_t row, std::uint32_t* words) const;

  private:
    template <class T>
    const T* at(std::uint64_t offset) const {
        return reinterpret_cast<const T*>(base + offset);
    }
};

using BodyPtr = std::shared_ptr<const Body>;

} // namespace vx::maps
