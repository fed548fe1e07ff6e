#include "cache/formats/map_access.h"

#include "cache/formats/mrmap.h"
#include "maps/interface.h"

namespace vx::cache {

using mi::shader_v3::Access_map;
using mi::shader_v3::Map_status;

SharedMap::SharedMap(miTag tag) : m_tag(tag) {}

SharedMap::~SharedMap() {
    vx::maps::remove_map(m_tag);
}

std::unique_ptr<Access_map> SharedMap::access() const {
    return std::make_unique<Access_map>(m_tag);
}

std::unique_ptr<SharedMap> map_of(Cloud& cloud, Notes& notes) {
    miTag tag = miNULLTAG;
    if (!store_map_of(cloud, tag)) {
        WriteOptions options;
        options.all_fields = false;
        tag = build_map(cloud, cloud.file_name, options, notes)->store();
    }
    if (tag == miNULLTAG) {
        throw FileError(cloud.file_name, -1, map_error(Map_status::Insufficient_memory));
    }
    return std::make_unique<SharedMap>(tag);
}

} // namespace vx::cache
