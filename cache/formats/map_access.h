/// @file
/// Clouds as maps of the renderer, for searches.
#pragma once

#include "cache/formats/format.h"

#include "mi_shader_if.h"
#include "shader.h"

#include <memory>

namespace vx::cache {

/// A map in memory, whose elements are the points of a cloud in its order. The map is deleted with
/// the object, or with the last access, whichever is later.
class SharedMap {
  public:
    /// Takes ownership of the map with this tag.
    explicit SharedMap(miTag tag);
    ~SharedMap();
    SharedMap(const SharedMap&) = delete;
    SharedMap& operator=(const SharedMap&) = delete;

    std::unique_ptr<mi::shader_v3::Access_map> access() const;

  private:
    miTag m_tag;
};

/// @return the map that the cloud was opened from, with all of its fields, if the cloud is that of
/// a
///         map file; otherwise a new map with the fields that the shaders use
/// @param notes  what a new map cannot hold is appended
/// @throws FileError
std::unique_ptr<SharedMap> map_of(Cloud& cloud, Notes& notes);

} // namespace vx::cache
