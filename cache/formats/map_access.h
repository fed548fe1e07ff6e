// A cloud as a map of the renderer, for searches.
#pragma once

#include "cache/formats/format.h"

#include "mi_shader_if.h"
#include "shader.h"

#include <memory>

namespace vx::cache {

// Access to a map that lives in memory; its elements are the cloud's points in their order.
class SharedMap {
  public:
    explicit SharedMap(miTag tag);
    ~SharedMap();
    SharedMap(const SharedMap&) = delete;
    SharedMap& operator=(const SharedMap&) = delete;

    // Returns a new access, which the caller owns.
    std::unique_ptr<mi::shader_v3::Access_map> access() const;

  private:
    miTag m_tag;
};

// The map itself, with all of its fields, if the cloud was opened from a map file. Otherwise a new
// map with the fields that the shaders use; notes what it cannot hold. Throws FileError.
std::unique_ptr<SharedMap> map_of(Cloud& cloud, Notes& notes);

} // namespace vx::cache
