/// @file
/// Reading an attribute in a type of the caller's choice.
#pragma once

#include "cache/cloud/cloud.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vx::cache {

/// How values are converted to int32.
enum class IntegerRule {
    clamp, ///< as convert_values()
    wrap   ///< as wrap_values(): how the shaders read labels
};

/// Reads an attribute in a type that is chosen at run time, and counts the values that change. The
/// cloud must outlive the reader.
class AttributeReader {
  public:
    AttributeReader(Cloud& cloud, std::size_t attribute, Type to,
                    IntegerRule rule = IntegerRule::clamp)
        : m_cloud(cloud), m_index(attribute), m_to(to), m_rule(rule) {}

    /// Reads points first to first + n - 1; for a single attribute, `first` is 0 and `n` is 1.
    /// @return n * width values, valid until the next call
    /// @throws FileError
    const std::byte* read(std::int64_t first, std::int64_t n);
    /// Like read(), for rows (see Cloud).
    const std::byte* read_rows(std::int64_t first, std::int64_t n);

    const Attribute& attribute() const { return m_cloud.attributes[m_index]; }
    Type type() const { return m_to; }
    /// Counts the values that another reader of the attribute has read as read by this one.
    void add_counts(const AttributeReader& other) {
        m_converted += other.m_converted;
        m_changed += other.m_changed;
    }
    /// Values read so far.
    std::int64_t converted() const { return m_converted; }
    /// Values read so far that the type cannot hold.
    std::int64_t changed() const { return m_changed; }

  private:
    // Returns the number of values of n points.
    std::size_t make_room(std::int64_t n);
    const std::byte* convert(std::size_t values);

    Cloud& m_cloud;
    std::size_t m_index;
    Type m_to;
    IntegerRule m_rule;
    std::int64_t m_converted = 0;
    std::int64_t m_changed = 0;
    std::vector<std::byte> m_stored;
    std::vector<std::byte> m_values;
};

/// Reads an attribute in a type that is known at compile time. A single attribute reads as if every
/// point had its values.
template <typename T>
class TypedReader {
  public:
    TypedReader(Cloud& cloud, std::size_t attribute, IntegerRule rule = IntegerRule::clamp)
        : m_reader(cloud, attribute, type_of<T>(), rule) {}

    /// Reads points first to first + n - 1.
    /// @return n * width values, valid until the next call
    /// @throws FileError
    std::span<const T> read(std::int64_t first, std::int64_t n) {
        if (n == 0) return {};
        const bool single = m_reader.attribute().single;
        const auto step = static_cast<std::size_t>(width());
        const std::size_t total = static_cast<std::size_t>(n) * step;
        const auto* values =
            reinterpret_cast<const T*>(m_reader.read(single ? 0 : first, single ? 1 : n));
        if (!single) return {values, total};
        m_repeated.resize(total);
        for (std::size_t i = 0; i < total; ++i)
            m_repeated[i] = i < step ? values[i] : m_repeated[i - step];
        return m_repeated;
    }
    int width() const { return m_reader.attribute().width; }

  private:
    AttributeReader m_reader;
    std::vector<T> m_repeated;
};

} // namespace vx::cache
