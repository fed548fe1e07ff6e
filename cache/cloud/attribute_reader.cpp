#include "cache/cloud/attribute_reader.h"

namespace vx::cache {

const std::byte* AttributeReader::read(std::int64_t first, std::int64_t n) {
    const std::size_t values = make_room(n);
    m_cloud.read(m_index, first, n, m_stored.data());
    return convert(values);
}

const std::byte* AttributeReader::read_rows(std::int64_t first, std::int64_t n) {
    const std::size_t values = make_room(n);
    m_cloud.read_rows(m_index, first, n, m_stored.data());
    return convert(values);
}

std::size_t AttributeReader::make_room(std::int64_t n) {
    const Attribute& stored = attribute();
    const auto values = static_cast<std::size_t>(n) * static_cast<std::size_t>(stored.width);
    m_stored.resize(values * type_size(stored.type));
    return values;
}

const std::byte* AttributeReader::convert(std::size_t values) {
    const Type from = attribute().type;
    if (from == m_to) return m_stored.data();
    m_values.resize(values * type_size(m_to));
    m_converted += static_cast<std::int64_t>(values);
    if (m_rule == IntegerRule::wrap && m_to == Type::int32) {
        m_changed += wrap_values(from, m_stored.data(),
                                 reinterpret_cast<std::int32_t*>(m_values.data()), values);
    } else {
        m_changed += convert_values(from, m_stored.data(), m_to, m_values.data(), values);
    }
    return m_values.data();
}

} // namespace vx::cache
