#include "cache/cloud/cloud.h"

#include "cache/cloud/error.h"

namespace vx::cache {

std::size_t need_position(const Cloud& cloud) {
    const int index = cloud.find("position");
    if (index < 0 || cloud.attributes[static_cast<std::size_t>(index)].width != 3) {
        throw FileError(cloud.file_name, -1, "there is no attribute 'position' with three values");
    }
    return static_cast<std::size_t>(index);
}

} // namespace vx::cache
