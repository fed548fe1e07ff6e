// Maps as columns of values, for programs that read or write all elements.
#include "maps/build.h"
#include "maps/interface.h"
#include "maps/map.h"

namespace vx::maps {

std::optional<Rows> rows_of(const Map_base& map) {
    const Map& whole = static_cast<const Map&>(map);
    const Body* const body = whole.body();
    if (body == nullptr || !whole.is_consolidated()) return std::nullopt;
    return Rows{body->shape.count, body->declaration->dimension,
                body->positions(), body->order(),
                body->rank(),      {whole.columns(), whole.column_count()}};
}

MapBuilder::MapBuilder(Map_base& map, std::uint64_t count)
    : m_map(static_cast<Map&>(map)),
      m_builder(std::make_unique<BodyBuilder>(m_map.declaration(), count)) {}

MapBuilder::~MapBuilder() = default;

void MapBuilder::set_positions(std::uint64_t first, std::uint64_t n, const float* positions,
                               std::size_t stride) {
    m_builder->set_positions(first, n, positions, stride);
}

void MapBuilder::sort(float quality) {
    m_builder->sort(quality);
}

void MapBuilder::set_values(Map_field_id id, std::uint64_t first, std::uint64_t n,
                            const void* values, std::size_t stride) {
    m_builder->set_values(id, first, n, values, stride);
}

void MapBuilder::finish() {
    m_map.adopt(m_builder->body());
}

} // namespace vx::maps
