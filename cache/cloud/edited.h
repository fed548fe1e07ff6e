/// @file
/// Clouds with other attributes than the cloud that they are made from.
#pragma once

#include "cache/cloud/attribute_reader.h"
#include "cache/cloud/cloud.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vx::cache {

/// Some of the attributes of a cloud, in their order. The cloud must outlive it.
class PickedCloud : public Cloud {
  public:
    /// @param picked  indices of attributes, ascending
    PickedCloud(Cloud& cloud, std::vector<std::size_t> picked);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    Cloud& m_cloud;
    std::vector<std::size_t> m_picked;
};

/// A cloud and one more attribute, with the same values at every point. The cloud must outlive it.
class FilledCloud final : public Cloud {
  public:
    /// The attribute is float64.
    /// @param name  of no attribute of the cloud
    FilledCloud(Cloud& cloud, const std::string& name, std::vector<double> values);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

  private:
    Cloud& m_cloud;
    std::vector<double> m_values;
};

/// A cloud, with one attribute in another type. The cloud must outlive it.
class ConvertedCloud final : public Cloud {
  public:
    ConvertedCloud(Cloud& cloud, std::size_t attribute, Type type);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override;

    const Attribute& converted() const { return attributes[m_index]; }
    /// Whether any value that was read so far does not fit the type.
    bool changed() const { return m_reader.changed() > 0; }

  private:
    Cloud& m_cloud;
    std::size_t m_index;
    AttributeReader m_reader;
};

/// Renames attributes that other programs call differently: P, N, Cd, Alpha and pscale become
/// position, normalPP, rgbPP, opacityPP and radius, unless an attribute has that name already or
/// the number of values is not that of the attribute.
/// @return what was renamed, one sentence per attribute
std::vector<std::string> rename_aliases(Cloud& cloud);

/// The number of values per point of an attribute with this name if its meaning is fixed, else 0.
int known_width(std::string_view name);

} // namespace vx::cache
