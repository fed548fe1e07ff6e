#include "maps/body.h"

#include <cstring>
#include <new>
#include <sys/mman.h>

namespace vx::maps {

Memory::Memory(std::size_t bytes) : m_bytes(bytes) {
    if (bytes == 0) return;
    void* const data =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (data == MAP_FAILED) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
    constexpr std::size_t kLargePagesFrom = std::size_t{4} << 20;
    if (bytes >= kLargePagesFrom) madvise(data, bytes, MADV_HUGEPAGE);
#endif
    m_data = static_cast<unsigned char*>(data);
}

Memory::~Memory() {
    if (m_data != nullptr) munmap(m_data, m_bytes);
}

bool lay_out(const Declaration& declaration, const Shape& shape, Sections& sections) {
    std::uint64_t end = 0;
    bool fits = true;
    const auto add = [&](std::uint64_t items, std::uint64_t bytes_each) {
        const std::uint64_t begin = end;
        std::uint64_t bytes = 0;
        fits = fits && !__builtin_mul_overflow(items, bytes_each, &bytes) &&
               !__builtin_add_overflow(end, bytes, &end) && end < (std::uint64_t{1} << 62);
        end = (end + Sections::kAlignment - 1) / Sections::kAlignment * Sections::kAlignment;
        return begin;
    };
    sections.nodes = add(shape.nodes, node_floats(declaration.dimension) * 4);
    sections.positions = add(shape.leaves(), leaf_floats(declaration.dimension) * 4);
    sections.order = add(shape.count, 4);
    sections.rank = add(shape.count, 4);
    sections.columns.clear();
    for (const Field& field : declaration.fields) {
        sections.columns.push_back(
            field.is_global ? 0 : add(shape.count, std::uint64_t{field.words} * 4));
    }
    sections.bytes = end;
    return fits;
}

void Body::copy_position(std::uint32_t row, float* position) const {
    const float* const leaf =
        positions() + row / kLeafSize * leaf_floats(declaration->dimension) + row % kLeafSize;
    for (unsigned axis = 0; axis < declaration->dimension; ++axis) {
        position[axis] = leaf[axis * kLeafSize];
    }
}

void Body::copy_record(std::uint32_t row, std::uint32_t* words) const {
    float position[kMaxDimension];
    copy_position(row, position);
    std::memcpy(words, position, declaration->dimension * sizeof(float));
    for (std::size_t i = 0; i < declaration->fields.size(); ++i) {
        const Field& field = declaration->fields[i];
        if (field.is_global) continue;
        const std::size_t bytes = std::size_t{field.words} * 4;
        std::memcpy(words + field.offset, column(i) + row * bytes, bytes);
    }
}

} // namespace vx::maps
